// SPDX-License-Identifier: Apache-2.0
#include "decode/DecodedFrame.h"

#include <exception>

#include "decompressors/DecompressionResult.h"
#include "toolkit/base/Exceptions.h"

void DecodedFrame::Take(DecompressionResult& theResult)
{
    itsResultCode = theResult.getDCMLibResultCode();
    itsSystemError = theResult.getSystemErrorCode();
    itsMessage = theResult.getMessage();
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
    try
    {
        throw;
    }
    catch (const DICOMLibException& anException)
    {
        Fail(anException.GetResultCode(), anException.GetSystemErrorCode(), anException.GetMessageText());
    }
    catch (const ExceptionBase& anException)
    {
        Fail(DLRC_DECODER_ERROR, 0, anException.ToString());
    }
    catch (const std::bad_alloc&)
    {
        Fail(DLRC_ALLOCATION_FAILED, 0, "out of memory");
    }
    catch (const std::exception& anException)
    {
        Fail(DLRC_DECODER_ERROR, 0, anException.what());
    }
}
