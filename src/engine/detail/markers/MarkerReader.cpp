// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

namespace
{
constexpr std::size_t theMarkerBytes = 2;
constexpr std::size_t theLengthBytes = 2;

unsigned int GetWord(std::span<const std::uint8_t> theBytes)
{
    return (static_cast<unsigned int>(theBytes[0]) << 8) | theBytes[1];
}

} // namespace

bool MarkerReader::ReadMarker(Marker& theMarker)
{
    if (!itsBytes.Fetch(theMarkerBytes))
    {
        return false;
    }
    theMarker = static_cast<Marker>(GetWord(itsBytes.GetAvailable()));
    itsBytes.Skip(theMarkerBytes);
    return true;
}

bool MarkerReader::ReadSegment(Marker theMarker, MarkerSegment& theSegment)
{
    theSegment.itsMarker = theMarker;
    theSegment.itsOffset = itsBytes.GetOffset() - theMarkerBytes;
    if (!itsBytes.Fetch(theLengthBytes))
    {
        return false;
    }
    const std::size_t aLength = GetWord(itsBytes.GetAvailable());
    if (aLength < theLengthBytes)
    {
        itsReports.Error(GetMarkerName(theMarker) + ": the length is below 2", theSegment.itsOffset);
    }
    itsBytes.Skip(theLengthBytes);
    const std::size_t aBodyLength = aLength - theLengthBytes;
    // Another marker follows every segment, at least EOC: it is fetched together with the body.
    itsBytes.Fetch(aBodyLength + theMarkerBytes);
    if (itsBytes.GetAvailable().size() < aBodyLength)
    {
        return false;
    }
    theSegment.itsBody = itsBytes.GetAvailable().first(aBodyLength);
    itsBytes.Skip(aBodyLength);
    return true;
}

} // namespace j2k
