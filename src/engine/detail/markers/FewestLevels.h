// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/TileCoding.h"

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
