// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/MarkerReader.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// The part of COD and COC that concerns single components (T.800 table A.20).
struct CodingStyle
{
    std::uint8_t itsLevels = 0;
    std::uint8_t itsLog2BlockWidth = 6;
    std::uint8_t itsLog2BlockHeight = 6;
    std::uint8_t itsBlockStyle = 0;
    bool itsReversible = true;
    std::array<std::uint8_t, kMaxLevels + 1> itsPrecinctSizes{};
};

/// The part of COD that concerns all components (T.800 table A.14).
struct ProgressionStyle
{
    ProgressionOrder itsOrder = ProgressionOrder::LRCP;
    std::uint16_t itsLayers = 1;
    bool itsComponentTransform = false;
    bool itsMayHaveSOP = false;
    bool itsHasEPH = false;
};

/// QCD or QCC.
struct Quantization
{
    std::uint64_t itsOffset = 0; ///< of the marker
    QuantizationStyle itsStyle = QuantizationStyle::None;
    std::uint8_t itsGuardBits = 0;
    /// As ComponentCoding has them; not more than kMaxSubbands.
    std::vector<std::uint16_t> itsSteps;
};

/// What the coding marker segments of one header said, main or tile. Memory grows with those segments, not
/// with the number of components.
struct CodingSegments
{
    std::optional<ProgressionStyle> itsProgressionStyle; ///< COD
    std::optional<CodingStyle> itsStyle;                 ///< COD
    std::map<std::uint16_t, CodingStyle> itsComponentStyles;
    std::optional<Quantization> itsQuantization;
    std::map<std::uint16_t, Quantization> itsComponentQuantizations;
    std::map<std::uint16_t, std::uint8_t> itsRoiShifts;
    std::vector<Progression> itsProgressions;
};

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

/// How a tile is coded, by the precedence of T.800 A.6: COC of the tile, COD of the tile, COC of the main
/// header, COD of the main header; likewise for quantization and regions of interest. Progressions
/// are left out.
///
/// theMain must have COD and QCD. Fewer step sizes than a component's levels need are an error of theReports;
/// where that is null they stay 0.
TileCoding MergeCoding(const CodingSegments& theMain, const CodingSegments& theTile,
                       std::size_t theComponents, Reports* theReports);

} // namespace j2k
