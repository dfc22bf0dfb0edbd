// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/lines/LineSource.h"
#include "engine/detail/packets/Subband.h"

namespace j2k
{

/// What decoding code-blocks needs, shared by all subbands of one chain of lines: they decode up to two
/// blocks at a time. Without any block it costs nothing.
class BlockScratch
{
public:
    static constexpr std::uint32_t kBlocks = 2;

    /// Where the data of a block is collected.
    CollectedBlock& GetBlock(std::uint32_t theIndex) { return itsBlocks[theIndex]; }

    /// Decodes the first theCount blocks that were collected. The samples stay with their decoders until the
    /// next call.
    std::array<BlockFindings, kBlocks> Decode(std::uint32_t theCount)
    {
        for (std::uint32_t i = 0; i < theCount; ++i)
        {
            if (!itsDecoders[i].has_value())
            {
                itsDecoders[i].emplace();
            }
        }
        return theCount == 1
                   ? std::array<BlockFindings, kBlocks>{itsDecoders[0]->Decode(itsBlocks[0].itsBlock)}
                   : itsDecoders[0]->DecodeWith(itsBlocks[0].itsBlock, *itsDecoders[1],
                                                itsBlocks[1].itsBlock);
    }

    /// Only after Decode.
    const BlockDecoder& GetDecoder(std::uint32_t theIndex) const { return *itsDecoders[theIndex]; }

private:
    std::array<std::optional<BlockDecoder>, kBlocks> itsDecoders;
    std::array<CollectedBlock, kBlocks> itsBlocks;
};

/// The lines of a subband's window, from a stripe that holds one row of the code-blocks that lie in it: the
/// row is decoded when its first line is pulled. Blocks without data are zero.
///
/// What blocks' bytes show to be wrong is reported as a non-conformance; the samples are used as they came
/// out.
template <class Sample>
class SubbandSource final : public LineSource<Sample>
{
public:
    /// Borrows everything. The window is not empty. theScale multiplies the subband's step; irreversible
    /// only.
    SubbandSource(const Subband& theSubband, BlockScratch& theScratch, kdu_sample_allocator& theAllocator,
                  float theScale);

    const Sample* Pull() override;

private:
    void DecodeRow();
    /// theColumns: of the collected blocks, in their order.
    void DecodeBlocks(std::span<const std::uint32_t> theColumns);
    void StoreBlock(const BlockDecoder& theDecoder, const Rect& thePlace);
    void ClearBlock(const Rect& thePlace);
    void Report(const BlockFindings& theFindings, std::uint32_t theColumn, bool isCut) const;

    const Subband& itsSubband;
    BlockScratch& itsScratch;
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
