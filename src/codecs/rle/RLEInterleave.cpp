// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEPlanes.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/rle/RLEInterleave.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace quorix_rle
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// Each function interleaves whole vectors and returns how many pixels it did; the caller does the rest.
std::size_t Interleave2(const std::uint8_t* const* thePlanes, std::size_t theCount, std::uint8_t* theOutput)
{
    const hn::ScalableTag<std::uint8_t> aTag;
    const std::size_t aLanes = hn::Lanes(aTag);
    std::size_t i = 0;
    for (; i + aLanes <= theCount; i += aLanes)
    {
        hn::StoreInterleaved2(hn::LoadU(aTag, thePlanes[0] + i), hn::LoadU(aTag, thePlanes[1] + i), aTag,
                              theOutput + 2 * i);
    }
    return i;
}

std::size_t Interleave3(const std::uint8_t* const* thePlanes, std::size_t theCount, std::uint8_t* theOutput)
{
    const hn::ScalableTag<std::uint8_t> aTag;
    const std::size_t aLanes = hn::Lanes(aTag);
    std::size_t i = 0;
    for (; i + aLanes <= theCount; i += aLanes)
    {
        hn::StoreInterleaved3(hn::LoadU(aTag, thePlanes[0] + i), hn::LoadU(aTag, thePlanes[1] + i),
                              hn::LoadU(aTag, thePlanes[2] + i), aTag, theOutput + 3 * i);
    }
    return i;
}

std::size_t Interleave4(const std::uint8_t* const* thePlanes, std::size_t theCount, std::uint8_t* theOutput)
{
    const hn::ScalableTag<std::uint8_t> aTag;
    const std::size_t aLanes = hn::Lanes(aTag);
    std::size_t i = 0;
    for (; i + aLanes <= theCount; i += aLanes)
    {
        hn::StoreInterleaved4(hn::LoadU(aTag, thePlanes[0] + i), hn::LoadU(aTag, thePlanes[1] + i),
                              hn::LoadU(aTag, thePlanes[2] + i), hn::LoadU(aTag, thePlanes[3] + i), aTag,
                              theOutput + 4 * i);
    }
    return i;
}
} // namespace HWY_NAMESPACE
} // namespace quorix_rle
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quorix_rle
{
HWY_EXPORT(Interleave2);
HWY_EXPORT(Interleave3);
HWY_EXPORT(Interleave4);

std::size_t InterleaveVectors(const std::uint8_t* const* thePlanes, std::size_t thePlaneCount,
                              std::size_t thePixelCount, std::uint8_t* theOutput)
{
    switch (thePlaneCount)
    {
    case 2:
        return HWY_DYNAMIC_DISPATCH(Interleave2)(thePlanes, thePixelCount, theOutput);
    case 3:
        return HWY_DYNAMIC_DISPATCH(Interleave3)(thePlanes, thePixelCount, theOutput);
    case 4:
        return HWY_DYNAMIC_DISPATCH(Interleave4)(thePlanes, thePixelCount, theOutput);
    default:
        return 0;
    }
}
} // namespace quorix_rle

void RLEInterleave(const std::uint8_t* const* thePlanes, std::size_t thePlaneCount, std::size_t thePixelCount,
                   std::uint8_t* theOutput)
{
    const std::size_t aDone =
        quorix_rle::InterleaveVectors(thePlanes, thePlaneCount, thePixelCount, theOutput);
    for (std::size_t p = 0; p < thePlaneCount; ++p)
    {
        RLEScatter(thePlanes[p] + aDone, thePixelCount - aDone, thePlaneCount,
                   theOutput + aDone * thePlaneCount + p);
    }
}

void RLEScatter(const std::uint8_t* thePlane, std::size_t thePixelCount, std::size_t theStride,
                std::uint8_t* theOutput)
{
    if (thePixelCount == 0)
    {
        return;
    }
    if (theStride == 1)
    {
        std::memcpy(theOutput, thePlane, thePixelCount);
        return;
    }
    for (std::size_t i = 0; i < thePixelCount; ++i)
    {
        theOutput[i * theStride] = thePlane[i];
    }
}
#endif
