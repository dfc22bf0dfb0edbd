// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

namespace
{
constexpr std::size_t kMarkerBytes = 2;
constexpr std::size_t kLengthBytes = 2;

unsigned int GetWord(std::span<const std::uint8_t> theBytes)
{
    return (static_cast<unsigned int>(theBytes[0]) << 8) | theBytes[1];
}

} // namespace

bool MarkerReader::ReadMarker(Marker& theMarker)
{
    if (!itsBytes.Fetch(kMarkerBytes))
    {
        return false;
    }
    theMarker = static_cast<Marker>(GetWord(itsBytes.GetAvailable()));
    itsBytes.Skip(kMarkerBytes);
    return true;
}

bool MarkerReader::ReadSegment(Marker theMarker, MarkerSegment& theSegment)
{
    theSegment.itsMarker = theMarker;
    theSegment.itsOffset = itsBytes.GetOffset() - kMarkerBytes;
    if (!itsBytes.Fetch(kLengthBytes))
    {
        return false;
    }
    const std::size_t aLength = GetWord(itsBytes.GetAvailable());
    if (aLength < kLengthBytes)
    {
        itsReports.Error(GetMarkerName(theMarker) + ": the length is below 2", theSegment.itsOffset);
    }
    itsBytes.Skip(kLengthBytes);
    const std::size_t aBodyLength = aLength - kLengthBytes;
    // Another marker follows every segment, at least EOC: it is fetched together with the body.
    itsBytes.Fetch(aBodyLength + kMarkerBytes);
    if (itsBytes.GetAvailable().size() < aBodyLength)
    {
        return false;
    }
    theSegment.itsBody = itsBytes.GetAvailable().first(aBodyLength);
    itsBytes.Skip(aBodyLength);
    return true;
}

} // namespace j2k
