// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileCoding.h"
#include "engine/detail/packets/Resolution.h"

namespace j2k
{
class Tile;

/// One component of an open tile. Owned by its Tile.
class TileComponent
{
public:
    /// theTileRect: the tile on the reference grid. theRect: the same on the component's own grid.
    /// theDiscardLevels highest resolutions are not decoded, as far as there are that many.
    TileComponent(Tile& theTile, const ComponentSize& theSize, const ComponentCoding& theCoding,
                  const Rect& theTileRect, const Rect& theRect, unsigned int theDiscardLevels);

    bool IsReversible() const { return itsReversible; }
    const ComponentSize& GetSize() const { return itsSize; }

    /// The whole component of the tile on its own grid, at full resolution.
    const Rect& GetRect() const { return itsRect; }

    /// Whether the tile's component transform covers this component, and the component is not the first of
    /// the three: reversible samples then have one bit more.
    bool IsChrominance() const { return itsIsChrominance; }
    void SetChrominance() { itsIsChrominance = true; }

    /// Decomposition levels, the ones left out included.
    unsigned int GetLevels() const { return static_cast<unsigned int>(itsResolutions.size()) - 1; }

    /// Resolutions that are decoded, at least 1.
    unsigned int GetResolutionCount() const { return itsDecodedResolutions; }
    Resolution& GetResolution(unsigned int theLevel) { return *itsResolutions[theLevel]; }
    const Resolution& GetResolution(unsigned int theLevel) const { return *itsResolutions[theLevel]; }

    /// Whether 16-bit lines are exact, see kdu_tile_comp::fits_short_lines.
    bool FitsShortLines() const { return itsFitsShortLines; }
    void SetFitsShortLines(bool theFits) { itsFitsShortLines = theFits; }

private:
    ComponentSize itsSize;
    Rect itsRect;
    bool itsReversible;
    bool itsIsChrominance = false;
    bool itsFitsShortLines = false;
    unsigned int itsDecodedResolutions;
    std::vector<std::unique_ptr<Resolution>> itsResolutions;
};

} // namespace j2k
