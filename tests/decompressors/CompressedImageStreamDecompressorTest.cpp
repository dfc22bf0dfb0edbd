// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/DataSet.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/Exceptions.h"

using namespace Part10Files;

namespace
{
const RWCString& kJPEG = TransferSyntaxType::TSJPEG50UID;
const RWCString& kRLE = TransferSyntaxType::TSRLEUID;

Bytes GreyJpeg(const JpegSpec& theSpec = {.itsWidth = 16})
{
    return MakeJpeg(theSpec, MakeSamples(theSpec));
}
} // namespace

TEST(CompressedImageStreamDecompressor, ReportsEveryFailureAndKeepsNothing)
{
    const std::string kFailure = "Decoder exception: ";
    const std::string kJPEGFailure =
        kFailure + "JPEGDecoderException: JPEGDecoderException: Error: JPEGDecoder: error (read ";
    const std::string kStreamFailure = kFailure + "StreamIOException: StreamIOException: ";
    const std::tuple<const char*, Bytes, RWCString, std::string> kCases[] = {
        {"no codec", GreyJpeg(), "1.2.3", " (no Renderable at end)"},
        {"nothing to read", {}, kJPEG, kJPEGFailure + "0 bytes so far): *"},
        {"no JPEG stream", Bytes(40, 7), kJPEG, kJPEGFailure + "40 bytes so far): *"},
        {"too deep for the 8-bit codec",
         GreyJpeg({.itsPrecision = 12, .itsProcess = JpegSpec::Process::EXTENDED}), kJPEG,
         kJPEGFailure + "*"},
    };
    for (const auto& [aName, aStream, aUID, aText] : kCases)
    {
        SCOPED_TRACE(aName);
        ExpectFailure(RunBareImage(aStream, aUID, nullptr), 62, aText);
    }
    DataSet aDataSet;
    aDataSet.SetText(DICOMTags::PhotometricInterpretation, "PALETTE COLOR");
    ExpectFailure(RunBareImage(GreyJpeg(), kJPEG, &aDataSet), 12,
                  "CompressedImageStreamDecompressor::Decode: unable to convert image to non-planar 8-bit "
                  "RGB:DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB: Red palette is null "
                  "(unavailable)");
    Outcome anOutcome;
    DecompressionRequest aRequest;
    CompressedImageStreamDecompressor().Decompress(aRequest, anOutcome.itsResult);
    ExpectFailure(anOutcome, 6, "Invalid compressed buffer");

    Bytes aHalf = GreyJpeg();
    aHalf.resize(aHalf.size() / 2);
    ByteSource aBroken(aHalf);
    aBroken.AtEnd([]() -> int { throw StreamIOException("gone", DLRC_IO_ERROR, 5); });
    ExpectFailure(RunSource(aBroken, kJPEG, nullptr), 62, kStreamFailure + "gone");
    ByteSource anInterrupted(aHalf);
    anInterrupted.AtEnd([]() -> int { throw DecodingInterruptedException("stopped", 1); });
    ExpectFailure(RunSource(anInterrupted, kJPEG, nullptr), 63,
                  kFailure + "DecodingInterruptedException: DecodingInterruptedException: stopped");
}

TEST(CompressedImageStreamDecompressor, DescribesAGreyImageWithoutADataSet)
{
    // JPEG is never reduced; the ratio follows the request all the same.
    const Bytes aStream = GreyJpeg();
    for (const auto& [aScaleFactor, aSize] : {std::pair(-1, 128.0), {1, 128.0}, {3, 128.0 * 16}})
    {
        const Outcome anOutcome = RunBareImage(aStream, kJPEG, nullptr, {0, aScaleFactor});
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_EQ(anOutcome.itsResult.getSystemErrorCode(), 0);
        EXPECT_EQ(anOutcome.Message(), "Completed successfully");
        const Renderable& anImage = *anOutcome.Image();
        EXPECT_EQ(Describe(anImage),
                  "MONOCHROME2 8 x 16 x 1, 8/8/7 lossy, scale 1, ratio " +
                      std::to_string(static_cast<int>(aSize / static_cast<double>(aStream.size()) + 0.5)));
        EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{128});
        EXPECT_GE(anImage.getTotalTimeTakenToLoad(), anImage.getTimeTakenToLoadPixelData());
    }
}

TEST(CompressedImageStreamDecompressor, CompletesTheRecordFromTheDataSet)
{
    DataSet aDataSet;
    aDataSet.SetText(DICOMTags::PhotometricInterpretation, "MONOCHROME1")
        .SetNumbers(DICOMTags::PixelRepresentation, {1})
        .SetNumbers(DICOMTags::BitsStored, {12})
        .SetText(DICOMTags::LossyImageCompressionRatio, "17");
    const Outcome anOutcome = RunBareImage(GreyJpeg(), kJPEG, &aDataSet);
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    // The codec's header update has marked the data set as lossy by then.
    EXPECT_EQ(Describe(*anOutcome.Image()), "MONOCHROME1 8 x 16 x 1, 8/12/7 signed lossy, scale 1, ratio 17");
    EXPECT_TRUE(aDataSet.ContainsPrivateCreator("QUORIX0"));
    EXPECT_TRUE(aDataSet.Contains({0x1021, 0x0016}));

    DataSet anotherDataSet;
    anotherDataSet.SetNumbers(DICOMTags::PixelRepresentation, {1});
    EXPECT_FALSE(RunBareImage(GreyJpeg(), kJPEG, &anotherDataSet, {0, 1, true}).Image()->isSigned());
}

TEST(CompressedImageStreamDecompressor, OnlyTheText00MeansNoLoss)
{
    const Bytes aStream = GreyJpeg({.itsProcess = JpegSpec::Process::LOSSLESS});
    for (const auto& [aText, aLossy] : {std::pair("00", false), {"01", true}, {"02", true}})
    {
        DataSet aDataSet;
        aDataSet.SetNumbers(DICOMTags::BitsStored, {4}); // the larger one of codec and data set counts
        const Outcome anUnmarked = RunBareImage(aStream, TransferSyntaxType::TSJPEG70UID, &aDataSet);
        EXPECT_FALSE(anUnmarked.Image()->isLossyImageCompression());
        aDataSet.SetText(DICOMTags::LossyImageCompression, aText);
        const Outcome anOutcome = RunBareImage(aStream, TransferSyntaxType::TSJPEG70UID, &aDataSet);
        EXPECT_EQ(anOutcome.Image()->isLossyImageCompression(), aLossy) << aText;
        EXPECT_EQ(anOutcome.Image()->getBitsStored(), 8);
    }
}

TEST(CompressedImageStreamDecompressor, DeliversColourAsUnsignedRGB)
{
    const JpegSpec aSpec{.itsWidth = 16, .itsComponents = 3};
    const Bytes aStream = MakeFlatJpeg(aSpec, {200, 100, 160});
    DataSet aDataSet;
    aDataSet.SetText(DICOMTags::PhotometricInterpretation, "YBR_PARTIAL_422")
        .SetNumbers(DICOMTags::PixelRepresentation, {1});
    for (DataSet* aTarget : {static_cast<DataSet*>(nullptr), &aDataSet})
    {
        const Outcome anOutcome = RunBareImage(aStream, kJPEG, aTarget);
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_THAT(Describe(*anOutcome.Image()), testing::StartsWith("RGB 8 x 16 x 3, 8/8/7 lossy,"));
        EXPECT_EQ(anOutcome.Pixels(), Flat({245, 187, 150}, 128));
    }
}

TEST(CompressedImageStreamDecompressor, ByMeaningImageAndDataSetHaveTheDepthOfTheFrameHeader)
{
    const JpegSpec aDeep{.itsPrecision = 14, .itsProcess = JpegSpec::Process::LOSSLESS};
    for (const auto& [aReading, aDescription, aHighBit] :
         {std::tuple(Reading::BY_CONTRACT, "MONOCHROME1 8 x 8 x 1, 8/16/7 signed,", 15),
          {Reading::BY_MEANING, "MONOCHROME1 8 x 8 x 1, 16/14/13 signed,", 13}})
    {
        DataSet aDataSet;
        aDataSet.SetGrey(1, 1, 16, 16).SetNumber(DICOMTags::PixelRepresentation, 1);
        aDataSet.SetText(DICOMTags::PhotometricInterpretation, "MONOCHROME1");
        const Outcome anOutcome =
            RunBareImage(MakeFlatJpeg(aDeep, {0x3abc}), kJPEG, &aDataSet, {.itsReading = aReading});
        ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
        EXPECT_THAT(Describe(*anOutcome.Image()), testing::StartsWith(aDescription));
        EXPECT_EQ(anOutcome.Pixels() == Words(std::vector<int>(64, 0x3abc)), aHighBit == 13);
        EXPECT_EQ(aDataSet.Number(DICOMTags::HighBit), aHighBit);
    }
    // Bytes that begin as no JPEG, or have no frame header, end as they do by contract.
    for (const Bytes& aStream : {Bytes(40, 7), Bytes{0xff, 0xd8, 0xff, 0xd9}})
    {
        ExpectFailure(RunBareImage(aStream, kJPEG, nullptr, {.itsReading = Reading::BY_MEANING}), 62,
                      "Decoder exception: JPEGDecoderException: *");
    }
}

TEST(CompressedImageStreamDecompressor, LoadsTheDemoFileFirst)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME1", 8, 16, 8, 8);
    const TemporaryFile aDemo(aBuilder.AddNativePixelData(Counting(128), "OB").Build());
    DICOMDataObject aDataSet;
    ByteSource aSource(GreyJpeg());
    const Outcome anOutcome = RunSource(aSource, kJPEG, &aDataSet, {}, aDemo.GetName());
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    EXPECT_EQ(anOutcome.Image()->getPhotometricInterpretation(), Renderable::MONOCHROME1);
    EXPECT_FALSE(aDataSet.Contains(DICOMTags::PixelData));
    EXPECT_EQ(aSource.GetCloses(), 2) << "once by the codec, once by the decompressor";

    ByteSource anUnread(GreyJpeg());
    const Outcome aFailure = RunSource(anUnread, kJPEG, &aDataSet, {}, "/nowhere/at/all.demo");
    EXPECT_EQ(aFailure.Code(), 3);
    EXPECT_EQ(aFailure.itsResult.getSystemErrorCode(), ENOENT);
    EXPECT_EQ(aFailure.Message(), "Unable to load the .demo file");
    EXPECT_EQ(anUnread.GetReads(), 0);
}
