// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "image/Renderable.h"

/// Reads the real values of a decoded image's samples: Bits Stored of each, sign-extended.
///
/// Takes interleaved images of 1, 8, 16 or 32 bits allocated, in either byte order; 1-bit samples are
/// packed with the first sample in the lowest bit (PS3.5 8.1.1). The image is borrowed.
class SampleReader
{
public:
    /// Throws OutputError for an image in another layout or with too few bytes for its size.
    explicit SampleReader(const Renderable& theImage);

    std::uint32_t GetRows() const { return itsRows; }
    std::uint32_t GetColumns() const { return itsColumns; }
    std::uint32_t GetSamplesPerPixel() const { return itsSamplesPerPixel; }
    int GetBitsAllocated() const { return itsBitsAllocated; }
    int GetBitsStored() const { return itsBitsStored; }
    bool IsSigned() const { return itsSigned; }

    /// The samples of one row into theValues, columns × samples per pixel of them.
    void ReadRow(std::uint32_t theRow, std::vector<std::int64_t>& theValues) const;

private:
    std::int64_t Value(std::uint64_t theWord) const;

    const unsigned char* itsBytes;
    std::uint32_t itsRows;
    std::uint32_t itsColumns;
    std::uint32_t itsSamplesPerPixel;
    int itsBitsAllocated;
    int itsBitsStored;
    int itsShift;
    bool itsSigned;
    bool itsLittleEndian;
};
