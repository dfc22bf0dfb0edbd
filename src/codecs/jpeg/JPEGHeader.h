// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/io/InputStream.h"

/// What the frame header of a bare JPEG stream announces (ITU-T T.81, B.2.2).
struct QUORIX_API JPEGHeader
{
    std::uint8_t itsProcess = 0; ///< SOF marker number: 0 baseline, 1 extended, 2 progressive, 3 lossless …
    int itsPrecision = 0;        ///< bits a sample
    int itsRows = 0;             ///< 0 where only the scan tells
    int itsColumns = 0;          ///< pixels in a row
    int itsComponents = 0;       ///< samples a pixel
    int itsNear = 0;             ///< of JPEG-LS: how far samples may be off; unknown where there is no scan
    bool itsColourMarked = false; ///< a JFIF or Adobe marker says how colours are to be read

    /// The process of JPEG-LS, which has the markers of JPEG and a codec of its own.
    static constexpr std::uint8_t kJPEGLS = 55;

    /// Whether it is that one.
    bool IsJPEGLS() const { return itsProcess == kJPEGLS; }

    /// Whether the process is one of those without loss.
    bool IsLossless() const { return IsJPEGLS() ? itsNear == 0 : (itsProcess & 3) == 3; }

    /// Samples a pixel after decoding: grey stays grey, everything else becomes RGB.
    int GetSamplesPerPixel() const { return itsComponents == 1 ? 1 : 3; }

    /// The DICOM transfer syntax that has a codec for this frame.
    const char* GetTransferSyntaxUID() const;

    /// What the process is called.
    const char* GetProcessName() const;

    /// Reads theStream up to the frame header. Nothing when there is none before the first scan or the
    /// end. What the stream throws passes through.
    static std::optional<JPEGHeader> Read(InputStream& theStream);

private:
    void ReadNear(const unsigned char (&theScanHeader)[8]);
};
