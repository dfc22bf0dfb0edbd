// SPDX-License-Identifier: Apache-2.0
#include "decompressors/Part10FrameWalk.h"

#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"

namespace
{
/// What callers of the multi-frame decompressor know from its messages.
constexpr const char* kClassName = "MultiFramePart10StreamDecompressor";

void Walk(Part10FrontEnd& theFrontEnd, int theFirstFrame, const Part10FrameWalk::Receiver& theReceiver)
{
    Part10FrameLoader aLoader(theFrontEnd, kClassName);
    const int aCount = aLoader.CountFrames();
    for (int aFrameIndex = 0; aFrameIndex < aCount; ++aFrameIndex)
    {
        if (aFrameIndex < theFirstFrame)
        {
            aLoader.Pass(aFrameIndex);
        }
        else if (!theReceiver(aFrameIndex, aLoader.Load(aFrameIndex)))
        {
            return;
        }
    }
}
} // namespace

void Part10FrameWalk::Run(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, int theFirstFrame,
                          const Receiver& theReceiver, DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, theAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd)
                          { Walk(theFrontEnd, theFirstFrame, theReceiver); });
}
