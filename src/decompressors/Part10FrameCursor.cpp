// SPDX-License-Identifier: Apache-2.0
#include "decompressors/Part10FrameCursor.h"

#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "decompressors/detail/WarningHandOver.h"

namespace
{
/// Messages are those of a walk.
constexpr const char* kClassName = "MultiFramePart10StreamDecompressor";
} // namespace

Part10FrameCursor::Part10FrameCursor(DecompressionRequest& theRequest, MemoryAllocater& theAllocator)
    : itsRequest(theRequest), itsFrontEnd(std::make_unique<Part10FrontEnd>(theRequest, theAllocator))
{
}

Part10FrameCursor::~Part10FrameCursor() = default;

bool Part10FrameCursor::Open(DecompressionResult& theResult)
{
    Part10FrontEnd::Guard(itsRequest, theResult,
                          [&]
                          {
                              const WarningHandOver aHandOver(itsFrontEnd->GetReadingContext(), theResult);
                              if (itsFrontEnd->OpenAndParse(kClassName, theResult))
                              {
                                  itsLoader = std::make_unique<Part10FrameLoader>(*itsFrontEnd, kClassName);
                              }
                          });
    return itsLoader != nullptr;
}

int Part10FrameCursor::GetNumberOfFrames() const
{
    return itsFrontEnd->GetAttributes().itsNumberOfFrames;
}

void Part10FrameCursor::Load(int theFrameIndex, DecompressionResult& theResult)
{
    Part10FrontEnd::Guard(itsRequest, theResult,
                          [&]
                          {
                              const WarningHandOver aHandOver(itsFrontEnd->GetReadingContext(), theResult);
                              theResult.setRenderable(itsLoader->Load(theFrameIndex).release());
                              theResult.setDCMLibResultCode(DLRC_SUCCESS);
                          });
}
