// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ImageFrameInputStream.h"

#include <gtest/gtest.h>

#include "support/EncapsulatedBytes.h"
#include "support/RecordingInputStream.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
using namespace EncapsulatedBytes;
using Manner = RecordingInputStream::Manner;
using Offsets = std::vector<std::uint64_t>;

constexpr Manner theSeekable{};
constexpr Manner thePipe{false, false, 5};
constexpr const char* theJPEGUID = "1.2.840.10008.1.2.4.70";
constexpr const char* theRLEUID = "1.2.840.10008.1.2.5";

struct Fixture
{
    Fixture(Bytes theBytes, int theFrames, Manner theManner = theSeekable, const char* theUID = theJPEGUID,
            Offsets theExtendedOffsets = {})
        : itsFragments(std::make_unique<RecordingInputStream>(std::move(theBytes), theManner, itsRecord),
                       std::move(theExtendedOffsets), {}),
          itsFrames(itsFragments, theUID, theFrames, 0)
    {
    }

    /// Reads a frame given out, and checks that its length was known before.
    Bytes Content(InputStream* theStream)
    {
        if (theStream == nullptr)
        {
            return {'n', 'o', 'n', 'e'};
        }
        const std::size_t aLength = itsFrames.GetCurrentFrameLength();
        EXPECT_EQ(theStream->Length(), static_cast<long long>(aLength));
        Bytes aBytes(aLength + 10);
        aBytes.resize(theStream->ReadFully(aBytes.data(), aBytes.size()));
        EXPECT_EQ(aBytes.size(), aLength);
        EXPECT_EQ(theStream->GetStreamPosition(), aLength);
        return aBytes;
    }

    RecordingInputStream::Record itsRecord;
    PixelDataFragmentInputStreamVR itsFragments;
    ImageFrameInputStream itsFrames;
};

// Fragments: codestreams that begin with SOI or SOC, what continues them, and one that is neither.
const Bytes theA = {0xff, 0xd8, 'a', 'a'};
const Bytes theB = {0xff, 0x4f, 'b', 'b', 'b', 'b'};
const Bytes theC = {0xff, 0xd8, 'c', 'c', 'c', 'c', 'c', 'c'};
const Bytes theMore = {'m', 'o', 'r', 'e'};
const Bytes theRaw = {0, 0, 0, 2, 'r', 'a', 'w', 's', 't', 'u'};

struct DivisionCase
{
    const char* itsName;
    Bytes itsBytes;
    int itsNumberOfFrames;
    std::vector<Bytes> itsFrames;
    Offsets itsExtendedOffsets = {};
    const char* itsUID = theJPEGUID;
};

class FrameDivision : public testing::TestWithParam<DivisionCase>
{
};

TEST_P(FrameDivision, InOrder)
{
    const DivisionCase& aCase = GetParam();
    for (const Manner aManner : {theSeekable, thePipe, Manner{true, true, 3}})
    {
        Fixture aFixture(aCase.itsBytes, aCase.itsNumberOfFrames, aManner, aCase.itsUID,
                         aCase.itsExtendedOffsets);
        for (const Bytes& aFrame : aCase.itsFrames)
        {
            EXPECT_EQ(aFixture.Content(aFixture.itsFrames.NextFrame()), aFrame) << aManner.itsCanSeek;
        }
        EXPECT_EQ(aFixture.itsFrames.NextFrame(), nullptr);
        EXPECT_FALSE(aFixture.itsFrames.SkipNextFrame());
    }
}

TEST_P(FrameDivision, AnyFrameFirstAndBackwards)
{
    const DivisionCase& aCase = GetParam();
    for (std::size_t aStart = 0; aStart < aCase.itsFrames.size(); ++aStart)
    {
        Fixture aFixture(aCase.itsBytes, aCase.itsNumberOfFrames, theSeekable, aCase.itsUID,
                         aCase.itsExtendedOffsets);
        for (std::size_t aFrame = aStart + 1; aFrame-- > 0;)
        {
            EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(static_cast<int>(aFrame))),
                      aCase.itsFrames[aFrame]);
        }
        Fixture aPipe(aCase.itsBytes, aCase.itsNumberOfFrames, thePipe, aCase.itsUID,
                      aCase.itsExtendedOffsets);
        EXPECT_EQ(aPipe.Content(aPipe.itsFrames.GetFrame(static_cast<int>(aStart))), aCase.itsFrames[aStart]);
    }
}

TEST_P(FrameDivision, SkippingLeavesTheOthersInPlace)
{
    const DivisionCase& aCase = GetParam();
    for (const Manner aManner : {theSeekable, thePipe})
    {
        Fixture aFixture(aCase.itsBytes, aCase.itsNumberOfFrames, aManner, aCase.itsUID,
                         aCase.itsExtendedOffsets);
        for (std::size_t aFrame = 0; aFrame < aCase.itsFrames.size(); ++aFrame)
        {
            if (aFrame % 2 == 0)
            {
                EXPECT_TRUE(aFixture.itsFrames.SkipNextFrame());
                continue;
            }
            EXPECT_EQ(aFixture.Content(aFixture.itsFrames.NextFrame()), aCase.itsFrames[aFrame]);
        }
        EXPECT_FALSE(aFixture.itsFrames.SkipNextFrame());
    }
}

const Bytes theABC = Item(theA) + Item(theB) + Item(theC) + Delimiter();
const Bytes theSplit = Item(theA) + Item(theMore) + Item(theB) + Item(theMore) + Item(theMore) + Delimiter();
const std::vector<Bytes> theABCFrames = {theA, theB, theC};
const std::vector<Bytes> theSplitFrames = {theA + theMore, theB + theMore + theMore};

INSTANTIATE_TEST_SUITE_P(
    Ways, FrameDivision,
    testing::Values(
        DivisionCase{"BasicTable", Table({0, 12, 26}) + theABC, 3, theABCFrames},
        DivisionCase{"BasicTableSeveralFragments", Table({0, 24}) + theSplit, 2, theSplitFrames},
        DivisionCase{"ExtendedTable", Table({}) + theSplit, 2, theSplitFrames, {0, 24}},
        DivisionCase{"ExtendedBeforeBasic", Table({0, 12}) + theSplit, 2, theSplitFrames, {0, 24}},
        DivisionCase{"CountsAgree", Table({}) + theABC, 3, theABCFrames},
        DivisionCase{"CountsAgreeWithoutMarkers",
                     Table({}) + Item(theRaw) + Item(theMore) + Delimiter(),
                     2,
                     {theRaw, theMore}},
        DivisionCase{
            "OneFrame", Table({}) + Item(theRaw) + Item(theMore) + Delimiter(), 1, {theRaw + theMore}},
        DivisionCase{
            "OneFrameWithTable", Table({0}) + Item(theA) + Item(theMore) + Delimiter(), 1, {theA + theMore}},
        DivisionCase{"NumberOfFramesZero", Table({}) + Item(theA) + Delimiter(), 0, {theA}},
        DivisionCase{"Markers", Table({}) + theSplit, 2, theSplitFrames},
        DivisionCase{"MarkersWithFewerFramesThanStated", Table({}) + theSplit, 0x7fffffff, theSplitFrames},
        DivisionCase{"BytesBeforeTheFirstMarker", Table({}) + Item(theMore) + theSplit, 2, theSplitFrames},
        DivisionCase{"RLEWithAFrameMissing",
                     Table({}) + Item(theRaw) + Item({}) + Item(theRaw + theMore) + Delimiter(),
                     4,
                     {theRaw, theRaw + theMore},
                     {},
                     theRLEUID}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

INSTANTIATE_TEST_SUITE_P(
    LyingTables, FrameDivision,
    testing::Values(
        DivisionCase{"NotAtAnItem", Table({0, 13, 26}) + theABC, 3, theABCFrames},
        DivisionCase{"CountedFromElsewhere", Table({8, 20, 34}) + theABC, 3, theABCFrames},
        DivisionCase{"Decreasing", Table({0, 26, 12}) + theABC, 3, theABCFrames},
        DivisionCase{"AllZero", Table({0, 0, 0}) + theABC, 3, theABCFrames},
        DivisionCase{"PastTheEnd", Table({0, 0x7fffff00, 0xffffffff}) + theABC, 3, theABCFrames},
        DivisionCase{"TooFewEntries", Table({0, 12}) + theABC, 3, theABCFrames},
        DivisionCase{"FragmentsListedForOneFrame",
                     Table({0, 12}) + Item(theA) + Item(theMore) + Delimiter(),
                     1,
                     {theA + theMore}},
        DivisionCase{"FragmentsListed", Table({0, 12, 24, 38, 50}) + theSplit, 2, theSplitFrames},
        DivisionCase{
            "ExtendedPastTheEnd", Table({0, 24}) + theSplit, 2, theSplitFrames, {0, 0xfffffffffffffff8}},
        DivisionCase{"BothLie", Table({0, 20}) + theSplit, 2, theSplitFrames, {0, 22}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

INSTANTIATE_TEST_SUITE_P(
    Damage, FrameDivision,
    testing::Values(
        DivisionCase{"NoDelimiter", Table({}) + Item(theA) + Item(theB), 2, {theA, theB}},
        DivisionCase{"EmptyFragments",
                     Table({}) + Item({}) + Item(theA) + Item({}) + Item({}) + Item(theB) + Delimiter(),
                     2,
                     {theA, theB}},
        DivisionCase{"EmptyFrameKeepsItsPlace",
                     Table({}) + Item(theA) + Item({}) + Item(theB) + Delimiter(),
                     3,
                     {theA, {}, theB}},
        DivisionCase{"OddLengths",
                     Table({0, 13}) + Item(theA + Bytes{1}) + Item(theB) + Delimiter(),
                     2,
                     {theA + Bytes{1}, theB}},
        DivisionCase{"LastFragmentCut", Table({}) + Item(theA) + Header(0xe000, 900) + theB, 2, {theA, theB}},
        DivisionCase{"LastFragmentCutWithTable",
                     Table({0, 12}) + Item(theA) + Header(0xe000, 900) + theB,
                     2,
                     {theA, theB}},
        // Three frames of two fragments: what is left has three fragments, but not three frames.
        DivisionCase{"CutWhereCountsAgreeByAccident",
                     Table({0, 24, 50}) + Item(theA) + Item(theMore) + Item(theB),
                     3,
                     {theA + theMore, theB}},
        DivisionCase{"NoFragments", Table({}) + Delimiter(), 2, {}}, DivisionCase{"Nothing", {}, 1, {}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST(ImageFrameInputStream, GivesNothingForFramesThatAreNotThere)
{
    for (const int aFrames : {3, 1})
    {
        Fixture aFixture(Table({0, 12, 26}) + theABC, aFrames);
        EXPECT_EQ(aFixture.itsFrames.GetCurrentFrameLength(), 0u);
        for (const int anIndex : {-1, aFrames, 0x7fffffff, -0x7fffffff})
        {
            EXPECT_EQ(aFixture.itsFrames.GetFrame(anIndex), nullptr);
        }
        EXPECT_NE(aFixture.itsFrames.GetFrame(0), nullptr);
    }
}

TEST(ImageFrameInputStream, ReportsFragmentsThatCannotBeDivided)
{
    for (const Manner aManner : {theSeekable, thePipe})
    {
        Fixture aFixture(Table({}) + Item(theRaw) + Item(theMore) + Item(theMore) + Delimiter(), 2, aManner);
        for (int anAttempt = 0; anAttempt < 2; ++anAttempt)
        {
            try
            {
                aFixture.itsFrames.GetFrame(0);
                FAIL() << "nothing thrown";
            }
            catch (const StreamIOException& anException)
            {
                EXPECT_EQ(anException.GetMessageText(),
                          "ImageFrameInputStream: 3 fragments cannot be divided into 2 frames");
                EXPECT_EQ(anException.GetResultCode(), DLRC_PARSE_ERROR);
            }
        }
    }
}

TEST(ImageFrameInputStream, GoesOnlyForwardInAPipeWithATable)
{
    Fixture aFixture(Table({0, 12, 26}) + theABC, 3, thePipe);
    EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(1)), theB);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(0), nullptr);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(1), nullptr);
    EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(2)), theC);
}

// In a pipe, what came before is gone when the table turns out to lie later on; wrong frames would be worse.
TEST(ImageFrameInputStream, FindsOutLaterThatATableLies)
{
    const Bytes aBytes = Table({0, 12, 27}) + theABC;
    Fixture aSeekable(aBytes, 3);
    Fixture aPipe(aBytes, 3, thePipe);
    EXPECT_EQ(aPipe.Content(aPipe.itsFrames.NextFrame()), theA);
    EXPECT_THROW(aPipe.itsFrames.NextFrame(), StreamIOException);
    for (const Bytes& aFrame : theABCFrames)
    {
        EXPECT_EQ(aSeekable.Content(aSeekable.itsFrames.NextFrame()), aFrame);
    }
}

TEST(ImageFrameInputStream, ReadsAFrameInPartAndGoesOn)
{
    for (const Manner aManner : {theSeekable, thePipe})
    {
        Fixture aFixture(Table({0, 24}) + theSplit, 2, aManner);
        unsigned char aByte = 0;
        ASSERT_EQ(aFixture.itsFrames.NextFrame()->Read(&aByte, 1), 1u);
        EXPECT_EQ(aFixture.Content(aFixture.itsFrames.NextFrame()), theSplitFrames[1]);
    }
}

Bytes ManyFrames(int theCount, std::size_t theSize, bool theTable)
{
    std::vector<std::uint32_t> anOffsets;
    Bytes aBytes;
    const Bytes anItem = Item(theA + Bytes(theSize - theA.size()));
    for (int aFrame = 0; aFrame < theCount; ++aFrame)
    {
        anOffsets.push_back(static_cast<std::uint32_t>(aBytes.size()));
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    return Table(theTable ? anOffsets : std::vector<std::uint32_t>{}) + aBytes + Delimiter();
}

TEST(ImageFrameInputStream, ReachesAFrameWithoutReadingTheOnesBefore)
{
    constexpr int theFrames = 1000;
    constexpr std::uint64_t theSize = 5000;
    for (const bool isWithTable : {true, false})
    {
        Fixture aFixture(ManyFrames(theFrames, theSize, isWithTable), theFrames);
        ASSERT_NE(aFixture.itsFrames.GetFrame(500), nullptr);
        const std::uint64_t aHeaderBytes = isWithTable ? 4 * theFrames + 100 : 20 * theFrames;
        EXPECT_LT(aFixture.itsRecord.itsBytesRead, aHeaderBytes);
        const std::uint64_t aBefore = aFixture.itsRecord.itsBytesRead;
        EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(2)).size(), theSize);
        EXPECT_LT(aFixture.itsRecord.itsBytesRead - aBefore, theSize + 100) << "fragments were listed again";
    }
}

// A pipe with a table must not pile up frames: each is read from the stream itself.
TEST(ImageFrameInputStream, ReadsNoFurtherThanTheFrameInAPipe)
{
    Fixture aFixture(ManyFrames(100, 5000, true), 100, {false, false, 100000});
    ASSERT_NE(aFixture.itsFrames.GetFrame(10), nullptr);
    EXPECT_LT(aFixture.itsRecord.itsBytesRead, 10u * 5008 + 1000);
}

// A million fragments without content are a file of 8 MB; listing them once is all the work there may be.
TEST(ImageFrameInputStream, IsNotDelayedByEmptyFragments)
{
    constexpr int theCount = 1000000;
    Bytes aBytes = Table({});
    const Bytes anItem = Item({});
    aBytes.reserve(anItem.size() * (theCount + 2));
    for (int aFragment = 0; aFragment < theCount; ++aFragment)
    {
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    Fixture aFixture(std::move(aBytes), theCount);
    for (int aFrame = 0; aFrame < theCount; ++aFrame)
    {
        ASSERT_NE(aFixture.itsFrames.GetFrame(aFrame), nullptr);
    }
    EXPECT_LT(aFixture.itsRecord.itsReads, 8u * theCount);
}
} // namespace
