// SPDX-License-Identifier: Apache-2.0
#include "decompressors/Part10FrameWalk.h"

#include <algorithm>

#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// What callers of the multi-frame decompressor know from its messages.
constexpr const char* kClassName = "MultiFramePart10StreamDecompressor";

void HandOut(Part10FrameLoader& theLoader, int theFirstFrame, int theCount,
             const Part10FrameWalk::Receiver& theReceiver)
{
    for (int aFrameIndex = theFirstFrame; aFrameIndex < theCount; ++aFrameIndex)
    {
        if (!theReceiver(aFrameIndex, theLoader.Load(aFrameIndex)))
        {
            return;
        }
    }
}

void Walk(Part10FrontEnd& theFrontEnd, int theFirstFrame, const Part10FrameWalk::Receiver& theReceiver)
{
    Part10FrameLoader aLoader(theFrontEnd, kClassName);
    const int aCount = aLoader.CountFrames();
    for (int aFrameIndex = 0; aFrameIndex < std::min(theFirstFrame, aCount); ++aFrameIndex)
    {
        aLoader.Pass(aFrameIndex);
    }
    HandOut(aLoader, theFirstFrame, aCount, theReceiver);
}

void WalkFrom(Part10FrontEnd& theFrontEnd, int theFirstFrame, const Part10FrameWalk::Receiver& theReceiver)
{
    Part10FrameLoader aLoader(theFrontEnd, kClassName);
    const int aCount = aLoader.CountFrames();
    if (theFirstFrame >= aCount)
    {
        throw StreamIOException("no frame " + std::to_string(theFirstFrame) + ": there are " +
                                    std::to_string(aCount),
                                DLRC_GENERAL_FAILURE, 0);
    }
    HandOut(aLoader, theFirstFrame, aCount, theReceiver);
}
} // namespace

void Part10FrameWalk::Run(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, int theFirstFrame,
                          const Receiver& theReceiver, DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, theAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd)
                          { Walk(theFrontEnd, theFirstFrame, theReceiver); });
}

void Part10FrameWalk::RunFrom(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                              int theFirstFrame, const Receiver& theReceiver, DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, theAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd)
                          { WalkFrom(theFrontEnd, theFirstFrame, theReceiver); });
}
