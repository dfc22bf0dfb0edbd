// SPDX-License-Identifier: Apache-2.0
#include "decompressors/FileToRenderableDecompressor.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>

#include "codecs/sources/CompressedSources.h"
#include "decoding/CodecTable.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "toolkit/base/CaughtException.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/LFStream.h"

namespace
{
constexpr std::size_t kBufferSize = 4096;

/// What of the call goes into the request.
struct Arguments
{
    const RWCString& itsSecondName;
    DICOMDataObject& itsDataSet;
    int itsFrameIndex;
    int itsScaleFactor;
};

void OpenAndLock(LFInputStream& theFile)
{
    if (!theFile.IsOpen())
    {
        throw StreamIOException("DGDatabase::RetrieveFromCompressedFile(): Error: unable to find image file",
                                DLRC_FILE_NOT_FOUND, 0);
    }
    if (theFile.Lock(LFStream::GetDefaultLockWaitTime(), LFStream::LOCK_FOR_READING) == 0)
    {
        throw StreamIOException("FileToRenderableDecompressor::DecodeFileToRenderable(): File locking failed",
                                DLRC_FILE_LOCKING_FAILED, errno);
    }
}

void DecodePart10(LFInputStream& theFile, const Arguments& theArguments, DecompressionResult& theResult)
{
    DecompressionRequest aRequest(&theFile, &theArguments.itsDataSet, theArguments.itsSecondName, true,
                                  theArguments.itsScaleFactor, theArguments.itsFrameIndex, "", false);
    DICOMPart10StreamDecompressor().Decompress(aRequest, theResult);
}

void DecodeBareImage(LFInputStream& theFile, const Arguments& theArguments, const RWCString& theUID,
                     DecompressionResult& theResult)
{
    InputStreamAdapter aSource(theFile);
    DecompressionRequest aRequest(&aSource, &theArguments.itsDataSet, theArguments.itsSecondName, true,
                                  theArguments.itsScaleFactor, theArguments.itsFrameIndex, theUID, false);
    aRequest.setSourceLength(static_cast<std::uint32_t>(
        std::clamp<long long>(theFile.Length(), 0, std::numeric_limits<std::uint32_t>::max())));
    CompressedImageStreamDecompressor().Decompress(aRequest, theResult);
}

/// False for an image type that is not known.
bool DecodeByType(LFInputStream& theFile, JImageType theImageType, bool isLossless,
                  const Arguments& theArguments, DecompressionResult& theResult)
{
    if (theImageType == IMAGE_TYPE_DICOM_PART10)
    {
        DecodePart10(theFile, theArguments, theResult);
        return true;
    }
    // IMAGE_TYPE_JPEG2000_LOSSLESS is not known here: the lossless argument says it.
    const CodecRow* const aRow = CodecTable::FindBareStream(theImageType, isLossless);
    if (aRow == nullptr || theImageType == IMAGE_TYPE_JPEG2000_LOSSLESS)
    {
        return false;
    }
    DecodeBareImage(theFile, theArguments, aRow->itsUID, theResult);
    return true;
}

/// Never throws.
int Fail(DecompressionResult& theResult, DLResultCode theCode, const char* theText)
{
    // An image that was made before the failure goes with it.
    const std::unique_ptr<Renderable> anImage(theResult.getRenderable());
    theResult.setRenderable(nullptr);
    theResult.setDCMLibResultCode(theCode);
    try
    {
        theResult.setMessage(RWCString("FileToRenderableDecompressor::DecodeFileToRenderable: ") + theText);
    }
    catch (...)
    {
        theResult.setOutOfMemory(theCode);
    }
    return 0;
}

/// To be called in a catch block.
int FailWithCurrentException(DecompressionResult& theResult)
{
    const CaughtException aCaught = CaughtException::Current();
    switch (aCaught.itsKind)
    {
    case CaughtException::Kind::INTERRUPTED:
        return Fail(theResult, DLRC_DECODING_INTERRUPTED, "Decoding interrupted");
    case CaughtException::Kind::STREAM:
        theResult.setSystemErrorCode(aCaught.itsSystemErrorCode);
        return Fail(theResult, aCaught.itsResultCode, aCaught.itsText.c_str());
    case CaughtException::Kind::OWN:
        return Fail(theResult, DLRC_DECODER_ERROR, aCaught.itsText.c_str());
    default:
        return Fail(theResult, DLRC_DECODER_ERROR, "unknown exception");
    }
}
} // namespace

int FileToRenderableDecompressor::DecodeFileToRenderable(const RWCString& theFileName,
                                                         const RWCString& theSecondName,
                                                         DICOMDataObject& theDataSet, JImageType theImageType,
                                                         int theFrameIndex, int theScaleFactor,
                                                         DecompressionResult& theResult, int theLossless)
{
    theResult.forgetRenderable();
    theResult.setSystemErrorCode(0);
    try
    {
        LFInputStream aFile(theFileName, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, kBufferSize);
        OpenAndLock(aFile);
        const Arguments anArguments{theSecondName, theDataSet, theFrameIndex, theScaleFactor};
        if (!DecodeByType(aFile, theImageType, theLossless != 0, anArguments, theResult))
        {
            return Fail(theResult, DLRC_NO_DECODER, "Invalid compressed image type");
        }
        if (theResult.getRenderable() == nullptr)
        {
            // Deliberately replaces what the decompressor said: callers of this operation look for this.
            return Fail(theResult, DLRC_DECODER_ERROR, "Decompressor produced a NULL Renderable");
        }
        theResult.setDCMLibResultCode(DLRC_SUCCESS);
        return 1;
    }
    catch (...)
    {
        try
        {
            return FailWithCurrentException(theResult);
        }
        catch (...)
        {
            return Fail(theResult, DLRC_DECODER_ERROR, "unknown exception");
        }
    }
}
