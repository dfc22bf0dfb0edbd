// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "engine/detail/blocks/BlockState.h"

namespace j2k
{

/// Blocks with a region of interest take the long way: doubled integers, theWidth in a row, scaled down one
/// by one.
template <class Sample>
void StoreRegion(const std::vector<std::int32_t>& theDoubled, std::size_t theWidth, Sample* theRows,
                 const StoreTarget& theTarget)
{
    const std::uint64_t aThreshold = std::uint64_t{2}
                                     << std::min(theTarget.itsRegion.itsBackgroundPlanes, 31U);
    const unsigned int aShift = std::min(theTarget.itsRegion.itsShift, 31U);
    for (std::size_t i = 0; i < theDoubled.size(); ++i)
    {
        std::int32_t aMagnitude = theDoubled[i] < 0 ? -theDoubled[i] : theDoubled[i];
        aMagnitude >>= static_cast<std::uint64_t>(aMagnitude) >= aThreshold ? aShift : 0;
        Sample& aSample = theRows[static_cast<std::ptrdiff_t>(i / theWidth) * theTarget.itsStride +
                                  static_cast<std::ptrdiff_t>(i % theWidth)];
        if constexpr (std::is_same_v<Sample, float>)
        {
            const float aValue = static_cast<float>(aMagnitude) * (theTarget.itsStep / 2);
            aSample = theDoubled[i] < 0 ? -aValue : aValue;
        }
        else
        {
            aSample = static_cast<Sample>(theDoubled[i] < 0 ? -(aMagnitude >> 1) : aMagnitude >> 1);
        }
    }
}

} // namespace j2k
