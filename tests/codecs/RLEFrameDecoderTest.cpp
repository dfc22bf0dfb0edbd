// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEFrameDecoder.h"

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
    std::size_t itsConsumed; ///< where the decode succeeds
    std::string itsText;     ///< after "RLEDecoder::Decode: "; empty where the decode succeeds
    int itsEndAnswer;        ///< what the source says when its bytes are used up

    Case(const char* theName, unsigned int theBytesPerSample, std::uint64_t thePixelCount,
         std::vector<std::uint32_t> theOffsets, Bytes theBody, Bytes theOutput, std::size_t theConsumed,
         std::string theText = "", int theEndAnswer = 0)
        : itsName(theName), itsBytesPerSample(theBytesPerSample), itsPixelCount(thePixelCount),
          itsOffsets(std::move(theOffsets)), itsBody(std::move(theBody)), itsOutput(std::move(theOutput)),
          itsConsumed(theConsumed), itsText(std::move(theText)), itsEndAnswer(theEndAnswer)
    {
    }
};

const std::string kRepeatOverrun = "Output overrun during decode (repeat run). aSegmentIndex = ";
const std::string kLiteralOverrun = "Output buffer overrun during decode (literal run). aSegmentIndex = ";
const std::string kOverrunFields = " aDecompressedSegmentSize = 4 bytes to output = ";
const std::string kOdd =
    " (odd-length segment - even length required by DICOM standard) for component index ";
const std::string kControlFields = "aSegmentIndex = 0 anOutputOffset = 2";
const std::string kSkip = "on input during inter-segment skip. aSegmentIndex = 1 aTotalBytesRead = ";
const std::string kSkipped = " bytes actually skipped = ";

// Where samples go, how much of the source is used, and what else is an error, in which words.
const Case kCases[] = {
    Case("Literal", 1, 4, {64, 70}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Case("Repeat", 1, 4, {64, 66}, {Repeat(4), 9}, {9, 9, 9, 9}, 2),
    Case("NoOperation", 1, 4, {64, 68}, {kNoOperation, Repeat(4), 9, 0}, {9, 9, 9, 9}, 4),
    // The longest packets of either kind end at 128, not at 127 or 129.
    Case("LongestRepeat", 1, 129, {64, 68}, {Repeat(128), 9, Literal(1), 1}, Join(Bytes(128, 9), {1}), 4),
    Case("NoPixels", 1, 0, {64, 66}, {Repeat(4), 9}, {}, 0),
    Case("GapsAndLeftoversAreSkipped", 1, 1, {64, 70, 72}, {Literal(1), 1, 7, 7, 7, 7, Literal(1), 2}, {1, 2},
         8),
    Case("BytesBehindTheLastPacketStay", 1, 4, {64, 72}, {Repeat(4), 9, 7, 7, 7, 7, 7, 7}, {9, 9, 9, 9}, 2),
    Case("OnlyThePadByteBehindAnOddEnd", 1, 4, {64, 74}, {Literal(4), 1, 2, 3, 4, 7, 7, 7, 7, 7},
         {1, 2, 3, 4}, 6),
    Case("EarlyEndLeavesTheRest", 1, 4, {64, 66}, {Repeat(2), 9, Repeat(2), 8}, {9, 9, X, X}, 2),
    Case("EarlyEndOfTheFirstPlane", 2, 3, {64, 66, 68}, {Repeat(2), 9, Repeat(3), 8}, {8, 9, 8, 9, 8, X}, 4),
    Case("EarlyEndOfTheLastPlane", 2, 3, {64, 66, 68}, {Repeat(3), 9, Repeat(2), 8}, {8, 9, 8, 9, X, 9}, 4),
    Case("EmptySegment", 2, 2, {64, 64, 66}, {Repeat(2), 8}, {8, X, 8, X}, 2),
    Case("PacketAcrossTheEndOfTheFrame", 1, 4, {64, 66}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Case("OverlongLiteralGoesOnIntoTheBuffer", 1, 4, {64, 70}, {Literal(5), 1, 2, 3, 4, 5},
         {1, 2, 3, 4, 5, X}, 6),
    Case("OverlongLiteralOfTheFirstPlane", 2, 1, {64, 68, 70}, {Literal(3), 1, 2, 3, Literal(1), 9},
         {9, 1, X, 2, X, 3, X}, 6),
    Case("EachIsCheckedWhenItsTurnComes", 1, 1, {64, 65, 64}, {Repeat(2), 9}, {X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 0 aDecompressedSegmentSize = 1 bytes to output = 0"),
    Case("Odd", 1, 1, {64, 65, 64}, {Literal(1), 9}, {9, X}, 0, "Invalid component offset (65)" + kOdd + "1"),
    Case("OddAndBelowTheHeader", 1, 1, {63, 70}, {Literal(1), 9}, {X}, 0,
         "Invalid component offset (63)" + kOdd + "0"),
    Case("BelowTheHeader", 1, 1, {62, 70}, {Literal(1), 9}, {X}, 0,
         "Invalid component offset (62) (< 64) for component index 0"),
    Case("NextBelowTheHeader", 1, 1, {64, 62, 70}, {Literal(1), 9}, {X, X}, 0,
         "Invalid next component offset (0) (< 64) for component index 1"),
    // The number is the good start of the current segment, not the bad offset.
    Case("EndOfFrameBelowTheHeader", 1, 1, {64, 68, 10}, {Literal(1), 9, 0, 0, Literal(1), 8}, {9, X}, 0,
         "Invalid next component offset (4) (< 64) for component index 2"),
    Case("Overlap", 1, 1, {64, 66, 64, 70}, {Literal(1), 9, Literal(1), 8, 0, 0}, {9, X, X}, 0,
         "Invalid component offset (0 (not including 64 byte header)) (< current offset (2)) for component "
         "index 2"),
    Case("PacketIntoTheNextSegment", 1, 4, {64, 66, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(4), 7},
         {1, X, 2, X, 3, X, 4, X}, 0,
         "Invalid component offset (2 (not including 64 byte header)) (< current offset (5)) for component "
         "index 1"),
    Case("RepeatNamesTheLiteralBefore", 1, 4, {64, 70}, {Literal(2), 5, 6, Repeat(4), 9, 0}, {5, 6, X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 2" + kOverrunFields + "2"),
    Case("RepeatWithoutALiteralBefore", 1, 4, {64, 66}, {Repeat(5), 9}, {X, X, X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 0" + kOverrunFields + "0"),
    Case("LiteralLengthSurvivesTheSegment", 2, 4, {64, 70, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(5), 9},
         {X, 1, X, 2, X, 3, X, 4}, 0, kRepeatOverrun + "1 anOutputOffset = 0" + kOverrunFields + "4"),
    Case("LiteralMeetsTheEndOfTheBuffer", 1, 4, {64, 72}, {Literal(2), 1, 2, Literal(4), 3, 4, 5, 6},
         {1, 2, 3, 4}, 0, kLiteralOverrun + "0 anOutputOffset = 2" + kOverrunFields + "1"),
    Case("LiteralOfTheSecondPlane", 2, 4, {64, 66, 72}, {Repeat(4), 9, Literal(5), 1, 2, 3, 4, 5},
         {1, 9, 2, 9, 3, 9, 4, 9}, 0, kLiteralOverrun + "1 anOutputOffset = 0" + kOverrunFields + "1"),
    Case("ControlByte", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X}, 0,
         "EOF on input during decode. " + kControlFields),
    Case("ControlByteError", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields, -1),
    Case("NothingOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 0"),
    Case("PartOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2), 5}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 1", -1),
    Case("LiteralError", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = -1", -1),
    Case("RepeatedByte", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X}, 0,
         "EOF on input during decode"),
    Case("RepeatedByteError", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X}, 0,
         "error on input during decode", -1),
    Case("PadByte", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2}, 0,
         "expected pad byte not present in input stream.  aTotalBytesRead = 3"),
    Case("PadByteError", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2}, 0,
         "error on input during decode while reading expected pad byte.  aTotalBytesRead = 3", -1),
    Case("Gap", 1, 2, {64, 72, 74}, {Repeat(2), 9, 0, 0, 0}, {9, X, 9, X}, 0,
         "EOF " + kSkip + "2 bytes expected = 6" + kSkipped + "3", -1),
    Case("GapError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X}, 0,
         "error " + kSkip + "2 bytes expected = 6" + kSkipped + "-1", -1),
    // Only -1 is an error here.
    Case("GapOtherError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X}, 0,
         "EOF " + kSkip + "2 bytes expected = 6" + kSkipped + "-2", -2),
    Case("GapsAreSkippedInPieces", 1, 2, {64, 5066, 5068}, Join({Repeat(2)}, Bytes(4199, 0)), {0, X, 0, X}, 0,
         "EOF " + kSkip + "4098 bytes expected = 904" + kSkipped + "102"),
};

TEST(RLEFrame, BothPathsDoTheSame)
{
    for (const Case& aCase : kCases)
    {
        for (const RLEPath aPath : {RLEPath::EXACT, RLEPath::FAST})
        {
            SCOPED_TRACE(testing::Message() << aCase.itsName << (aPath == RLEPath::FAST ? ", fast" : ""));
            const RLEPixelLayout aLayout{static_cast<unsigned int>(aCase.itsOffsets.size() - 1),
                                         aCase.itsBytesPerSample, aCase.itsPixelCount};
            ByteSource aSource(aCase.itsBody);
            aSource.AtEnd([&aCase] { return aCase.itsEndAnswer; });
            const Outcome anOutcome = RLETest::DecodeFrame(aPath, aSource, aLayout, aCase.itsOffsets,
                                                           Bytes(aCase.itsOutput.size(), X));
            EXPECT_EQ(anOutcome.itsFailure, aCase.itsText.empty()
                                                ? "(nothing)"
                                                : "RLEDecoder::Decode: " + aCase.itsText + " [62, 0]");
            EXPECT_EQ(anOutcome.itsBuffer, aCase.itsOutput);
            EXPECT_EQ(anOutcome.itsConsumed, aCase.itsConsumed);
        }
    }
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
