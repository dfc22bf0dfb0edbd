// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ByteReader.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/MainHeader.h"
#include "engine/detail/markers/MarkerReader.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// What has been read of one tile so far.
struct CollectedTile
{
    std::uint32_t itsTileParts = 0;     ///< that came
    std::uint32_t itsExpectedParts = 0; ///< 0 while no tile-part told
    bool itsIsCutShort = false;         ///< a tile-part ended before its length was reached
    std::uint64_t itsMissingBytes = 0;  ///< of such tile-parts, as far as they state a length
    bool itsLacksLength = false;        ///< one of them states none
    bool itsIsDropped = false;          ///< its bytes were not kept
    CodingSegments itsCoding;
    std::vector<BodyChunk> itsBody;
    bool itsHasPackedHeaders = false;
    std::vector<std::uint8_t> itsPackedHeaders;

    bool HasAllParts() const { return itsExpectedParts > 0 && itsTileParts >= itsExpectedParts; }

    /// The share of the tile's bytes that did not come: tile-parts that are announced and missing altogether
    /// are taken to be as long as the others. Empty where nothing tells.
    std::optional<double> GetMissingShare() const;
};

/// Reads the bodies of tile-parts: what stands between SOD and the next marker. Borrows the bytes' reader.
///
/// Packets hold no two bytes above 0xFF8F but SOP and EPH, so SOT and EOC can be found in them.
class BodyReader
{
public:
    explicit BodyReader(ByteReader& theBytes) : itsBytes(theBytes) {}

    /// Appends theCount bytes in pieces that grow with what has arrived. False where the source ends before.
    bool ReadCounted(std::uint64_t theCount, std::vector<BodyChunk>& theBody);

    /// Appends everything before the next SOT or EOC, or the end of the source, and reads not a byte further
    /// than needed to see the marker.
    void ReadToMarker(bool isTilePartStart, std::vector<BodyChunk>& theBody);

    /// Looks for SOT and EOC in the chunks from theFirst on; the first that is there and all behind it are
    /// put back. False where there is none.
    bool CutAtMarker(std::vector<BodyChunk>& theBody, std::size_t theFirst);

private:
    bool IsTilePartNext();

    ByteReader& itsBytes;
};

/// The contents of an SOT marker segment (T.800 A.4.2).
struct TilePartStart
{
    std::uint64_t itsOffset = 0; ///< of the marker
    std::uint32_t itsTile = 0;
    std::uint32_t itsLength = 0; ///< Psot, counted from the marker; 0: up to EOC
    std::uint32_t itsPart = 0;
    std::uint32_t itsParts = 0; ///< TNsot, 0 where it is not told here
};

/// Reads tile-parts one after another. Borrows all it is given.
class TilePartReader
{
public:
    TilePartReader(MarkerReader& theReader, MainHeader& theHeader, Reports& theReports);

    /// Reads the start of the first tile-part, its SOT marker being read already.
    void ReadFirstStart();

    /// The tile-part that Read takes next: its start is read already. Null behind the last.
    const TilePartStart* GetNext() const { return itsNext ? &*itsNext : nullptr; }

    /// Whether EOC was read.
    bool HasSeenEnd() const { return itsHasSeenEnd; }

    /// Reads the next tile-part into theTile, and on to the start of the one behind it.
    void Read(CollectedTile& theTile);

private:
    enum class HeaderEnd
    {
        Body,       ///< SOD
        NextMarker, ///< SOT or EOC, put back
        Truncated
    };

    /// What follows an SOT marker. False where the source ends inside it.
    bool ReadStart();
    void CheckNumbers(const TilePartStart& theStart, CollectedTile& theTile);
    HeaderEnd ReadHeader(CollectedTile& theTile, PackedHeaders& thePacked);
    void ReadHeaderSegment(const MarkerSegment& theSegment, CollectedTile& theTile, PackedHeaders& thePacked);
    void AddPackedHeaders(const TilePartStart& theStart, const PackedHeaders& thePacked,
                          CollectedTile& theTile);
    void ReadBody(const TilePartStart& theStart, CollectedTile& theTile);
    void ReadCountedBody(const TilePartStart& theStart, std::uint64_t theCount, CollectedTile& theTile);

    static void CutShort(std::uint64_t theMissing, CollectedTile& theTile);

    /// A body whose end is told by the marker behind it.
    void ReadOpenBody(bool isTilePartStart, CollectedTile& theTile);

    /// Takes SOT with its contents, EOC, or the end of the source. False where something else follows.
    bool TakeNextMarker();

    MarkerReader& itsReader;
    MainHeader& itsHeader;
    Reports& itsReports;
    BodyReader itsBodyReader;
    std::optional<TilePartStart> itsNext;
    bool itsHasSeenEnd = false;
    /// Whether a length led astray before: from then on the ends of tile-parts are looked for.
    bool itsLengthsAreWrong = false;
};

} // namespace j2k
