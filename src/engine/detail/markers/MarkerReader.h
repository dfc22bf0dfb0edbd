// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ByteReader.h"
#include "engine/detail/markers/Marker.h"

namespace j2k
{

/// One marker segment as it stands in a header.
struct MarkerSegment
{
    Marker itsMarker = Marker::SOC;
    std::uint64_t itsOffset = 0;           ///< of the marker
    std::span<const std::uint8_t> itsBody; ///< what follows the length; valid until the reader's next call
};

/// Takes markers and marker segments off a ByteReader with two reads for each segment. Borrows all it uses.
class MarkerReader
{
public:
    MarkerReader(ByteReader& theBytes, Reports& theReports) : itsBytes(theBytes), itsReports(theReports) {}

    ByteReader& GetBytes() { return itsBytes; }

    /// The next two bytes, whatever they are. False where the source ends before them.
    bool ReadMarker(Marker& theMarker);

    /// The rest of a segment whose marker was read last. False where the source ends inside it. A length
    /// below 2 is an error.
    bool ReadSegment(Marker theMarker, MarkerSegment& theSegment);

private:
    ByteReader& itsBytes;
    Reports& itsReports;
};

} // namespace j2k
