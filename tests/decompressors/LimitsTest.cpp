// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/Limits.h"

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/JpegFixtures.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// Limits for the length of a test.
class TemporaryLimits
{
public:
    explicit TemporaryLimits(const Limits& theLimits) { Limits::Set(theLimits); }
    ~TemporaryLimits() { Limits::Set(itsFormer); }
    TemporaryLimits(const TemporaryLimits&) = delete;
    TemporaryLimits& operator=(const TemporaryLimits&) = delete;

private:
    const Limits itsFormer = Limits::Get();
};

/// A file of 2 x 3 pixels that begins with theStart.
Bytes Behind(const DicomBuilder& theStart)
{
    DicomBuilder aFile(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aFile.AddRaw(theStart.DataSet());
    aFile.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    return aFile.AddNativePixelData(Bytes(6), "OB").Build();
}

/// A deflated file of 2 x 3 pixels with eight attributes, and what it asks for before its pixel data.
Bytes Deflated()
{
    DicomBuilder aFile(DicomBuilder::Syntax::DEFLATED);
    aFile.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    return aFile.AddNativePixelData(Bytes(6), "OB").Build();
}
constexpr std::uint64_t kInflated = 90 + 8 * 256;

DicomBuilder Sequences(int theDepth)
{
    DicomBuilder anOuter(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    return theDepth == 0 ? anOuter : anOuter.AddSequence({0x0008, 0x1115}, {Sequences(theDepth - 1)});
}

DicomBuilder Attribute(std::size_t theSize)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    return aBuilder.AddBytes({0x0008, 0x2111}, "ST", Bytes(theSize, ' '));
}

Bytes Fragments(std::size_t theCount)
{
    return Part10Files::Encapsulated(
        TransferSyntaxType::TSRLEUID, {.itsWidth = 3, .itsHeight = 2}, "MONOCHROME2",
        std::vector<Bytes>(theCount, Part10Files::RleFrame({Part10Files::Counting(6)})));
}

TEST(Limits, AreCrossedByOneMoreThanAllowed)
{
    const std::string kParseError = "Parse error, possible corruption: DataSetReader::Next: ";
    // The limit; how much is enough, of which one less refuses the file; code and text of the refusal.
    const std::tuple<std::uint64_t Limits::*, std::uint64_t, Bytes, int, std::string> kCases[] = {
        {&Limits::itsPixelsPerFrame, 6, Part10Files::Grey8(), 11,
         "The image is too large: 2 rows of 3 pixels, more than the limit of 5 in all"},
        {&Limits::itsBytesPerFrame, 6, Part10Files::Grey8(), 11,
         "The image is too large: 6 bytes, more than the limit of 5"},
        {&Limits::itsFrames, 3, Part10Files::Grey8(3), 38,
         "The data set is too large: 3 frames, more than the limit of 2"},
        {&Limits::itsNestedSequences, 3, Behind(Sequences(3)), 38,
         kParseError + "3 nested sequences, more than the limit of 2, at element (0008,1115)"},
        {&Limits::itsAttributeBytes, 1026, Behind(Attribute(1000)), 38,
         kParseError +
             "1026 bytes of attribute values, more than the limit of 1025, with element (0028,0103)"},
        {&Limits::itsInflatedBytes, kInflated, Deflated(), 38,
         kParseError + std::to_string(kInflated) +
             " bytes of a deflated data set before its pixel data, more than the limit of " +
             std::to_string(kInflated - 1) + ", with element (0028,0103)"},
        {&Limits::itsFragments, 4, Fragments(4), 38,
         "ImageFrameInputStream: the pixel data is too large: 4 fragments, more than the limit of 3"},
    };
    for (const auto& [aLimit, aNeed, aFile, aCode, aText] : kCases)
    {
        SCOPED_TRACE(aText);
        Limits aLimits;
        aLimits.*aLimit = aNeed;
        {
            const TemporaryLimits aScope(aLimits);
            EXPECT_EQ(RunPart10(aFile, nullptr).Code(), 0);
        }
        aLimits.*aLimit = aNeed - 1;
        const TemporaryLimits aScope(aLimits);
        ExpectFailure(RunPart10(aFile, nullptr), aCode, aText);
    }
}

TEST(Limits, HoldForBareImagesBeforeTheirPixelsAreAllocated)
{
    Limits aLimits;
    aLimits.itsPixelsPerFrame = 8 * 8 - 1;
    const TemporaryLimits aScope(aLimits);
    const JpegSpec aSpec;
    const Outcome anOutcome =
        RunBareImage(MakeJpeg(aSpec, MakeSamples(aSpec)), TransferSyntaxType::TSJPEG50UID, nullptr);
    ExpectFailure(
        anOutcome, 62,
        "Decoder exception: StreamIOException: StreamIOException: The image is too large: 8 rows of "
        "8 pixels, more than the limit of 63 in all");
    EXPECT_EQ(anOutcome.itsAllocator->GetAllocations(), 0u);
}

/// A JPEG stream of one small image whose frame header declares theSize x theSize pixels.
Bytes Inflated(JpegSpec theSpec, std::size_t theSize)
{
    Bytes aStream = MakeJpeg(theSpec, MakeSamples(theSpec));
    for (std::size_t i = 0; i + 8 < aStream.size(); ++i)
    {
        if (aStream[i] == 0xff && aStream[i + 1] >= 0xc0 && aStream[i + 1] <= 0xc3)
        {
            aStream[i + 5] = aStream[i + 7] = static_cast<std::uint8_t>(theSize >> 8);
            aStream[i + 6] = aStream[i + 8] = static_cast<std::uint8_t>(theSize & 255);
            break;
        }
    }
    return Part10Files::Even(aStream);
}

Bytes InflatedFile(const RWCString& theUID, JpegSpec theSpec, std::size_t theSize)
{
    const Bytes aStream = Inflated(theSpec, theSize);
    theSpec.itsWidth = theSpec.itsHeight = static_cast<int>(theSize);
    return Part10Files::Encapsulated(theUID, theSpec, "MONOCHROME2", {aStream});
}

/// theBytes of 10000 x 10000 native pixels under a header that announces theLength.
Bytes ShortNative(std::uint32_t theLength, std::size_t theBytes)
{
    DicomBuilder aFile(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aFile.AddImageAttributes(1, "MONOCHROME2", 10000, 10000, 8, 8);
    return aFile.AddHeader(DICOMTags::PixelData, "OB", theLength).AddRaw(Bytes(theBytes)).Build();
}

TEST(Limits, SmallFilesThatDeclareLargeImagesCostNoMemory)
{
    const JpegSpec aSpec;
    // Read as what it is only by the codec that takes over from the one that does not know 16 bits.
    const JpegSpec aRecovered{
        .itsPrecision = 12, .itsProcess = JpegSpec::Process::EXTENDED, .itsDeclaredPrecision = 16};
    const JpegSpec aDeepSpec{.itsPrecision = 16, .itsProcess = JpegSpec::Process::LOSSLESS};
    const auto aText = [](const Bytes& theStream, const char* theRows)
    {
        const std::string aSize = std::to_string(theStream.size());
        return "JPEGDecoder: error (read " + aSize + " bytes so far): " + theRows +
               " pixels cannot come from " + aSize + " bytes";
    };
    const std::string kLogicError = "A logic error occurred in the Decompressor: ";
    const std::string kShort = "Failed to read the pixel data";
    const Bytes aBare = Inflated(aSpec, 10000);
    const std::string aBareText = aText(aBare, "10000 rows of 10000");
    const Wish aWish{0, 1, false, static_cast<std::uint32_t>(aBare.size())};
    const struct
    {
        const char* itsName;
        Outcome itsOutcome;
        int itsCode;
        std::string itsText;
    } kCases[] = {
        {"native element", RunPart10(ShortNative(4, 4), nullptr), 37, kShort},
        {"native element that ends early", RunPart10(ShortNative(100000000, 4), nullptr), 37, kShort},
        {"JPEG of a hidden precision",
         RunPart10(InflatedFile(TransferSyntaxType::TSJPEG51UID, aRecovered, 10000), nullptr), 38,
         kLogicError + aText(Inflated(aRecovered, 10000), "10000 rows of 10000")},
        {"lossless JPEG", RunPart10(InflatedFile(TransferSyntaxType::TSJPEG70UID, aDeepSpec, 500), nullptr),
         38, kLogicError + aText(Inflated(aDeepSpec, 500), "500 rows of 500")},
        {"bare JPEG", RunBareImage(aBare, TransferSyntaxType::TSJPEG50UID, nullptr, aWish), 62,
         "Decoder exception: JPEGDecoderException: JPEGDecoderException: Error: " + aBareText}};
    for (const auto& aCase : kCases)
    {
        SCOPED_TRACE(aCase.itsName);
        ExpectFailure(aCase.itsOutcome, aCase.itsCode, aCase.itsText);
        EXPECT_EQ(aCase.itsOutcome.itsAllocator->GetAllocations(), 0u);
    }
}

TEST(Limits, TheSmallestCompressedImagesAreDecoded)
{
    using Process = JpegSpec::Process;
    JpegSpec aRecovered{1024, 1024, 1, 12, Process::EXTENDED};
    aRecovered.itsDeclaredPrecision = 16;
    for (const JpegSpec& aSpec : {JpegSpec{1024, 1024},
                                  {1024, 1024, 3, 8, Process::BASELINE, {}, {{4, 1}, {1, 4}, {1, 1}}},
                                  aRecovered,
                                  {1024, 1024, 1, 16, Process::LOSSLESS}})
    {
        const std::vector<int> aPixel(static_cast<std::size_t>(aSpec.itsComponents),
                                      1 << (aSpec.itsPrecision - 1));
        const Bytes aStream = MakeFlatJpeg(aSpec, aPixel);
        const Outcome anOutcome =
            RunPart10(Part10Files::Encapsulated(
                          aSpec.itsPrecision == 16   ? TransferSyntaxType::TSJPEG70UID
                          : aSpec.itsPrecision == 12 ? TransferSyntaxType::TSJPEG51UID
                                                     : TransferSyntaxType::TSJPEG50UID,
                          aSpec, aSpec.itsComponents == 3 ? "YBR_FULL_422" : "MONOCHROME2", {aStream}),
                      nullptr);
        EXPECT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
        // Whatever the request says of their length; the codec of 8 bits does not take 12.
        const Outcome aBare =
            RunBareImage(aStream, TransferSyntaxType::TSJPEG50UID, nullptr, {0, 1, false, 3});
        EXPECT_EQ(aBare.Code() == 0, aSpec.itsPrecision != 12) << aBare.Message();
    }
    // RLE may end early by its definition, at any size.
    const Bytes anRle =
        Part10Files::Encapsulated(TransferSyntaxType::TSRLEUID, {.itsWidth = 4096, .itsHeight = 4096},
                                  "MONOCHROME2", {Part10Files::RleFrame({{1, 2, 3}})});
    EXPECT_EQ(RunPart10(anRle, nullptr).Code(), 0);
}
} // namespace
