// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/Rect.h"
#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Precinct.h"

namespace j2k
{
class Resolution;
class Tile;

/// A code-block's bytes collected from its packets, and the block that refers to them. Reused from block to
/// block.
struct CollectedBlock
{
    CodedBlock itsBlock;
    std::vector<CodedSegment> itsSegments;
    std::vector<std::uint8_t> itsBytes;
    /// Coding passes that belong to the last segment are missing, or may be: they came in layers that are not
    /// decoded, or did not come.
    bool itsIsCut = false;
};

/// One subband of a tile's component: its geometry, its quantization and its code-blocks.
///
/// Owned by its Resolution. Code-blocks are numbered by column and row of the grid that covers the subband.
class Subband
{
public:
    Subband() = default;

    /// theComponent: the tile's component on its own grid. Borrows the tile and the resolution, whose level
    /// and precincts are known already.
    Subband(Tile& theTile, Resolution& theResolution, const ComponentCoding& theCoding,
            const Rect& theComponent, Band theBand);

    /// On the subband's own grid (T.800 B-15).
    const Rect& GetRect() const { return itsRect; }

    /// The part that is decoded.
    /// @{
    void SetWindow(const Rect& theWindow) { itsWindow = theWindow; }
    const Rect& GetWindow() const { return itsWindow; }
    BlockRange GetWindowBlocks() const;
    /// @}

    bool IsReversible() const { return itsReversible; }

    /// What one unit of a coefficient is worth, as a share of the component's nominal range: the step size of
    /// E-3 divided by 2^depth, so that full-scale samples lie in [-0.5, 0.5). Irreversible only.
    float GetStep() const { return itsStep; }

    const RegionOfInterest& GetRegionOfInterest() const { return itsRegion; }

    std::uint32_t GetBlockColumns() const { return itsBlockColumns; }
    std::uint32_t GetBlockRows() const { return itsBlockRows; }

    /// Of the largest block.
    std::uint32_t GetMostBlockSamples() const;

    /// A block's place inside the subband, relative to the subband's upper left corner.
    Rect GetBlockRect(std::uint32_t theColumn, std::uint32_t theRow) const;

    /// Collects a block's data. False when no packet included it: its samples are zero.
    bool CollectBlock(std::uint32_t theColumn, std::uint32_t theRow, CollectedBlock& theBlock) const;

    /// Whether any packet included any block of the subband.
    bool HasData() const { return itsLargestBitPlanes > 0; }

    /// The most magnitude bit-planes of any included block, a region of interest's shift taken off again:
    /// every coefficient's magnitude is below two to this power.
    std::uint32_t GetLargestBitPlanes() const { return itsLargestBitPlanes; }

    /// The tile that the subband belongs to.
    Tile& GetTile() const { return *itsTile; }

    /// Reports what the bytes of a collected block showed to be wrong, as a non-conformance.
    void Depart(std::uint32_t theColumn, std::uint32_t theRow, const char* theFinding) const;

    /// CodeBlockStyle bits.
    std::uint8_t GetBlockStyle() const { return itsBlockStyle; }

    /// Magnitude bit-planes that a block without any zero bit-plane has: Mb of E-2 and the shift of a region
    /// of interest.
    std::uint32_t GetMostBitPlanes() const { return itsMostBitPlanes; }

    /// Whether what is decoded of a block is coded with high throughput. One that nothing came of is neither.
    bool IsHighThroughput(const CodeBlock& theBlock) const;

    /// The code-blocks in a precinct, given by column and row of the resolution's precincts.
    BlockRange GetPrecinctBlocks(std::uint32_t theColumn, std::uint32_t theRow) const;

    /// Takes note that a block of so many bit-planes has data.
    void NoteBitPlanes(std::uint32_t theBitPlanes);

private:
    /// One axis of the grid of code-blocks.
    struct Axis
    {
        std::uint32_t itsBegin = 0; ///< of the subband
        std::uint32_t itsEnd = 0;
        std::uint32_t itsFirstPrecinct = 0;
        std::uint8_t itsLog2Precinct = 0; ///< of the precincts' share of the subband
        std::uint8_t itsLog2Block = 0;    ///< at most itsLog2Precinct

        std::uint32_t GetFirstBlock() const { return itsBegin >> itsLog2Block; }
        std::uint32_t CountBlocks() const;
        void GetBlock(std::uint32_t theIndex, std::uint32_t& theBegin, std::uint32_t& theEnd) const;
        /// The blocks that have samples from theBegin to theEnd, counted from the first one of the subband.
        void GetBlocks(std::uint64_t theBegin, std::uint64_t theEnd, std::uint32_t& theFirst,
                       std::uint32_t& theCount) const;
        /// The blocks in a precinct, counted likewise.
        void GetPrecinct(std::uint32_t theIndex, std::uint32_t& theFirst, std::uint32_t& theCount) const;
        /// The precinct that a block lies in.
        std::uint32_t FindPrecinct(std::uint32_t theBlock) const;
    };

    void SetQuantization(const ComponentCoding& theCoding, unsigned int theStep);
    const CodeBlock* FindBlock(std::uint32_t theColumn, std::uint32_t theRow) const;
    bool IsCut(const CodeBlock& theBlock, const std::vector<CodedSegment>& theSegments) const;
    unsigned int GetIndex() const { return itsBand == Band::LL ? 0 : static_cast<unsigned int>(itsBand) - 1; }

    Tile* itsTile = nullptr;
    const Resolution* itsResolution = nullptr;
    Band itsBand = Band::LL;
    bool itsReversible = true;
    std::uint8_t itsBlockStyle = 0;
    Rect itsRect;
    Rect itsWindow;
    Axis itsHorizontal;
    Axis itsVertical;
    float itsStep = 0;
    RegionOfInterest itsRegion;
    std::uint32_t itsBlockColumns = 0;
    std::uint32_t itsBlockRows = 0;
    std::uint32_t itsMostBitPlanes = 0;
    std::uint32_t itsLargestBitPlanes = 0;
};

} // namespace j2k
