// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "FuzzInput.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"

/// A small region, which theFile's bytes choose.
inline PixelRegion RegionFrom(const Bytes& theFile)
{
    const auto aByte = [&](std::size_t theIndex)
    { return theIndex < theFile.size() / 2 ? theFile[theFile.size() / 2 + theIndex] : std::uint8_t{0}; };
    return {aByte(0) % 32u, aByte(1) % 32u, 1u + aByte(2) % 64u, 1u + aByte(3) % 64u};
}

/// What a request came to.
struct FuzzOutcome
{
    int itsCode = 0;
    RWCString itsMessage;
    Bytes itsPixels;
};

/// Runs one request with an allocator of the given filling and checks what holds of every outcome.
inline FuzzOutcome
RunRequest(int theFill,
           const std::function<void(MemoryAllocater& theAllocator, DecompressionResult&)>& theRequest)
{
    FuzzAllocator anAllocator(theFill);
    DecompressionResult aResult;
    theRequest(anAllocator, aResult);
    Require(!aResult.getMessage().empty(), "every result has a message");
    const Renderable* const anImage = aResult.getRenderable();
    Require((aResult.getDCMLibResultCode() == DLRC_SUCCESS) == (anImage != nullptr),
            "there is either an image or an error");
    FuzzOutcome anOutcome{aResult.getDCMLibResultCode(), aResult.getMessage(), {}};
    if (anImage == nullptr)
    {
        Require(!anAllocator.HasBlocks(), "a failure frees everything");
        return anOutcome;
    }
    Require(anImage->getPixelDataSize() >= anImage->getRequiredPixelDataBufferSize(),
            "an image has all its pixels");
    const auto* const aData = static_cast<const std::uint8_t*>(anImage->getPixelData());
    anOutcome.itsPixels.assign(aData, aData + anImage->getRequiredPixelDataBufferSize());
    return anOutcome;
}

/// Runs one request twice. What memory held before must not show in the image.
inline void
RunRequestTwice(const std::function<void(MemoryAllocater& theAllocator, DecompressionResult&)>& theRequest)
{
    const FuzzOutcome aFirst = RunRequest(0x00, theRequest);
    const FuzzOutcome aSecond = RunRequest(0xa5, theRequest);
    Require(aFirst.itsCode == aSecond.itsCode, "the same input gives the same code");
    Require(aFirst.itsPixels == aSecond.itsPixels, "the same input gives the same pixels");
}
