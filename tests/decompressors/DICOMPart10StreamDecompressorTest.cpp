// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "image/VMMemoryAllocator.h"
#include "support/RecordingInputStream.h"
#include "toolkit/base/Exceptions.h"

using namespace Part10Files;

namespace
{
using Syntax = DicomBuilder::Syntax;

/// The attributes of a 2 × 3 image of 8-bit RGB without those that are left out, and its pixels.
Bytes WithoutAttributes(const std::vector<DICOMTag>& theMissing)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    const auto aUS = [&](DICOMTag theTag, std::uint16_t theValue)
    {
        if (std::find(theMissing.begin(), theMissing.end(), theTag) == theMissing.end())
        {
            aBuilder.AddUS(theTag, {theValue});
        }
    };
    aUS(DICOMTags::SamplesPerPixel, 3);
    if (std::find(theMissing.begin(), theMissing.end(), DICOMTags::PhotometricInterpretation) ==
        theMissing.end())
    {
        aBuilder.AddString(DICOMTags::PhotometricInterpretation, "CS", "RGB");
    }
    aUS(DICOMTags::PlanarConfiguration, 0);
    aUS(DICOMTags::Rows, 2);
    aUS(DICOMTags::Columns, 3);
    aUS(DICOMTags::BitsAllocated, 8);
    aUS(DICOMTags::BitsStored, 8);
    aUS(DICOMTags::HighBit, 7);
    aUS(DICOMTags::PixelRepresentation, 0);
    return aBuilder.AddNativePixelData(Counting(18), "OB").Build();
}

JpegSpec GreySpec()
{
    JpegSpec aSpec;
    aSpec.itsWidth = 16;
    aSpec.itsHeight = 8;
    return aSpec;
}

JpegSpec ColourSpec()
{
    JpegSpec aSpec = GreySpec();
    aSpec.itsComponents = 3;
    return aSpec;
}

Bytes Lossless16(const std::vector<std::uint16_t>& theSamples, const std::string& theUID, int theBitsStored,
                 int thePixelRepresentation = 0)
{
    JpegSpec aSpec = GreySpec();
    aSpec.itsProcess = JpegSpec::Process::LOSSLESS;
    aSpec.itsPrecision = 16;
    return Encapsulated(theUID, aSpec, "MONOCHROME2", {MakeJpeg(aSpec, theSamples)}, theBitsStored,
                        thePixelRepresentation);
}

Bytes FlatColourJpeg(const std::string& theInterpretation, const std::vector<int>& theYBR)
{
    const JpegSpec aSpec = ColourSpec();
    return Encapsulated(TransferSyntaxType::TSJPEG50UID, aSpec, theInterpretation,
                        {MakeJpeg(aSpec, MakeFlatSamples(aSpec, theYBR))});
}

Bytes LittleEndianBytes(const std::vector<std::uint16_t>& theWords)
{
    Bytes aBytes;
    for (const std::uint16_t aWord : theWords)
    {
        aBytes.push_back(static_cast<std::uint8_t>(aWord & 255));
        aBytes.push_back(static_cast<std::uint8_t>(aWord >> 8));
    }
    return aBytes;
}

Bytes CutAt(Bytes theBytes, std::size_t theSize)
{
    theBytes.resize(theSize);
    return theBytes;
}

/// A stream that fails when it is read from theFailAt on.
class FailingStream final : public InputStream
{
public:
    FailingStream(Bytes theBytes, std::size_t theFailAt) : itsBytes(std::move(theBytes)), itsFailAt(theFailAt)
    {
    }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        if (itsPosition == itsFailAt)
        {
            throw StreamIOException("the cable was pulled", DLRC_IO_ERROR, 5);
        }
        const std::size_t aCount = std::min(theLength, itsFailAt - itsPosition);
        std::copy_n(itsBytes.begin() + static_cast<std::ptrdiff_t>(itsPosition), aCount, theBuffer);
        itsPosition += aCount;
        return aCount;
    }

    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    Bytes itsBytes;
    std::size_t itsFailAt;
    std::size_t itsPosition = 0;
};

struct FailureCase
{
    const char* itsName;
    Bytes itsFile;
    Wish itsWish;
    int itsCode;
    std::string itsText; ///< a "*" at the end: only the beginning counts
};

std::string MissingTag(const char* theName)
{
    return std::string("DC3 Tag not found: ") + theName;
}

std::vector<FailureCase> MakeFailureCases()
{
    const std::string kHeader = "Error reading Part10Header, possible corruption: *";
    const std::string kConversion =
        "DICOMPart10StreamDecompressor::Decode: unable to convert image to non-planar 8-bit RGB: "
        "DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB: PhotometricInterpretation not "
        "supported: ";
    const std::string kShort = "Failed to read the pixel data";
    const std::string kGetFrame = "DICOMPart10StreamDecompressor::Decode: anImageFrameInputStream->GetFrame(";
    const JpegSpec aSpec = GreySpec();
    const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
    const Bytes aJpegFile =
        Encapsulated(TransferSyntaxType::TSJPEG50UID, aSpec, "MONOCHROME2", {aJpeg, aJpeg});
    JpegSpec aSmallerSpec = aSpec;
    aSmallerSpec.itsHeight = 7;
    const Bytes aPadding(256);
    std::vector<FailureCase> aCases = {
        {"empty", {}, {}, 38, kHeader},
        {"no Part 10 stream", Bytes(200, 'x'), {}, 38, kHeader},
        {"ends inside the file meta information", CutAt(Grey8(), 150), {}, 38, kHeader},
        {"unknown transfer syntax",
         DicomBuilder(Syntax::EXPLICIT_LITTLE, "1.2.3.4").AddRaw(aPadding).Build(),
         {},
         38,
         "Unable to get transfer syntax UID"},
        {"the last one missing is named",
         WithoutAttributes({DICOMTags::Rows, DICOMTags::Columns}),
         {},
         38,
         MissingTag("Columns")},
        {"PlanarConfiguration",
         WithoutAttributes({DICOMTags::PlanarConfiguration}),
         {},
         38,
         "Missing PlanarConfiguration attribute"},
        {"no pixel data",
         CutAt(Grey8(), Grey8().size() - 18),
         {},
         6,
         "DICOMPart10StreamDecompressor::Decode: (no Renderable at end - no Pixel data found in object being "
         "decoded)"},
        {"ends inside an element",
         CutAt(Grey8(), Grey8().size() - 19),
         {},
         38,
         "Parse error, possible corruption: *"},
        {"half a frame", CutAt(Grey8(), Grey8().size() - 3), {}, 37, kShort},
        {"a frame behind the last", Grey8(2), {2}, 37, kShort},
        {"a frame far behind the last", Grey8(2), {2147483647}, 37, kShort},
        {"frame -2", Grey8(2), {-2}, 37, kShort},
        {"a compressed frame behind the last", aJpegFile, {2}, 38, kGetFrame + "2) failed"},
        {"compressed frame -2", aJpegFile, {-2}, 38, kGetFrame + "-2) failed"},
        {"no codec",
         Encapsulated("1.2.840.10008.1.2.4.80", aSpec, "MONOCHROME2", {aJpeg}),
         {},
         48,
         "CompressedStreamDecoder::Decode: Unable to create Decoder for transfer syntax with UID = "
         "1.2.840.10008.1.2.4.80"},
        {"bits that the transfer syntax cannot have",
         Encapsulated(TransferSyntaxType::TSJPEG50UID, aSpec, "MONOCHROME2", {aJpeg}, 12),
         {},
         7,
         "DecoderFactory::Create() bits stored > 8 invalid for TSJPEG50UID transfer syntax"},
        {"no JPEG stream",
         Encapsulated(TransferSyntaxType::TSJPEG50UID, aSpec, "MONOCHROME2", {Bytes(64, 7)}),
         {},
         38,
         "A logic error occurred in the Decompressor: JPEGDecoder: error (read 64 bytes so far): *"},
        {"a codestream larger than the data set says",
         Encapsulated(TransferSyntaxType::TSJPEG50UID, aSmallerSpec, "MONOCHROME2", {aJpeg}),
         {},
         62,
         "CompressedStreamDecoder::Decode: output buffer size 112 < decoded image size 128*"},
        {"colour that has no conversion",
         Native(Syntax::EXPLICIT_LITTLE, 3, "YBR_PARTIAL_420", 2, 2, 8, 0, Counting(12), "OB"),
         {},
         12,
         kConversion + "YBR_PARTIAL_420"},
        {"RLE keeps the label that it came with",
         Encapsulated(TransferSyntaxType::TSRLEUID, ColourSpec(), "YBR_FULL_422",
                      {RleFrame({Bytes(128), Bytes(128), Bytes(128)})}),
         {},
         12,
         "DICOMPart10StreamDecompressor::Decode: unable to convert image to non-planar 8-bit RGB: "
         "DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB: Renderable contains incorrect "
         "number "
         "of samples for YBR_FULL_422 encoding"},
        {"an interpretation nobody knows",
         Native(Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME3", 2, 2, 8, 0, Counting(4), "OB"),
         {},
         12,
         kConversion + "INVALID"},
        {"dimensions whose size wraps in 32 bits",
         Native(Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME2", 65535, 65535, 16, 0, Counting(4), "OW"),
         {},
         11,
         "The image is too large: 65535 rows of 65535 pixels, more than the limit of *"},
        {"dimensions whose size wraps to little",
         Native(Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME2", 32768, 16384, 8, 0, Counting(4), "OB"),
         {},
         38,
         "A logic error occurred in the Decompressor: Memory allocation of 536870912 bytes failed"},
    };
    const std::pair<DICOMTag, const char*> kNeeded[] = {
        {DICOMTags::Rows, "Rows"},
        {DICOMTags::Columns, "Columns"},
        {DICOMTags::BitsAllocated, "BitsAllocated"},
        {DICOMTags::BitsStored, "BitsStored"},
        {DICOMTags::HighBit, "HighBit"},
        {DICOMTags::PixelRepresentation, "PixelRepresentation"},
        {DICOMTags::PhotometricInterpretation, "PhotometricInterpretation"},
        {DICOMTags::SamplesPerPixel, "SamplesPerPixel"},
    };
    for (const auto& [aTag, aName] : kNeeded)
    {
        aCases.push_back({aName, WithoutAttributes({aTag}), {}, 38, MissingTag(aName)});
    }
    return aCases;
}

void ExpectFailure(const FailureCase& theCase, const Outcome& theOutcome)
{
    SCOPED_TRACE(theCase.itsName);
    EXPECT_EQ(theOutcome.Code(), theCase.itsCode);
    if (theCase.itsText.back() == '*')
    {
        EXPECT_EQ(theOutcome.Message().substr(0, theCase.itsText.size() - 1),
                  theCase.itsText.substr(0, theCase.itsText.size() - 1));
    }
    else
    {
        EXPECT_EQ(theOutcome.Message(), theCase.itsText);
    }
    EXPECT_EQ(theOutcome.itsResult.getSystemErrorCode(), 0);
    EXPECT_EQ(theOutcome.Image(), nullptr);
    EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 0u);
}
} // namespace

TEST(DICOMPart10StreamDecompressor, ReportsEveryFailureAndKeepsNothing)
{
    for (const FailureCase& aCase : MakeFailureCases())
    {
        DICOMDataObject aDataSet;
        ExpectFailure(aCase, RunPart10(aCase.itsFile, &aDataSet, aCase.itsWish));
        ExpectFailure(aCase, RunPart10(aCase.itsFile, nullptr, aCase.itsWish));
    }
}

TEST(DICOMPart10StreamDecompressor, RefusesARequestWithoutAStream)
{
    DecompressionRequest aRequest;
    DecompressionResult aResult;
    aResult.setSystemErrorCode(9);
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    EXPECT_EQ(aResult.getDCMLibResultCode(), 6);
    EXPECT_EQ(aResult.getSystemErrorCode(), 0);
    EXPECT_EQ(aResult.getMessage(), "Invalid compressed buffer");
}

TEST(DICOMPart10StreamDecompressor, PassesOnWhatTheStreamReports)
{
    const Bytes aFile = Grey8();
    struct Case
    {
        std::size_t itsFailAt;
        int itsCode;
        const char* itsText;
    };
    for (const Case& aCase :
         {Case{40, 38, "Error reading Part10Header, possible corruption: the cable was pulled"},
          Case{aFile.size() - 30, 67, "the cable was pulled"}, // in the data set
          Case{aFile.size() - 2, 67, "the cable was pulled"}}) // in the pixels
    {
        FailingStream aStream(aFile, aCase.itsFailAt);
        DICOMDataObject aDataSet;
        DecompressionRequest aRequest(&aStream, &aDataSet, "", false, 1, 0, "", false);
        DecompressionResult aResult;
        DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
        EXPECT_EQ(aResult.getDCMLibResultCode(), aCase.itsCode);
        EXPECT_EQ(aResult.getSystemErrorCode(), 5);
        EXPECT_EQ(aResult.getMessage(), aCase.itsText);
    }
}

TEST(DICOMPart10StreamDecompressor, KeepsTheDataSetOfAFileWithoutPixelData)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    DICOMDataObject aDataSet;
    EXPECT_EQ(RunPart10(aBuilder.Build(), &aDataSet).Code(), 6);
    std::int32_t aColumns = 0;
    EXPECT_TRUE(aDataSet.GetInteger(DICOMTags::Columns, aColumns));
    EXPECT_EQ(aColumns, 3);
}

TEST(DICOMPart10StreamDecompressor, DeliversTheNativeFrameAskedFor)
{
    for (const int aFrame : {-1, 0, 1, 2})
    {
        DICOMDataObject aDataSet;
        const Outcome anOutcome = RunPart10(Grey8(3), &aDataSet, {aFrame});
        EXPECT_EQ(anOutcome.Pixels(), Counting(6, aFrame < 0 ? 0U : 6U * static_cast<unsigned>(aFrame)));
        EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{6})
            << "a grey frame is one allocation at its final size";
        EXPECT_EQ(anOutcome.Message(), "Completed successfully");
    }
}

TEST(DICOMPart10StreamDecompressor, ReachesALateFrameWithoutReadingTheOthers)
{
    constexpr int kFrames = 200;
    constexpr std::size_t kFrameSize = 8192;
    DicomBuilder aNative(Syntax::EXPLICIT_LITTLE);
    aNative.AddImageAttributes(1, "MONOCHROME2", 64, 128, 8, 8, 0, kFrames);
    aNative.AddNativePixelData(Bytes(kFrames * kFrameSize, 5), "OB");
    JpegSpec aSpec;
    aSpec.itsWidth = 128;
    aSpec.itsHeight = 64;
    const Bytes aFrame = RleFrame({Bytes(kFrameSize, 5)});
    const Bytes aCompressed =
        Encapsulated(TransferSyntaxType::TSRLEUID, aSpec, "MONOCHROME2", std::vector<Bytes>(kFrames, aFrame));
    for (const Bytes& aFile : {aNative.Build(), aCompressed})
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aFile, {}, aRecord);
        DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, kFrames - 1, "", false);
        DecompressionResult aResult;
        DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
        ASSERT_NE(aResult.getRenderable(), nullptr) << aResult.getMessage();
        EXPECT_LT(aRecord.itsBytesRead, aFile.size() / 10);
    }
}

TEST(DICOMPart10StreamDecompressor, DescribesANativeImage)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddUS(DICOMTags::SamplesPerPixel, {1});
    aBuilder.AddString(DICOMTags::PhotometricInterpretation, "CS", "MONOCHROME1");
    aBuilder.AddUS(DICOMTags::Rows, {3}).AddUS(DICOMTags::Columns, {2}).AddUS(DICOMTags::BitsAllocated, {16});
    aBuilder.AddUS(DICOMTags::BitsStored, {12}).AddUS(DICOMTags::HighBit, {11});
    aBuilder.AddUS(DICOMTags::PixelRepresentation, {1});
    aBuilder.AddString(DICOMTags::LossyImageCompression, "CS", "01");
    aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "3.2\\7.6");
    const Bytes aFile = aBuilder.AddNativePixelData(Counting(12), "OW").Build();
    DICOMDataObject aDataSet;
    const Outcome anOutcome = RunPart10(aFile, &aDataSet, {-1, 3});
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    const Renderable& anImage = *anOutcome.Image();
    EXPECT_EQ(anImage.getPhotometricInterpretation(), Renderable::MONOCHROME1);
    EXPECT_EQ(anImage.getRows(), 3);
    EXPECT_EQ(anImage.getColumns(), 2);
    EXPECT_EQ(anImage.getSamplesPerPixel(), 1);
    EXPECT_EQ(anImage.getBitsAllocated(), 16);
    EXPECT_EQ(anImage.getBitsStored(), 12);
    EXPECT_EQ(anImage.getHighBit(), 11);
    EXPECT_TRUE(anImage.isSigned());
    EXPECT_TRUE(anImage.isPixelDataLittleEndian());
    EXPECT_FALSE(anImage.isPlanarConfiguration());
    EXPECT_TRUE(anImage.isLossyImageCompression());
    EXPECT_EQ(anImage.getCompressionRatio(), 8) << "the last value of the data set, rounded";
    EXPECT_EQ(anImage.getScaleFactor(), 3) << "native images keep the request's";
    EXPECT_GE(anImage.getTotalTimeTakenToLoad(),
              anImage.getTimeTakenToOpenStream() + anImage.getTimeTakenToLoadHeader() +
                  anImage.getTimeTakenToAllocateMemmory() + anImage.getTimeTakenToLoadPixelData());
    EXPECT_GT(anImage.getTimeTakenToLoadHeader(), 0.0);
    EXPECT_LT(anImage.getTotalTimeTakenToLoad(), 60000.0);
}

TEST(DICOMPart10StreamDecompressor, ComputesTheRatioOnlyForImagesNotMarkedLossy)
{
    struct Case
    {
        const char* itsLossy;
        bool itsDataSet;
        int itsScaleFactor;
        int itsRatio;
    };
    for (const Case& aCase : {Case{"00", true, 1, 1}, Case{"00", true, 3, 16}, Case{"00", false, 0, 1},
                              Case{"01", true, 1, 9}, Case{"01", false, 1, 0}})
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
        aBuilder.AddString(DICOMTags::LossyImageCompression, "CS", aCase.itsLossy);
        aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "9");
        aBuilder.AddNativePixelData(Counting(6), "OB");
        DICOMDataObject aDataSet;
        const Outcome anOutcome =
            RunPart10(aBuilder.Build(), aCase.itsDataSet ? &aDataSet : nullptr, {0, aCase.itsScaleFactor});
        ASSERT_NE(anOutcome.Image(), nullptr);
        EXPECT_EQ(anOutcome.Image()->getCompressionRatio(), aCase.itsRatio)
            << aCase.itsLossy << " scale " << aCase.itsScaleFactor;
        EXPECT_EQ(anOutcome.Image()->getScaleFactor(), std::max(aCase.itsScaleFactor, 1));
    }
}

TEST(DICOMPart10StreamDecompressor, BringsBigEndianWordsIntoNativeOrder)
{
    const Bytes aPixels{0x12, 0x34, 0x56, 0x78};
    const Bytes aSwapped{0x34, 0x12, 0x78, 0x56};
    DICOMDataObject aDataSet;
    const Outcome aWords =
        RunPart10(Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 0, aPixels, "OW"), &aDataSet);
    EXPECT_EQ(aWords.Pixels(), aSwapped);
    EXPECT_TRUE(aWords.Image()->isPixelDataLittleEndian()) << "the fix-up must not exchange them again";

    DICOMDataObject anotherDataSet;
    const Outcome aBytes = RunPart10(
        Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 0, aPixels, "OB"), &anotherDataSet);
    EXPECT_EQ(aBytes.Pixels(), aPixels);
    EXPECT_FALSE(aBytes.Image()->isPixelDataLittleEndian());

    // The exchange counts pixels but ends with the buffer: one byte a pixel makes half as many words.
    DICOMDataObject aThirdDataSet;
    EXPECT_EQ(
        RunPart10(Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 2, 2, 8, 0, aPixels, "OW"), &aThirdDataSet)
            .Pixels(),
        aSwapped);
}

struct UnsignedCase
{
    const char* itsName;
    Bytes itsFile;
    Bytes itsExpected;
};

TEST(DICOMPart10StreamDecompressor, MakesSignedPixelsUnsignedWhenAsked)
{
    const JpegSpec aSpec = GreySpec();
    std::vector<std::uint16_t> aWords(128, 0x7fff);
    std::vector<std::uint16_t> aMoved(128, 0xffff);
    aWords[5] = 0x8000;
    aMoved[5] = 0;
    const std::vector<UnsignedCase> kCases{
        {"8 bits",
         Native(Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME2", 2, 2, 8, 1, {0x80, 0xff, 0, 0x7f}, "OB"),
         {0, 0x7f, 0x80, 0xff}},
        {"16 bits",
         Native(Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME2", 1, 2, 16, 1, {1, 0x80, 2, 0x7f}, "OW"),
         {1, 0, 2, 0xff}},
        {"16 bits, big-endian words",
         Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 1, {0x80, 1, 0x7f, 2}, "OW"),
         {1, 0, 2, 0xff}},
        {"16 bits that stay big-endian",
         Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 1, {0x80, 1, 0x7f, 2}, "OB"),
         {0, 1, 0xff, 2}},
        {"lossless JPEG", Lossless16(aWords, TransferSyntaxType::TSJPEG70UID, 16, 1),
         LittleEndianBytes(aMoved)},
        {"RLE",
         Encapsulated(TransferSyntaxType::TSRLEUID, aSpec, "MONOCHROME2", {RleFrame({Bytes(128, 0x81)})}, 8,
                      1),
         Bytes(128, 1)},
    };
    for (const UnsignedCase& aCase : kCases)
    {
        SCOPED_TRACE(aCase.itsName);
        DICOMDataObject aDataSet;
        const Outcome anOutcome = RunPart10(aCase.itsFile, &aDataSet, {0, 1, true});
        EXPECT_EQ(anOutcome.Pixels(), aCase.itsExpected) << anOutcome.Message();
        ASSERT_NE(anOutcome.Image(), nullptr);
        EXPECT_FALSE(anOutcome.Image()->isSigned());
        DICOMDataObject anotherDataSet;
        const Outcome aPlain = RunPart10(aCase.itsFile, &anotherDataSet);
        EXPECT_TRUE(aPlain.Image()->isSigned());
        EXPECT_NE(aPlain.Pixels(), aCase.itsExpected);
    }
}

TEST(DICOMPart10StreamDecompressor, InterleavesPlanesAndRecordsIt)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddUS(DICOMTags::SamplesPerPixel, {3});
    aBuilder.AddString(DICOMTags::PhotometricInterpretation, "CS", "RGB");
    aBuilder.AddUS(DICOMTags::PlanarConfiguration, {1})
        .AddUS(DICOMTags::Rows, {1})
        .AddUS(DICOMTags::Columns, {2});
    aBuilder.AddUS(DICOMTags::BitsAllocated, {8}).AddUS(DICOMTags::BitsStored, {8});
    aBuilder.AddUS(DICOMTags::HighBit, {7}).AddUS(DICOMTags::PixelRepresentation, {0});
    const Bytes aFile = aBuilder.AddNativePixelData({1, 2, 3, 4, 5, 6}, "OB").Build();
    DICOMDataObject aDataSet;
    const Outcome anOutcome = RunPart10(aFile, &aDataSet);
    EXPECT_EQ(anOutcome.Pixels(), (Bytes{1, 3, 5, 2, 4, 6}));
    EXPECT_FALSE(anOutcome.Image()->isPlanarConfiguration());
    std::int32_t aPlanar = 7;
    EXPECT_TRUE(aDataSet.GetInteger(DICOMTags::PlanarConfiguration, aPlanar));
    EXPECT_EQ(aPlanar, 0);
    // The second reading finds the file's attribute again, yet the scratch pad has the last word.
    aDataSet.SetScratchpadValue("DecompOrigPlanarConfig", "0");
    EXPECT_EQ(RunPart10(aFile, &aDataSet).Pixels(), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(DICOMPart10StreamDecompressor, TakesTheSamplesOfTheFirstDecodeFromTheScratchPad)
{
    const Bytes aFile = Native(Syntax::EXPLICIT_LITTLE, 3, "RGB", 2, 2, 8, 0, Counting(12), "OB");
    DICOMDataObject aDataSet;
    aDataSet.SetScratchpadValue("DecompOrigSamplesPerPixel", "1");
    aDataSet.SetScratchpadValue("DecompOrigPhotoInterp", "MONOCHROME1");
    const Outcome anOutcome = RunPart10(aFile, &aDataSet);
    EXPECT_EQ(anOutcome.Pixels(), Counting(4)) << anOutcome.Message();
    EXPECT_EQ(anOutcome.Image()->getSamplesPerPixel(), 1);
    EXPECT_EQ(anOutcome.Image()->getPhotometricInterpretation(), Renderable::MONOCHROME1);
}

TEST(DICOMPart10StreamDecompressor, RecoversAPrecisionThatTheFileHides)
{
    const JpegSpec aSpec = GreySpec();
    std::vector<std::uint16_t> aWords(128);
    for (std::size_t i = 0; i < aWords.size(); ++i)
    {
        aWords[i] = static_cast<std::uint16_t>(i * 511);
    }
    // Bits Stored 8 in 16 allocated: the stream's 16 bits come out whole.
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, TransferSyntaxType::TSJPEG70UID);
    JpegSpec aDeep = aSpec;
    aDeep.itsProcess = JpegSpec::Process::LOSSLESS;
    aDeep.itsPrecision = 16;
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 8, 16, 16, 8);
    aBuilder.AddEncapsulatedPixelData({MakeJpeg(aDeep, aWords)});
    DICOMDataObject aDataSet;
    EXPECT_EQ(RunPart10(aBuilder.Build(), &aDataSet).Pixels(), LittleEndianBytes(aWords));
    // Bits Allocated 8 leaves no room for them.
    DICOMDataObject anotherDataSet;
    const Outcome aRefused =
        RunPart10(Lossless16(aWords, TransferSyntaxType::TSJPEG70UID, 8), &anotherDataSet);
    EXPECT_EQ(aRefused.Code(), 62) << aRefused.Message();
}

TEST(DICOMPart10StreamDecompressor, DecodesADataSetTwice)
{
    DicomBuilder aPalette = PaletteImage();
    aPalette.AddNativePixelData({0, 3, 1, 9}, "OB");
    const JpegSpec aSpec = ColourSpec();
    const std::vector<Bytes> kFiles{
        aPalette.Build(), FlatColourJpeg("YBR_FULL", {50, 60, 70}),
        Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 1, {0x12, 0x34, 0x56, 0x78}, "OW"),
        Native(Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL", 2, 2, 8, 0, Counting(12), "OB"),
        Encapsulated(TransferSyntaxType::TSRLEUID, aSpec, "YBR_FULL",
                     {RleFrame({Bytes(128, 9), Bytes(128, 100), Bytes(128, 160)})})};
    for (std::size_t i = 0; i < kFiles.size(); ++i)
    {
        DICOMDataObject aDataSet;
        const Outcome aFirst = RunPart10(kFiles[i], &aDataSet);
        const Outcome aSecond = RunPart10(kFiles[i], &aDataSet);
        ASSERT_EQ(aFirst.Code(), 0) << "file " << i << ": " << aFirst.Message();
        ASSERT_EQ(aSecond.Code(), 0) << "file " << i << ": " << aSecond.Message();
        EXPECT_EQ(aFirst.Pixels(), aSecond.Pixels()) << "file " << i;
        EXPECT_EQ(aFirst.Image()->getPhotometricInterpretation(),
                  aSecond.Image()->getPhotometricInterpretation());
    }
    DICOMDataObject aDataSet;
    EXPECT_EQ(RunPart10(kFiles[0], &aDataSet).Pixels(),
              (Bytes{10, 20, 30, 13, 23, 33, 11, 21, 31, 13, 23, 33}));
}
