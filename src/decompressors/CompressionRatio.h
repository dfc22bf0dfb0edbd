// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"

/// How many times larger an image is than its compressed form.
class QUORIX_API CompressionRatio
{
public:
    CompressionRatio() = delete;

    /// The decoded size, scaled back to full resolution, over the compressed size, both in bytes, rounded
    /// to nearest in single precision and held to 2^31 − 1. theScaleFactor: 1 is full resolution, each
    /// step more halves both sides; below 1 counts as 1. 0 for nothing compressed.
    static std::int32_t Calculate(std::uint64_t theDecodedSize, int theScaleFactor,
                                  std::uint64_t theCompressedSize);
};
