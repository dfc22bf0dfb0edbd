// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/OptionalSegments.h"

#include "engine/detail/markers/SegmentCursor.h"

#include <string>

namespace j2k
{

namespace
{

bool BelongsInto(Marker theMarker, HeaderKind theHeader)
{
    switch (theMarker)
    {
    case Marker::COM:
        return true;
    case Marker::PLT:
        return theHeader == HeaderKind::TilePart;
    case Marker::TLM:
    case Marker::PLM:
    case Marker::CRG:
    case Marker::PRF:
        return theHeader == HeaderKind::Main;
    default:
        return false;
    }
}

/// Ztlm, Stlm, then entries of ST and SP bytes (T.800 A.7.1).
bool IsTlmLength(std::span<const std::uint8_t> theBody)
{
    if (theBody.size() < 2)
    {
        return false;
    }
    const unsigned int anIndexBytes = (theBody[1] >> 4) & 3;
    const unsigned int aLengthBytes = (theBody[1] & 0x40) != 0 ? 4 : 2;
    return anIndexBytes != 3 && (theBody.size() - 2) % (anIndexBytes + aLengthBytes) == 0;
}

bool HasRightLength(const MarkerSegment& theSegment, std::size_t theComponents)
{
    const std::size_t aLength = theSegment.itsBody.size();
    switch (theSegment.itsMarker)
    {
    case Marker::COM:
    case Marker::PLT:
    case Marker::PLM:
        return aLength >= 2;
    case Marker::CRG:
        return aLength == 4 * theComponents;
    case Marker::TLM:
        return IsTlmLength(theSegment.itsBody);
    default:
        return true;
    }
}

} // namespace

void CheckOptionalSegment(const MarkerSegment& theSegment, HeaderKind theHeader, std::size_t theComponents,
                          Reports& theReports)
{
    const SegmentCursor aCursor(theSegment, theReports);
    if (const char* aStandard = GetUnsupportedStandard(theSegment.itsMarker))
    {
        aCursor.Error("the codestream needs " + std::string(aStandard) + ", which is not supported");
    }
    if (!IsKnownMarker(theSegment.itsMarker))
    {
        aCursor.NonConformance("unknown marker");
    }
    else if (!BelongsInto(theSegment.itsMarker, theHeader))
    {
        aCursor.NonConformance(theHeader == HeaderKind::Main
                                   ? "does not belong into the main header"
                                   : "does not belong into this tile-part's header");
    }
    else if (!HasRightLength(theSegment, theComponents))
    {
        aCursor.NonConformance("wrong length of the marker segment");
    }
}

} // namespace j2k
