// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "outputs/FrameWriter.h"

/// Writes the library's cache file.
class RendWriter final : public FrameWriter
{
public:
    std::string GetExtension(const DecodedFrame&) const override { return ".rend"; }
    void Write(const DecodedFrame& theFrame, const std::string& thePath) const override;
};
