// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/detail/Rect.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Arena.h"
#include "engine/detail/packets/Precinct.h"
#include "engine/detail/packets/Subband.h"

namespace j2k
{

/// One resolution of a tile's component: its geometry, its subbands and its precincts. Owned by its
/// TileComponent.
class Resolution
{
public:
    /// theComponent: the tile's component on its own grid. theNext: the resolution below, borrowed; null for
    /// resolution 0. The precinct exponents in theCoding allow code-blocks: above resolution 0 none is 0.
    Resolution(Tile& theTile, const ComponentCoding& theCoding, const Rect& theComponent,
               unsigned int theLevel, ReferenceScale theScale, Resolution* theNext);
    Resolution(const Resolution&) = delete;
    Resolution& operator=(const Resolution&) = delete;

    /// 0 is the lowest.
    unsigned int GetLevel() const { return itsLevel; }

    /// The image at this resolution (T.800 B-14).
    const Rect& GetRect() const { return itsRect; }

    /// Decodes theWindow of the resolution and no more. Returns what that takes of the resolution below.
    Rect SetWindow(const Rect& theWindow);
    const Rect& GetWindow() const { return itsWindow; }

    /// The window with the margins that synthesis needs around it, inside the resolution. What comes out in
    /// the margins is not the image.
    const Rect& GetArea() const { return itsArea; }

    /// Resolution 0: one subband, LL. Above: HL, LH, HH.
    unsigned int GetSubbandCount() const { return itsLevel == 0 ? 1 : 3; }
    Subband& GetSubband(unsigned int theIndex) { return itsSubbands[theIndex]; }
    const Subband& GetSubband(unsigned int theIndex) const { return itsSubbands[theIndex]; }

    /// The next lower resolution of the same component; null below 0.
    Resolution* GetNext() const { return itsNext; }

    bool IsReversible() const { return itsSubbands[0].IsReversible(); }

    const PrecinctGrid& GetPrecincts() const { return itsPrecincts; }

    /// A precinct by its number, row by row; null while no packet brought anything for it.
    Precinct* FindPrecinct(std::uint64_t theNumber) const
    {
        return theNumber < itsFound.size() ? itsFound[theNumber] : nullptr;
    }

    /// The same, made when it is not there. Memory grows with the highest number asked for.
    Precinct& MakePrecinct(std::uint64_t theNumber, Arena& theArena);

    /// Layers of a precinct that the progressions passed by. Used only where there are several of them.
    std::uint16_t& GetLayersPassed(std::uint64_t theNumber);

private:
    unsigned int itsLevel;
    Rect itsRect;
    Rect itsWindow;
    Rect itsArea;
    PrecinctGrid itsPrecincts;
    std::array<Subband, 3> itsSubbands;
    Resolution* itsNext;
    std::vector<Precinct*> itsFound;
    std::vector<std::uint16_t> itsLayersPassed;
};

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

    /// Decodes theWindow, given likewise, and no more. To be called before anything is read.
    void SetWindow(const Rect& theWindow);

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
    void SetFitsShortLines(bool isFit) { itsFitsShortLines = isFit; }

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
