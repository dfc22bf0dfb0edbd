// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/SegmentCursor.h"

namespace j2k
{

std::uint32_t SegmentCursor::Take(std::size_t theBytes)
{
    if (itsRest.size() < theBytes)
    {
        Error("the marker segment is too short");
    }
    std::uint32_t aResult = 0;
    for (const std::uint8_t aByte : itsRest.first(theBytes))
    {
        aResult = (aResult << 8) | aByte;
    }
    itsRest = itsRest.subspan(theBytes);
    return aResult;
}

void SegmentCursor::Error(const std::string& theText) const
{
    itsReports.Error(GetMarkerName(itsSegment.itsMarker) + ": " + theText, itsSegment.itsOffset);
}

void SegmentCursor::NonConformance(const std::string& theText) const
{
    itsReports.NonConformance(GetMarkerName(itsSegment.itsMarker) + ": " + theText, itsSegment.itsOffset);
}

void SegmentCursor::ExpectEnd() const
{
    if (!itsRest.empty())
    {
        NonConformance("the marker segment is longer than its contents");
    }
}

} // namespace j2k
