// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEPlanes.h"

#include <algorithm>
#include <limits>
#include <new>

RLEPlanes::RLEPlanes(const RLEPixelLayout& theLayout, std::uint8_t* theOutput)
    : itsLayout(theLayout), itsOutput(theOutput)
{
}

bool RLEPlanes::Allocate()
{
    // Fewer than 2^32 pixels in fewer than 16 planes: this does not overflow.
    const std::uint64_t aStride = itsLayout.GetWantedCount() + kOverrun;
    const std::uint64_t aSize = aStride * (itsLayout.itsSegmentCount - 1) + kChunkPixels + kOverrun;
    if (aSize > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()))
    {
        return false;
    }
    // Left uninitialised on purpose: pages that no segment reaches cost nothing.
    itsMemory.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(aSize)]);
    itsPlaneStride = static_cast<std::size_t>(aStride);
    if (!itsMemory)
    {
        return false;
    }
    SetTarget();
    return true;
}

void RLEPlanes::SetTarget()
{
    const auto aPixelCount = static_cast<std::size_t>(itsLayout.GetWantedCount());
    itsTarget = GetPlane(itsSegment);
    itsTargetSize = IsLast() ? std::min(kChunkPixels, aPixelCount) : aPixelCount;
}

void RLEPlanes::Flush()
{
    if (!IsLast() || itsFill == 0)
    {
        return;
    }
    itsFill = std::min(itsFill, static_cast<std::size_t>(itsLayout.GetWantedCount()) - itsPixelsDone);
    std::array<const std::uint8_t*, RLEPixelLayout::kMaximumSegments> aPlanes{};
    for (unsigned int i = 0; i < itsSegment; ++i)
    {
        aPlanes[itsLayout.GetColumn(i)] = GetPlane(i) + itsPixelsDone;
    }
    aPlanes[itsLayout.GetColumn(itsSegment)] = itsTarget;
    RLEInterleave(aPlanes.data(), itsLayout.itsSegmentCount, itsFill,
                  itsOutput + itsPixelsDone * itsLayout.itsSegmentCount);
    itsPixelsDone += itsFill;
    itsFill = 0;
}

void RLEPlanes::FinishSegment()
{
    if (IsLast())
    {
        Flush();
        return;
    }
    ++itsSegment;
    itsFill = 0;
    SetTarget();
}

void RLEPlanes::Spill()
{
    if (!itsMemory)
    {
        return;
    }
    const auto aPixelCount = static_cast<std::size_t>(itsLayout.GetWantedCount());
    const std::size_t aStride = itsLayout.itsSegmentCount;
    std::uint8_t* const anOutput = itsOutput + itsPixelsDone * aStride;
    for (unsigned int i = 0; i < itsSegment; ++i)
    {
        RLEScatter(GetPlane(i) + itsPixelsDone, aPixelCount - itsPixelsDone, aStride,
                   anOutput + itsLayout.GetColumn(i));
    }
    RLEScatter(itsTarget, itsFill, aStride, anOutput + itsLayout.GetColumn(itsSegment));
    itsMemory.reset();
}
