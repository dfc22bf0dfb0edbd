// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ByteReader.h"

namespace j2k
{

/// Marker codes (T.800 table A.2), and CAP and CPF of high-throughput codestreams (T.814).
enum class Marker : std::uint16_t
{
    SOC = 0xFF4F,
    CAP = 0xFF50,
    SIZ = 0xFF51,
    COD = 0xFF52,
    COC = 0xFF53,
    TLM = 0xFF55,
    PRF = 0xFF56,
    PLM = 0xFF57,
    PLT = 0xFF58,
    CPF = 0xFF59,
    QCD = 0xFF5C,
    QCC = 0xFF5D,
    RGN = 0xFF5E,
    POC = 0xFF5F,
    PPM = 0xFF60,
    PPT = 0xFF61,
    CRG = 0xFF63,
    COM = 0xFF64,
    SOT = 0xFF90,
    SOP = 0xFF91,
    EPH = 0xFF92,
    SOD = 0xFF93,
    EOC = 0xFFD9
};

/// Whether the code is one of those above.
bool IsKnownMarker(Marker theMarker);

/// "COD", or "Marker 0xFF6A" for one that is not known.
std::string GetMarkerName(Marker theMarker);

/// Whether the code lies in the range 0xFF30 to 0xFF3F: markers that stand alone and are skipped.
bool IsBareMarker(Marker theMarker);

/// Whether a header may hold the marker with a length and contents behind it. False for delimiters and for
/// codes that are no markers.
bool IsSegmentMarker(Marker theMarker);

/// The standard whose decoding the marker announces where this engine does not decode it, otherwise null.
const char* GetUnsupportedStandard(Marker theMarker);

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

/// Reads the numbers of one marker segment; one that is not there any more is an error naming the segment.
class SegmentCursor
{
public:
    SegmentCursor(const MarkerSegment& theSegment, Reports& theReports)
        : itsSegment(theSegment), itsReports(theReports), itsRest(theSegment.itsBody)
    {
    }

    std::uint8_t TakeByte() { return static_cast<std::uint8_t>(Take(1)); }
    std::uint16_t TakeWord() { return static_cast<std::uint16_t>(Take(2)); }
    std::uint32_t TakeLong() { return Take(4); }

    /// One byte, or two where a codestream of theComponents components uses two for a component's index.
    std::uint16_t TakeComponent(std::size_t theComponents)
    {
        return static_cast<std::uint16_t>(Take(theComponents < 257 ? 1 : 2));
    }

    std::span<const std::uint8_t> GetRest() const { return itsRest; }

    /// Reports beginning with the marker's name, at its offset.
    [[noreturn]] void Error(const std::string& theText) const;
    void NonConformance(const std::string& theText) const;

    /// A non-conformance unless everything was taken.
    void ExpectEnd() const;

private:
    std::uint32_t Take(std::size_t theBytes);

    const MarkerSegment& itsSegment;
    Reports& itsReports;
    std::span<const std::uint8_t> itsRest;
};

} // namespace j2k
