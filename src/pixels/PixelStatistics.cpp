// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>

#include "image/Renderable.h"
#include "pixels/detail/RenderableConversion.h"
#include "pixels/detail/StatisticsKernels.h"

namespace
{
/// The pixels of a greyscale image that both its geometry and its buffer have.
struct Samples
{
    Samples(const Renderable& theRenderable, unsigned theBytesPerSample)
        : itsData(static_cast<const std::uint8_t*>(theRenderable.getPixelData())),
          itsSwapped(PixelSample::IsSwapped(theRenderable))
    {
        if (itsData != nullptr && theRenderable.getRows() > 0 && theRenderable.getColumns() > 0)
        {
            const auto aGeometry = static_cast<std::uint64_t>(theRenderable.getRows()) *
                                   static_cast<std::uint64_t>(theRenderable.getColumns());
            itsCount = std::min(aGeometry, theRenderable.getPixelDataSize() / theBytesPerSample);
        }
    }

    const std::uint8_t* itsData;
    bool itsSwapped;
    std::uint64_t itsCount = 0;
};

template <class Sample>
void ScanRange(const Renderable& theRenderable, unsigned thePadding, unsigned& theMin, unsigned& theMax)
{
    const Samples aSamples(theRenderable, sizeof(Sample));
    const auto aPadding = static_cast<Sample>(thePadding);
    const bool isPaddingExcluded = thePadding != 0;
    Sample aMin = std::numeric_limits<Sample>::max();
    Sample aMax = std::numeric_limits<Sample>::min();
    std::uint64_t i = 0;
    if (sizeof(Sample) == 1 || !aSamples.itsSwapped)
    {
        i = StatisticsKernels::Scan(aSamples.itsData, aSamples.itsCount,
                                    isPaddingExcluded ? &aPadding : nullptr, aMin, aMax);
    }
    for (; i < aSamples.itsCount; ++i)
    {
        const auto aSample = PixelSample::Read<Sample>(aSamples.itsData, i, aSamples.itsSwapped);
        if (!isPaddingExcluded || aSample != aPadding)
        {
            aMin = std::min(aMin, aSample);
            aMax = std::max(aMax, aSample);
        }
    }
    // Signed values are sign-extended into the unsigned outputs.
    theMin = static_cast<unsigned>(static_cast<int>(aMin));
    theMax = static_cast<unsigned>(static_cast<int>(aMax));
}

void ScanGreyRange(const Renderable& theRenderable, unsigned thePadding, unsigned& theMin, unsigned& theMax)
{
    const bool isSigned = theRenderable.isSigned();
    if (theRenderable.getBitsAllocated() == 16)
    {
        const auto scan = isSigned ? ScanRange<std::int16_t> : ScanRange<std::uint16_t>;
        scan(theRenderable, thePadding, theMin, theMax);
    }
    else if (theRenderable.getBitsAllocated() == 8)
    {
        const auto scan = isSigned ? ScanRange<std::int8_t> : ScanRange<std::uint8_t>;
        scan(theRenderable, thePadding, theMin, theMax);
    }
}

/// The largest value of so many bits; all ones from 32 bits on.
unsigned GetLargestValue(int theBits)
{
    const int aBits = std::clamp(theBits, 0, 32);
    return static_cast<unsigned>((std::uint64_t{1} << aBits) - 1);
}

bool IsWide(const Renderable& theRenderable)
{
    return theRenderable.getBitsAllocated() > 8;
}

/// Samples are read as 16 bits at most, so this many bins hold every value, wider images included.
std::uint32_t GetBinCount(const Renderable& theRenderable)
{
    return IsWide(theRenderable) ? 65536 : 256;
}

/// What is added to signed values to make them bin numbers.
std::uint32_t GetBinBias(const Renderable& theRenderable)
{
    return theRenderable.isSigned() ? GetBinCount(theRenderable) / 2 : 0;
}

template <class Sample>
void CountSamples(const Renderable& theRenderable, std::uint32_t* theBins)
{
    const Samples aSamples(theRenderable, sizeof(Sample));
    // Adding half the range to a two's complement value is turning over its highest bit.
    const auto aBias = static_cast<Sample>(GetBinBias(theRenderable));
    for (std::uint64_t i = 0; i < aSamples.itsCount; ++i)
    {
        const auto aSample = PixelSample::Read<Sample>(aSamples.itsData, i, aSamples.itsSwapped);
        ++theBins[static_cast<Sample>(aSample ^ aBias)];
    }
}

/// The number of pixels that either end may lose; nothing when the figures make no number.
bool GetThreshold(const Renderable& theRenderable, float thePercent, double& theThreshold)
{
    const auto aPixels =
        static_cast<float>(static_cast<std::int64_t>(theRenderable.getRows()) * theRenderable.getColumns());
    const float aThreshold = aPixels * thePercent / 100.0f;
    theThreshold = std::trunc(static_cast<double>(aThreshold));
    return std::isfinite(aThreshold);
}

/// How far the lower end moves up: to the first bin where more than theThreshold pixels have been passed.
std::uint32_t GetUpwardShift(const std::uint32_t* theBins, std::uint32_t theCount, std::uint32_t theLow,
                             double theThreshold)
{
    std::uint64_t aSum = 0;
    for (std::uint64_t i = theLow; i < theCount; ++i)
    {
        aSum += theBins[i];
        if (static_cast<double>(aSum) > theThreshold)
        {
            return static_cast<std::uint32_t>(i - theLow);
        }
    }
    return 0;
}

/// How far the upper end moves down. Bins past the last one are empty.
std::uint32_t GetDownwardShift(const std::uint32_t* theBins, std::uint32_t theCount, std::uint32_t theHigh,
                               double theThreshold)
{
    if (theThreshold < 0)
    {
        return 0;
    }
    std::uint64_t aSum = 0;
    for (std::uint64_t i = std::min<std::uint64_t>(theHigh, theCount - 1) + 1; i-- > 0;)
    {
        aSum += theBins[i];
        if (static_cast<double>(aSum) > theThreshold)
        {
            return theHigh - static_cast<std::uint32_t>(i);
        }
    }
    return 0;
}
} // namespace

void DecompressionLibUtils::CalculateMinMax(Renderable& theRenderable, unsigned int thePaddingValue,
                                            unsigned int& theMin, unsigned int& theMax, bool isBurnInRemoved,
                                            float thePercent, int theMinimumShift)
{
    if (theRenderable.getSamplesPerPixel() != 1)
    {
        theMin = 0;
        theMax = GetLargestValue(theRenderable.getBitsStored());
    }
    else
    {
        ScanGreyRange(theRenderable, thePaddingValue, theMin, theMax);
    }
    if (isBurnInRemoved)
    {
        AdjustMinMaxToRemoveBurnIns(theRenderable, theMin, theMax, thePercent, theMinimumShift);
    }
}

void DecompressionLibUtils::AdjustMinMaxToRemoveBurnIns(Renderable& theRenderable, unsigned int& theMin,
                                                        unsigned int& theMax, float thePercent,
                                                        int theMinimumShift)
{
    if (std::fabs(static_cast<double>(thePercent)) < 0.000001 || theMinimumShift < 1)
    {
        return;
    }
    const std::unique_ptr<std::uint32_t[]> aBins(CalculateHistogram(theRenderable));
    double aThreshold = 0;
    if (aBins == nullptr || !GetThreshold(theRenderable, thePercent, aThreshold))
    {
        return;
    }
    const std::uint32_t aCount = GetBinCount(theRenderable);
    const std::uint32_t aBias = GetBinBias(theRenderable);
    const auto aMinimumShift = static_cast<std::uint32_t>(theMinimumShift);
    const std::uint32_t anUp = GetUpwardShift(aBins.get(), aCount, theMin + aBias, aThreshold);
    const std::uint32_t aDown = GetDownwardShift(aBins.get(), aCount, theMax + aBias, aThreshold);
    theMin += anUp > aMinimumShift ? anUp : 0;
    theMax -= aDown > aMinimumShift ? aDown : 0;
}

std::uint32_t* DecompressionLibUtils::CalculateHistogram(Renderable& theRenderable)
{
    if (theRenderable.getSamplesPerPixel() != 1)
    {
        return nullptr;
    }
    auto aBins = std::make_unique<std::uint32_t[]>(GetBinCount(theRenderable));
    if (IsWide(theRenderable))
    {
        CountSamples<std::uint16_t>(theRenderable, aBins.get());
    }
    else
    {
        CountSamples<std::uint8_t>(theRenderable, aBins.get());
    }
    return aBins.release(); // the array goes to the caller, as the interface has it
}
