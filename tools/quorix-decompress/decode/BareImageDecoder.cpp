// SPDX-License-Identifier: Apache-2.0
#include "decode/BareImageDecoder.h"

#include <algorithm>
#include <limits>

#include "codecs/sources/InputStreamAdapter.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/CompressionRatio.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "toolkit/base/DLEndian.h"
#include "toolkit/base/DMTickCounter.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
const RWCString& TransferSyntaxOf(InputKind theKind, const JPEGHeader* theHeader)
{
    switch (theKind)
    {
    case InputKind::JPEG2000:
        return TransferSyntaxType::TSJPEG2KUID;
    case InputKind::JPEG2000_LOSSLESS:
        return TransferSyntaxType::TSJPEG2KLosslessUID;
    default:
        return theHeader != nullptr ? theHeader->GetTransferSyntaxUID() : TransferSyntaxType::TSJPEG50UID;
    }
}

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

/// An image as theHeader describes it, its buffer allocated.
std::unique_ptr<Renderable> MakeRenderable(const JPEGHeader& theHeader)
{
    auto aRenderable = std::make_unique<Renderable>();
    aRenderable->setRows(theHeader.itsRows);
    aRenderable->setColumns(theHeader.itsColumns);
    aRenderable->setSamplesPerPixel(theHeader.GetSamplesPerPixel());
    aRenderable->setPhotometricInterpretation(theHeader.GetSamplesPerPixel() == 1 ? Renderable::MONOCHROME2
                                                                                  : Renderable::RGB);
    aRenderable->setBitsAllocated(16);
    aRenderable->setBitsStored(static_cast<std::int16_t>(theHeader.itsPrecision));
    aRenderable->setHighBit(static_cast<std::int16_t>(theHeader.itsPrecision - 1));
    aRenderable->setLossyImageCompression(!theHeader.IsLossless());
    aRenderable->setPixelDataLittleEndian(DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER);

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
    aRenderable->allocatePixelData();
    return aRenderable;
}
} // namespace

void BareImageDecoder::DecodeInto(DecodedFrame& theResult)
{
    if (theResult.itsFrame != 0)
    {
        theResult.Fail(DLRC_GENERAL_FAILURE, 0, "no such frame: this input has one");
        return;
    }
    std::optional<JPEGHeader> aHeader;
    if (itsKind == InputKind::JPEG)
    {
        aHeader = JPEGHeader::Read(*itsSource.Open());
    }
    if (aHeader && aHeader->itsPrecision > 8)
    {
        DecodeDeepJPEG(theResult, *aHeader);
    }
    else
    {
        DecodeStream(theResult, aHeader ? &*aHeader : nullptr);
    }
    if (theResult.IsDecoded() && theResult.itsRenderable->isLossyImageCompression())
    {
        theResult.itsCompressionKind = itsKind == InputKind::JPEG ? "JPG" : "JP2";
    }
}

void BareImageDecoder::DecodeStream(DecodedFrame& theResult, const JPEGHeader* theHeader) const
{
    DMTickCounter aCounter;
    const std::unique_ptr<InputStream> aStream = itsSource.Open();
    const double anOpenTime = aCounter.Lap() * 1000.0;
    InputStreamAdapter aSource(*aStream);

    // Without a data set the codec itself says whether there was loss.
    std::unique_ptr<DICOMDataObject> aDataSet;
    if (theHeader != nullptr && IsUnmarkedLosslessColour(*theHeader))
    {
        aDataSet = MakeDataSet("RGB");
    }
    DecompressionRequest aRequest(&aSource, aDataSet.get(), "", true, itsScale, 0,
                                  TransferSyntaxOf(itsKind, theHeader), false);
    aRequest.setSourceLength(static_cast<std::uint32_t>(
        std::min<unsigned long long>(itsSource.GetLength(), std::numeric_limits<std::uint32_t>::max())));
    DecompressionResult aResult;
    CompressedImageStreamDecompressor().Decompress(aRequest, aResult);
    theResult.Take(aResult);
    if (theResult.IsDecoded() && theResult.itsRenderable->getTimeTakenToOpenStream() <= 0.0)
    {
        theResult.itsRenderable->setTimeTakenToOpenStream(anOpenTime);
    }
}

void BareImageDecoder::DecodeDeepJPEG(DecodedFrame& theResult, const JPEGHeader& theHeader) const
{
    DMTickCounter aCounter;
    const std::unique_ptr<InputStream> aStream = itsSource.Open();
    const double anOpenTime = aCounter.Lap() * 1000.0;
    std::unique_ptr<Renderable> aRenderable = MakeRenderable(theHeader);
    const double anAllocationTime = aCounter.Lap() * 1000.0;

    const bool isRGB = IsUnmarkedLosslessColour(theHeader);
    const auto aDataSet = MakeDataSet(isRGB                                 ? "RGB"
                                      : theHeader.GetSamplesPerPixel() == 3 ? "YBR_FULL_422"
                                                                            : "MONOCHROME2");
    CompressedCodestreamDecoder aDecoder(theHeader.GetTransferSyntaxUID(), theHeader.itsPrecision, *aStream,
                                         *aDataSet, itsScale, Decoder::PET_FAST);
    aDecoder.Decode(static_cast<unsigned int>(std::min<unsigned long long>(
                        itsSource.GetLength(), std::numeric_limits<unsigned int>::max())),
                    aRenderable->getPixelData(), aRenderable->getPixelDataSize());

    aRenderable->setScaleFactor(static_cast<std::int16_t>(std::max(aDecoder.GetScaleFactor(), 1)));
    aRenderable->setCompressionRatio(CompressionRatio::Calculate(
        aRenderable->getPixelDataSize(), aRenderable->getScaleFactor(), aDecoder.GetTotalBytesRead()));
    aRenderable->setTimeTakenToOpenStream(anOpenTime);
    aRenderable->setTimeTakenToAllocateMemmory(anAllocationTime);
    aRenderable->setTimeTakenToLoadPixelData(aCounter.Lap() * 1000.0);
    aRenderable->setTotalTimeTakenToLoad(aCounter.Total() * 1000.0);
    theResult.itsResultCode = DLRC_SUCCESS;
    theResult.itsMessage = "Completed successfully";
    theResult.itsRenderable = std::move(aRenderable);
}
