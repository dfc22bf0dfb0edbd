// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "decode/DecodedFrame.h"
#include "run/Options.h"

/// Writes one decoded frame to one file. Immutable; threads may share one.
class FrameWriter
{
public:
    virtual ~FrameWriter() = default;

    /// The file name's ending for theFrame, with its dot.
    virtual std::string GetExtension(const DecodedFrame& theFrame) const = 0;

    /// Writes theFrame, which was decoded, to a file that is there already and empty. Throws OutputError,
    /// and what the library throws.
    virtual void Write(const DecodedFrame& theFrame, const std::string& thePath) const = 0;

    /// The writer for a format of one file a frame; null for NONE and DICOM.
    static std::unique_ptr<FrameWriter> Create(const Options& theOptions);
};
