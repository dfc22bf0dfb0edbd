// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/BareImageDecode.h"

#include <algorithm>

#include "decoding/CodecTable.h"
#include "decoding/DecoderFactory.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/detail/ImageDescription.h"
#include "decompressors/detail/RegionCut.h"
#include "decompressors/detail/UnwrittenPixels.h"
#include "engine/kdu_compressed_source.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/PrivateElements.h"
#include "toolkit/dicom/ScratchpadKeys.h"
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
/// Two look-ups are there for files of this library's own making; a data set that cannot answer or hold
/// them must not cost the image.
template <class LookUp>
void Optional(const LookUp& theLookUp)
{
    try
    {
        theLookUp();
    }
    catch (const std::exception&)
    {
    }
}
} // namespace

BareImageDecode::BareImageDecode(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                                 ReadingContext& theContext)
    : itsRequest(theRequest), itsDataSet(theRequest.getDICOMDataObject()),
      itsSource(theRequest.getCompressedSource()), itsUID(theRequest.getTransferSyntaxUID()),
      itsMemoryAllocator(theAllocator), itsReadingContext(theContext)
{
}

std::unique_ptr<Renderable> BareImageDecode::Run()
{
    itsRow = CodecTable::Find(itsUID, itsReadingContext.GetReading());
    if (itsReadingContext.IsByMeaning() && itsRow != nullptr && itsRow->itsHasJPEGHeader)
    {
        BelieveFrameHeader();
    }
    // A bare stream may come as a file.
    const std::unique_ptr<Decoder> aCodec(DecoderFactory::Create(itsUID, itsRequest.getScaleFactor(),
                                                                 Decoder::PET_FAST, true, itsBitsStored,
                                                                 itsReadingContext.GetReading()));
    if (!aCodec || itsRow == nullptr)
    {
        return nullptr;
    }
    aCodec->SetReadingContext(&itsReadingContext);
    if (itsRequest.getRegion())
    {
        aCodec->SetRegion(*itsRequest.getRegion());
    }
    PrepareCodec(*aCodec);
    const double aTimeToReadHeader = itsTimer.Lap() * 1000.0;
    AllocateFor(*aCodec);
    const double aTimeToAllocate = itsTimer.Lap() * 1000.0;
    UnwrittenPixels::Blank(*itsRenderable, itsUID);
    const bool wasReversible = aCodec->GetCompressionReversible() == Decoder::CR_REVERSIBLE;
    aCodec->Decode(itsRequest.getSourceLength(), itsRenderable->getPixelData(),
                   itsRenderable->getPixelDataSize());
    itsHasLost = wasReversible && aCodec->GetCompressionReversible() == Decoder::CR_IRREVERSIBLE;
    Describe(*aCodec);
    Cut(*aCodec);
    itsRequest.getCompressedSource()->close();
    itsRenderable->setTimeTakenToLoadHeader(aTimeToReadHeader);
    itsRenderable->setTimeTakenToAllocateMemmory(aTimeToAllocate);
    itsRenderable->setTimeTakenToLoadPixelData(itsTimer.Lap() * 1000.0);
    return std::move(itsRenderable);
}

void BareImageDecode::BelieveFrameHeader()
{
    itsExaminedJPEG = std::make_unique<ExaminedJPEG>(*itsSource);
    itsSource = &itsExaminedJPEG->GetSource();
    const std::optional<JPEGHeader>& aHeader = itsExaminedJPEG->GetHeader();
    if (!aHeader)
    {
        return; // the codec says what is wrong with it
    }
    itsUID = aHeader->GetTransferSyntaxUID();
    itsRow = CodecTable::Find(itsUID, itsReadingContext.GetReading());
    itsBitsStored = std::max(aHeader->itsPrecision, 8);
    itsRequest.setTransferSyntaxUID(itsUID);
    if (!aHeader->IsJPEGLS() && aHeader->IsLossless() && aHeader->itsComponents == 3 &&
        (IsDeepJPEG() || !aHeader->itsColourMarked))
    {
        AssumeInterpretation(*aHeader);
    }
}

/// Lossless colour without a marker is RGB: a lossless coder has nothing to gain from YCbCr. The codec is
/// told so by a data set; otherwise it guesses as for lossy streams. With a marker deep colour is what that
/// says.
void BareImageDecode::AssumeInterpretation(const JPEGHeader& theHeader)
{
    if (itsDataSet == nullptr)
    {
        itsPrivateDataSet = std::make_unique<DICOMDataObject>();
        itsDataSet = itsPrivateDataSet.get();
    }
    if (!itsDataSet->Contains(DICOMTags::PhotometricInterpretation))
    {
        itsDataSet->PutString(DICOMTags::PhotometricInterpretation,
                              theHeader.itsColourMarked ? "YBR_FULL_422" : "RGB");
    }
}

void BareImageDecode::PrepareCodec(Decoder& theCodec)
{
    const bool isLossless = itsRow->itsTerms == nullptr;
    if (isLossless || (itsDataSet != nullptr && !itsDataSet->IsMarkedLossy()))
    {
        theCodec.SetCompressionReversible(Decoder::CR_REVERSIBLE);
    }
    itsLookAhead.emplace(*itsSource);
    itsWasMarkedLossy = itsDataSet != nullptr && itsDataSet->IsMarkedLossy();
    theCodec.SetSource(itsDataSet, *itsLookAhead);
    if (theCodec.GetPrecision() > theCodec.GetRecommendedBitsStoredPerSample())
    {
        itsReadingContext.Warn(WarningIdentifier::kDepth,
                               "a bare stream is taken for one of 8 bits stored, the frame has " +
                                   std::to_string(theCodec.GetPrecision()) + ": the lowest ones are lost");
    }
    if (itsDataSet != nullptr)
    {
        Optional([this] { itsDataSet->ReservePrivateBlock(PrivateElements::Creator); });
        std::int32_t aPixelRepresentation = 0;
        itsDataSet->GetInteger(DICOMTags::PixelRepresentation, aPixelRepresentation);
        theCodec.SetSigned(itsRequest.isV5ConvertPixelsToUnsigned() ? 0 : aPixelRepresentation);
        ReadDataSet();
    }
    ChooseColour(theCodec);
}

void BareImageDecode::ReadDataSet()
{
    if (!itsDataSet->GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, itsOriginalInterpretation))
    {
        itsDataSet->GetString(DICOMTags::PhotometricInterpretation, itsOriginalInterpretation);
    }
    itsLossy = itsDataSet->IsMarkedLossy();
    Optional([this] { itsForcedLossless = itsDataSet->IsMarkedLossless(); });
    itsDataSet->GetInteger(DICOMTags::BitsStored, itsDataSetBitsStored);
}

void BareImageDecode::ChooseColour(Decoder& theCodec)
{
    Decoder::ColorModel aModel = theCodec.GetRecommendedDecompressedColorspace();
    switch (aModel)
    {
    case Decoder::COLOR_MODEL_GREY:
        itsOutputInterpretation = itsOriginalInterpretation == "MONOCHROME1" ? "MONOCHROME1" : "MONOCHROME2";
        break;
    case Decoder::COLOR_MODEL_RGB:
    case Decoder::COLOR_MODEL_YBR_PARTIAL_422:
        aModel = Decoder::COLOR_MODEL_RGB;
        itsOutputInterpretation = IsLeftAsYBR(theCodec) ? "YBR_FULL" : "RGB";
        theCodec.SetSigned(0);
        break;
    case Decoder::COLOR_MODEL_YBR_FULL_422:
    case Decoder::COLOR_MODEL_YBR_FULL:
        itsOutputInterpretation = "YBR_FULL"; // no codec delivers subsampled pixels
        theCodec.SetSigned(0);
        break;
    default:
        break;
    }
    theCodec.SetDecompressedColorspace(aModel);
    if (itsOriginalInterpretation == "PALETTE COLOR")
    {
        itsOutputInterpretation = "PALETTE COLOR";
    }
}

/// Whether the samples of a codec that knows no colours are to be converted.
bool BareImageDecode::IsLeftAsYBR(const Decoder& theCodec) const
{
    const bool isYBR =
        !itsRow->itsHasOwnColour && theCodec.GetSamplesPerPixel() == 3 &&
        (itsOriginalInterpretation == "YBR_FULL" || itsOriginalInterpretation == "YBR_FULL_422");
    if (isYBR)
    {
        itsReadingContext.Warn(WarningIdentifier::kColourLabel,
                               "labelled " + itsOriginalInterpretation +
                                   (itsReadingContext.IsByMeaning() ? ": converted as YBR_FULL"
                                                                    : ": called RGB and not converted"));
    }
    return isYBR && itsReadingContext.IsByMeaning();
}

void BareImageDecode::AllocateFor(const Decoder& theCodec)
{
    const int aSize = theCodec.GetDecompressedBufferSize();
    const std::uint64_t aTrueSize = theCodec.GetOutputSize();
    Limits::CheckFrame(theCodec.GetImageHeight(), theCodec.GetImageWidth(), aTrueSize);
    // The size that the finished record will call for; it wraps where pixels × bits do not fit 31 bits.
    const std::uint64_t aRequired = Renderable::calculateRequiredBufferSize(
        static_cast<int>(theCodec.GetImageHeight()), static_cast<int>(theCodec.GetImageWidth()),
        theCodec.GetBitsAllocatedPerSample(), theCodec.GetSamplesPerPixel(), Renderable::RGB);
    if (aSize < 0 || aRequired != static_cast<std::uint64_t>(aSize))
    {
        throw BadAllocException(
            theCodec.Decoder::GetOutputSize()); // by the layout, whatever the codec demands
    }
    CheckLength(theCodec);
    itsRenderable = std::make_unique<Renderable>(itsMemoryAllocator);
    itsRenderable->setPixelData(itsMemoryAllocator.Allocate(static_cast<std::uint64_t>(aSize)),
                                static_cast<std::uint64_t>(aSize));
    if (aTrueSize > static_cast<std::uint64_t>(aSize))
    {
        throw StreamIOException("CompressedImageStreamDecompressor::Decompress: the codec delivers " +
                                    std::to_string(aTrueSize) + " bytes, the buffer holds " +
                                    std::to_string(aSize),
                                DLRC_DECODER_ERROR, 0);
    }
}

/// The request's figure may be out of date or plainly wrong: where it is too small, the bytes are counted.
void BareImageDecode::CheckLength(const Decoder& theCodec)
{
    std::uint64_t aLength = itsRequest.getSourceLength();
    if (aLength != 0 && itsRow->itsLeastSize != nullptr)
    {
        const std::uint64_t aLeast = itsRow->itsLeastSize(theCodec);
        aLength = aLength < aLeast ? std::max(aLength, itsLookAhead->Count(aLeast)) : aLength;
    }
    itsRow->CheckLength(theCodec, aLength);
}

void BareImageDecode::Describe(const Decoder& theCodec)
{
    ImageDescription aDescription;
    aDescription.itsInterpretation = Renderable::photometricInterpretationFromString(itsOutputInterpretation);
    aDescription.itsRows = static_cast<std::int32_t>(theCodec.GetImageHeight());
    aDescription.itsColumns = static_cast<std::int32_t>(theCodec.GetImageWidth());
    aDescription.itsSamplesPerPixel = theCodec.GetSamplesPerPixel();
    aDescription.itsBitsAllocated = theCodec.GetBitsAllocatedPerSample();
    aDescription.itsBitsStored =
        IsDeepJPEG() ? itsBitsStored : std::max<int>(theCodec.GetBitsStoredPerSample(), itsDataSetBitsStored);
    aDescription.itsHighBit = IsDeepJPEG() ? itsBitsStored - 1 : theCodec.GetHighBit();
    aDescription.itsIsSigned = theCodec.IsSigned() != 0;
    aDescription.itsIsLossy = itsDataSet != nullptr
                                  ? itsLossy || itsHasLost
                                  : theCodec.GetCompressionReversible() != Decoder::CR_REVERSIBLE;
    aDescription.itsScaleFactor = theCodec.GetScaleFactor();
    aDescription.itsCompressionRatio = GetRatio(theCodec);
    aDescription.WriteTo(*itsRenderable);
    if (IsDeepJPEG() && itsDataSet != nullptr)
    {
        DescribeDepth();
    }
}

/// Takes away what the codec has decoded beyond the request's region.
void BareImageDecode::Cut(const Decoder& theCodec)
{
    if (!itsRequest.getRegion())
    {
        return;
    }
    const PixelRegion aHeld = theCodec.GetDecodedRegion();
    const PixelRegion aWanted = RegionCut::ForCodec(*itsRequest.getRegion(), theCodec, itsRow->itsCanReduce);
    if (aHeld == aWanted && theCodec.GetImageHeight() == aWanted.itsHeight)
    {
        return;
    }
    RegionCut::Run(*itsRenderable, aHeld, aWanted);
    if (itsDataSet != nullptr)
    {
        RegionCut::WriteDimensions(*itsDataSet, aWanted.itsHeight, aWanted.itsWidth);
    }
}

/// The codec writes down everything else that is new about the pixels.
void BareImageDecode::DescribeDepth()
{
    if (itsDataSetBitsStored != 0 && itsDataSetBitsStored != itsBitsStored)
    {
        itsReadingContext.Warn(WarningIdentifier::kDepth,
                               "the data set says " + std::to_string(itsDataSetBitsStored) +
                                   " bits stored, the frame has " + std::to_string(itsBitsStored) +
                                   ": none is lost");
    }
    itsDataSet->PutUnsignedShort(DICOMTags::BitsStored, static_cast<std::uint16_t>(itsBitsStored));
    itsDataSet->PutUnsignedShort(DICOMTags::HighBit, static_cast<std::uint16_t>(itsBitsStored - 1));
}

std::int32_t BareImageDecode::GetRatio(const Decoder& theCodec) const
{
    const bool isByMeaning = itsReadingContext.IsByMeaning();
    if (itsLossy || itsForcedLossless)
    {
        const int aRatio = itsDataSet->GetLossyImageCompressionRatio(
            TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(itsUID), 0, 0, true);
        // That this stream has loss does not make its own ratio a doubtful one.
        if (aRatio <= 0 && itsLossy && (itsWasMarkedLossy || !isByMeaning))
        {
            itsReadingContext.Warn(
                WarningIdentifier::kRatio,
                RWCString("the data set tells of loss and of no ratio: ") +
                    (isByMeaning ? "it is calculated from this stream" : "it is called 0"));
        }
        if (aRatio > 0 || !isByMeaning)
        {
            return aRatio;
        }
    }
    if (itsRequest.getRegion())
    {
        return 0;
    }
    // A codec that cannot reduce reports 1; by contract the ratio follows the request all the same.
    const bool isReduced = itsRow->itsCanReduce || isByMeaning;
    const int aScaleFactor = isReduced ? theCodec.GetScaleFactor() : itsRequest.getScaleFactor();
    return CompressionRatio::Calculate(itsRenderable->getPixelDataSize(), aScaleFactor,
                                       theCodec.GetTotalBytesRead());
}
