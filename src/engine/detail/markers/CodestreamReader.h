// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "engine/detail/Rect.h"
#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// The fewest decomposition levels of any component of any tile, found while tile headers come in.
class FewestLevels
{
public:
    FewestLevels() = default;
    FewestLevels(const TileCoding& theMain, std::uint32_t theTiles);

    /// Counts in what a tile's header says; once for each tile.
    void AddTile(const CodingSegments& theTile);

    unsigned int Get() const;

private:
    unsigned int itsFewestOfMain = 0;
    unsigned int itsFewestOfTiles = kMaxLevels;
    std::size_t itsComponents = 0;
    std::uint32_t itsTilesOnMain =
        0; ///< tiles that have, or may have, a component coded as the main header says
};

} // namespace j2k

class kdu_compressed_source;

namespace j2k
{

/// Reads a codestream's marker segments and tile-parts in the order in which they come (T.800 Annex A), and
/// keeps each tile's data until it is taken. Borrows the source and the reports.
///
/// Memory grows with the bytes that have really arrived, whatever lengths are declared.
class CodestreamReader
{
public:
    CodestreamReader(kdu_compressed_source& theSource, Reports& theReports);
    ~CodestreamReader();

    /// From SOC to the first SOT.
    void ReadMainHeader();
    const ImageSize& GetImageSize() const;

    /// Reads the rest, up to EOC or the end of the source.
    void ReadAll();

    /// The fewest decomposition levels of any component over all tiles, as far as their headers were read;
    /// the main header stands for the others.
    unsigned int GetFewestLevels() const;

    /// From now on nothing but the headers is kept of tiles outside of theTiles, the columns and rows of
    /// those that may be taken; what came of others goes.
    void KeepOnly(const Rect& theTiles);

    /// Reads on until theTile, which must be in range, is complete and gives it away; later calls for it, and
    /// for one that was not kept, are an error. A tile without any tile-part comes back with an empty body,
    /// marked as truncated.
    std::unique_ptr<TileData> TakeTile(std::uint32_t theTile);

private:
    struct Implementation;
    std::unique_ptr<Implementation> itsImplementation;
};

} // namespace j2k
