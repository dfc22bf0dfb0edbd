// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/PlainColour.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/MVRFactory.h"

using namespace Part10Files;

namespace
{
JpegSpec Spec(int theComponents)
{
    JpegSpec aSpec;
    aSpec.itsWidth = 16;
    aSpec.itsHeight = 8;
    aSpec.itsComponents = theComponents;
    return aSpec;
}

Bytes GreyJpeg()
{
    const JpegSpec aSpec = Spec(1);
    return MakeJpeg(aSpec, MakeSamples(aSpec));
}

void Set(DICOMDataObject& theDataSet, DICOMTag theTag, const std::string& theValue)
{
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theDataSet.ReplaceVR(aFactory.CreateString(theTag, theValue));
}

void Set(DICOMDataObject& theDataSet, DICOMTag theTag, std::uint16_t theValue)
{
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theDataSet.ReplaceVR(aFactory.CreateUnsignedShort(theTag, theValue));
}

const RWCString& kJPEG = TransferSyntaxType::TSJPEG50UID;
} // namespace

TEST(CompressedImageStreamDecompressor, RefusesARequestWithoutASource)
{
    DecompressionRequest aRequest;
    DecompressionResult aResult;
    CompressedImageStreamDecompressor().Decompress(aRequest, aResult);
    EXPECT_EQ(aResult.getDCMLibResultCode(), 6);
    EXPECT_EQ(aResult.getMessage(), "Invalid compressed buffer");
}

struct BareFailureCase
{
    const char* itsName;
    Bytes itsStream;
    RWCString itsUID;
    int itsCode;
    std::string itsText; ///< the beginning
};

TEST(CompressedImageStreamDecompressor, ReportsEveryFailureAndKeepsNothing)
{
    JpegSpec aDeep = Spec(1);
    aDeep.itsProcess = JpegSpec::Process::EXTENDED;
    aDeep.itsPrecision = 12;
    const std::string kJPEGException =
        "Decoder exception: JPEGDecoderException: JPEGDecoderException: Error: JPEGDecoder: error (read ";
    const std::vector<BareFailureCase> kCases{
        {"no codec", GreyJpeg(), "1.2.3", 62, " (no Renderable at end)"},
        {"nothing to read", {}, kJPEG, 62, kJPEGException + "0 bytes so far): "},
        {"no JPEG stream", Bytes(40, 7), kJPEG, 62, kJPEGException + "40 bytes so far): "},
        {"too deep for the 8-bit codec", MakeJpeg(aDeep, MakeSamples(aDeep)), kJPEG, 62, kJPEGException},
        {"RLE knows nothing without a data set", RleFrame({Bytes(8, 1)}), TransferSyntaxType::TSRLEUID, 62,
         "Decoder exception: StreamIOException: StreamIOException: "},
    };
    for (const BareFailureCase& aCase : kCases)
    {
        SCOPED_TRACE(aCase.itsName);
        const Outcome anOutcome = RunBareImage(aCase.itsStream, aCase.itsUID, nullptr);
        EXPECT_EQ(anOutcome.Code(), aCase.itsCode);
        EXPECT_EQ(anOutcome.Message().substr(0, aCase.itsText.size()), aCase.itsText);
        EXPECT_EQ(anOutcome.itsResult.getSystemErrorCode(), 0);
        EXPECT_EQ(anOutcome.Image(), nullptr);
        EXPECT_EQ(anOutcome.itsAllocator->GetLiveBlocks(), 0u);
    }
}

TEST(CompressedImageStreamDecompressor, TellsAnInterruptionFromAFailure)
{
    Bytes aHalf = GreyJpeg();
    aHalf.resize(aHalf.size() / 2);
    for (const bool anInterruption : {true, false})
    {
        ByteSource aSource(aHalf);
        aSource.AtEnd(
            [anInterruption]() -> int
            {
                if (anInterruption)
                {
                    throw DecodingInterruptedException("stopped", 1);
                }
                throw StreamIOException("gone", DLRC_IO_ERROR, 5);
            });
        CountingAllocator anAllocator;
        DecompressionRequest aRequest(&aSource, nullptr, "", false, 1, 0, kJPEG, false);
        DecompressionResult aResult;
        CompressedImageStreamDecompressor(anAllocator).Decompress(aRequest, aResult);
        EXPECT_EQ(aResult.getDCMLibResultCode(), anInterruption ? 63 : 62);
        EXPECT_EQ(aResult.getSystemErrorCode(), 0);
        EXPECT_EQ(aResult.getMessage(),
                  anInterruption ? "Decoder exception: DecodingInterruptedException: "
                                   "DecodingInterruptedException: stopped"
                                 : "Decoder exception: StreamIOException: StreamIOException: gone");
        EXPECT_EQ(aResult.getRenderable(), nullptr);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u);
    }
}

TEST(CompressedImageStreamDecompressor, SaysWhenThereIsNoWayToRGB)
{
    DICOMDataObject aDataSet;
    Set(aDataSet, DICOMTags::PhotometricInterpretation, "PALETTE COLOR");
    const Outcome anOutcome = RunBareImage(GreyJpeg(), kJPEG, &aDataSet);
    EXPECT_EQ(anOutcome.Code(), 12);
    EXPECT_EQ(anOutcome.Message(),
              "CompressedImageStreamDecompressor::Decode: unable to convert image to non-planar 8-bit RGB:"
              "DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB: Red palette is null "
              "(unavailable)");
    EXPECT_EQ(anOutcome.Image(), nullptr);
    EXPECT_EQ(anOutcome.itsAllocator->GetLiveBlocks(), 0u);
}

TEST(CompressedImageStreamDecompressor, DescribesAGreyImageWithoutADataSet)
{
    const Bytes aStream = GreyJpeg();
    for (const int aScaleFactor : {-1, 1, 3})
    {
        const Outcome anOutcome = RunBareImage(aStream, kJPEG, nullptr, {0, aScaleFactor});
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.itsResult.ToString(),
                  "DecompressionResult:\n\titsDCMLibResultCode = 0\n"
                  "\titsSystemErrorCode = 0\n\titsMessage = Completed successfully");
        const Renderable& anImage = *anOutcome.Image();
        EXPECT_EQ(anImage.getPhotometricInterpretation(), Renderable::MONOCHROME2);
        EXPECT_EQ(anImage.getRows(), 8);
        EXPECT_EQ(anImage.getColumns(), 16);
        EXPECT_EQ(anImage.getSamplesPerPixel(), 1);
        EXPECT_EQ(anImage.getBitsAllocated(), 8);
        EXPECT_EQ(anImage.getBitsStored(), 8);
        EXPECT_EQ(anImage.getHighBit(), 7);
        EXPECT_FALSE(anImage.isSigned());
        EXPECT_FALSE(anImage.isPlanarConfiguration());
        EXPECT_TRUE(anImage.isPixelDataLittleEndian());
        EXPECT_TRUE(anImage.isLossyImageCompression());
        EXPECT_EQ(anImage.getScaleFactor(), 1) << "JPEG is never reduced";
        const double aSize = aScaleFactor == 3 ? 128.0 * 16 : 128.0;
        EXPECT_EQ(anImage.getCompressionRatio(),
                  static_cast<int>(aSize / static_cast<double>(aStream.size()) + 0.5))
            << "the ratio follows the request all the same";
        EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{128});
        EXPECT_GE(anImage.getTotalTimeTakenToLoad(), anImage.getTimeTakenToLoadPixelData());
    }
}

TEST(CompressedImageStreamDecompressor, CompletesTheRecordFromTheDataSet)
{
    DICOMDataObject aDataSet;
    Set(aDataSet, DICOMTags::PhotometricInterpretation, "MONOCHROME1");
    Set(aDataSet, DICOMTags::PixelRepresentation, 1);
    Set(aDataSet, DICOMTags::BitsStored, 12);
    Set(aDataSet, DICOMTags::LossyImageCompressionRatio, "17");
    const Outcome anOutcome = RunBareImage(GreyJpeg(), kJPEG, &aDataSet);
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    EXPECT_EQ(anOutcome.Image()->getPhotometricInterpretation(), Renderable::MONOCHROME1);
    EXPECT_TRUE(anOutcome.Image()->isSigned());
    EXPECT_EQ(anOutcome.Image()->getBitsStored(), 12) << "the larger one of codec and data set";
    // The codec's header update has marked the data set by then.
    EXPECT_TRUE(anOutcome.Image()->isLossyImageCompression());
    EXPECT_EQ(anOutcome.Image()->getCompressionRatio(), 17);
    EXPECT_TRUE(aDataSet.ContainsPrivateCreator("QUORIX0"));
    EXPECT_TRUE(aDataSet.Contains({0x1021, 0x0016}));

    DICOMDataObject anotherDataSet;
    Set(anotherDataSet, DICOMTags::PixelRepresentation, 1);
    EXPECT_FALSE(RunBareImage(GreyJpeg(), kJPEG, &anotherDataSet, {0, 1, true}).Image()->isSigned());
}

TEST(CompressedImageStreamDecompressor, OnlyTheText00MeansNoLoss)
{
    JpegSpec aSpec = Spec(1);
    aSpec.itsProcess = JpegSpec::Process::LOSSLESS;
    const Bytes aStream = MakeJpeg(aSpec, MakeSamples(aSpec));
    for (const auto& [aText, aLossy] : std::vector<std::pair<const char*, bool>>{
             {nullptr, false}, {"00", false}, {"01", true}, {"02", true}})
    {
        DICOMDataObject aDataSet;
        Set(aDataSet, DICOMTags::BitsStored, 4);
        if (aText != nullptr)
        {
            Set(aDataSet, DICOMTags::LossyImageCompression, aText);
        }
        const Outcome anOutcome = RunBareImage(aStream, TransferSyntaxType::TSJPEG70UID, &aDataSet);
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.Image()->isLossyImageCompression(), aLossy) << (aText ? aText : "no value");
        EXPECT_EQ(anOutcome.Image()->getBitsStored(), 8) << "the larger one of codec and data set";
    }
}

TEST(CompressedImageStreamDecompressor, DeliversColourAsUnsignedRGB)
{
    const JpegSpec aSpec = Spec(3);
    const Bytes aStream = MakeJpeg(aSpec, MakeFlatSamples(aSpec, {200, 100, 160}));
    const Bytes aPixel = PlainYBRToRGB({200, 100, 160});
    DICOMDataObject aDataSet;
    Set(aDataSet, DICOMTags::PhotometricInterpretation, "YBR_PARTIAL_422");
    Set(aDataSet, DICOMTags::PixelRepresentation, 1);
    for (DICOMDataObject* aTarget : {static_cast<DICOMDataObject*>(nullptr), &aDataSet})
    {
        const Outcome anOutcome = RunBareImage(aStream, kJPEG, aTarget);
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.Image()->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_FALSE(anOutcome.Image()->isSigned());
        const Bytes aPixels = anOutcome.Pixels();
        ASSERT_EQ(aPixels.size(), 384u);
        for (std::size_t i = 0; i < aPixels.size(); ++i)
        {
            ASSERT_LE(std::abs(aPixels[i] - aPixel[i % 3]), 1) << "sample " << i;
        }
    }
}

TEST(CompressedImageStreamDecompressor, DecodesRleByItsDataSet)
{
    DICOMDataObject aDataSet;
    Set(aDataSet, DICOMTags::PhotometricInterpretation, "MONOCHROME2");
    Set(aDataSet, DICOMTags::SamplesPerPixel, 1);
    Set(aDataSet, DICOMTags::Rows, 2);
    Set(aDataSet, DICOMTags::Columns, 3);
    Set(aDataSet, DICOMTags::BitsAllocated, 16);
    Set(aDataSet, DICOMTags::BitsStored, 12);
    Set(aDataSet, DICOMTags::HighBit, 11);
    Set(aDataSet, DICOMTags::PixelRepresentation, 0);
    const Bytes aFrame = RleFrame({{0, 1, 2, 3, 4, 5}, {10, 11, 12, 13, 14, 15}});
    const Outcome anOutcome = RunBareImage(aFrame, TransferSyntaxType::TSRLEUID, &aDataSet,
                                           {0, 1, false, static_cast<std::uint32_t>(aFrame.size())});
    EXPECT_EQ(anOutcome.Pixels(), (Bytes{10, 0, 11, 1, 12, 2, 13, 3, 14, 4, 15, 5})) << anOutcome.Message();
    ASSERT_NE(anOutcome.Image(), nullptr);
    EXPECT_EQ(anOutcome.Image()->getHighBit(), 11);
}

TEST(CompressedImageStreamDecompressor, LoadsTheDemoFileFirst)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME1", 8, 16, 8, 8);
    const TemporaryFile aDemo(aBuilder.AddNativePixelData(Counting(128), "OB").Build());
    for (const std::string& aName : {std::string(aDemo.GetName()), std::string("/nowhere/at/all.demo")})
    {
        ByteSource aSource(GreyJpeg());
        DICOMDataObject aDataSet;
        DecompressionRequest aRequest(&aSource, &aDataSet, aName, true, 1, 0, kJPEG, false);
        DecompressionResult aResult;
        CompressedImageStreamDecompressor().Decompress(aRequest, aResult);
        if (aName == aDemo.GetName())
        {
            ASSERT_NE(aResult.getRenderable(), nullptr) << aResult.getMessage();
            EXPECT_EQ(aResult.getRenderable()->getPhotometricInterpretation(), Renderable::MONOCHROME1);
            EXPECT_FALSE(aDataSet.Contains(DICOMTags::PixelData));
            EXPECT_EQ(aSource.GetCloses(), 2) << "once by the codec, once by the decompressor";
            continue;
        }
        EXPECT_EQ(aResult.getDCMLibResultCode(), 3);
        EXPECT_EQ(aResult.getSystemErrorCode(), ENOENT);
        EXPECT_EQ(aResult.getMessage(), "Unable to load the .demo file");
        EXPECT_EQ(aSource.GetReads(), 0);
    }
}
