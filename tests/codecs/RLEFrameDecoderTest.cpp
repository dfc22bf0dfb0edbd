// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEFrameDecoder.h"

#include <algorithm>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include "RLETestHelpers.h"
#include "support/ForEachTarget.h"
#include "support/LongRun.h"

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

/// Name; bytes per sample and pixels; offsets of the segments and of the frame's end; body and output; how
/// much is consumed where the decode succeeds; the text after "RLEDecoder::Decode: ", empty where it does;
/// what the source says when its bytes are used up.
using Case = std::tuple<const char*, unsigned int, std::uint64_t, std::vector<std::uint32_t>, Bytes, Bytes,
                        std::size_t, std::string, int>;

Case Make(const char* theName, unsigned int theBytesPerSample, std::uint64_t thePixelCount,
          const std::vector<std::uint32_t>& theOffsets, const Bytes& theBody, const Bytes& theOutput,
          std::size_t theConsumed, const std::string& theText = "", int theEndAnswer = 0)
{
    return {theName,   theBytesPerSample, thePixelCount, theOffsets,  theBody,
            theOutput, theConsumed,       theText,       theEndAnswer};
}

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
    Make("Literal", 1, 4, {64, 70}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Make("Repeat", 1, 4, {64, 66}, {Repeat(4), 9}, {9, 9, 9, 9}, 2),
    Make("NoOperation", 1, 4, {64, 68}, {kNoOperation, Repeat(4), 9, 0}, {9, 9, 9, 9}, 4),
    // The longest packets of either kind end at 128, not at 127 or 129.
    Make("LongestRepeat", 1, 129, {64, 68}, {Repeat(128), 9, Literal(1), 1}, Join(Bytes(128, 9), {1}), 4),
    Make("NoPixels", 1, 0, {64, 66}, {Repeat(4), 9}, {}, 0),
    Make("GapsAndLeftoversAreSkipped", 1, 1, {64, 70, 72}, {Literal(1), 1, 7, 7, 7, 7, Literal(1), 2}, {1, 2},
         8),
    Make("BytesBehindTheLastPacketStay", 1, 4, {64, 72}, {Repeat(4), 9, 7, 7, 7, 7, 7, 7}, {9, 9, 9, 9}, 2),
    Make("OnlyThePadByteBehindAnOddEnd", 1, 4, {64, 74}, {Literal(4), 1, 2, 3, 4, 7, 7, 7, 7, 7},
         {1, 2, 3, 4}, 6),
    Make("EarlyEndLeavesTheRest", 1, 4, {64, 66}, {Repeat(2), 9, Repeat(2), 8}, {9, 9, X, X}, 2),
    Make("EarlyEndOfTheFirstPlane", 2, 3, {64, 66, 68}, {Repeat(2), 9, Repeat(3), 8}, {8, 9, 8, 9, 8, X}, 4),
    Make("EarlyEndOfTheLastPlane", 2, 3, {64, 66, 68}, {Repeat(3), 9, Repeat(2), 8}, {8, 9, 8, 9, X, 9}, 4),
    Make("EmptySegment", 2, 2, {64, 64, 66}, {Repeat(2), 8}, {8, X, 8, X}, 2),
    Make("PacketAcrossTheEndOfTheFrame", 1, 4, {64, 66}, {Literal(4), 1, 2, 3, 4, 0}, {1, 2, 3, 4}, 6),
    Make("OverlongLiteralGoesOnIntoTheBuffer", 1, 4, {64, 70}, {Literal(5), 1, 2, 3, 4, 5},
         {1, 2, 3, 4, 5, X}, 6),
    Make("OverlongLiteralOfTheFirstPlane", 2, 1, {64, 68, 70}, {Literal(3), 1, 2, 3, Literal(1), 9},
         {9, 1, X, 2, X, 3, X}, 6),
    Make("EachIsCheckedWhenItsTurnComes", 1, 1, {64, 65, 64}, {Repeat(2), 9}, {X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 0 aDecompressedSegmentSize = 1 bytes to output = 0"),
    Make("Odd", 1, 1, {64, 65, 64}, {Literal(1), 9}, {9, X}, 0, "Invalid component offset (65)" + kOdd + "1"),
    Make("OddAndBelowTheHeader", 1, 1, {63, 70}, {Literal(1), 9}, {X}, 0,
         "Invalid component offset (63)" + kOdd + "0"),
    Make("BelowTheHeader", 1, 1, {62, 70}, {Literal(1), 9}, {X}, 0,
         "Invalid component offset (62) (< 64) for component index 0"),
    Make("NextBelowTheHeader", 1, 1, {64, 62, 70}, {Literal(1), 9}, {X, X}, 0,
         "Invalid next component offset (0) (< 64) for component index 1"),
    // The number is the good start of the current segment, not the bad offset.
    Make("EndOfFrameBelowTheHeader", 1, 1, {64, 68, 10}, {Literal(1), 9, 0, 0, Literal(1), 8}, {9, X}, 0,
         "Invalid next component offset (4) (< 64) for component index 2"),
    Make("Overlap", 1, 1, {64, 66, 64, 70}, {Literal(1), 9, Literal(1), 8, 0, 0}, {9, X, X}, 0,
         "Invalid component offset (0 (not including 64 byte header)) (< current offset (2)) for component "
         "index 2"),
    Make("PacketIntoTheNextSegment", 1, 4, {64, 66, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(4), 7},
         {1, X, 2, X, 3, X, 4, X}, 0,
         "Invalid component offset (2 (not including 64 byte header)) (< current offset (5)) for component "
         "index 1"),
    Make("RepeatNamesTheLiteralBefore", 1, 4, {64, 70}, {Literal(2), 5, 6, Repeat(4), 9, 0}, {5, 6, X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 2" + kOverrunFields + "2"),
    Make("RepeatWithoutALiteralBefore", 1, 4, {64, 66}, {Repeat(5), 9}, {X, X, X, X}, 0,
         kRepeatOverrun + "0 anOutputOffset = 0" + kOverrunFields + "0"),
    Make("LiteralLengthSurvivesTheSegment", 2, 4, {64, 70, 72}, {Literal(4), 1, 2, 3, 4, 0, Repeat(5), 9},
         {X, 1, X, 2, X, 3, X, 4}, 0, kRepeatOverrun + "1 anOutputOffset = 0" + kOverrunFields + "4"),
    Make("LiteralMeetsTheEndOfTheBuffer", 1, 4, {64, 72}, {Literal(2), 1, 2, Literal(4), 3, 4, 5, 6},
         {1, 2, 3, 4}, 0, kLiteralOverrun + "0 anOutputOffset = 2" + kOverrunFields + "1"),
    Make("LiteralOfTheSecondPlane", 2, 4, {64, 66, 72}, {Repeat(4), 9, Literal(5), 1, 2, 3, 4, 5},
         {1, 9, 2, 9, 3, 9, 4, 9}, 0, kLiteralOverrun + "1 anOutputOffset = 0" + kOverrunFields + "1"),
    Make("ControlByte", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X}, 0,
         "EOF on input during decode. " + kControlFields),
    Make("ControlByteError", 1, 4, {64, 70}, {Repeat(2), 9}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields, -1),
    Make("NothingOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 0"),
    Make("PartOfALiteral", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2), 5}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = 1", -1),
    Make("LiteralError", 1, 4, {64, 70}, {Repeat(2), 9, Literal(2)}, {9, 9, X, X}, 0,
         "error on input during decode. " + kControlFields + " bytes expected = 2 bytes read = -1", -1),
    Make("RepeatedByte", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X}, 0,
         "EOF on input during decode"),
    Make("RepeatedByteError", 1, 4, {64, 70}, {Repeat(2), 9, Repeat(2)}, {9, 9, X, X}, 0,
         "error on input during decode", -1),
    Make("PadByte", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2}, 0,
         "expected pad byte not present in input stream.  aTotalBytesRead = 3"),
    Make("PadByteError", 1, 2, {64, 68}, {Literal(2), 1, 2}, {1, 2}, 0,
         "error on input during decode while reading expected pad byte.  aTotalBytesRead = 3", -1),
    Make("Gap", 1, 2, {64, 72, 74}, {Repeat(2), 9, 0, 0, 0}, {9, X, 9, X}, 0,
         "EOF " + kSkip + "2 bytes expected = 6" + kSkipped + "3", -1),
    Make("GapError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X}, 0,
         "error " + kSkip + "2 bytes expected = 6" + kSkipped + "-1", -1),
    // Only -1 is an error here.
    Make("GapOtherError", 1, 2, {64, 72, 74}, {Repeat(2), 9}, {9, X, 9, X}, 0,
         "EOF " + kSkip + "2 bytes expected = 6" + kSkipped + "-2", -2),
    Make("GapsAreSkippedInPieces", 1, 2, {64, 5066, 5068}, Join({Repeat(2)}, Bytes(4199, 0)), {0, X, 0, X}, 0,
         "EOF " + kSkip + "4098 bytes expected = 904" + kSkipped + "102"),
};

TEST(RLEFrame, BothPathsDoTheSame)
{
    for (const auto& [aName, aByteCount, aPixelCount, anOffsets, aBody, anOutput, aConsumed, aText, anEnd] :
         kCases)
    {
        for (const RLEPath aPath : {RLEPath::EXACT, RLEPath::FAST})
        {
            SCOPED_TRACE(testing::Message() << aName << (aPath == RLEPath::FAST ? ", fast" : ""));
            const RLEPixelLayout aLayout{static_cast<unsigned int>(anOffsets.size() - 1), aByteCount,
                                         aPixelCount};
            ByteSource aSource(aBody);
            aSource.AtEnd([anAnswer = anEnd] { return anAnswer; });
            const Outcome anOutcome =
                RLETest::DecodeFrame(aPath, aSource, aLayout, anOffsets, Bytes(anOutput.size(), X));
            EXPECT_EQ(anOutcome.itsFailure,
                      aText.empty() ? "(nothing)" : "RLEDecoder::Decode: " + aText + " [62, 0]");
            EXPECT_EQ(anOutcome.itsBuffer, anOutput);
            EXPECT_EQ(anOutcome.itsConsumed, aConsumed);
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

// ---- The fast path against the exact one, over frames that are sound, odd and damaged ------------

/// A frame made up from random packets.
class RandomFrame
{
public:
    RandomFrame(unsigned int theSeed, std::size_t theMostPixels) : itsRandom(theSeed)
    {
        static constexpr unsigned int kShapes[][2] = {{1, 1}, {1, 2}, {3, 1}, {3, 2}, {1, 4}, {4, 1}, {3, 4}};
        const auto& aShape = kShapes[Below(std::size(kShapes))];
        itsLayout = {aShape[0] * aShape[1], aShape[1], Below(theMostPixels + 1)};
        for (unsigned int i = 0; i <= itsLayout.itsSegmentCount; ++i)
        {
            itsOffsets.push_back(static_cast<std::uint32_t>(64 + itsBody.size()));
            if (i < itsLayout.itsSegmentCount)
            {
                AddSegment();
            }
        }
        for (std::size_t aTimes = OneIn(2) ? 1 + Below(3) : 0; aTimes > 0; --aTimes)
        {
            Damage();
        }
    }

    std::size_t Below(std::size_t theLimit) { return itsRandom() % theLimit; }
    bool OneIn(std::size_t theNumber) { return Below(theNumber) == 0; }

    void AddBytes(Bytes& theBytes, std::size_t theCount)
    {
        std::generate_n(std::back_inserter(theBytes), theCount,
                        [this] { return static_cast<std::uint8_t>(itsRandom()); });
    }

    RLEPixelLayout itsLayout;
    std::vector<std::uint32_t> itsOffsets;
    Bytes itsBody;
    bool itsIsSound = true;

private:
    void AddSegment()
    {
        constexpr std::size_t kLongest[] = {4, 20, 128, 128};
        const std::size_t aLongest = kLongest[Below(4)];
        std::size_t aLeft = itsLayout.itsPixelCount;
        while (aLeft > 0)
        {
            const bool isLast = OneIn(1000); // the segment ends early
            const std::size_t aFull = 1 + Below(aLongest);
            const bool isTooLong = aFull > aLeft && OneIn(40);
            const std::size_t aCount = isTooLong ? aFull : std::min(aFull, aLeft);
            const bool isRepeat = aCount > 1 && OneIn(2);
            itsBody.insert(itsBody.end(), OneIn(50) ? 1 : 0, 0x80);
            itsBody.push_back(static_cast<std::uint8_t>(isRepeat ? 257 - aCount : aCount - 1));
            AddBytes(itsBody, isRepeat ? 1 : aCount);
            itsIsSound = itsIsSound && !isTooLong && (!isLast || aCount == aLeft);
            aLeft -= isLast ? aLeft : std::min(aLeft, aCount);
        }
        AddBytes(itsBody, itsBody.size() % 2 + (OneIn(8) ? 2 * Below(100) : 0));
    }

    void Damage()
    {
        itsIsSound = false;
        const std::size_t aPlace = Below(itsBody.size() + 1);
        switch (Below(4))
        {
        case 0:
            itsOffsets[Below(itsOffsets.size())] ^= 1u << Below(OneIn(4) ? 32 : 9);
            break;
        case 1:
            itsBody.resize(aPlace);
            break;
        default:
            if (aPlace < itsBody.size())
            {
                itsBody[aPlace] ^= static_cast<std::uint8_t>(1u << Below(8));
            }
        }
    }

    std::mt19937 itsRandom;
};

void Compare(unsigned int theSeed, std::size_t theMostPixels)
{
    RandomFrame aFrame(theSeed, theMostPixels);
    // What fits every single read of a sound frame; a shorter limit is told apart by the exact path only.
    const bool isInPieces = aFrame.itsIsSound && aFrame.OneIn(4);
    ByteSource aSource(aFrame.itsBody, isInPieces ? 256 + static_cast<int>(aFrame.Below(2000)) : 1 << 30);
    constexpr int kAnswers[] = {0, 0, -1, -5};
    aSource.AtEnd(
        [anAnswer = kAnswers[aFrame.Below(4)], isThrowing = aFrame.OneIn(6)]
        { return isThrowing ? throw DICOMLibException("the source failed", DLRC_IO_ERROR, 5) : anAnswer; });
    Bytes aBuffer;
    aFrame.AddBytes(aBuffer, aFrame.itsLayout.itsPixelCount * aFrame.itsLayout.itsSegmentCount +
                                 (aFrame.OneIn(3) ? aFrame.Below(600) : 0));
    const auto aDecode = [&](RLEPath thePath)
    { return RLETest::DecodeFrame(thePath, aSource, aFrame.itsLayout, aFrame.itsOffsets, aBuffer); };
    const Outcome anExact = aDecode(RLEPath::EXACT);
    const Outcome aFast = aDecode(RLEPath::FAST);
    ASSERT_TRUE(anExact == aFast) << "seed " << theSeed << ": '" << anExact.itsFailure << "', '"
                                  << aFast.itsFailure << "', consumed " << anExact.itsConsumed << ", "
                                  << aFast.itsConsumed;
    ASSERT_TRUE(!aFrame.itsIsSound || aFast.itsFailure == "(nothing)")
        << "seed " << theSeed << ": " << aFast.itsFailure;
}

void CompareMany(unsigned int theFirst, int theCount, std::size_t theMostPixels)
{
    for (int i = 0; i < theCount && !testing::Test::HasFatalFailure(); ++i)
    {
        Compare(theFirst + static_cast<unsigned int>(i), theMostPixels);
    }
}

// The last ones are larger than the window of compressed bytes and than the pieces in which the last plane is
// put together.
TEST(RLEPaths, FramesComeOutAlike)
{
    CompareMany(0, Rounds(60000), 60);
    CompareMany(1000000, Rounds(4000), 2000);
    CompareMany(2000000, Rounds(40), 150000);
    ForEachTarget([] { CompareMany(3000000, 1000, 400); });
}
} // namespace
