// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/BodyReader.h"
#include "engine/detail/markers/CollectedTile.h"
#include "engine/detail/markers/MainHeader.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

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

    /// A body whose end is told by the marker behind it.
    void ReadOpenBody(bool theStartsTilePart, CollectedTile& theTile);

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
