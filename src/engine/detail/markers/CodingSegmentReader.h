// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

class SegmentCursor;

/// Reads the marker segments that tell how components are coded: COD, COC, QCD, QCC, RGN, POC (T.800 A.6).
/// Values that cannot be decoded are errors; a segment about a component that is not there has no effect.
class CodingSegmentReader
{
public:
    CodingSegmentReader(std::size_t theComponents, Reports& theReports)
        : itsComponents(theComponents), itsReports(theReports)
    {
    }

    static bool IsCodingMarker(Marker theMarker);

    /// Adds what theSegment, one of the above, says. A second one of a kind replaces the first, but POC,
    /// which continues it.
    void Read(const MarkerSegment& theSegment, CodingSegments& theSegments);

private:
    void ReadCod(SegmentCursor& theCursor, CodingSegments& theSegments);
    void ReadCoc(SegmentCursor& theCursor, CodingSegments& theSegments);
    void ReadQcd(SegmentCursor& theCursor, std::uint64_t theOffset, CodingSegments& theSegments);
    void ReadQcc(SegmentCursor& theCursor, std::uint64_t theOffset, CodingSegments& theSegments);
    void ReadRgn(SegmentCursor& theCursor, CodingSegments& theSegments);
    void ReadPoc(SegmentCursor& theCursor, CodingSegments& theSegments);
    bool TakeComponent(SegmentCursor& theCursor, std::uint16_t& theComponent) const;

    std::size_t itsComponents;
    Reports& itsReports;
};

} // namespace j2k
