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

bool DecodedFrame::IsWithoutImage() const
{
    // What ends amid an element is a parse error, and so no object that was read to its end.
    return !IsDecoded() && itsResultCode == DLRC_GENERAL_FAILURE && itsDataSet != nullptr &&
           IsOfNoImage(*itsDataSet);
}

bool DecodedFrame::IsOfNoImage(const DICOMDataObject& theDataSet)
{
    // Objects with an image always have rows, spectra have them for their voxels.
    constexpr DICOMTag kSpectroscopyData{0x5600, 0x0020};
    return !theDataSet.Contains(DICOMTags::Rows) || theDataSet.Contains(kSpectroscopyData);
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
