// SPDX-License-Identifier: Apache-2.0
#include "decompressors/Part10FrameWalk.h"

#include <algorithm>
#include <utility>

#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// What callers of the multi-frame decompressor know from its messages.
constexpr const char* kClassName = "MultiFramePart10StreamDecompressor";

/// One walk: where frames come from, where they go.
struct Walk
{
    Part10FrontEnd& itsFrontEnd;
    const Part10FrameWalk::Receiver& itsReceiver;
    DecompressionResult& itsResult;
    Part10FrameLoader itsLoader{itsFrontEnd, kClassName};
    int itsCount = itsFrontEnd.GetAttributes().itsNumberOfFrames;

    void HandOut(int theFirstFrame)
    {
        for (int aFrameIndex = theFirstFrame; aFrameIndex < itsCount; ++aFrameIndex)
        {
            std::unique_ptr<Renderable> anImage = itsLoader.Load(aFrameIndex);
            const std::vector<DecodeWarning> aWarnings = itsFrontEnd.GetReadingContext().TakeWarnings();
            itsResult.addWarnings(aWarnings);
            if (!itsReceiver(aFrameIndex, std::move(anImage), aWarnings))
            {
                return;
            }
        }
    }

    void PassTo(int theFirstFrame)
    {
        for (int aFrameIndex = 0; aFrameIndex < std::min(theFirstFrame, itsCount); ++aFrameIndex)
        {
            itsLoader.Pass(aFrameIndex);
        }
    }

    void CheckFrame(int theFirstFrame) const
    {
        if (theFirstFrame >= itsCount)
        {
            throw StreamIOException("no frame " + std::to_string(theFirstFrame) + ": there are " +
                                        std::to_string(itsCount),
                                    DLRC_GENERAL_FAILURE, 0);
        }
    }
};
} // namespace

void Part10FrameWalk::Run(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, int theFirstFrame,
                          const Receiver& theReceiver, DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, theAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd)
                          {
                              Walk aWalk{theFrontEnd, theReceiver, theResult};
                              aWalk.PassTo(theFirstFrame);
                              aWalk.HandOut(theFirstFrame);
                          });
}

void Part10FrameWalk::RunFrom(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                              int theFirstFrame, const Receiver& theReceiver, DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, theAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd)
                          {
                              Walk aWalk{theFrontEnd, theReceiver, theResult};
                              aWalk.CheckFrame(theFirstFrame);
                              aWalk.HandOut(theFirstFrame);
                          });
}
