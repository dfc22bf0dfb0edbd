// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "engine/detail/lines/BlockScratch.h"
#include "engine/detail/lines/LineSource.h"
#include "engine/detail/lines/Synthesis.h"
#include "engine/detail/packets/Resolution.h"

class kdu_sample_allocator;

namespace j2k
{

/// Builds the chain of sources that delivers a subband or a resolution. What is built borrows everything.
template <class Sample>
class ChainBuilder
{
public:
    ChainBuilder(BlockScratch& theScratch, kdu_sample_allocator& theAllocator)
        : itsScratch(theScratch), itsAllocator(theAllocator)
    {
    }

    /// Coefficients as they are.
    std::unique_ptr<LineSource<Sample>> Build(const Subband& theSubband);

    /// theResolution and everything below it.
    std::unique_ptr<LineSource<Sample>> Build(const Resolution& theResolution);

private:
    /// One level of the transform, and what its coefficients are multiplied by.
    struct Level
    {
        const Resolution* itsResolution;
        AxisScale itsAcross;
        AxisScale itsDown;
        float itsScale; ///< of the resolution's samples, for the levels above it
    };

    static std::vector<Level> ListLevels(const Resolution& theResolution);
    std::unique_ptr<LineSource<Sample>> BuildZeros(const Rect& theRect);
    std::unique_ptr<LineSource<Sample>> BuildSubband(const Subband& theSubband, float theScale);
    std::unique_ptr<LineSource<Sample>> BuildLevel(const Level& theLevel,
                                                   std::unique_ptr<LineSource<Sample>> theLL);

    BlockScratch& itsScratch;
    kdu_sample_allocator& itsAllocator;
};

} // namespace j2k
