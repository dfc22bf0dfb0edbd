// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileCoding.h"

/// A packet's place in the loops of ISO/IEC 15444-1 B.12.1.
struct PlainPacket
{
    unsigned int itsLayer;
    unsigned int itsResolution;
    unsigned int itsComponent;
    std::uint64_t itsPrecinct;

    bool operator==(const PlainPacket&) const = default;
    auto operator<=>(const PlainPacket&) const = default;
};

/// Code-blocks as column and row on the subband's grid of code-blocks, counted from the subband's first.
using PlainBlocks = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

/// A tile's packets and code-blocks, found the slow way: by walking over every position of the reference grid
/// and over every sample of every subband, exactly as the standard words it. For small tiles.
class PlainPackets
{
public:
    PlainPackets(const j2k::ImageSize& theImage, std::uint32_t theTile, const j2k::TileCoding& theCoding);

    std::vector<PlainPacket> List() const;

    /// The code-blocks of a precinct's subband (0 to 2, or LL), row by row.
    PlainBlocks ListBlocks(unsigned int theComponent, unsigned int theResolution, unsigned int theBand,
                           std::uint64_t thePrecinct) const;

    /// A code-block's place, clipped to the subband and relative to it.
    j2k::Rect GetBlock(unsigned int theComponent, unsigned int theResolution, unsigned int theBand,
                       std::pair<std::uint32_t, std::uint32_t> theBlock) const;

    j2k::Rect GetResolution(unsigned int theComponent, unsigned int theResolution) const;
    j2k::Rect GetSubband(unsigned int theComponent, unsigned int theResolution, unsigned int theBand) const;

private:
    struct Grid
    {
        j2k::Rect itsRect;
        unsigned int itsPPx;
        unsigned int itsPPy;
        std::uint64_t itsWide;
        std::uint64_t itsHigh;
    };

    using Found = std::vector<PlainPacket>;

    Grid GetGrid(unsigned int theComponent, unsigned int theResolution) const;
    void Run(const j2k::Progression& theProgression, Found& theFound) const;
    void RunWithoutPositions(const j2k::Progression& theProgression, Found& theFound) const;
    void RunPositions(const j2k::Progression& theProgression, unsigned int theFirstComponent,
                      unsigned int theEndComponent, unsigned int theFirstResolution,
                      unsigned int theEndResolution, Found& theFound) const;
    bool IsAt(unsigned int theComponent, unsigned int theResolution, std::uint64_t theX, std::uint64_t theY,
              std::uint64_t& thePrecinct) const;
    std::pair<unsigned int, unsigned int> GetLog2Block(unsigned int theComponent,
                                                       unsigned int theResolution) const;

    j2k::Rect itsTile;
    const j2k::ImageSize& itsImage;
    const j2k::TileCoding& itsCoding;
    mutable std::map<std::pair<unsigned int, unsigned int>, Grid> itsGrids;
};
