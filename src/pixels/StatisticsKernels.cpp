// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/StatisticsKernels.h"

#include <algorithm>

// This file is compiled once for each instruction set; the best one is chosen when the program runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixels/StatisticsKernels.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace StatisticsVectors
{
namespace HWY_NAMESPACE
{
#if HWY_TARGET == HWY_SCALAR

/// Machines without vectors leave everything to the caller's loop.
template <class Sample>
size_t ScanVectors(const uint8_t*, size_t, const Sample*, Sample&, Sample&)
{
    return 0;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

template <class Sample>
size_t ScanVectors(const uint8_t* theData, size_t theCount, const Sample* thePadding, Sample& theMin,
                   Sample& theMax)
{
    const hn::ScalableTag<Sample> aTag;
    const hn::Repartition<uint8_t, decltype(aTag)> aByteTag;
    const size_t aStep = hn::Lanes(aTag);
    const auto aPadding = hn::Set(aTag, thePadding != nullptr ? *thePadding : Sample{0});
    auto aMin = hn::Set(aTag, theMin);
    auto aMax = hn::Set(aTag, theMax);
    size_t i = 0;
    for (; i + aStep <= theCount; i += aStep)
    {
        const auto aValue = hn::BitCast(aTag, hn::LoadU(aByteTag, theData + i * sizeof(Sample)));
        const auto aLeftOut = hn::Eq(aValue, aPadding);
        // A sample that is left out is replaced by one that changes nothing.
        aMin = hn::Min(aMin, thePadding != nullptr ? hn::IfThenElse(aLeftOut, aMin, aValue) : aValue);
        aMax = hn::Max(aMax, thePadding != nullptr ? hn::IfThenElse(aLeftOut, aMax, aValue) : aValue);
    }
    HWY_ALIGN Sample aMins[HWY_MAX_BYTES / sizeof(Sample)];
    HWY_ALIGN Sample aMaxs[HWY_MAX_BYTES / sizeof(Sample)];
    hn::Store(aMin, aTag, aMins);
    hn::Store(aMax, aTag, aMaxs);
    theMin = *std::min_element(aMins, aMins + aStep);
    theMax = *std::max_element(aMaxs, aMaxs + aStep);
    return i;
}

#endif

size_t ScanU8(const uint8_t* theData, size_t theCount, const uint8_t* thePadding, uint8_t& theMin,
              uint8_t& theMax)
{
    return ScanVectors(theData, theCount, thePadding, theMin, theMax);
}

size_t ScanI8(const uint8_t* theData, size_t theCount, const int8_t* thePadding, int8_t& theMin,
              int8_t& theMax)
{
    return ScanVectors(theData, theCount, thePadding, theMin, theMax);
}

size_t ScanU16(const uint8_t* theData, size_t theCount, const uint16_t* thePadding, uint16_t& theMin,
               uint16_t& theMax)
{
    return ScanVectors(theData, theCount, thePadding, theMin, theMax);
}

size_t ScanI16(const uint8_t* theData, size_t theCount, const int16_t* thePadding, int16_t& theMin,
               int16_t& theMax)
{
    return ScanVectors(theData, theCount, thePadding, theMin, theMax);
}
} // namespace HWY_NAMESPACE
} // namespace StatisticsVectors
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace StatisticsVectors
{
HWY_EXPORT(ScanU8);
HWY_EXPORT(ScanI8);
HWY_EXPORT(ScanU16);
HWY_EXPORT(ScanI16);
} // namespace StatisticsVectors

using namespace StatisticsVectors;

std::size_t StatisticsKernels::Scan(const std::uint8_t* theData, std::size_t theCount,
                                    const std::uint8_t* thePadding, std::uint8_t& theMin,
                                    std::uint8_t& theMax)
{
    return HWY_DYNAMIC_DISPATCH(ScanU8)(theData, theCount, thePadding, theMin, theMax);
}

std::size_t StatisticsKernels::Scan(const std::uint8_t* theData, std::size_t theCount,
                                    const std::int8_t* thePadding, std::int8_t& theMin, std::int8_t& theMax)
{
    return HWY_DYNAMIC_DISPATCH(ScanI8)(theData, theCount, thePadding, theMin, theMax);
}

std::size_t StatisticsKernels::Scan(const std::uint8_t* theData, std::size_t theCount,
                                    const std::uint16_t* thePadding, std::uint16_t& theMin,
                                    std::uint16_t& theMax)
{
    return HWY_DYNAMIC_DISPATCH(ScanU16)(theData, theCount, thePadding, theMin, theMax);
}

std::size_t StatisticsKernels::Scan(const std::uint8_t* theData, std::size_t theCount,
                                    const std::int16_t* thePadding, std::int16_t& theMin,
                                    std::int16_t& theMax)
{
    return HWY_DYNAMIC_DISPATCH(ScanI16)(theData, theCount, thePadding, theMin, theMax);
}
#endif
