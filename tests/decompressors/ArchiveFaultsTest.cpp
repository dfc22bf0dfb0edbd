// SPDX-License-Identifier: Apache-2.0
// Faults that real archives contain, from the file to the image or to the error. Each row is a line of
// docs/inputs.md; what other tests of this folder pin down already is not repeated here.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/EncapsulatedBytes.h"
#include "support/Jpeg2000Streams.h"
#include "support/RleEncoder.h"
#include "support/Words.h"

using namespace Part10Files;
using EncapsulatedBytes::operator+;

namespace
{
using Syntax = DicomBuilder::Syntax;

const RWCString& kBaseline = TransferSyntaxType::TSJPEG50UID;
const RWCString& kLossless = TransferSyntaxType::TSJPEG70UID;
const RWCString& kRle = TransferSyntaxType::TSRLEUID;
const RWCString& kJpeg2000 = TransferSyntaxType::TSJPEG2KLosslessUID;

Bytes Part(const Bytes& theBytes, std::size_t theFrom, std::size_t theTo)
{
    return Bytes(theBytes.data() + theFrom, theBytes.data() + theTo);
}

using Process = JpegSpec::Process;
const JpegSpec kGreySpec{.itsProcess = Process::LOSSLESS};
const JpegSpec kColourSpec{.itsComponents = 3};

/// Frame theIndex of lossless 8 x 8 grey, and what it decodes to.
Bytes Pixels(int theIndex)
{
    return Counting(64, 64u * static_cast<unsigned>(theIndex));
}

Bytes Frame(int theIndex)
{
    const Bytes aPixels = Pixels(theIndex);
    return Even(MakeJpeg(kGreySpec, {aPixels.begin(), aPixels.end()}));
}

/// 8 x 8 grey with the fragments as they are given. theFrames below 1: no Number of Frames.
struct Encapsulation
{
    std::vector<Bytes> itsFragments;
    int itsFrames = 2;
    std::vector<std::uint32_t> itsBasicOffsets = {};
    bool itsDelimiter = true;
    std::vector<std::uint64_t> itsExtendedOffsets = {};
    RWCString itsUID = kLossless;
};

Bytes File(const Encapsulation& theCase)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, theCase.itsUID);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 8, 8, 8, 8, 0, std::max(theCase.itsFrames, 1));
    if (!theCase.itsExtendedOffsets.empty())
    {
        aBuilder.AddOV({0x7fe0, 0x0001}, theCase.itsExtendedOffsets);
    }
    aBuilder.AddEncapsulatedPixelData(theCase.itsFragments, theCase.itsBasicOffsets, theCase.itsDelimiter);
    return aBuilder.Build();
}

/// Two frames in five fragments: two of the first, three of the second.
std::vector<Bytes> Pieces()
{
    const Bytes aFirst = Frame(0);
    const Bytes aSecond = Frame(1);
    return {Part(aFirst, 0, 60), Part(aFirst, 60, aFirst.size()), Part(aSecond, 0, 20), Part(aSecond, 20, 50),
            Part(aSecond, 50, aSecond.size())};
}

std::uint32_t SecondOffset()
{
    return static_cast<std::uint32_t>(Frame(0).size()) + 16;
}

/// Name and file; the frames that come out, counting from 0: the next one is an error.
using FramesCase = std::tuple<const char*, Encapsulation, int>;

std::vector<FramesCase> FramesCases()
{
    const Bytes aFirst = Frame(0);
    const Bytes aSecond = Frame(1);
    const Bytes anUnpadded(aFirst.begin(), std::find(aFirst.rbegin(), aFirst.rend(), 0xd9).base());
    const Bytes anRle = RleFrame({Pixels(0)});
    const Bytes anOdd = anUnpadded.size() % 2 != 0 ? anUnpadded : anUnpadded + Bytes{0};
    return {
        {"several fragments a frame, empty Basic Offset Table", {Pieces()}, 2},
        {"several fragments a frame, Basic Offset Table", {Pieces(), 2, {0, SecondOffset()}}, 2},
        {"wrong Basic Offset Table", {Pieces(), 2, {0, SecondOffset() + 2}}, 2},
        {"Basic Offset Table that is too short", {{aFirst, aSecond}, 2, {0}}, 2},
        {"Extended Offset Table", {Pieces(), 2, {}, true, {0, SecondOffset()}}, 2},
        {"wrong Extended Offset Table", {Pieces(), 2, {}, true, {0, 9999999}}, 2},
        {"missing sequence delimiter", {{aFirst, aSecond}, 2, {}, false}, 2},
        {"fragment of odd length", {{anOdd, aSecond}}, 2},
        {"zeros behind the codestream", {{aFirst + Bytes(90), aSecond + Bytes(2)}}, 2},
        {"other bytes behind the codestream", {{aFirst + Bytes(90, 0xff), aSecond + Bytes(90, 0x20)}}, 2},
        {"NumberOfFrames too large", {{aFirst, aSecond}, 5}, 2},
        {"NumberOfFrames too small", {{aFirst, aSecond}, 1}, 1},
        {"NumberOfFrames absent, Basic Offset Table of two",
         {{aFirst, aSecond}, 0, {0, static_cast<std::uint32_t>(aFirst.size()) + 8}},
         1},
        {"RLE in two fragments",
         {.itsFragments = {Part(anRle, 0, 70), Part(anRle, 70, anRle.size())},
          .itsFrames = 1,
          .itsUID = kRle},
         1},
        {"bytes behind an RLE frame",
         {.itsFragments = {anRle + Bytes(10, 9), RleFrame({Pixels(1)}) + Bytes(2)}, .itsUID = kRle},
         2},
    };
}

struct FaultCase
{
    const char* itsName;
    Bytes itsFile;
    Bytes itsPixels;          ///< none where it is refused
    int itsCode = 0;          ///< of the refusal
    std::string itsText = ""; ///< what its text begins with
};

FaultCase Refused(const char* theName, const Bytes& theFile, int theCode, const std::string& theText)
{
    return {theName, theFile, {}, theCode, theText};
}

std::vector<FaultCase> DeepColourCases()
{
    const Bytes aPlain = Flat({200, 100, 160}, 64);
    const auto aDeep = [](const std::string& theUID, std::uint16_t theBitsStored, const Bytes& theFrame)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, theUID);
        aBuilder.AddImageAttributes(3, "RGB", 8, 8, 16, theBitsStored);
        return (theUID.empty() ? aBuilder.AddNativePixelData(theFrame, "OW")
                               : aBuilder.AddEncapsulatedPixelData({theFrame}))
            .Build();
    };
    const Bytes a16Bits = Flat(Words({0xc812, 0x6434, 0xa056}), 64);
    const Bytes a12Bits = Flat(Words({0xc81, 0x643, 0xa05}), 64);
    JpegSpec aDeepSpec = kColourSpec;
    aDeepSpec.itsPrecision = 12;
    aDeepSpec.itsComponentIds = {'R', 'G', 'B'};
    const auto aDeepJpeg = [&](JpegSpec::Process theProcess)
    {
        aDeepSpec.itsProcess = theProcess;
        return MakeFlatJpeg(aDeepSpec, {0xc81, 0x643, 0xa05});
    };
    return {
        {"RLE of 16-bit colour", aDeep(kRle, 16, RleEncoder::Encode(a16Bits, 2, 3, 8)), aPlain},
        {"RLE of 12-bit colour", aDeep(kRle, 12, RleEncoder::Encode(a12Bits, 2, 3, 8)), aPlain},
        {"native 12-bit colour", aDeep("", 12, a12Bits), aPlain},
        {"12-bit colour, labelled 16 bits", aDeep(kLossless, 16, aDeepJpeg(JpegSpec::Process::LOSSLESS)),
         aPlain},
        {"12-bit colour, labelled 8 bits", aDeep(kBaseline, 8, aDeepJpeg(JpegSpec::Process::EXTENDED)),
         aPlain},
    };
}

TEST(ArchiveFaults, Frames)
{
    for (const auto& [aName, aDescription, aCount] : FramesCases())
    {
        SCOPED_TRACE(aName);
        const Bytes aFile = File(aDescription);
        for (int aFrame = 0; aFrame < aCount; ++aFrame)
        {
            const Outcome anOutcome = RunPart10Quietly(aFile, nullptr, {aFrame});
            EXPECT_EQ(anOutcome.Pixels(), Pixels(aFrame)) << aFrame << ": " << anOutcome.Message();
        }
        EXPECT_EQ(RunPart10Quietly(aFile, nullptr, {-1}).Pixels(), Pixels(0)) << "without an index";
        const Outcome aNext = RunPart10Quietly(aFile, nullptr, {aCount});
        EXPECT_EQ(aNext.Code(), 38) << aNext.Message();
    }
}

void Check(const std::vector<FaultCase>& theCases)
{
    for (const FaultCase& aCase : theCases)
    {
        SCOPED_TRACE(aCase.itsName);
        DICOMDataObject aDataSet;
        const Outcome anOutcome = RunPart10Quietly(aCase.itsFile, &aDataSet);
        EXPECT_EQ(anOutcome.Code(), aCase.itsCode) << anOutcome.Message();
        EXPECT_EQ(anOutcome.Pixels(), aCase.itsPixels);
        EXPECT_EQ(anOutcome.Message().rfind(aCase.itsText, 0), 0u) << anOutcome.Message();
    }
}

Bytes GreyFile(const RWCString& theUID, const JpegSpec& theSpec, const Bytes& theFrame)
{
    return Encapsulated(theUID, theSpec, "MONOCHROME2", {theFrame});
}

/// 8 bits stored in 16 allocated.
Bytes WideFile(const RWCString& theUID, const Bytes& theFrame)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, theUID);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 8, 8, 16, 8);
    return aBuilder.AddEncapsulatedPixelData({Even(theFrame)}).Build();
}

const std::string kLogicError = "A logic error occurred in the Decompressor: ";

std::vector<FaultCase> WrongSyntaxCases()
{
    const Bytes aGrey = Frame(0);
    const JpegSpec aTwelve{.itsPrecision = 12, .itsProcess = Process::EXTENDED};
    const JpegSpec aLossy;
    const Bytes aStream = Jpeg2000Streams::Colour(), aDecoded = Jpeg2000Streams::ColourPixels();
    const auto aColour = [](const Bytes& theFrame)
    {
        const JpegSpec aSpec{.itsWidth = Jpeg2000Streams::kColourWidth,
                             .itsHeight = Jpeg2000Streams::kColourHeight,
                             .itsComponents = 3};
        return Encapsulated(kJpeg2000, aSpec, "YBR_RCT", {theFrame});
    };
    return {
        {"16 bits allocated, 8 stored, lossless JPEG", WideFile(kLossless, aGrey), Pixels(0)},
        {"16 bits allocated, 8 stored, RLE of one segment", WideFile(kRle, RleFrame({Pixels(0)})), Pixels(0)},
        {"baseline syntax, 12-bit codestream", WideFile(kBaseline, MakeFlatJpeg(aTwelve, {3000})),
         Words(std::vector<int>(64, 3000))},
        {"lossless syntax, baseline codestream", GreyFile(kLossless, aLossy, MakeFlatJpeg(aLossy, {100})),
         Bytes(64, 100)},
        {"JPEG 2000 without its last marker", aColour(Part(aStream, 0, aStream.size() - 2)), aDecoded},
        {"bytes behind JPEG 2000", aColour(aStream + Bytes(80, 0x20)), aDecoded},
        Refused("JPEG 2000 syntax, JPEG codestream", GreyFile(kJpeg2000, kGreySpec, aGrey), 38,
                kLogicError + "JPEG2000Decoder::JPEG2000Decoder()[create codestream]: "),
        Refused("JPEG syntax, JPEG 2000 codestream",
                GreyFile(kBaseline, kGreySpec, Jpeg2000Streams::Grey12()), 38,
                kLogicError + "JPEGDecoder: error (read "),
        Refused("RLE syntax, JPEG codestream", GreyFile(kRle, kGreySpec, aGrey), 37,
                "RLEDecoder::SetSource: "),
    };
}

std::vector<FaultCase> NativeCases()
{
    const auto aNative = [](Syntax theSyntax, const std::string& theUID, int theSamples, int theBits,
                            const Bytes& thePixels, const char* theVR = "OW")
    {
        DicomBuilder aBuilder(theSyntax, theUID);
        const auto aBits = static_cast<std::uint16_t>(theBits);
        aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theSamples),
                                    theSamples == 1 ? "MONOCHROME2" : "RGB", 1, 2, aBits, aBits);
        return aBuilder.AddNativePixelData(thePixels, theVR).Build();
    };
    const Syntax kLittle = Syntax::EXPLICIT_LITTLE;
    const Bytes aWords = Words({7, 800});
    return {
        {"deflated data set", aNative(Syntax::DEFLATED, "", 1, 16, aWords), aWords},
        {"implicit syntax, explicit elements",
         aNative(kLittle, DicomBuilder::UIDOf(Syntax::IMPLICIT_LITTLE), 1, 16, aWords), aWords},
        Refused("native syntax, encapsulated pixels",
                Encapsulated(DicomBuilder::UIDOf(kLittle), kGreySpec, "MONOCHROME2", {Frame(0)}), 48,
                "CompressedStreamDecoder::Decode: Unable to create Decoder for transfer syntax with UID = "),
        Refused("compressed syntax, native pixels", aNative(kLittle, kLossless, 1, 8, {7, 8}, "OB"), 38,
                "DICOMPart10StreamDecompressor::Decode: anImageFrameInputStream->GetFrame(0) failed"),
        {"1-bit grey", aNative(kLittle, "", 1, 1, {2, 0}, "OB"), {2}},
        {"32-bit grey", aNative(kLittle, "", 1, 32, Counting(8)), Counting(8)},
        Refused("32-bit colour", aNative(kLittle, "", 3, 32, Counting(24)), 12,
                "DICOMPart10StreamDecompressor::Decode: unable to convert image to non-planar 8-bit RGB: "),
        {"odd length of native pixels", aNative(kLittle, "", 3, 8, Counting(7), "OB"), Counting(6)},
    };
}

TEST(ArchiveFaults, PixelsUnderTheWrongDescription)
{
    Check(DeepColourCases());
    Check(WrongSyntaxCases());
    Check(NativeCases());
}

TEST(ArchiveFaults, JPEG2000OfEightBitsInSixteenAllocated)
{
    using namespace Jpeg2000Streams;
    // 12 bits declared as 8: samples beyond are clamped. Signed, whatever the data set says.
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, kJpeg2000);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", kGreyHeight, kGreyWidth, 16, 8, 0);
    aBuilder.AddEncapsulatedPixelData({Even(Patch(Grey12(), kDepthOfComponent0, {0x87}))});
    Bytes anExpected;
    for (int i = 0; i < kGreyWidth * kGreyHeight; ++i)
    {
        const int aValue = std::clamp(GreyValue(i % kGreyWidth, i / kGreyWidth), -128, 127);
        anExpected.push_back(static_cast<std::uint8_t>(aValue));
    }
    const Outcome anOutcome = RunPart10(aBuilder.Build(), nullptr);
    EXPECT_EQ(anOutcome.Pixels(), anExpected) << anOutcome.Message();
    ASSERT_NE(anOutcome.Image(), nullptr);
    EXPECT_EQ(anOutcome.Image()->getBitsAllocated(), 8);
    EXPECT_TRUE(anOutcome.Image()->isSigned());
}
} // namespace
