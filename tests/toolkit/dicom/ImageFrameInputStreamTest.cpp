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

constexpr Manner kSeekable{};
constexpr Manner kPipe{false, false, 5};
constexpr const char* kJPEGUID = "1.2.840.10008.1.2.4.70";
constexpr const char* kRLEUID = "1.2.840.10008.1.2.5";

struct Fixture
{
    Fixture(Bytes theBytes, int theFrames, Manner theManner = kSeekable, const char* theUID = kJPEGUID,
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
const Bytes kA = {0xff, 0xd8, 'a', 'a'};
const Bytes kB = {0xff, 0x4f, 'b', 'b', 'b', 'b'};
const Bytes kC = {0xff, 0xd8, 'c', 'c', 'c', 'c', 'c', 'c'};
const Bytes kMore = {'m', 'o', 'r', 'e'};
const Bytes kRaw = {0, 0, 0, 2, 'r', 'a', 'w', 's', 't', 'u'};

struct DivisionCase
{
    const char* itsName;
    Bytes itsBytes;
    int itsNumberOfFrames;
    std::vector<Bytes> itsFrames;
    Offsets itsExtendedOffsets = {};
    const char* itsUID = kJPEGUID;
};

class FrameDivision : public testing::TestWithParam<DivisionCase>
{
};

TEST_P(FrameDivision, InOrder)
{
    const DivisionCase& aCase = GetParam();
    for (const Manner aManner : {kSeekable, kPipe, Manner{true, true, 3}})
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
        Fixture aFixture(aCase.itsBytes, aCase.itsNumberOfFrames, kSeekable, aCase.itsUID,
                         aCase.itsExtendedOffsets);
        for (std::size_t aFrame = aStart + 1; aFrame-- > 0;)
        {
            EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(static_cast<int>(aFrame))),
                      aCase.itsFrames[aFrame]);
        }
        Fixture aPipe(aCase.itsBytes, aCase.itsNumberOfFrames, kPipe, aCase.itsUID, aCase.itsExtendedOffsets);
        EXPECT_EQ(aPipe.Content(aPipe.itsFrames.GetFrame(static_cast<int>(aStart))), aCase.itsFrames[aStart]);
    }
}

TEST_P(FrameDivision, SkippingLeavesTheOthersInPlace)
{
    const DivisionCase& aCase = GetParam();
    for (const Manner aManner : {kSeekable, kPipe})
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

const Bytes kABC = Item(kA) + Item(kB) + Item(kC) + Delimiter();
const Bytes kSplit = Item(kA) + Item(kMore) + Item(kB) + Item(kMore) + Item(kMore) + Delimiter();
const std::vector<Bytes> kABCFrames = {kA, kB, kC};
const std::vector<Bytes> kSplitFrames = {kA + kMore, kB + kMore + kMore};

INSTANTIATE_TEST_SUITE_P(
    Ways, FrameDivision,
    testing::Values(
        DivisionCase{"BasicTable", Table({0, 12, 26}) + kABC, 3, kABCFrames},
        DivisionCase{"BasicTableSeveralFragments", Table({0, 24}) + kSplit, 2, kSplitFrames},
        DivisionCase{"ExtendedTable", Table({}) + kSplit, 2, kSplitFrames, {0, 24}},
        DivisionCase{"ExtendedBeforeBasic", Table({0, 12}) + kSplit, 2, kSplitFrames, {0, 24}},
        DivisionCase{"CountsAgree", Table({}) + kABC, 3, kABCFrames},
        DivisionCase{"CountsAgreeWithoutMarkers",
                     Table({}) + Item(kRaw) + Item(kMore) + Delimiter(),
                     2,
                     {kRaw, kMore}},
        DivisionCase{"OneFrame", Table({}) + Item(kRaw) + Item(kMore) + Delimiter(), 1, {kRaw + kMore}},
        DivisionCase{"OneFrameWithTable", Table({0}) + Item(kA) + Item(kMore) + Delimiter(), 1, {kA + kMore}},
        DivisionCase{"NumberOfFramesZero", Table({}) + Item(kA) + Delimiter(), 0, {kA}},
        DivisionCase{"Markers", Table({}) + kSplit, 2, kSplitFrames},
        DivisionCase{"MarkersWithFewerFramesThanStated", Table({}) + kSplit, 0x7fffffff, kSplitFrames},
        DivisionCase{"BytesBeforeTheFirstMarker", Table({}) + Item(kMore) + kSplit, 2, kSplitFrames},
        DivisionCase{"RLEWithAFrameMissing",
                     Table({}) + Item(kRaw) + Item({}) + Item(kRaw + kMore) + Delimiter(),
                     4,
                     {kRaw, kRaw + kMore},
                     {},
                     kRLEUID}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

INSTANTIATE_TEST_SUITE_P(
    LyingTables, FrameDivision,
    testing::Values(
        DivisionCase{"NotAtAnItem", Table({0, 13, 26}) + kABC, 3, kABCFrames},
        DivisionCase{"CountedFromElsewhere", Table({8, 20, 34}) + kABC, 3, kABCFrames},
        DivisionCase{"Decreasing", Table({0, 26, 12}) + kABC, 3, kABCFrames},
        DivisionCase{"AllZero", Table({0, 0, 0}) + kABC, 3, kABCFrames},
        DivisionCase{"PastTheEnd", Table({0, 0x7fffff00, 0xffffffff}) + kABC, 3, kABCFrames},
        DivisionCase{"TooFewEntries", Table({0, 12}) + kABC, 3, kABCFrames},
        DivisionCase{"FragmentsListedForOneFrame",
                     Table({0, 12}) + Item(kA) + Item(kMore) + Delimiter(),
                     1,
                     {kA + kMore}},
        DivisionCase{"FragmentsListed", Table({0, 12, 24, 38, 50}) + kSplit, 2, kSplitFrames},
        DivisionCase{"ExtendedPastTheEnd", Table({0, 24}) + kSplit, 2, kSplitFrames, {0, 0xfffffffffffffff8}},
        DivisionCase{"BothLie", Table({0, 20}) + kSplit, 2, kSplitFrames, {0, 22}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

INSTANTIATE_TEST_SUITE_P(
    Damage, FrameDivision,
    testing::Values(
        DivisionCase{"NoDelimiter", Table({}) + Item(kA) + Item(kB), 2, {kA, kB}},
        DivisionCase{"EmptyFragments",
                     Table({}) + Item({}) + Item(kA) + Item({}) + Item({}) + Item(kB) + Delimiter(),
                     2,
                     {kA, kB}},
        DivisionCase{"EmptyFrameKeepsItsPlace",
                     Table({}) + Item(kA) + Item({}) + Item(kB) + Delimiter(),
                     3,
                     {kA, {}, kB}},
        DivisionCase{"OddLengths",
                     Table({0, 13}) + Item(kA + Bytes{1}) + Item(kB) + Delimiter(),
                     2,
                     {kA + Bytes{1}, kB}},
        DivisionCase{"LastFragmentCut", Table({}) + Item(kA) + Header(0xe000, 900) + kB, 2, {kA, kB}},
        DivisionCase{
            "LastFragmentCutWithTable", Table({0, 12}) + Item(kA) + Header(0xe000, 900) + kB, 2, {kA, kB}},
        // Three frames of two fragments: what is left has three fragments, but not three frames.
        DivisionCase{"CutWhereCountsAgreeByAccident",
                     Table({0, 24, 50}) + Item(kA) + Item(kMore) + Item(kB),
                     3,
                     {kA + kMore, kB}},
        DivisionCase{"NoFragments", Table({}) + Delimiter(), 2, {}}, DivisionCase{"Nothing", {}, 1, {}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST(ImageFrameInputStream, GivesNothingForFramesThatAreNotThere)
{
    for (const int aFrames : {3, 1})
    {
        Fixture aFixture(Table({0, 12, 26}) + kABC, aFrames);
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
    for (const Manner aManner : {kSeekable, kPipe})
    {
        Fixture aFixture(Table({}) + Item(kRaw) + Item(kMore) + Item(kMore) + Delimiter(), 2, aManner);
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
    Fixture aFixture(Table({0, 12, 26}) + kABC, 3, kPipe);
    EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(1)), kB);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(0), nullptr);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(1), nullptr);
    EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(2)), kC);
}

// In a pipe, what came before is gone when the table turns out to lie later on; wrong frames would be worse.
TEST(ImageFrameInputStream, FindsOutLaterThatATableLies)
{
    const Bytes aBytes = Table({0, 12, 27}) + kABC;
    Fixture aSeekable(aBytes, 3);
    Fixture aPipe(aBytes, 3, kPipe);
    EXPECT_EQ(aPipe.Content(aPipe.itsFrames.NextFrame()), kA);
    EXPECT_THROW(aPipe.itsFrames.NextFrame(), StreamIOException);
    for (const Bytes& aFrame : kABCFrames)
    {
        EXPECT_EQ(aSeekable.Content(aSeekable.itsFrames.NextFrame()), aFrame);
    }
}

TEST(ImageFrameInputStream, ReadsAFrameInPartAndGoesOn)
{
    for (const Manner aManner : {kSeekable, kPipe})
    {
        Fixture aFixture(Table({0, 24}) + kSplit, 2, aManner);
        unsigned char aByte = 0;
        ASSERT_EQ(aFixture.itsFrames.NextFrame()->Read(&aByte, 1), 1u);
        EXPECT_EQ(aFixture.Content(aFixture.itsFrames.NextFrame()), kSplitFrames[1]);
    }
}

Bytes ManyFrames(int theCount, std::size_t theSize, bool theTable)
{
    std::vector<std::uint32_t> anOffsets;
    Bytes aBytes;
    const Bytes anItem = Item(kA + Bytes(theSize - kA.size()));
    for (int aFrame = 0; aFrame < theCount; ++aFrame)
    {
        anOffsets.push_back(static_cast<std::uint32_t>(aBytes.size()));
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    return Table(theTable ? anOffsets : std::vector<std::uint32_t>{}) + aBytes + Delimiter();
}

TEST(ImageFrameInputStream, ReachesAFrameWithoutReadingTheOnesBefore)
{
    constexpr int kFrames = 1000;
    constexpr std::uint64_t kSize = 5000;
    for (const bool isWithTable : {true, false})
    {
        Fixture aFixture(ManyFrames(kFrames, kSize, isWithTable), kFrames);
        ASSERT_NE(aFixture.itsFrames.GetFrame(500), nullptr);
        const std::uint64_t aHeaderBytes = isWithTable ? 4 * kFrames + 100 : 20 * kFrames;
        EXPECT_LT(aFixture.itsRecord.itsBytesRead, aHeaderBytes);
        const std::uint64_t aBefore = aFixture.itsRecord.itsBytesRead;
        EXPECT_EQ(aFixture.Content(aFixture.itsFrames.GetFrame(2)).size(), kSize);
        EXPECT_LT(aFixture.itsRecord.itsBytesRead - aBefore, kSize + 100) << "fragments were listed again";
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
    constexpr int kCount = 1000000;
    Bytes aBytes = Table({});
    const Bytes anItem = Item({});
    aBytes.reserve(anItem.size() * (kCount + 2));
    for (int aFragment = 0; aFragment < kCount; ++aFragment)
    {
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    Fixture aFixture(std::move(aBytes), kCount);
    for (int aFrame = 0; aFrame < kCount; ++aFrame)
    {
        ASSERT_NE(aFixture.itsFrames.GetFrame(aFrame), nullptr);
    }
    EXPECT_LT(aFixture.itsRecord.itsReads, 8u * kCount);
}
} // namespace
