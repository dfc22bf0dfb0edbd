// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/HighThroughputUse.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

/// Collects the PPM or PPT marker segments of one header and puts their contents in the order of their
/// indices (T.800 A.7.4, A.7.5).
class PackedHeaders
{
public:
    bool IsEmpty() const { return itsPieces.empty(); }

    /// Takes over a copy of one marker segment.
    void Add(const MarkerSegment& theSegment, Reports& theReports);

    /// The contents of all, in order. Two with the same index are a non-conformance and stay in the order in
    /// which they came.
    std::vector<std::uint8_t> Join(Reports& theReports) const;

private:
    struct Piece
    {
        std::uint8_t itsIndex = 0;
        std::uint64_t itsOffset = 0;
        std::vector<std::uint8_t> itsBytes;
    };

    std::vector<Piece> itsPieces;
};

/// The packet headers of PPM marker segments, handed out tile-part by tile-part in the order in which the
/// codestream has them. What belongs to one tile-part may be spread over marker segments.
class MainPackedHeaders
{
public:
    MainPackedHeaders() = default;
    explicit MainPackedHeaders(std::vector<std::uint8_t> theBytes)
        : itsBytes(std::move(theBytes)), itsIsUsed(true)
    {
    }

    /// Whether there was any PPM.
    bool IsUsed() const { return itsIsUsed; }

    /// Packet headers of the next tile-part; valid while this object lives. What is missing is a
    /// non-conformance.
    std::span<const std::uint8_t> TakeNext(std::uint64_t theTilePartOffset, Reports& theReports);

private:
    std::vector<std::uint8_t> itsBytes;
    std::size_t itsPosition = 0;
    bool itsIsUsed = false;
};

/// Which of the two kinds of header a marker segment stands in.
enum class HeaderKind
{
    Main,
    TilePart
};

/// Judges a marker segment that decoding does without: TLM, PLM, PLT, CRG, COM, PRF, CPF, unknown ones, and
/// ones
/// that do not belong into this header. A wrong length or a wrong place is a non-conformance; one that
/// announces coding that this engine does not decode is an error.
void CheckOptionalSegment(const MarkerSegment& theSegment, HeaderKind theHeader, std::size_t theComponents,
                          Reports& theReports);

/// What the main header says.
struct MainHeader
{
    ImageSize itsImage;
    HighThroughputUse itsHighThroughput;
    CodingSegments itsCoding;
    MainPackedHeaders itsPackedHeaders;
};

/// Reads a main header from SOC up to and including the first SOT marker. One that ends before, or lacks SIZ,
/// COD or QCD, is an error.
MainHeader ReadMainHeader(MarkerReader& theReader, Reports& theReports);

} // namespace j2k
