// SPDX-License-Identifier: Apache-2.0
// Words of samples turned into rows of numbers.

#include <limits>
#include <type_traits>

#include "engine/detail/blocks/HTState.h"

namespace j2k
{
namespace
{
/// Twice the sample.
std::int32_t GetDoubled(const HTState& theState, std::uint32_t theWord)
{
    const std::uint32_t aMagnitude = theWord == 0            ? 0
                                     : theState.itsIsRefined ? theWord >> 1
                                                             : (theWord | 1) << theState.itsPlane;
    return (theWord & 1) != 0 ? -static_cast<std::int32_t>(aMagnitude)
                              : static_cast<std::int32_t>(aMagnitude);
}

template <class Sample>
void Store(const HTState& theState, Sample* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    for (std::uint32_t y = 0; y < theState.itsHeight; ++y, theRows += theStride)
    {
        const std::uint32_t* const aRow = theState.GetWords(y);
        for (std::uint32_t x = 0; x < theState.itsWidth; ++x)
        {
            const std::int32_t aDoubled = GetDoubled(theState, aRow[x]);
            if constexpr (std::is_same_v<Sample, float>)
            {
                theRows[x] = static_cast<float>(aDoubled) * theHalfStep;
            }
            else
            {
                // Towards zero.
                theRows[x] = static_cast<Sample>(std::clamp<std::int32_t>(
                    aDoubled / 2, std::numeric_limits<Sample>::min(), std::numeric_limits<Sample>::max()));
            }
        }
    }
}
} // namespace

void StoreHTBlock(const HTState& theState, std::int16_t* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    Store(theState, theRows, theStride, theHalfStep);
}

void StoreHTBlock(const HTState& theState, std::int32_t* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    Store(theState, theRows, theStride, theHalfStep);
}

void StoreHTBlock(const HTState& theState, float* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    Store(theState, theRows, theStride, theHalfStep);
}

void StoreHTDoubled(const HTState& theState, std::int32_t* theSamples)
{
    for (std::uint32_t y = 0; y < theState.itsHeight; ++y)
    {
        const std::uint32_t* const aRow = theState.GetWords(y);
        for (std::uint32_t x = 0; x < theState.itsWidth; ++x)
        {
            *theSamples++ = GetDoubled(theState, aRow[x]);
        }
    }
}

} // namespace j2k
