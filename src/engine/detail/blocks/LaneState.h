// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/detail/blocks/BlockState.h"

namespace j2k
{

/// What passes remember beside a BlockState that decode two blocks in turn.
///
/// Bitmaps are of groups (CodingTables.h): one shift and one extraction find all neighbours of a sample, and
/// a sample that becomes significant is one bit set. Neighbouring groups are merged in when a group is
/// entered; nothing else is told. Two groups are a word of BlockState: bit-planes are written in its layout,
/// the other maps are brought there at the end.
struct LaneState
{
    /// Clears everything. theState has begun with theBlock.
    void Begin(const CodedBlock& theBlock, const BlockState& theState);

    /// Where a stripe starts in the bordered maps.
    std::size_t GetStripe(std::uint32_t theStripe) const
    {
        return (theStripe + 1) * static_cast<std::size_t>(itsStride) + 1;
    }

    const std::uint16_t* itsZeroContexts = nullptr;
    std::uint32_t itsGroups = 0; ///< in a stripe
    std::uint64_t itsBelow = 0;  ///< kGroupBelow, or nothing where contexts are vertically causal

    /// With a border of one group left and right and of one stripe above and below.
    std::ptrdiff_t itsStride = 0;
    std::vector<std::uint64_t> itsSignificant;
    std::vector<std::uint64_t> itsNegative;

    /// Without borders.
    std::vector<std::uint64_t> itsValid;   ///< samples that belong to the block
    std::vector<std::uint64_t> itsVisited; ///< by the significance propagation pass of the current plane
    std::vector<std::uint64_t> itsRefined; ///< at least once

    /// As BlockState has them, a group in 32 bits.
    std::vector<std::uint32_t> itsPlanes;

    /// Of a refinement pass, in coding order: at first contexts as byte offsets from the first one of theirs,
    /// then decisions in bit 7.
    std::vector<std::uint8_t> itsRefinements;
    std::size_t itsRefinementCount = 0;
};

/// Goes through a block's groups in coding order.
struct GroupCursor
{
    explicit GroupCursor(LaneState& theLane)
        : itsGroups(theLane.itsGroups), itsEnd(theLane.itsValid.size()), itsLeft(theLane.itsGroups),
          itsSignificant(theLane.itsSignificant.data() + theLane.GetStripe(0)),
          itsNegative(theLane.itsNegative.data() + theLane.GetStripe(0)), itsValid(theLane.itsValid.data()),
          itsVisited(theLane.itsVisited.data())
    {
    }

    bool IsInside() const { return itsIndex < itsEnd; }

    void Advance()
    {
        ++itsIndex;
        --itsLeft;
        const std::ptrdiff_t aStep = itsLeft == 0 ? 3 : 1; // over two borders
        itsLeft = itsLeft == 0 ? itsGroups : itsLeft;
        itsSignificant += aStep;
        itsNegative += aStep;
        ++itsValid;
        ++itsVisited;
    }

    std::size_t itsGroups;
    std::size_t itsEnd;
    std::size_t itsLeft;
    std::uint64_t* itsSignificant; ///< these: the group in a map
    std::uint64_t* itsNegative;
    const std::uint64_t* itsValid;
    std::uint64_t* itsVisited;
    std::size_t itsIndex = 0; ///< in maps without borders
};

/// A block to be decoded beside another, and where to.
struct LaneRequest
{
    const CodedBlock& itsBlock; ///< with at least one segment and no raw passes
    BlockState& itsState;       ///< becomes what BlockState::AddHalfSteps leaves
    LaneState& itsLane;
    BlockFindings& itsFindings; ///< become what RunSegment finds
};

/// Decodes two blocks side by side, which is quicker than one after the other: while one waits for its
/// arithmetic decoder, the other goes on. Returns false, with nothing done, where this processor gains
/// nothing by it.
bool DecodeLanes(const LaneRequest& theFirst, const LaneRequest& theSecond);

} // namespace j2k
