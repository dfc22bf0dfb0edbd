// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/SubbandSource.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include "engine/detail/blocks/HTBlockDecoder.h"

namespace j2k
{
namespace
{
/// Lines of the highest row of blocks. Only the first and the last row can be lower than the others.
std::uint32_t ComputeStripeHeight(const Subband& theSubband)
{
    std::uint32_t aHeight = 0;
    if (theSubband.GetBlockColumns() > 0)
    {
        for (std::uint32_t r = 0; r < std::min<std::uint32_t>(theSubband.GetBlockRows(), 2); ++r)
        {
            aHeight = std::max(aHeight, theSubband.GetBlockRect(0, r).GetHeight());
        }
    }
    return aHeight;
}

const char* Describe(HTFinding theFinding)
{
    switch (theFinding)
    {
    case HTFinding::BadLength:
        return "its clean-up pass is too short for the parts that it names";
    case HTFinding::BadCode:
        return "its clean-up pass ends before its last code";
    case HTFinding::BadMagnitude:
        return "a magnitude has more bits than its bit-planes";
    case HTFinding::OutsideBlock:
        return "a sample outside is significant";
    case HTFinding::BadRefinement:
        return "refined without bytes, or below the lowest bit-plane";
    case HTFinding::None:
        break;
    }
    return nullptr;
}
} // namespace

template <class Sample>
SubbandSource<Sample>::SubbandSource(const Subband& theSubband, BlockScratch& theScratch,
                                     kdu_sample_allocator& theAllocator, float theScale)
    : itsSubband(theSubband), itsScratch(theScratch), itsStep(theSubband.GetStep() * theScale),
      itsStripeHeight(ComputeStripeHeight(theSubband)),
      itsStripe(theAllocator, theSubband.GetRect().GetWidth(), itsStripeHeight)
{
}

template <class Sample>
const Sample* SubbandSource<Sample>::Pull()
{
    while (itsLine == itsLinesInRow)
    {
        DecodeRow();
    }
    return itsStripe.GetLine(itsLine++);
}

template <class Sample>
void SubbandSource<Sample>::DecodeRow()
{
    if (itsBlockRow == itsSubband.GetBlockRows())
    {
        throw std::logic_error("SubbandSource: no more lines");
    }
    if (!itsStripe.IsTaken())
    {
        itsStripe.Take();
        // Nothing is known of the memory, so every column counts as used.
        itsIsUsed.assign(itsSubband.GetBlockColumns(), true);
    }
    for (std::uint32_t c = 0; c < itsSubband.GetBlockColumns(); ++c)
    {
        const Rect aPlace = itsSubband.GetBlockRect(c, itsBlockRow);
        if (itsSubband.CollectBlock(c, itsBlockRow, itsScratch.GetBlock()))
        {
            DecodeBlock(c, aPlace);
        }
        else if (itsIsUsed[c])
        {
            ClearBlock(c, aPlace);
        }
    }
    itsLinesInRow = itsSubband.GetBlockRect(0, itsBlockRow).GetHeight();
    itsLine = 0;
    ++itsBlockRow;
}

template <class Sample>
void SubbandSource<Sample>::DecodeBlock(std::uint32_t theColumn, const Rect& thePlace)
{
    Report(itsScratch.Decode(), theColumn);
    const BlockDecoder& aDecoder = itsScratch.GetDecoder();
    Sample* const aSamples = itsStripe.GetLine(0) + thePlace.itsX0;
    const auto aStride = static_cast<std::ptrdiff_t>(itsStripe.GetStride());
    if constexpr (std::is_floating_point_v<Sample>)
    {
        aDecoder.Store(aSamples, aStride, itsSubband.GetRegionOfInterest(), itsStep);
    }
    else
    {
        aDecoder.Store(aSamples, aStride, itsSubband.GetRegionOfInterest());
    }
    itsIsUsed[theColumn] = true;
}

template <class Sample>
void SubbandSource<Sample>::ClearBlock(std::uint32_t theColumn, const Rect& thePlace)
{
    // All lines of the stripe: a later row of blocks may be higher.
    for (std::uint32_t y = 0; y < itsStripeHeight; ++y)
    {
        std::fill_n(itsStripe.GetLine(y) + thePlace.itsX0, thePlace.GetWidth(), Sample(0));
    }
    itsIsUsed[theColumn] = false;
}

template <class Sample>
void SubbandSource<Sample>::Report(const BlockFindings& theFindings, std::uint32_t theColumn) const
{
    // How a segment ends tells nothing where it was left before its end.
    const bool isWhole = !itsScratch.GetBlock().itsIsCut;
    if (theFindings.itsBadSegmentationSymbol && isWhole)
    {
        itsSubband.Depart(theColumn, itsBlockRow, "wrong segmentation symbol");
    }
    if (theFindings.itsBadTermination && isWhole)
    {
        itsSubband.Depart(theColumn, itsBlockRow, "coding pass not terminated as announced");
    }
    if (theFindings.itsMissingPasses)
    {
        itsSubband.Depart(theColumn, itsBlockRow, "more coding passes than its bit-planes have");
    }
    if (const char* const aText = Describe(theFindings.itsHighThroughput))
    {
        itsSubband.Depart(theColumn, itsBlockRow, aText);
    }
}

template class SubbandSource<std::int16_t>;
template class SubbandSource<std::int32_t>;
template class SubbandSource<float>;

} // namespace j2k
