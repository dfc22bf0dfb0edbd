// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <utility>

#include "outputs/FrameWriter.h"

/// Writes PNG pictures, see Picture for the samples.
class PNGWriter final : public FrameWriter
{
public:
    explicit PNGWriter(std::optional<WindowOption> theWindow) : itsWindow(std::move(theWindow)) {}

    std::string GetExtension(const DecodedFrame&) const override { return ".png"; }
    void Write(const DecodedFrame& theFrame, const std::string& thePath) const override;

private:
    std::optional<WindowOption> itsWindow;
};
