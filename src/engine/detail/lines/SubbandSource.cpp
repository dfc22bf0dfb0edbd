// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/SubbandSource.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "engine/detail/blocks/HTBlockDecoder.h"

namespace j2k
{
namespace
{
/// Where theBlocks lie, relative to the subband's upper left corner.
Rect FindExtent(const Subband& theSubband, const BlockRange& theBlocks)
{
    const Rect aFirst = theSubband.GetBlockRect(theBlocks.itsColumn, theBlocks.itsRow);
    const Rect aLast = theSubband.GetBlockRect(theBlocks.itsColumn + theBlocks.itsColumns - 1,
                                               theBlocks.itsRow + theBlocks.itsRows - 1);
    return {aFirst.itsX0, aFirst.itsY0, aLast.itsX1, aLast.itsY1};
}

/// Lines of the highest row of blocks. Only the first and the last row can be lower than the others.
std::uint32_t ComputeStripeHeight(const Subband& theSubband, const BlockRange& theBlocks)
{
    std::uint32_t aHeight = 0;
    for (std::uint32_t r = 0; r < std::min<std::uint32_t>(theBlocks.itsRows, 2); ++r)
    {
        aHeight =
            std::max(aHeight, theSubband.GetBlockRect(theBlocks.itsColumn, theBlocks.itsRow + r).GetHeight());
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

void BlockScratch::Add(BlockSink& theSink, std::uint32_t theColumn)
{
    itsEntries[itsCount].itsSink = &theSink;
    itsEntries[itsCount].itsColumn = theColumn;
    if (++itsCount == itsEntries.size())
    {
        Flush();
    }
}

void BlockScratch::Flush()
{
    const std::span<Entry> anEntries(itsEntries.data(), std::exchange(itsCount, 0));
    for (Entry& anEntry : anEntries)
    {
        if (!anEntry.itsDecoder.has_value())
        {
            anEntry.itsDecoder.emplace();
        }
    }
    std::array<BlockFindings, 2> aFindings;
    if (anEntries.size() == 2)
    {
        aFindings = anEntries[0].itsDecoder->DecodeWith(
            anEntries[0].itsBlock.itsBlock, *anEntries[1].itsDecoder, anEntries[1].itsBlock.itsBlock);
    }
    else if (anEntries.size() == 1)
    {
        aFindings[0] = anEntries[0].itsDecoder->Decode(anEntries[0].itsBlock.itsBlock);
    }
    for (std::size_t i = 0; i < anEntries.size(); ++i)
    {
        const Entry& anEntry = anEntries[i];
        anEntry.itsSink->TakeBlock(anEntry.itsColumn, anEntry.itsBlock, aFindings[i], *anEntry.itsDecoder);
    }
}

template <class Sample>
SubbandSource<Sample>::SubbandSource(const Subband& theSubband, BlockScratch& theScratch,
                                     kdu_sample_allocator& theAllocator, float theScale)
    : itsSubband(theSubband), itsScratch(theScratch), itsStep(theSubband.GetStep() * theScale),
      itsBlocks(theSubband.GetWindowBlocks()), itsExtent(FindExtent(theSubband, itsBlocks)),
      itsStripeHeight(ComputeStripeHeight(theSubband, itsBlocks)),
      itsStripe(theAllocator, itsExtent.GetWidth(), itsStripeHeight),
      itsFirstSample(theSubband.GetWindow().itsX0 - theSubband.GetRect().itsX0 - itsExtent.itsX0),
      itsFirstLine(theSubband.GetWindow().itsY0 - theSubband.GetRect().itsY0 - itsExtent.itsY0),
      itsBlockRow(itsBlocks.itsRow)
{
}

template <class Sample>
const Sample* SubbandSource<Sample>::Pull()
{
    while (itsLine == itsLinesInRow)
    {
        DecodeRow();
    }
    return itsStripe.GetLine(itsLine++) + itsFirstSample;
}

template <class Sample>
void SubbandSource<Sample>::DecodeRow()
{
    if (itsBlockRow == itsBlocks.itsRow + itsBlocks.itsRows)
    {
        throw std::logic_error("SubbandSource: no more lines");
    }
    const std::uint32_t aRow = itsBlockRow - itsBlocks.itsRow;
    CollectRow();
    for (SubbandSource* s = itsSibling; s != this && itsScratch.HasBlock(); s = s->itsSibling)
    {
        if (s->IsBehind(aRow))
        {
            s->CollectRow();
        }
    }
    itsScratch.Flush();
}

/// Whether the row of blocks that lies beside row number theRow of the window, or one before it, is due. The
/// last line of the row before that is no longer read then: lines of subbands that lie side by side are read
/// in pairs.
template <class Sample>
bool SubbandSource<Sample>::IsBehind(std::uint32_t theRow) const
{
    const std::uint32_t aRow = itsBlockRow - itsBlocks.itsRow;
    return itsLine == itsLinesInRow && aRow < itsBlocks.itsRows && aRow <= theRow;
}

template <class Sample>
void SubbandSource<Sample>::CollectRow()
{
    if (!itsStripe.IsTaken())
    {
        itsStripe.Take();
        // Nothing is known of the memory, so every column counts as used.
        itsIsUsed.assign(itsBlocks.itsColumns, true);
    }
    itsLinesInRow = itsSubband.GetBlockRect(itsBlocks.itsColumn, itsBlockRow).GetHeight();
    itsLine = std::exchange(itsFirstLine, 0);
    const std::uint32_t aRow = itsBlockRow++;
    for (std::uint32_t c = 0; c < itsBlocks.itsColumns; ++c)
    {
        const std::uint32_t aColumn = itsBlocks.itsColumn + c;
        if (itsSubband.CollectBlock(aColumn, aRow, itsScratch.GetBlock()))
        {
            itsIsUsed[c] = true;
            itsScratch.Add(*this, aColumn);
        }
        else if (itsIsUsed[c])
        {
            ClearBlock(itsSubband.GetBlockRect(aColumn, aRow));
            itsIsUsed[c] = false;
        }
    }
}

template <class Sample>
void SubbandSource<Sample>::TakeBlock(std::uint32_t theColumn, const CollectedBlock& theBlock,
                                      const BlockFindings& theFindings, const BlockDecoder& theDecoder)
{
    const std::uint32_t aRow = itsBlockRow - 1;
    Report(theFindings, theColumn, aRow, theBlock.itsIsCut);
    const Rect aPlace = itsSubband.GetBlockRect(theColumn, aRow);
    Sample* const aSamples = itsStripe.GetLine(0) + (aPlace.itsX0 - itsExtent.itsX0);
    const auto aStride = static_cast<std::ptrdiff_t>(itsStripe.GetStride());
    if constexpr (std::is_floating_point_v<Sample>)
    {
        theDecoder.Store(aSamples, aStride, itsSubband.GetRegionOfInterest(), itsStep);
    }
    else
    {
        theDecoder.Store(aSamples, aStride, itsSubband.GetRegionOfInterest());
    }
}

template <class Sample>
void SubbandSource<Sample>::ClearBlock(const Rect& thePlace)
{
    // All lines of the stripe: a later row of blocks may be higher.
    for (std::uint32_t y = 0; y < itsStripeHeight; ++y)
    {
        std::fill_n(itsStripe.GetLine(y) + (thePlace.itsX0 - itsExtent.itsX0), thePlace.GetWidth(),
                    Sample(0));
    }
}

template <class Sample>
void SubbandSource<Sample>::Report(const BlockFindings& theFindings, std::uint32_t theColumn,
                                   std::uint32_t theRow, bool isCut) const
{
    // How a segment ends tells nothing where it was left before its end.
    if (theFindings.itsBadSegmentationSymbol && !isCut)
    {
        itsSubband.Depart(theColumn, theRow, "wrong segmentation symbol");
    }
    if (theFindings.itsBadTermination && !isCut)
    {
        itsSubband.Depart(theColumn, theRow, "coding pass not terminated as announced");
    }
    if (theFindings.itsMissingPasses)
    {
        itsSubband.Depart(theColumn, theRow, "more coding passes than its bit-planes have");
    }
    if (const char* const aText = Describe(theFindings.itsHighThroughput))
    {
        itsSubband.Depart(theColumn, theRow, aText);
    }
}

template class SubbandSource<std::int16_t>;
template class SubbandSource<std::int32_t>;
template class SubbandSource<float>;

} // namespace j2k
