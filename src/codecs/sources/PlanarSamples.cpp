// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/PlanarSamples.h"

#include <cstring>

namespace
{
template <std::size_t theSampleBytes>
void InterleaveSamples(std::span<const std::uint8_t> thePlanes, std::uint8_t* thePixels)
{
    const std::size_t aPlane = thePlanes.size() / 3;
    const std::uint8_t* aFirst = thePlanes.data();
    for (const std::uint8_t* const anEnd = aFirst + aPlane; aFirst < anEnd; aFirst += theSampleBytes)
    {
        std::memcpy(thePixels, aFirst, theSampleBytes);
        std::memcpy(thePixels + theSampleBytes, aFirst + aPlane, theSampleBytes);
        std::memcpy(thePixels + 2 * theSampleBytes, aFirst + 2 * aPlane, theSampleBytes);
        thePixels += 3 * theSampleBytes;
    }
}
} // namespace

void PlanarSamples::Interleave(std::span<const std::uint8_t> thePlanes, std::size_t theSampleBytes,
                               std::uint8_t* thePixels)
{
    switch (theSampleBytes)
    {
    case 1:
        return InterleaveSamples<1>(thePlanes, thePixels);
    case 2:
        return InterleaveSamples<2>(thePlanes, thePixels);
    default:
        return InterleaveSamples<4>(thePlanes, thePixels);
    }
}
