// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/DataSet.h"
#include "support/RecordingInputStream.h"

using namespace Part10Files;

namespace
{
using Syntax = DicomBuilder::Syntax;

const RWCString& kBaseline = TransferSyntaxType::TSJPEG50UID;
const RWCString& kLossless = TransferSyntaxType::TSJPEG70UID;
const RWCString& kRle = TransferSyntaxType::TSRLEUID;

const JpegSpec kSpec{.itsWidth = 16};

struct FailureCase
{
    const char* itsName;
    Bytes itsFile;
    int itsCode;
    std::string itsText; ///< a "*" at the end: only the beginning counts
    Wish itsWish = {};
};

std::vector<FailureCase> FailureCases()
{
    const std::string kHeader = "Error reading Part10Header, possible corruption: *";
    const std::string kDecode = "DICOMPart10StreamDecompressor::Decode: ";
    const std::string kConversion = kDecode + "unable to convert image to non-planar 8-bit RGB: "
                                              "DecompressionLibUtils::Convert";
    const std::string kGetFrame = kDecode + "anImageFrameInputStream->GetFrame(";
    const std::string kLogicError = "A logic error occurred in the Decompressor: ";
    const std::string kShort = "Failed to read the pixel data";
    const Syntax kLittle = Syntax::EXPLICIT_LITTLE;
    const Bytes aJpeg = MakeJpeg(kSpec, MakeSamples(kSpec));
    const Bytes aJpegFile = Encapsulated(kBaseline, kSpec, "MONOCHROME2", {aJpeg, aJpeg});
    const auto aCut = [aFile = Grey8()](std::size_t theSize) { return Bytes(&aFile[0], &aFile[theSize]); };
    const std::size_t aSize = Grey8().size(); // ends with 12 bytes before 6 pixels
    return {
        {"empty", {}, 38, kHeader},
        {"no Part 10 stream", Bytes(200, 'x'), 38, kHeader},
        {"ends inside the file meta information", aCut(150), 38, kHeader},
        {"unknown transfer syntax", DicomBuilder(kLittle, "1.2.3.4").AddRaw(Bytes(256)).Build(), 38,
         "Unable to get transfer syntax UID"},
        {"no attribute: the last one missing is named", DicomBuilder(kLittle).AddNativePixelData({}).Build(),
         38, "DC3 Tag not found: SamplesPerPixel"},
        {"no pixel data", aCut(aSize - 18), 6,
         kDecode + "(no Renderable at end - no Pixel data found in object being decoded)"},
        {"ends inside an element", aCut(aSize - 19), 38, "Parse error, possible corruption: *"},
        {"half a frame", aCut(aSize - 3), 37, kShort},
        {"a frame behind the last", Grey8(2), 37, kShort, {2}},
        {"a frame far behind the last", Grey8(2), 37, kShort, {2147483647}},
        {"frame -2", Grey8(2), 37, kShort, {-2}},
        {"a compressed frame behind the last", aJpegFile, 38, kGetFrame + "2) failed", {2}},
        {"compressed frame -2", aJpegFile, 38, kGetFrame + "-2) failed", {-2}},
        {"no JPEG stream", Encapsulated(kBaseline, kSpec, "MONOCHROME2", {Bytes(64, 7)}), 38,
         kLogicError + "JPEGDecoder: error (read 64 bytes so far): *"},
        {"a codestream larger than the data set says",
         Encapsulated(kBaseline, {.itsWidth = 16, .itsHeight = 7}, "MONOCHROME2", {aJpeg}), 62,
         "CompressedStreamDecoder::Decode: output buffer size 112 < decoded image size 128*"},
        {"colour that has no conversion",
         Native(kLittle, 3, "YBR_PARTIAL_420", 2, 2, 8, 0, Counting(12), "OB"), 12,
         kConversion +
             "RenderableToNonPlanar8BitRGB: PhotometricInterpretation not supported: YBR_PARTIAL_420"},
        {"dimensions whose size wraps to little",
         Native(kLittle, 1, "MONOCHROME2", 32768, 16384, 8, 0, Counting(4), "OB"), 38,
         kLogicError + "Memory allocation of 536870912 bytes failed"},
    };
}

TEST(DICOMPart10StreamDecompressor, ReportsEveryFailureAndKeepsNothingButTheDataSet)
{
    for (const FailureCase& aCase : FailureCases())
    {
        SCOPED_TRACE(aCase.itsName);
        DataSet aDataSet;
        ExpectFailure(RunPart10(aCase.itsFile, &aDataSet, aCase.itsWish), aCase.itsCode, aCase.itsText);
        ExpectFailure(RunPart10(aCase.itsFile, nullptr, aCase.itsWish), aCase.itsCode, aCase.itsText);
        EXPECT_TRUE(aCase.itsCode != 6 || aDataSet.Number(DICOMTags::Columns) == 3);
    }
    Outcome anOutcome;
    DecompressionRequest aRequest;
    DICOMPart10StreamDecompressor().Decompress(aRequest, anOutcome.itsResult);
    ExpectFailure(anOutcome, 6, "Invalid compressed buffer");
}

TEST(DICOMPart10StreamDecompressor, PassesOnWhatTheStreamReports)
{
    const Bytes aFile = Grey8();
    const std::tuple<std::size_t, int, const char*> kCases[] = {
        {40, 38, "Error reading Part10Header, possible corruption: no more paper"},
        {aFile.size() - 30, 67, "no more paper"}, // in the data set
        {aFile.size() - 2, 67, "no more paper"}}; // in the pixels
    for (const auto& [aPlace, aCode, aText] : kCases)
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(Bytes(&aFile[0], &aFile[aPlace]),
                                     {.itsCanSeek = false, .itsKnowsLength = false, .itsFailsAtItsEnd = true},
                                     aRecord);
        const Outcome anOutcome = RunStream(aStream);
        EXPECT_EQ(anOutcome.Code(), aCode);
        EXPECT_EQ(anOutcome.itsResult.getSystemErrorCode(), 42);
        EXPECT_EQ(anOutcome.Message(), aText);
    }
}

TEST(DICOMPart10StreamDecompressor, ReachesALateFrameWithoutReadingTheOthers)
{
    constexpr int kFrames = 200;
    const Bytes aPixels = Counting(8192);
    DicomBuilder aNative(Syntax::EXPLICIT_LITTLE);
    aNative.AddImageAttributes(1, "MONOCHROME2", 64, 128, 8, 8, 0, kFrames);
    aNative.AddNativePixelData(Bytes(kFrames * aPixels.size(), 5), "OB");
    const std::vector<Bytes> aFrames(kFrames, RleFrame({aPixels}));
    for (const Bytes& aFile :
         {aNative.Build(), Encapsulated(kRle, {.itsWidth = 128, .itsHeight = 64}, "MONOCHROME2", aFrames)})
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aFile, {}, aRecord);
        EXPECT_EQ(RunStream(aStream, nullptr, {kFrames - 1}).Code(), 0);
        EXPECT_LT(aRecord.itsBytesRead, aFile.size() / 10);
    }
}

TEST(DICOMPart10StreamDecompressor, DescribesANativeImage)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME1", 3, 2, 16, 12, 1);
    aBuilder.AddString(DICOMTags::LossyImageCompression, "CS", "01");
    aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "3.2\\7.6"); // the last one counts
    const Outcome anOutcome = RunPart10(aBuilder.AddNativePixelData(Counting(12), "OW").Build(), {-1, 3});
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    const Renderable& anImage = *anOutcome.Image();
    EXPECT_EQ(Describe(anImage), "MONOCHROME1 3 x 2 x 1, 16/12/11 signed lossy, scale 3, ratio 8");
    EXPECT_GE(anImage.getTotalTimeTakenToLoad(),
              anImage.getTimeTakenToOpenStream() + anImage.getTimeTakenToLoadHeader() +
                  anImage.getTimeTakenToAllocateMemmory() + anImage.getTimeTakenToLoadPixelData());
    EXPECT_GT(anImage.getTimeTakenToLoadHeader(), 0.0);
    EXPECT_LT(anImage.getTotalTimeTakenToLoad(), 60000.0);
}

TEST(DICOMPart10StreamDecompressor, ComputesTheRatioOnlyForImagesNotMarked)
{
    // Lossy Image Compression; our mark in the data set, or -1 without one; scale factor and ratio.
    const std::tuple<const char*, int, int, int> kCases[] = {
        {"00", 0, 1, 1},  {"00", 0, 3, 16}, {"00", -1, 0, 1}, {"01", 0, 1, 9},
        {"01", -1, 1, 0}, {"00", 1, 1, 9},  {"00", 2, 1, 1}};
    for (const auto& [aLossy, aForcedLossless, aScaleFactor, aRatio] : kCases)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
        aBuilder.AddString(DICOMTags::LossyImageCompression, "CS", aLossy);
        aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "9");
        aBuilder.AddNativePixelData(Counting(6), "OB");
        DataSet aDataSet;
        aDataSet.SetPrivate("LosslessCmpFlag", static_cast<std::uint16_t>(aForcedLossless));
        const Outcome anOutcome =
            RunPart10(aBuilder.Build(), aForcedLossless < 0 ? nullptr : &aDataSet, {0, aScaleFactor});
        ASSERT_NE(anOutcome.Image(), nullptr);
        EXPECT_EQ(Describe(*anOutcome.Image()), std::string("MONOCHROME2 2 x 3 x 1, 8/8/7") +
                                                    (aLossy[1] == '1' ? " lossy" : "") + ", scale " +
                                                    std::to_string(std::max(aScaleFactor, 1)) + ", ratio " +
                                                    std::to_string(aRatio));
    }
}

TEST(DICOMPart10StreamDecompressor, MakesSignedPixelsUnsignedWhenAsked)
{
    const JpegSpec aDeep{.itsWidth = 16, .itsPrecision = 16, .itsProcess = JpegSpec::Process::LOSSLESS};
    const auto aNative = [](Syntax theSyntax, int theBits, const Bytes& thePixels, const char* theVR)
    { return Native(theSyntax, 1, "MONOCHROME2", 1, 32 / theBits, theBits, 1, thePixels, theVR); };
    const std::tuple<const char*, Bytes, Bytes> kCases[] = {
        {"8 bits", aNative(Syntax::EXPLICIT_LITTLE, 8, {0x80, 0xff, 0, 0x7f}, "OB"), {0, 0x7f, 0x80, 0xff}},
        {"16 bits", aNative(Syntax::EXPLICIT_LITTLE, 16, {1, 0x80, 2, 0x7f}, "OW"), {1, 0, 2, 0xff}},
        {"big-endian words", aNative(Syntax::EXPLICIT_BIG, 16, {0x80, 1, 0x7f, 2}, "OW"), {1, 0, 2, 0xff}},
        {"big-endian still", aNative(Syntax::EXPLICIT_BIG, 16, {0x80, 1, 0x7f, 2}, "OB"), {0, 1, 0xff, 2}},
        {"lossless JPEG",
         Encapsulated(kLossless, aDeep, "MONOCHROME2", {MakeFlatJpeg(aDeep, {0x7ffe})}, 16, 1),
         Words(std::vector<int>(128, 0xfffe))},
        {"RLE", Encapsulated(kRle, kSpec, "MONOCHROME2", {RleFrame({Bytes(128, 0x81)})}, 8, 1),
         Bytes(128, 1)}};
    for (const auto& [aName, aFile, anExpected] : kCases)
    {
        SCOPED_TRACE(aName);
        const Outcome anOutcome = RunPart10(aFile, {0, 1, true});
        EXPECT_EQ(anOutcome.Pixels(), anExpected) << anOutcome.Message();
        EXPECT_FALSE(anOutcome.Image()->isSigned());
        const Outcome aPlain = RunPart10(aFile);
        EXPECT_TRUE(aPlain.Image()->isSigned());
        EXPECT_NE(aPlain.Pixels(), anExpected);
    }
}

/// A native or RLE file's copy with Planar Configuration 1.
Bytes Planar(Bytes theFile)
{
    const Bytes kElement{0x28, 0, 6, 0, 'U', 'S', 2, 0};
    std::search(theFile.begin(), theFile.end(), kElement.begin(), kElement.end())[8] = 1;
    return theFile;
}

/// 1 × 4 indices into the palettes.
Bytes PaletteFile(const std::string& theUID, const Bytes& theFrame)
{
    DicomBuilder aBuilder = PaletteImage(theUID);
    return (theUID.empty() ? aBuilder.AddNativePixelData(theFrame, "OB")
                           : aBuilder.AddEncapsulatedPixelData({Even(theFrame)}))
        .Build();
}

// What one data set held of another image before must not show, in whatever order elements come.
TEST(DICOMPart10StreamDecompressor, OneDataSetServesSeveralImages)
{
    // Interpretation and samples; where the palette's data stands, if any; its shade; whether the UID comes
    // last.
    constexpr int kNone = 0, kPlain = 0x1201, kSegmented = 0x1221;
    constexpr std::tuple<const char*, std::uint16_t, int, int, bool> kImages[] = {
        {"PALETTE COLOR", 1, kPlain, 0x1000, false},
        {"PALETTE COLOR", 1, kPlain, 0x2000, true},
        {"PALETTE COLOR", 1, kSegmented, 0x3000, false},
        {"MONOCHROME2", 1, kPlain, 0x4000, false},
        {"MONOCHROME1", 1, kNone, 0, false},
        {"RGB", 3, kNone, 0, false}};
    std::vector<Bytes> aFiles;
    for (const auto& [anInterpretation, aSamples, aPalette, aShade, isUIDLast] : kImages)
    {
        DicomBuilder aUID(Syntax::EXPLICIT_LITTLE), anAttributes(Syntax::EXPLICIT_LITTLE);
        aUID.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2." + std::to_string(aFiles.size()));
        anAttributes.AddImageAttributes(aSamples, anInterpretation, 1, 4, 8, 8);
        for (int i = 0; aPalette != kNone && i < 3; ++i)
        {
            std::vector<std::uint16_t> aTable{static_cast<std::uint16_t>(aShade + 0x400 * i), 0x7000, 0x8000,
                                              0xff00};
            if (aPalette == kSegmented)
            {
                aTable.insert(aTable.begin(), {0, 4});
            }
            anAttributes.AddUS({0x0028, static_cast<std::uint16_t>(0x1101 + i)}, {4, 0, 16});
            anAttributes.AddUS({0x0028, static_cast<std::uint16_t>(aPalette + i)}, aTable, "OW");
        }
        DicomBuilder& aFirst = isUIDLast ? anAttributes : aUID;
        aFirst.AddRaw((isUIDLast ? aUID : anAttributes).DataSet());
        aFiles.push_back(aFirst.AddNativePixelData(Counting(12), "OB").Build());
    }
    for (const Bytes& aFirst : aFiles)
    {
        for (const Bytes& aSecond : aFiles)
        {
            DICOMDataObject aFresh, aUsed;
            ASSERT_EQ(RunPart10(aFirst, &aUsed).Code(), 0);
            EXPECT_EQ(RunPart10(aSecond, &aUsed).Pixels(), RunPart10(aSecond, &aFresh).Pixels());
        }
    }
}

// The second time the data set describes what the first time has made of it, interpretation, planes and all:
// what the codec called grey are still indices, and interleaved pixels are not taken for planes.
TEST(DICOMPart10StreamDecompressor, DecodesADataSetTwice)
{
    const Bytes anIndices{0, 3, 1, 9};
    const Bytes aColours{10, 20, 30, 13, 23, 33, 11, 21, 31, 13, 23, 33};
    const JpegSpec anIndexed{.itsWidth = 4, .itsHeight = 1, .itsProcess = JpegSpec::Process::LOSSLESS};
    const JpegSpec aColour{.itsWidth = 2, .itsHeight = 1, .itsComponents = 3};
    const Bytes aJpeg = MakeFlatJpeg(aColour, {200, 100, 160});
    const Bytes anRle = RleFrame({{200, 200}, {100, 100}, {160, 160}});
    const std::tuple<const char*, Bytes, Bytes> kCases[] = {
        {"palette", PaletteFile("", anIndices), aColours},
        {"palette, JPEG", PaletteFile(kLossless, MakeJpeg(anIndexed, {0, 3, 1, 9})), aColours},
        {"palette, RLE", PaletteFile(kRle, RleFrame({anIndices})), aColours},
        {"YCbCr",
         Native(Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL", 1, 1, 8, 0, {200, 100, 160}, "OB"),
         {244, 186, 150}},
        {"4:2:2",
         Native(Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL_422", 1, 2, 8, 0, {200, 200, 100, 160}, "OB"),
         {244, 186, 150, 244, 186, 150}},
        {"YCbCr, JPEG",
         Encapsulated(kBaseline, aColour, "YBR_FULL", {aJpeg}),
         {245, 187, 150, 245, 187, 150}},
        {"YCbCr, RLE", Encapsulated(kRle, aColour, "YBR_FULL", {anRle}), {244, 186, 150, 244, 186, 150}},
        {"planes",
         Planar(Native(Syntax::EXPLICIT_LITTLE, 3, "RGB", 1, 2, 8, 0, Counting(6), "OB")),
         {0, 2, 4, 1, 3, 5}},
        {"planes, RLE: a codec's pixels are never planar",
         Planar(Encapsulated(kRle, aColour, "RGB", {RleFrame({{0, 1}, {2, 3}, {4, 5}})})),
         {0, 2, 4, 1, 3, 5}},
        {"big-endian words",
         Native(Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 1, 2, 16, 1, {1, 2, 3, 4}, "OW"),
         {2, 1, 4, 3}}};
    for (const auto& [aName, aFile, anExpected] : kCases)
    {
        DataSet aDataSet;
        for (const char* const aRound : {"first", "second"})
        {
            SCOPED_TRACE(testing::Message() << aName << ", " << aRound);
            const Outcome anOutcome = RunPart10(aFile, &aDataSet);
            ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
            EXPECT_EQ(anOutcome.Pixels(), anExpected);
            EXPECT_FALSE(anOutcome.Image()->isPlanarConfiguration());
            const bool isGrey = anOutcome.Image()->getPhotometricInterpretation() == Renderable::MONOCHROME2;
            EXPECT_TRUE(isGrey || anOutcome.Image()->getPhotometricInterpretation() == Renderable::RGB);
            EXPECT_TRUE(isGrey || aDataSet.Number(DICOMTags::PlanarConfiguration) == 0);
        }
    }
}
} // namespace
