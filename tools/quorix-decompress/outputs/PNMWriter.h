// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <utility>

#include "outputs/FrameWriter.h"

/// Writes binary PGM (P5) and PPM (P6) pictures, see Picture for the samples. 16-bit samples have their
/// high byte first.
class PNMWriter final : public FrameWriter
{
public:
    explicit PNMWriter(std::optional<WindowOption> theWindow) : itsWindow(std::move(theWindow)) {}

    std::string GetExtension(const DecodedFrame& theFrame) const override;
    void Write(const DecodedFrame& theFrame, const std::string& thePath) const override;

private:
    std::optional<WindowOption> itsWindow;
};
