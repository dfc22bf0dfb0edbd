// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace j2k
{

/// What the packets said about one code-block so far.
struct CodeBlock
{
    std::uint32_t itsFirstPiece = 0; ///< number of its first piece in the tile's CodePieces, 0 for none
    std::uint32_t itsLastPiece = 0;
    std::uint32_t itsPasses = 0;
    std::uint8_t itsLengthBits = 0; ///< Lblock of B.10.7.1 less its initial value
    std::uint8_t itsBitPlanes = 0;  ///< magnitude bit-planes that are coded, at most 255
    bool itsIsIncluded = false;
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

} // namespace j2k
