// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"

/// What a decompressor says of the pixels in a Renderable's buffer. A plain record.
struct ImageDescription
{
    Renderable::PhotometricInterpretation itsInterpretation = Renderable::INVALID;
    std::int32_t itsRows = 0;
    std::int32_t itsColumns = 0;
    std::int32_t itsSamplesPerPixel = 0;
    std::int32_t itsBitsAllocated = 0; ///< these three are narrowed to 16 bits, as the record has them
    std::int32_t itsBitsStored = 0;
    std::int32_t itsHighBit = 0;
    bool itsIsSigned = false;
    bool itsIsPlanar = false;
    bool itsIsLossy = false;
    std::int32_t itsCompressionRatio = 0;
    int itsScaleFactor = 1; ///< brought into what the record can hold
    bool itsIsLittleEndian = true;

    /// Pixels are square whatever the data set says.
    void WriteTo(Renderable& theImage) const;
};

/// How many times larger an image is than its compressed form.
class CompressionRatio
{
public:
    CompressionRatio() = delete;

    /// The decoded size, scaled back to full resolution, over the compressed size, both in bytes, rounded
    /// to nearest in single precision and held to 2^31 − 1. theScaleFactor: 1 is full resolution, each
    /// step more halves both sides; below 1 counts as 1. 0 for nothing compressed.
    static std::int32_t Calculate(std::uint64_t theDecodedSize, int theScaleFactor,
                                  std::uint64_t theCompressedSize);
};
