// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEFrameDecoder.h"

#include <ostream>
#include <utility>

#include <gtest/gtest.h>

#include "RLETestHelpers.h"

namespace
{
using RLETest::Bytes;
using RLETest::Outcome;

constexpr std::uint8_t X = 0xee; // what the buffer held before
constexpr std::uint8_t kNoOperation = 0x80;

std::uint8_t Literal(int theCount)
{
    return static_cast<std::uint8_t>(theCount - 1);
}

std::uint8_t Repeat(int theCount)
{
    return static_cast<std::uint8_t>(257 - theCount);
}

Bytes Join(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

struct Case
{
    const char* itsName;
    unsigned int itsBytesPerSample;
    std::uint64_t itsPixelCount;
    std::vector<std::uint32_t> itsOffsets; ///< of the segments and of the frame's end
    Bytes itsBody;
    Bytes itsOutput;
    std::string itsText;     ///< after "RLEDecoder::Decode: "; empty where the decode succeeds
    std::size_t itsConsumed; ///< where it succeeds
    int itsEndAnswer = 0;    ///< what the source says when its bytes are used up
};

void PrintTo(const Case& theCase, std::ostream* theStream)
{
    *theStream << theCase.itsName;
}

Case Decodes(const char* theName, unsigned int theBytesPerSample, std::uint64_t thePixelCount,
             std::vector<std::uint32_t> theOffsets, Bytes theBody, Bytes theOutput, std::size_t theConsumed)
{
    return {theName,
            theBytesPerSample,
            thePixelCount,
            std::move(theOffsets),
            std::move(theBody),
            std::move(theOutput),
            "",
            theConsumed};
}

Case Fails(const char* theName, unsigned int theBytesPerSample, std::uint64_t thePixelCount,
           std::vector<std::uint32_t> theOffsets, Bytes theBody, Bytes theOutput, std::string theText,
           int theEndAnswer = 0)
{
    return {theName,
            theBytesPerSample,
            thePixelCount,
            std::move(theOffsets),
            std::move(theBody),
            std::move(theOutput),
            std::move(theText),
            0,
            theEndAnswer};
}

class RLEFrame : public ::testing::TestWithParam<Case>
{
};

void CheckPath(RLEPath thePath, const Case& theCase)
{
    RLEPixelLayout aLayout;
    aLayout.itsSegmentCount = static_cast<unsigned int>(theCase.itsOffsets.size() - 1);
    aLayout.itsBytesPerSample = theCase.itsBytesPerSample;
    aLayout.itsPixelCount = theCase.itsPixelCount;
    ByteSource aSource(theCase.itsBody);
    aSource.AtEnd([&theCase] { return theCase.itsEndAnswer; });
    const Outcome anOutcome = RLETest::DecodeFrame(thePath, aSource, aLayout, theCase.itsOffsets,
                                                   Bytes(theCase.itsOutput.size(), X));
    EXPECT_EQ(anOutcome.itsText, theCase.itsText.empty() ? "" : "RLEDecoder::Decode: " + theCase.itsText);
    EXPECT_EQ(anOutcome.itsCode, theCase.itsText.empty() ? 0 : 62);
    EXPECT_EQ(anOutcome.itsBuffer, theCase.itsOutput);
    EXPECT_EQ(anOutcome.itsConsumed, theCase.itsConsumed);
}

TEST_P(RLEFrame, BothPathsDoTheSame)
{
    {
        SCOPED_TRACE("exact");
        CheckPath(RLEPath::EXACT, GetParam());
    }
    SCOPED_TRACE("fast");
    CheckPath(RLEPath::FAST, GetParam());
}

std::string NameOf(const ::testing::TestParamInfo<Case>& theInfo)
{
    return theInfo.param.itsName;
}

// Where samples go, and how much of the source is used.
const Case kGoodFrames[] = {
    Decodes("Literal", 1, 4, {64, 70}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Decodes("Repeat", 1, 4, {64, 66}, {Repeat(4), 9}, {9, 9, 9, 9}, 2),
    Decodes("NoOperation", 1, 4, {64, 68}, {kNoOperation, Repeat(4), 9, 0}, {9, 9, 9, 9}, 4),
    // The longest packets of either kind end at 128, not at 127 or 129.
    Decodes("LongestRepeat", 1, 129, {64, 68}, {Repeat(128), 9, Literal(1), 1}, Join(Bytes(128, 9), {1}), 4),
    Decodes("LowByteOfASampleComesLast", 2, 2, {64, 68, 72}, {Literal(2), 1, 2, 0, Literal(2), 11, 12, 0},
            {11, 1, 12, 2}, 8),
    Decodes("ColourByPixel", 1, 2, {64, 68, 72, 76},
            {Literal(2), 1, 2, 0, Literal(2), 11, 12, 0, Literal(2), 21, 22, 0}, {1, 11, 21, 2, 12, 22}, 12),
    Decodes("ThirtyTwoBits", 4, 1, {64, 66, 68, 70, 72},
            {Literal(1), 1, Literal(1), 2, Literal(1), 3, Literal(1), 4}, {4, 3, 2, 1}, 8),
    Decodes("SixteenBitColour", 2, 1, {64, 66, 68, 70, 72, 74, 76},
            {Literal(1), 1, Literal(1), 2, Literal(1), 3, Literal(1), 4, Literal(1), 5, Literal(1), 6},
            {2, 1, 4, 3, 6, 5}, 12),
    Decodes("NoPixels", 1, 0, {64, 66}, {Repeat(4), 9}, {}, 0),
    Decodes("GapsAndLeftoversAreSkipped", 1, 1, {64, 70, 72}, {Literal(1), 1, 7, 7, 7, 7, Literal(1), 2},
            {1, 2}, 8),
    Decodes("BytesBehindTheLastPacketStay", 1, 4, {64, 72}, {Repeat(4), 9, 7, 7, 7, 7, 7, 7}, {9, 9, 9, 9},
            2),
    Decodes("OnlyThePadByteBehindAnOddEnd", 1, 4, {64, 74}, {Literal(4), 1, 2, 3, 4, 7, 7, 7, 7, 7},
            {1, 2, 3, 4}, 6),
    Decodes("EarlyEndLeavesTheRest", 1, 4, {64, 66}, {Repeat(2), 9, Repeat(2), 8}, {9, 9, X, X}, 2),
    Decodes("EarlyEndOfTheFirstPlane", 2, 3, {64, 66, 68}, {Repeat(2), 9, Repeat(3), 8}, {8, 9, 8, 9, 8, X},
            4),
    Decodes("EarlyEndOfTheLastPlane", 2, 3, {64, 66, 68}, {Repeat(3), 9, Repeat(2), 8}, {8, 9, 8, 9, X, 9},
            4),
    Decodes("EmptySegment", 2, 2, {64, 64, 66}, {Repeat(2), 8}, {8, X, 8, X}, 2),
    Decodes("PacketAcrossTheEndOfTheFrame", 1, 4, {64, 66}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Decodes("OverlongLiteralGoesOnIntoTheBuffer", 1, 4, {64, 70}, {Literal(5), 1, 2, 3, 4, 5},
            {1, 2, 3, 4, 5, X}, 6),
    Decodes("OverlongLiteralOfTheFirstPlane", 2, 1, {64, 68, 70}, {Literal(3), 1, 2, 3, Literal(1), 9},
            {9, 1, X, 2, X, 3, X}, 6),
};
INSTANTIATE_TEST_SUITE_P(Good, RLEFrame, ::testing::ValuesIn(kGoodFrames), NameOf);

const std::string kOverrunFields = " aDecompressedSegmentSize = 4 bytes to output = ";

const Case kBadOffsets[] = {
    Fails("EachIsCheckedWhenItsTurnComes", 1, 1, {64, 65, 64}, {Repeat(2), 9}, {X, X},
          "Output overrun during decode (repeat run). aSegmentIndex = 0 anOutputOffset = 0 "
          "aDecompressedSegmentSize = 1 bytes to output = 0"),
    Fails("Odd", 1, 1, {64, 65, 64}, {Literal(1), 9}, {9, X},
          "Invalid component offset (65) (odd-length segment - even length required by DICOM standard) for "
          "component index 1"),
    Fails("OddAndBelowTheHeader", 1, 1, {63, 70}, {Literal(1), 9}, {X},
          "Invalid component offset (63) (odd-length segment - even length required by DICOM standard) for "
          "component index 0"),
    Fails("BelowTheHeader", 1, 1, {62, 70}, {Literal(1), 9}, {X},
          "Invalid component offset (62) (< 64) for component index 0"),
    Fails("NextBelowTheHeader", 1, 1, {64, 62, 70}, {Literal(1), 9}, {X, X},
          "Invalid next component offset (0) (< 64) for component index 1"),
    // The number is the good start of the current segment, not the bad offset.
    Fails("EndOfFrameBelowTheHeader", 1, 1, {64, 68, 10}, {Literal(1), 9, 0, 0, Literal(1), 8}, {9, X},
          "Invalid next component offset (4) (< 64) for component index 2"),
    Fails("Overlap", 1, 1, {64, 66, 64, 70}, {Literal(1), 9, Literal(1), 8, 0, 0}, {9, X, X},
          "Invalid component offset (0 (not including 64 byte header)) (< current offset (2)) for "
          "component index 2"),
    Fails("PacketIntoTheNextSegment", 1, 4, {64, 66, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(4), 7},
          {1, X, 2, X, 3, X, 4, X},
          "Invalid component offset (2 (not including 64 byte header)) (< current offset (5)) for "
          "component index 1"),
};
INSTANTIATE_TEST_SUITE_P(BadOffsets, RLEFrame, ::testing::ValuesIn(kBadOffsets), NameOf);

const Case kOverruns[] = {
    Fails("RepeatNamesTheLiteralBefore", 1, 4, {64, 70}, {Literal(2), 5, 6, Repeat(4), 9, 0}, {5, 6, X, X},
          "Output overrun during decode (repeat run). aSegmentIndex = 0 anOutputOffset = 2" + kOverrunFields +
              "2"),
    Fails("RepeatWithoutALiteralBefore", 1, 4, {64, 66}, {Repeat(5), 9}, {X, X, X, X},
          "Output overrun during decode (repeat run). aSegmentIndex = 0 anOutputOffset = 0" + kOverrunFields +
              "0"),
    Fails("LiteralLengthSurvivesTheSegment", 2, 4, {64, 70, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(5), 9},
          {X, 1, X, 2, X, 3, X, 4},
          "Output overrun during decode (repeat run). aSegmentIndex = 1 anOutputOffset = 0" + kOverrunFields +
              "4"),
    Fails("LiteralMeetsTheEndOfTheBuffer", 1, 4, {64, 72}, {Literal(2), 1, 2, Literal(4), 3, 4, 5, 6},
          {1, 2, 3, 4},
          "Output buffer overrun during decode (literal run). aSegmentIndex = 0 anOutputOffset = 2" +
              kOverrunFields + "1"),
    Fails("LiteralOfTheSecondPlane", 2, 4, {64, 66, 72}, {Repeat(4), 9, Literal(5), 1, 2, 3, 4, 5},
          {1, 9, 2, 9, 3, 9, 4, 9},
          "Output buffer overrun during decode (literal run). aSegmentIndex = 1 anOutputOffset = 0" +
              kOverrunFields + "1"),
};
INSTANTIATE_TEST_SUITE_P(Overruns, RLEFrame, ::testing::ValuesIn(kOverruns), NameOf);

const std::string kControlFields = "aSegmentIndex = 0 anOutputOffset = 2";

const Case kShortSources[] = {
    Fails("ControlByte", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X},
          "EOF on input during decode. " + kControlFields),
    Fails("ControlByteError", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X},
          "error on input during decode. " + kControlFields, -1),
    Fails("NothingOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X},
          "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 0"),
    Fails("PartOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2), 5}, {9, 9, X, X},
          "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 1", -1),
    Fails("LiteralError", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X},
          "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = -1", -1),
    Fails("RepeatedByte", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X},
          "EOF on input during decode"),
    Fails("RepeatedByteError", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X},
          "error on input during decode", -1),
    Fails("PadByte", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2},
          "expected pad byte not present in input stream.  aTotalBytesRead = 3"),
    Fails("PadByteError", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2},
          "error on input during decode while reading expected pad byte.  aTotalBytesRead = 3", -1),
    Fails("Gap", 1, 2, {64, 72, 74}, {Repeat(2), 9, 0, 0, 0}, {9, X, 9, X},
          "EOF on input during inter-segment skip. aSegmentIndex = 1 aTotalBytesRead = 2 bytes expected = 6 "
          "bytes "
          "actually skipped = 3",
          -1),
    Fails(
        "GapError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X},
        "error on input during inter-segment skip. aSegmentIndex = 1 aTotalBytesRead = 2 bytes expected = 6 "
        "bytes "
        "actually skipped = -1",
        -1),
    // Only -1 is an error here.
    Fails("GapOtherError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X},
          "EOF on input during inter-segment skip. aSegmentIndex = 1 aTotalBytesRead = 2 bytes expected = 6 "
          "bytes actually skipped = -2",
          -2),
    Fails("GapsAreSkippedInPieces", 1, 2, {64, 5066, 5068}, Join({Repeat(2)}, Bytes(4199, 0)), {0, X, 0, X},
          "EOF on input during inter-segment skip. aSegmentIndex = 1 aTotalBytesRead = 4098 bytes expected = "
          "904 "
          "bytes "
          "actually skipped = 102"),
};
INSTANTIATE_TEST_SUITE_P(ShortSources, RLEFrame, ::testing::ValuesIn(kShortSources), NameOf);

// A source may answer with less than was asked for, as long as it is enough for one packet at a time.
TEST(RLEFrame, SourceInPieces)
{
    Bytes aBody;
    for (int i = 0; i < 200; ++i)
    {
        aBody = Join(std::move(aBody), Join({Literal(128)}, Bytes(128, static_cast<std::uint8_t>(i))));
    }
    RLEPixelLayout aLayout{1, 1, 200 * 128};
    const std::vector<std::uint32_t> anOffsets = {64, static_cast<std::uint32_t>(64 + aBody.size())};
    for (const RLEPath aPath : {RLEPath::EXACT, RLEPath::FAST, RLEPath::AUTOMATIC})
    {
        const Outcome anOutcome =
            RLETest::DecodeFrame(aPath, ByteSource(aBody, 130), aLayout, anOffsets, Bytes(200 * 128, X));
        EXPECT_EQ(anOutcome.itsText, "");
        EXPECT_EQ(anOutcome.itsBuffer[128 * 77 + 3], 77);
        EXPECT_EQ(anOutcome.itsConsumed, aBody.size());
    }
}

// The number of calls is what a slow source pays for.
TEST(RLEFrame, ReadsAheadInPieces)
{
    Bytes aBody;
    for (int i = 0; i < 2 * 8192; ++i) // two planes of a million samples
    {
        aBody = Join(std::move(aBody), Join({Literal(128)}, Bytes(128, static_cast<std::uint8_t>(i))));
    }
    RLEPixelLayout aLayout{2, 2, 8192 * 128};
    const auto aHalf = static_cast<std::uint32_t>(aBody.size() / 2);
    const std::vector<std::uint32_t> anOffsets = {64, 64 + aHalf, 64 + 2 * aHalf};
    ByteSource aSource(aBody);
    Bytes anOutput(2 * 8192 * 128);
    RLEFrameDecoder aDecoder(aSource, aLayout, anOffsets.data(), anOutput.data(), anOutput.size());
    aDecoder.Decode(RLEPath::AUTOMATIC);
    EXPECT_EQ(aSource.GetPosition(), aBody.size());
    EXPECT_LT(aSource.GetReads(), 500); // one packet at a time would take 32768
}

// A hostile frame may declare any size as long as the caller believes it: what no byte reaches is not paid
// for.
TEST(RLEFrame, HugeGeometryWithoutData)
{
    const std::uint64_t aPixelCount = std::uint64_t{65535} * 65535;
    RLEPixelLayout aLayout{2, 2, aPixelCount};
    const std::vector<std::uint32_t> anOffsets = {64, 0xfffffffe, 0xffffffff};
    ByteSource aSource(Bytes{Repeat(2), 9});
    Bytes anOutput(16, X);
    RLEFrameDecoder aDecoder(aSource, aLayout, anOffsets.data(), anOutput.data(), 2 * aPixelCount);
    EXPECT_THROW(aDecoder.Decode(RLEPath::FAST), DICOMLibException);
    EXPECT_EQ(anOutput[1], 9);
    EXPECT_EQ(anOutput[3], 9);
    EXPECT_EQ(anOutput[5], X);
}
} // namespace
