// SPDX-License-Identifier: Apache-2.0
#include "decompressors/BareStreamDecode.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "codecs/jpeg/JPEGHeader.h"
#include "codecs/sources/CompressedSources.h"
#include "decoding/CodecTable.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/ImageDescription.h"
#include "decompressors/detail/UnwrittenPixels.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/io/InputStream.h"

namespace
{
/// Lossless colour without a marker is RGB: a lossless coder has nothing to gain from YCbCr. The codec is
/// told so by a data set; otherwise it guesses as for lossy streams.
bool IsUnmarkedLosslessColour(const JPEGHeader& theHeader)
{
    return theHeader.IsLossless() && theHeader.itsComponents == 3 && !theHeader.itsColourMarked;
}

std::unique_ptr<DICOMDataObject> MakeDataSet(const char* theInterpretation)
{
    auto aDataSet = std::make_unique<DICOMDataObject>();
    const MVRFactory aFactory(aDataSet->GetDataDictionary(), aDataSet->GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    aDataSet->ReplaceVR(aFactory.CreateString(DICOMTags::PhotometricInterpretation, theInterpretation));
    return aDataSet;
}

ImageDescription Describe(const JPEGHeader& theHeader)
{
    ImageDescription aDescription;
    aDescription.itsInterpretation =
        theHeader.GetSamplesPerPixel() == 1 ? Renderable::MONOCHROME2 : Renderable::RGB;
    aDescription.itsRows = theHeader.itsRows;
    aDescription.itsColumns = theHeader.itsColumns;
    aDescription.itsSamplesPerPixel = theHeader.GetSamplesPerPixel();
    aDescription.itsBitsAllocated = 16;
    aDescription.itsBitsStored = theHeader.itsPrecision;
    aDescription.itsHighBit = theHeader.itsPrecision - 1;
    aDescription.itsIsLossy = !theHeader.IsLossless();
    aDescription.itsIsLittleEndian = DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER;
    return aDescription;
}

/// An image of theHeader's size, its buffer allocated.
std::unique_ptr<Renderable> MakeRenderable(const JPEGHeader& theHeader,
                                           const ImageDescription& theDescription)
{
    auto aRenderable = std::make_unique<Renderable>();
    theDescription.WriteTo(*aRenderable);

    const std::uint64_t aSize = std::uint64_t{2} * static_cast<std::uint64_t>(theHeader.itsRows) *
                                static_cast<std::uint64_t>(theHeader.itsColumns) *
                                static_cast<std::uint64_t>(theHeader.GetSamplesPerPixel());
    if (aSize == 0 || aRenderable->getRequiredPixelDataBufferSize() != aSize)
    {
        throw StreamIOException(
            "the frame header's size is not usable: " + std::to_string(theHeader.itsColumns) + " x " +
                std::to_string(theHeader.itsRows),
            DLRC_DECODER_ERROR, 0);
    }
    Limits::CheckFrame(static_cast<std::uint64_t>(theHeader.itsRows),
                       static_cast<std::uint64_t>(theHeader.itsColumns), aSize);
    aRenderable->allocatePixelData();
    UnwrittenPixels::Blank(*aRenderable, theHeader.GetTransferSyntaxUID());
    return aRenderable;
}

/// Bytes from the stream's position to its end, as many as a request can count; 0 where unknown.
std::uint32_t LengthLeft(const InputStream& theStream)
{
    const long long aRest = theStream.Length() - static_cast<long long>(theStream.GetStreamPosition());
    return static_cast<std::uint32_t>(
        std::clamp<long long>(aRest, 0, std::numeric_limits<std::uint32_t>::max()));
}

std::unique_ptr<Renderable> DecodePlain(InputStream& theStream, const RWCString& theUID,
                                        DICOMDataObject* theDataSet, int theScale, ReadingContext& theContext)
{
    InputStreamAdapter aSource(theStream);
    DecompressionRequest aRequest(&aSource, theDataSet, "", true, theScale, 0, theUID, false);
    aRequest.setSourceLength(LengthLeft(theStream));
    aRequest.setReading(theContext.GetReading());
    DecompressionResult aResult;
    CompressedImageStreamDecompressor().Decompress(aRequest, aResult);
    std::unique_ptr<Renderable> anImage(aResult.getRenderable());
    aResult.setRenderable(nullptr); // the image is ours now
    if (aResult.getDCMLibResultCode() != DLRC_SUCCESS || !anImage)
    {
        throw StreamIOException(aResult.getMessage(), aResult.getDCMLibResultCode(),
                                aResult.getSystemErrorCode());
    }
    theContext.Add(aResult.getWarnings());
    return anImage;
}

std::unique_ptr<Renderable> DecodeDeep(InputStream& theStream, const JPEGHeader& theHeader, int theScale,
                                       ReadingContext& theContext)
{
    DMTickCounter aCounter;
    ImageDescription aDescription = Describe(theHeader);
    std::unique_ptr<Renderable> anImage = MakeRenderable(theHeader, aDescription);
    const double anAllocationTime = aCounter.Lap() * 1000.0;
    const auto aDataSet = MakeDataSet(IsUnmarkedLosslessColour(theHeader)   ? "RGB"
                                      : theHeader.GetSamplesPerPixel() == 3 ? "YBR_FULL_422"
                                                                            : "MONOCHROME2");
    CompressedCodestreamDecoder aDecoder(theHeader.GetTransferSyntaxUID(), theHeader.itsPrecision, theStream,
                                         *aDataSet, theScale, Decoder::PET_FAST);
    aDecoder.SetReadingContext(&theContext);
    aDecoder.Decode(LengthLeft(theStream), anImage->getPixelData(), anImage->getPixelDataSize());

    aDescription.itsScaleFactor = aDecoder.GetScaleFactor();
    aDescription.itsCompressionRatio = CompressionRatio::Calculate(
        anImage->getPixelDataSize(), aDescription.itsScaleFactor, aDecoder.GetTotalBytesRead());
    aDescription.WriteTo(*anImage);
    anImage->setTimeTakenToAllocateMemmory(anAllocationTime);
    anImage->setTimeTakenToLoadPixelData(aCounter.Lap() * 1000.0);
    anImage->setTotalTimeTakenToLoad(aCounter.Total() * 1000.0);
    return anImage;
}

std::unique_ptr<Renderable> DecodeJPEG(InputStream& theStream, int theScale, ReadingContext& theContext)
{
    RewindableInputStream aStream(theStream);
    const std::optional<JPEGHeader> aHeader = JPEGHeader::Read(aStream);
    aStream.Rewind();
    if (!aHeader)
    {
        return DecodePlain(aStream, CodecTable::FindImageType(IMAGE_TYPE_JPEG)->itsUID, nullptr, theScale,
                           theContext);
    }
    if (aHeader->itsPrecision > 8)
    {
        return DecodeDeep(aStream, *aHeader, theScale, theContext);
    }
    // Without a data set the codec itself says whether there was loss.
    const auto aDataSet = IsUnmarkedLosslessColour(*aHeader) ? MakeDataSet("RGB") : nullptr;
    return DecodePlain(aStream, aHeader->GetTransferSyntaxUID(), aDataSet.get(), theScale, theContext);
}
} // namespace

std::unique_ptr<Renderable> BareStreamDecode::Run(InputStream& theStream, JImageType theType, int theScale,
                                                  ReadingContext& theContext)
{
    return theType == IMAGE_TYPE_JPEG ? DecodeJPEG(theStream, theScale, theContext)
                                      : DecodePlain(theStream, CodecTable::FindImageType(theType)->itsUID,
                                                    nullptr, theScale, theContext);
}
