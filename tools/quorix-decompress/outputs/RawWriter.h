// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "outputs/FrameWriter.h"

/// Writes the decoded bytes exactly as they are in memory.
class RawWriter final : public FrameWriter
{
public:
    std::string GetExtension(const DecodedFrame&) const override { return ".raw"; }
    void Write(const DecodedFrame& theFrame, const std::string& thePath) const override;
};
