// SPDX-License-Identifier: Apache-2.0
#include "decode/DecodedFrame.h"

#include "decompressors/DecompressionResult.h"
#include "toolkit/base/CaughtException.h"

void DecodedFrame::Take(DecompressionResult& theResult)
{
    itsResultCode = theResult.getDCMLibResultCode();
    itsSystemError = theResult.getSystemErrorCode();
    itsMessage = theResult.getMessage();
    itsWarnings = theResult.getWarnings();
    itsRenderable.reset(theResult.getRenderable());
    theResult.setRenderable(nullptr);
    if (itsResultCode != DLRC_SUCCESS)
    {
        itsRenderable.reset();
    }
    else if (itsRenderable == nullptr || itsRenderable->getPixelData() == nullptr)
    {
        Fail(DLRC_DECODER_ERROR, 0, "the decompressor delivered no image");
    }
}

void DecodedFrame::Fail(DLResultCode theCode, int theSystemError, const RWCString& theMessage)
{
    itsRenderable.reset();
    itsResultCode = theCode;
    itsSystemError = theSystemError;
    itsMessage = theMessage;
}

void DecodedFrame::FailWithCurrentException()
{
    const CaughtException aCaught = CaughtException::Current();
    if (aCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY)
    {
        Fail(DLRC_ALLOCATION_FAILED, 0, "out of memory");
        return;
    }
    Fail(aCaught.GetResultCodeOr(DLRC_DECODER_ERROR), aCaught.itsSystemErrorCode, aCaught.GetReport());
}
