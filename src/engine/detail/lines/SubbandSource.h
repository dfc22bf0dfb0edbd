// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/lines/BlockScratch.h"
#include "engine/detail/lines/LineMemory.h"
#include "engine/detail/lines/LineSource.h"

namespace j2k
{

/// The lines of a subband, from a stripe that holds one row of its code-blocks: the row is decoded when its
/// first line is pulled. Blocks without data are zero.
///
/// What blocks' bytes show to be wrong is reported as a non-conformance; the samples are used as they came
/// out.
template <class Sample>
class SubbandSource final : public LineSource<Sample>
{
public:
    /// Borrows everything. theScale multiplies the subband's step; irreversible only.
    SubbandSource(const Subband& theSubband, BlockScratch& theScratch, kdu_sample_allocator& theAllocator,
                  float theScale);

    const Sample* Pull() override;

private:
    void DecodeRow();
    void DecodeBlock(std::uint32_t theColumn, const Rect& thePlace);
    void ClearBlock(std::uint32_t theColumn, const Rect& thePlace);
    void Report(const BlockFindings& theFindings, std::uint32_t theColumn) const;

    const Subband& itsSubband;
    BlockScratch& itsScratch;
    float itsStep;
    std::uint32_t itsStripeHeight;
    LineMemory<Sample> itsStripe;

    std::uint32_t itsBlockRow = 0;   ///< the next one to be decoded
    std::uint32_t itsLine = 0;       ///< the next one inside the stripe
    std::uint32_t itsLinesInRow = 0; ///< lines of the row of blocks in the stripe
    std::vector<bool> itsIsUsed;     ///< for each column: its part of the stripe is not all zero
};

} // namespace j2k
