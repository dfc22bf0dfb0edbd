// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/blocks/CodingTables.h"

namespace j2k
{

/// What decoding remembers of a block while its passes run.
///
/// A block is a grid of words: 16 columns of one stripe of four rows, 64 samples in the order in which passes
/// scan them, so that bit 4 * column + row of a 64-bit word is one sample. Everything that is yes or no for
/// a sample is such a bitmap: which samples a pass visits comes out of a few operations for 64 samples, and
/// the magnitudes themselves are kept as one bitmap for each bit-plane, turned into numbers at the end.
///
/// Contexts are looked up by bytes in the same order, one for each sample: its significant neighbours, and
/// its nearest neighbours with their signs. They are written when a sample becomes significant, once in its
/// life, and read at every decision. Four of them are a column of a stripe and are changed as one 32-bit
/// word. A border of one column and one stripe takes what falls outside the block.
struct BlockState
{
    static constexpr unsigned int kWordColumns = 16;
    static constexpr std::uint64_t kRow0 = 0x1111111111111111U;
    static constexpr std::uint64_t kRow3 = kRow0 << 3;

    /// Takes over the block's geometry and clears everything.
    void Begin(const CodedBlock& theBlock);

    /// The same without what passes look up: for passes that keep their own maps, and write itsSignificant
    /// and itsNegative at their end.
    void BeginPlanes(const CodedBlock& theBlock);

    /// To be called once, when thePasses passes were run: adds half of the last decoded plane to every
    /// sample.
    void AddHalfSteps(std::uint32_t thePasses);

    /// Samples of a word that belong to the block.
    std::uint64_t GetValid(std::uint32_t theStripe, std::uint32_t theWord) const
    {
        return (theStripe + 1 == itsStripes ? itsLastStripe : ~std::uint64_t{0}) &
               (theWord + 1 == itsWords ? itsLastWord : ~std::uint64_t{0});
    }

    std::uint64_t* GetPlane(unsigned int thePlane) { return itsPlanes.data() + thePlane * itsPlaneSize; }
    const std::uint64_t* GetPlane(unsigned int thePlane) const
    {
        return itsPlanes.data() + thePlane * itsPlaneSize;
    }

    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    std::uint32_t itsBitPlanes = 0;
    std::uint8_t itsStyle = 0;
    const std::uint8_t* itsZeroContexts = nullptr;

    std::uint32_t itsStripes = 0;
    std::uint32_t itsWords = 0; ///< in a stripe
    std::uint64_t itsLastStripe = 0;
    std::uint64_t itsLastWord = 0;

    /// Words of a stripe with a border word on the left and one on the right, and a stripe of them above and
    /// below.
    std::size_t itsBorderedWords = 0;
    std::vector<std::uint64_t> itsSignificant;

    /// Columns of a stripe; the border column on the right of a stripe is the next one's on the left.
    std::size_t itsColumns = 0;
    std::vector<std::uint32_t> itsNeighbours; ///< Neighbour
    std::vector<std::uint32_t> itsSigns;      ///< index of kSignContexts

    /// Without borders.
    std::size_t itsPlaneSize = 0;
    std::vector<std::uint64_t> itsVisited; ///< by the significance propagation pass of the current plane
    std::vector<std::uint64_t> itsRefined; ///< at least once
    std::vector<std::uint64_t> itsNegative;

    /// The block's samples, doubled: bitmaps of magnitude bits, number 0 of the half step below plane 0.
    /// Those below itsLowestPlane are zero and not stored.
    std::vector<std::uint64_t> itsPlanes;
    unsigned int itsLowestPlane = 0;

    std::array<std::uint64_t, kContextCount> itsContexts{};
};

/// A decoder goes on for so many bits behind the end of its bytes: no encoder needs as many, and passes over
/// nothing would cost time that no byte pays for.
constexpr std::int64_t kMostSyntheticBits = 256;

/// Runs the passes of one segment, the first of which is number thePass of the block (0 is the cleanup pass
/// of the first plane). Returns how many passes were run; fewer than the segment has when its bytes ran out
/// or the bit-planes did.
std::uint32_t RunSegment(BlockState& theState, const CodedSegment& theSegment, std::uint32_t thePass,
                         BlockFindings& theFindings);

/// How the samples of a block are laid out as rows.
struct StoreTarget
{
    std::ptrdiff_t itsStride = 0; ///< in samples
    RegionOfInterest itsRegion;
    float itsStep = 0; ///< of floats
};

void StoreBlock(const BlockState& theState, std::int16_t* theRows, const StoreTarget& theTarget);
void StoreBlock(const BlockState& theState, std::int32_t* theRows, const StoreTarget& theTarget);
void StoreBlock(const BlockState& theState, float* theRows, const StoreTarget& theTarget);

} // namespace j2k
