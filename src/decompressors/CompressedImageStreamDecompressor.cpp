// SPDX-License-Identifier: Apache-2.0
#include "decompressors/CompressedImageStreamDecompressor.h"

#include <memory>

#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/BareImageDecode.h"
#include "decompressors/detail/WarningHandOver.h"
#include "image/VMMemoryAllocator.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/CaughtException.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
void SetOutcome(DecompressionResult& theResult, DLResultCode theCode, const RWCString& theMessage)
{
    theResult.setDCMLibResultCode(theCode);
    theResult.setMessage(theMessage);
}

void SetDecoderFailure(DecompressionResult& theResult, const CaughtException& theCause)
{
    RWCString aMessage;
    DecompressionLibUtils::ErrMessage(aMessage, "Decoder exception: %s: %s", theCause.itsClassName.c_str(),
                                      theCause.itsDescription.c_str());
    theResult.setSystemErrorCode(0);
    SetOutcome(theResult,
               theCause.itsKind == CaughtException::Kind::INTERRUPTED ? DLRC_DECODING_INTERRUPTED
                                                                      : DLRC_DECODER_ERROR,
               aMessage);
}

/// The header that belongs to the image, where the request names a file with it. False when it is there
/// but cannot be loaded.
bool LoadDemoFile(DecompressionRequest& theRequest, DecompressionResult& theResult)
{
    DICOMDataObject* const aDataSet = theRequest.getDICOMDataObject();
    if (aDataSet == nullptr || theRequest.getDemoFile().empty())
    {
        return true;
    }
    DLResultCode aCode = DLRC_SUCCESS;
    int aSystemErrorCode = 0;
    if (aDataSet->LoadFromFile(theRequest.getDemoFile(), aCode, aSystemErrorCode, DICOMTags::PixelData))
    {
        return true;
    }
    theResult.setSystemErrorCode(aSystemErrorCode);
    SetOutcome(theResult, aCode, "Unable to load the .demo file");
    return false;
}

/// False, with the outcome in theResult, when there is no way to 8-bit RGB.
bool ConvertToRGB(DICOMDataObject* theDataSet, Renderable& theImage, DecompressionResult& theResult)
{
    try
    {
        DICOMDataObject anEmptyDataSet;
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(
            theDataSet != nullptr ? *theDataSet : anEmptyDataSet, theImage);
        return true;
    }
    catch (const std::exception& anException)
    {
        SetOutcome(theResult, DLRC_NOT_SUPPORTED,
                   RWCString("CompressedImageStreamDecompressor::Decode: unable to convert image to "
                             "non-planar 8-bit RGB:") +
                       anException.what());
        return false;
    }
}

/// Never throws.
void ReportCurrentException(DecompressionResult& theResult, Reading theReading)
{
    try
    {
        const CaughtException aCaught = CaughtException::Current();
        if (theReading == Reading::BY_MEANING && aCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY)
        {
            throw; // for the handler below, which says so
        }
        SetDecoderFailure(theResult, aCaught);
    }
    catch (...)
    {
        theResult.setOutOfMemory(DLRC_DECODER_ERROR, theReading);
    }
}
} // namespace

CompressedImageStreamDecompressor::CompressedImageStreamDecompressor()
    : CompressedImageStreamDecompressor(VMMemoryAllocator::GetDefaultInstance())
{
}

CompressedImageStreamDecompressor::CompressedImageStreamDecompressor(MemoryAllocater& theAllocator)
    : itsMemoryAllocator(theAllocator)
{
}

void CompressedImageStreamDecompressor::Decompress(DecompressionRequest& theRequest,
                                                   DecompressionResult& theResult)
{
    try
    {
        theResult.forgetRenderable();
        theResult.clearWarnings();
        DecompressUnguarded(theRequest, theResult);
    }
    catch (...)
    {
        ReportCurrentException(theResult, theRequest.getReading());
    }
}

void CompressedImageStreamDecompressor::DecompressUnguarded(DecompressionRequest& theRequest,
                                                            DecompressionResult& theResult)
{
    theResult.setSystemErrorCode(0);
    SetOutcome(theResult, DLRC_SUCCESS, "Completed successfully");
    if (theRequest.getCompressedSource() == nullptr)
    {
        SetOutcome(theResult, DLRC_GENERAL_FAILURE, "Invalid compressed buffer");
        return;
    }
    if (!LoadDemoFile(theRequest, theResult))
    {
        return;
    }
    DMTickCounter aTimer;
    ReadingContext aContext(theRequest.getReading(), theRequest.isSilent());
    const WarningHandOver aHandOver(aContext, theResult);
    BareImageDecode aDecode(theRequest, itsMemoryAllocator, aContext);
    std::unique_ptr<Renderable> anImage = aDecode.Run();
    if (!anImage)
    {
        // Deliberately without the words that once stood before the bracket: callers know this text.
        SetOutcome(theResult, DLRC_DECODER_ERROR, " (no Renderable at end)");
        return;
    }
    const bool isDeepRGB = aDecode.IsDeepJPEG() && anImage->getPhotometricInterpretation() == Renderable::RGB;
    if (isDeepRGB || ConvertToRGB(theRequest.getDICOMDataObject(), *anImage, theResult))
    {
        anImage->setTotalTimeTakenToLoad(aTimer.Total() * 1000.0);
        theResult.setRenderable(anImage.release());
    }
}
