// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "toolkit/base/RWCString.h"
#include "toolkit/io/InputStream.h"

/// What the frame header of a bare JPEG stream announces (ITU-T T.81, B.2.2).
struct JPEGHeader
{
    std::uint8_t itsProcess = 0; ///< SOF marker number: 0 baseline, 1 extended, 2 progressive, 3 lossless …
    int itsPrecision = 0;        ///< bits a sample
    int itsRows = 0;
    int itsColumns = 0;
    int itsComponents = 0;
    bool itsColourMarked = false; ///< a JFIF or Adobe marker says how colours are to be read

    bool IsLossless() const { return (itsProcess & 3) == 3; }

    /// Samples a pixel after decoding: grey stays grey, everything else becomes RGB.
    int GetSamplesPerPixel() const { return itsComponents == 1 ? 1 : 3; }

    /// The DICOM transfer syntax that has a codec for this frame.
    const RWCString& GetTransferSyntaxUID() const;

    /// What the process is called.
    const char* GetProcessName() const;

    /// Reads theStream up to the frame header. Nothing when there is none before the first scan or the
    /// end. What the stream throws passes through.
    static std::optional<JPEGHeader> Read(InputStream& theStream);
};
