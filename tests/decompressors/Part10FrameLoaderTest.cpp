// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "decompressors/detail/Part10FrameLoader.h"
#include "support/RleEncoder.h"
#include "toolkit/dicom/MVRFactory.h"

using namespace Part10Files;

namespace
{
MVRFactory FactoryOf(const DICOMDataObject& theDataSet)
{
    return MVRFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                      VR::GetDefaultMemoryAllocater());
}
} // namespace

// The codec's header update calls one sample a pixel grey; the indices must reach their palette all the
// same, and do so once more when the data set is decoded again.
TEST(Part10FrameLoader, CompressedIndicesReachTheirPalette)
{
    JpegSpec aSpec;
    aSpec.itsProcess = JpegSpec::Process::LOSSLESS;
    aSpec.itsWidth = 4;
    aSpec.itsHeight = 1;
    DicomBuilder aJpeg = PaletteImage(TransferSyntaxType::TSJPEG70UID);
    aJpeg.AddEncapsulatedPixelData({MakeJpeg(aSpec, {0, 3, 1, 9})});
    DicomBuilder anRle = PaletteImage(TransferSyntaxType::TSRLEUID);
    anRle.AddEncapsulatedPixelData({RleFrame({{0, 3, 1, 9}})});
    for (const Bytes& aFile : {aJpeg.Build(), anRle.Build()})
    {
        DICOMDataObject aDataSet;
        for (const char* aRound : {"first", "second"})
        {
            const Outcome anOutcome = RunPart10(aFile, &aDataSet);
            EXPECT_EQ(anOutcome.Pixels(), (Bytes{10, 20, 30, 13, 23, 33, 11, 21, 31, 13, 23, 33}))
                << aRound << ": " << anOutcome.Message();
        }
    }
}

// The allocator hands out used memory; none of it may reach the image.
TEST(Part10FrameLoader, SamplesThatAnRleSegmentDoesNotBringAreZero)
{
    JpegSpec aSpec;
    aSpec.itsWidth = 4;
    aSpec.itsHeight = 2;
    const Bytes aFrame = RleFrame({{1, 2, 3}});
    const Bytes aFile = Encapsulated(TransferSyntaxType::TSRLEUID, aSpec, "MONOCHROME2", {aFrame});
    const Bytes anExpected{1, 2, 3, 0, 0, 0, 0, 0};
    DICOMDataObject aDataSet;
    EXPECT_EQ(RunPart10(aFile, &aDataSet).Pixels(), anExpected);
    const Outcome aBare = RunBareImage(aFrame, TransferSyntaxType::TSRLEUID, &aDataSet,
                                       {0, 1, false, static_cast<std::uint32_t>(aFrame.size())});
    EXPECT_EQ(aBare.Pixels(), anExpected) << aBare.Message();
}

TEST(Part10FrameLoader, TakesTheRatioOfAnImageThatWasForcedLossless)
{
    for (const int aFlag : {0, 1, 2})
    {
        DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
        aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "9");
        aBuilder.AddNativePixelData(Counting(6), "OB");
        DICOMDataObject aDataSet;
        aDataSet.ReplaceVR(FactoryOf(aDataSet).CreatePrivateUnsignedShort(
            aDataSet, "QUORIX0", "LosslessCmpFlag", static_cast<std::uint16_t>(aFlag)));
        const Outcome anOutcome = RunPart10(aBuilder.Build(), &aDataSet);
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.Image()->getCompressionRatio(), aFlag == 1 ? 9 : 1) << "flag " << aFlag;
        EXPECT_FALSE(anOutcome.Image()->isLossyImageCompression());
    }
}

// The attribute tells of the planes in the codestream; what a codec delivers is pixel after pixel.
TEST(Part10FrameLoader, DecodedColourIsNeverPlanar)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, TransferSyntaxType::TSRLEUID);
    aBuilder.AddUS(DICOMTags::SamplesPerPixel, {3});
    aBuilder.AddString(DICOMTags::PhotometricInterpretation, "CS", "RGB");
    aBuilder.AddUS(DICOMTags::PlanarConfiguration, {1});
    aBuilder.AddUS(DICOMTags::Rows, {1}).AddUS(DICOMTags::Columns, {2});
    aBuilder.AddUS(DICOMTags::BitsAllocated, {8}).AddUS(DICOMTags::BitsStored, {8});
    aBuilder.AddUS(DICOMTags::HighBit, {7}).AddUS(DICOMTags::PixelRepresentation, {0});
    aBuilder.AddEncapsulatedPixelData({RleFrame({{1, 2}, {3, 4}, {5, 6}})});
    DICOMDataObject aDataSet;
    for (const char* aRound : {"first", "second"})
    {
        const Outcome anOutcome = RunPart10(aBuilder.Build(), &aDataSet);
        EXPECT_EQ(anOutcome.Pixels(), (Bytes{1, 3, 5, 2, 4, 6})) << aRound << ": " << anOutcome.Message();
    }
}

TEST(Part10FrameLoader, RatioAndScaleFactorAreWhatTheCodecDid)
{
    JpegSpec aSpec;
    aSpec.itsWidth = 32;
    aSpec.itsHeight = 32;
    const Bytes aFrame = RleEncoder::Frame({Bytes{0x81, 5, 0x81, 5, 0x81, 5, 0x81, 5, //
                                                  0x81, 5, 0x81, 5, 0x81, 5, 0x81, 5}});
    ASSERT_EQ(aFrame.size(), 80u);
    for (const int aScaleFactor : {0, 1, 3})
    {
        DICOMDataObject aDataSet;
        const Outcome anOutcome =
            RunPart10(Encapsulated(TransferSyntaxType::TSRLEUID, aSpec, "MONOCHROME2", {aFrame}), &aDataSet,
                      {0, aScaleFactor});
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.Pixels(), Bytes(1024, 5));
        EXPECT_EQ(anOutcome.Image()->getScaleFactor(), 1) << "RLE is never reduced";
        EXPECT_EQ(anOutcome.Image()->getCompressionRatio(), 13) << "1024 bytes from 80";
        EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{1024}) << "one allocation";
    }
}

// The image would otherwise end in bytes that no codec has written, and could not be saved.
TEST(Part10FrameLoader, AnImageSmallerThanAnnouncedClaimsNoMore)
{
    JpegSpec aSpec;
    aSpec.itsWidth = 16;
    const Bytes aStream = MakeJpeg(aSpec, MakeSamples(aSpec));
    JpegSpec anAnnounced = aSpec;
    anAnnounced.itsHeight = 24;
    DICOMDataObject aDataSet;
    const Outcome anOutcome = RunPart10(
        Encapsulated(TransferSyntaxType::TSJPEG50UID, anAnnounced, "MONOCHROME2", {aStream}), &aDataSet);
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    EXPECT_EQ(anOutcome.Image()->getRows(), 8);
    EXPECT_EQ(anOutcome.Image()->getPixelDataSize(), 128u);
    EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{384});
}

TEST(Part10FrameLoader, OnlyNativeFramesWithoutBytesAreNotCounted)
{
    struct Case
    {
        const char* itsUID;
        std::uint16_t itsBitsAllocated;
        int itsCount;
    };
    const char* const kJPEG2000 = "1.2.840.10008.1.2.4.90";
    for (const Case& aCase : {Case{"", 8, 7}, Case{"", 0, 1}, Case{kJPEG2000, 8, 7}, Case{kJPEG2000, 0, 7}})
    {
        DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, aCase.itsUID);
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 2, aCase.itsBitsAllocated, 8, 0, 7);
        *aCase.itsUID == '\0' ? aBuilder.AddNativePixelData({}) : aBuilder.AddEncapsulatedPixelData({});
        const Bytes aFile = aBuilder.Build();
        MemoryInputStream aStream(aFile.data(), aFile.size());
        DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
        DecompressionResult aResult;
        CountingAllocator anAllocator;
        Part10FrontEnd aFrontEnd(aRequest, anAllocator);
        ASSERT_TRUE(aFrontEnd.Open(aResult)) << aResult.getMessage();
        aFrontEnd.Parse();
        EXPECT_EQ(Part10FrameLoader(aFrontEnd, "").CountFrames(), aCase.itsCount)
            << aCase.itsUID << " " << aCase.itsBitsAllocated;
    }
}
