// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/Rect.h"
#include "engine/detail/Reports.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

/// One component's entry of the SIZ marker segment.
struct ComponentSize
{
    std::uint8_t itsDepth = 0; ///< 1 to 38
    bool itsSigned = false;
    std::uint8_t itsXRsiz = 1; ///< 1 to 255
    std::uint8_t itsYRsiz = 1;
};

/// What the SIZ marker segment says (T.800 A.5.1), checked: areas are not empty, the first tile meets the
/// image, at most 65535 tiles, 1 to 16384 components.
struct ImageSize
{
    std::uint16_t itsCapabilities = 0; ///< Rsiz
    Rect itsImage;                     ///< on the reference grid
    std::uint32_t itsTileWidth = 0;
    std::uint32_t itsTileHeight = 0;
    std::uint32_t itsTileOriginX = 0;
    std::uint32_t itsTileOriginY = 0;
    std::uint32_t itsTilesAcross = 0;
    std::uint32_t itsTilesDown = 0;
    std::vector<ComponentSize> itsComponents;

    std::uint32_t GetTileCount() const { return itsTilesAcross * itsTilesDown; }

    /// A tile on the reference grid, clipped to the image (T.800 B-7 to B-11).
    Rect GetTile(std::uint32_t theIndex) const;

    /// The columns and rows of the tiles that have something of theArea, a part of the image.
    Rect FindTiles(const Rect& theArea) const;

    /// theArea of the reference grid on a component's own grid (T.800 B-2, B-12).
    Rect ToComponent(const Rect& theArea, std::size_t theComponent) const;
};

/// Reads and checks a SIZ marker segment (T.800 A.5.1). What cannot be decoded is an error.
ImageSize ReadSiz(const MarkerSegment& theSegment, Reports& theReports);

} // namespace j2k
