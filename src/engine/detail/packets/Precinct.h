// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "engine/detail/Rect.h"

namespace j2k
{

/// How a code-block is coded. High-throughput ones begin without a length where an encoder left their coarse
/// passes out, and where a component has both kinds the first length that is not 0 tells.
enum class BlockKind : std::uint8_t
{
    Open = 0,
    Arithmetic,
    HighThroughput
};

/// What the packets said about one code-block so far.
struct CodeBlock
{
    std::uint32_t itsFirstPiece = 0; ///< number of its first piece in the tile's CodePieces, 0 for none
    std::uint32_t itsLastPiece = 0;
    std::uint32_t itsPasses = 0;
    std::uint8_t itsLengthBits = 0; ///< Lblock of B.10.7.1 less its initial value
    std::uint8_t itsBitPlanes = 0;  ///< magnitude bit-planes that are coded, at most 255
    bool itsIsIncluded = false;
    BlockKind itsKind = BlockKind::Open; ///< stays so unless the component may have high-throughput blocks
};

/// The code-blocks of one subband that lie in one precinct.
struct PrecinctBand
{
    std::uint32_t itsColumns = 0;
    std::uint32_t itsRows = 0;
    /// The inclusion tree's root while no block is included: the least layer that it can be.
    std::uint32_t itsFirstLayer = 0;
    CodeBlock* itsBlocks = nullptr;            ///< row by row; null until a packet includes one of them
    std::uint32_t* itsInclusion = nullptr;     ///< nodes of a TagTree
    std::uint32_t* itsZeroBitPlanes = nullptr; ///< likewise
};

/// A precinct that a packet brought something for. Lives in the tile's Arena, all zero to begin with.
struct Precinct
{
    std::array<PrecinctBand, 3> itsBands;
    bool itsIsDamaged = false; ///< a packet of it was lost: what follows can not be read
};

/// Code-blocks of a subband's grid: itsColumn and itsRow count from the first ones of the subband.
struct BlockRange
{
    std::uint32_t itsColumn = 0;
    std::uint32_t itsRow = 0;
    std::uint32_t itsColumns = 0;
    std::uint32_t itsRows = 0;
};

/// How a resolution lies on the reference grid.
struct ReferenceScale
{
    std::uint32_t itsTileX0 = 0; ///< the tile's upper left corner on the reference grid
    std::uint32_t itsTileY0 = 0;
    std::uint8_t itsXRsiz = 1;
    std::uint8_t itsYRsiz = 1;
    unsigned int itsLevels = 0; ///< decomposition levels above the resolution
};

/// The precincts of one resolution (T.800 B.6), and where on the reference grid the progressions that go by
/// position meet each of them (B.12.1.3 to B.12.1.5).
class PrecinctGrid
{
public:
    PrecinctGrid() = default;

    /// The exponents are PPx and PPy, 0 to 15.
    PrecinctGrid(const Rect& theResolution, unsigned int theLog2Width, unsigned int theLog2Height,
                 const ReferenceScale& theScale);

    /// Both 0 where the resolution has no samples.
    std::uint32_t GetColumns() const { return itsColumns; }
    std::uint32_t GetRows() const { return itsRows; }
    std::uint64_t GetCount() const { return std::uint64_t(itsColumns) * itsRows; }

    /// Whether a precinct, given by its number, has samples in theArea of the resolution; and how many have.
    /// @{
    bool Meets(std::uint64_t theNumber, const Rect& theArea) const;
    std::uint64_t CountIn(const Rect& theArea) const;
    /// @}

    unsigned int GetLog2Width() const { return itsLog2Width; }
    unsigned int GetLog2Height() const { return itsLog2Height; }

    /// Of the first column and row, in precincts from the origin of the resolution's grid.
    std::uint32_t GetFirstColumn() const { return itsFirstColumn; }
    std::uint32_t GetFirstRow() const { return itsFirstRow; }

    /// Where on the reference grid a column or row is met. Ascending.
    std::uint32_t GetX(std::uint32_t theColumn) const;
    std::uint32_t GetY(std::uint32_t theRow) const;

private:
    std::uint32_t itsColumns = 0;
    std::uint32_t itsRows = 0;
    std::uint32_t itsFirstColumn = 0;
    std::uint32_t itsFirstRow = 0;
    std::uint8_t itsLog2Width = 0;
    std::uint8_t itsLog2Height = 0;
    bool itsStartsInColumn = false; ///< the resolution begins behind its first column's left border
    bool itsStartsInRow = false;
    ReferenceScale itsScale;
};

} // namespace j2k
