// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"

/// Reads samples of 8 or 16 bits out of a pixel buffer that may be unaligned or in the other byte order.
namespace PixelSample
{
/// Whether samples wider than 8 bits stand in the byte order that this machine does not have.
inline bool IsSwapped(const Renderable& theRenderable)
{
    const bool aNativeIsLittle = DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER;
    return theRenderable.isPixelDataLittleEndian() != aNativeIsLittle;
}

/// Sample number theIndex. Swapping concerns 16-bit samples only.
template <class Sample>
Sample Read(const std::uint8_t* theData, std::uint64_t theIndex, bool theSwapped)
{
    Sample aSample;
    std::memcpy(&aSample, theData + theIndex * sizeof(Sample), sizeof(Sample));
    if constexpr (sizeof(Sample) == 2)
    {
        if (theSwapped)
        {
            aSample = static_cast<Sample>(__builtin_bswap16(static_cast<std::uint16_t>(aSample)));
        }
    }
    return aSample;
}

template <class Sample>
void Write(std::uint8_t* theData, std::uint64_t theIndex, Sample theSample)
{
    std::memcpy(theData + theIndex * sizeof(Sample), &theSample, sizeof(Sample));
}
} // namespace PixelSample
