// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/lines/LineSource.h"
#include "engine/detail/packets/Subband.h"

namespace j2k
{

/// Takes the samples of a subband's code-blocks.
class BlockSink
{
public:
    /// theDecoder holds the samples of theBlock, which was collected at theColumn of the current row.
    virtual void TakeBlock(std::uint32_t theColumn, const CollectedBlock& theBlock,
                           const BlockFindings& theFindings, const BlockDecoder& theDecoder) = 0;

protected:
    ~BlockSink() = default;
};

/// What decoding code-blocks needs, shared by all subbands of one chain of lines. Blocks are decoded two at a
/// time, as soon as two are there. Without any block it costs nothing.
class BlockScratch
{
public:
    /// Where the data of the next block is collected.
    CollectedBlock& GetBlock() { return itsEntries[itsCount].itsBlock; }

    /// GetBlock holds a block for theSink.
    void Add(BlockSink& theSink, std::uint32_t theColumn);

    /// A block waits for another one.
    bool HasBlock() const { return itsCount > 0; }

    /// Decodes what waits. To be called before lines are read.
    void Flush();

private:
    struct Entry
    {
        CollectedBlock itsBlock;
        BlockSink* itsSink = nullptr;
        std::uint32_t itsColumn = 0;
        std::optional<BlockDecoder> itsDecoder;
    };

    std::array<Entry, 2> itsEntries;
    std::uint32_t itsCount = 0;
};

/// The lines of a subband's window, from a stripe that holds one row of the code-blocks that lie in it: the
/// row is decoded when its first line is pulled. Blocks without data are zero.
///
/// What blocks' bytes show to be wrong is reported as a non-conformance; the samples are used as they came
/// out.
template <class Sample>
class SubbandSource final : public LineSource<Sample>, private BlockSink
{
public:
    /// Borrows everything. The window is not empty. theScale multiplies the subband's step; irreversible
    /// only.
    SubbandSource(const Subband& theSubband, BlockScratch& theScratch, kdu_sample_allocator& theAllocator,
                  float theScale);

    const Sample* Pull() override;

    /// Another subband of the resolution, and its sibling in turn, round to this one. When a row of blocks
    /// here leaves one without a second, the rows of siblings that are due are decoded as well.
    void SetSibling(SubbandSource& theSibling) { itsSibling = &theSibling; }

private:
    void DecodeRow();
    void CollectRow();
    bool IsBehind(std::uint32_t theRow) const;
    void TakeBlock(std::uint32_t theColumn, const CollectedBlock& theBlock, const BlockFindings& theFindings,
                   const BlockDecoder& theDecoder) override;
    void ClearBlock(const Rect& thePlace);
    void Report(const BlockFindings& theFindings, std::uint32_t theColumn, std::uint32_t theRow,
                bool isCut) const;

    const Subband& itsSubband;
    BlockScratch& itsScratch;
    SubbandSource* itsSibling = this;
    float itsStep;
    BlockRange itsBlocks;
    Rect itsExtent; ///< of all these blocks, relative to the subband's upper left corner
    std::uint32_t itsStripeHeight;
    LineMemory<Sample> itsStripe;
    std::uint32_t itsFirstSample; ///< of the window, in a line of the stripe
    std::uint32_t itsFirstLine;   ///< of the window, in the first row of blocks; 0 for later rows

    std::uint32_t itsBlockRow;       ///< the next one to be decoded
    std::uint32_t itsLine = 0;       ///< the next one inside the stripe
    std::uint32_t itsLinesInRow = 0; ///< lines of the row of blocks in the stripe
    std::vector<bool> itsIsUsed; ///< for each of itsBlocks' columns: its part of the stripe is not all zero
};

} // namespace j2k
