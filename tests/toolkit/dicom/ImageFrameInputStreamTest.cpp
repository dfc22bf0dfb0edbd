// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ImageFrameInputStream.h"

#include <gtest/gtest.h>

#include "support/EncapsulatedBytes.h"
#include "support/FailureOf.h"
#include "support/RecordingInputStream.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
using namespace EncapsulatedBytes;
using Manner = RecordingInputStream::Manner;
using Offsets = std::vector<std::uint64_t>;

constexpr Manner kSeekable{};
constexpr Manner kPipe{false, false, 5};

/// Encapsulated pixel data divided into frames.
struct Division
{
    Bytes itsBytes;
    int itsNumberOfFrames = 0;
    Offsets itsExtendedOffsets = {};
    const char* itsUID = "1.2.840.10008.1.2.4.70";
};

struct Fixture
{
    explicit Fixture(const Division& theDivision, Manner theManner = kSeekable)
        : itsFragments(std::make_unique<RecordingInputStream>(theDivision.itsBytes, theManner, itsRecord),
                       theDivision.itsExtendedOffsets, {}),
          itsFrames(itsFragments, theDivision.itsUID, theDivision.itsNumberOfFrames, 0)
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
    Bytes Next() { return Content(itsFrames.NextFrame()); }
    Bytes Get(std::size_t theFrame) { return Content(itsFrames.GetFrame(static_cast<int>(theFrame))); }

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
const Bytes kOdd = {0xff, 0xd8, 'a', 'a', 1};

const Bytes kABC = Item(kA) + Item(kB) + Item(kC) + Delimiter();
const Bytes kSplit = Item(kA) + Item(kMore) + Item(kB) + Item(kMore) + Item(kMore) + Delimiter();
const Bytes kTwo = Item(kA) + Item(kMore) + Delimiter();
const std::vector<Bytes> kABCFrames = {kA, kB, kC};
const std::vector<Bytes> kSplitFrames = {kA + kMore, kB + kMore + kMore};

using DivisionCase = std::tuple<const char*, Division, std::vector<Bytes>>;

const DivisionCase kCases[] = {
    {"basic table", {Table({0, 12, 26}) + kABC, 3}, kABCFrames},
    {"basic table, several fragments", {Table({0, 24}) + kSplit, 2}, kSplitFrames},
    {"extended table", {Table({}) + kSplit, 2, {0, 24}}, kSplitFrames},
    {"extended before basic", {Table({0, 12}) + kSplit, 2, {0, 24}}, kSplitFrames},
    {"counts agree", {Table({}) + kABC, 3}, kABCFrames},
    {"counts agree without markers", {Table({}) + Item(kRaw) + Item(kMore), 2}, {kRaw, kMore}},
    {"one frame", {Table({}) + Item(kRaw) + Item(kMore) + Delimiter(), 1}, {kRaw + kMore}},
    {"one frame with table", {Table({0}) + kTwo, 1}, {kA + kMore}},
    {"number of frames 0", {Table({}) + Item(kA) + Delimiter(), 0}, {kA}},
    {"markers", {Table({}) + kSplit, 2}, kSplitFrames},
    {"fewer markers than frames stated", {Table({}) + kSplit, 0x7fffffff}, kSplitFrames},
    {"bytes before the first marker", {Table({}) + Item(kMore) + kSplit, 2}, kSplitFrames},
    {"RLE with a frame missing",
     {Table({}) + Item(kRaw) + Item({}) + Item(kRaw + kMore) + Delimiter(), 4, {}, "1.2.840.10008.1.2.5"},
     {kRaw, kRaw + kMore}},
    // Tables that lie.
    {"not at an item", {Table({0, 13, 26}) + kABC, 3}, kABCFrames},
    {"counted from elsewhere", {Table({8, 20, 34}) + kABC, 3}, kABCFrames},
    {"decreasing", {Table({0, 26, 12}) + kABC, 3}, kABCFrames},
    {"all zero", {Table({0, 0, 0}) + kABC, 3}, kABCFrames},
    {"past the end", {Table({0, 0x7fffff00, 0xffffffff}) + kABC, 3}, kABCFrames},
    {"too few entries", {Table({0, 12}) + kABC, 3}, kABCFrames},
    {"fragments listed for one frame", {Table({0, 12}) + kTwo, 1}, {kA + kMore}},
    {"fragments listed", {Table({0, 12, 24, 38, 50}) + kSplit, 2}, kSplitFrames},
    {"extended past the end", {Table({0, 24}) + kSplit, 2, {0, 0xfffffffffffffff8}}, kSplitFrames},
    {"both lie", {Table({0, 20}) + kSplit, 2, {0, 22}}, kSplitFrames},
    // Damage.
    {"no delimiter", {Table({}) + Item(kA) + Item(kB), 2}, {kA, kB}},
    {"empty fragments",
     {Table({}) + Item({}) + Item(kA) + Item({}) + Item({}) + Item(kB) + Delimiter(), 2},
     {kA, kB}},
    {"empty frame", {Table({}) + Item(kA) + Item({}) + Item(kB) + Delimiter(), 3}, {kA, {}, kB}},
    {"odd lengths", {Table({0, 13}) + Item(kOdd) + Item(kB) + Delimiter(), 2}, {kOdd, kB}},
    {"last fragment cut", {Table({}) + Item(kA) + Header(0xe000, 900) + kB, 2}, {kA, kB}},
    {"cut, with table", {Table({0, 12}) + Item(kA) + Header(0xe000, 900) + kB, 2}, {kA, kB}},
    // Three frames of two fragments: what is left has three fragments, but not three frames.
    {"counts agree by accident",
     {Table({0, 24, 50}) + Item(kA) + Item(kMore) + Item(kB), 3},
     {kA + kMore, kB}},
    {"garbage ends", {Table({}) + Item(kA) + Item(kB) + Bytes(16, 0) + Item(kC), 2}, {kA, kB}},
    {"half a header ends", {Table({}) + Item(kA) + Item(kB) + Bytes{0xfe, 0xff, 0, 0xe0, 1}, 2}, {kA, kB}},
    {"undefined length", {Table({}) + Item(kA) + Header(0xe000, 0xffffffff) + kB, 2}, {kA, kB}},
    {"table with bytes over", {Item({0, 0, 0, 0, 9, 9}) + kTwo, 1}, {kA + kMore}},
    {"table past the end", {Header(0xe000, 0xfffffff0) + kABC, 3}, {}},
    {"table of undefined length", {Header(0xe000, 0xffffffff) + kABC, 3}, {}},
    {"neither table nor fragment", {Delimiter() + kABC, 3}, {}},
    {"no fragments", {Table({}) + Delimiter(), 2}, {}},
    {"nothing", {{}, 1}, {}},

    // Some writers leave the offset table's item out; its place is taken by the first fragment.
    {"JPEG for a table", {Item({0xff, 0xd8, 0xff, 0xe0}) + kTwo, 2}, {{0xff, 0xd8, 0xff, 0xe0}, kA + kMore}},
    {"JPEG 2000 for a table", {Item({0xff, 0x4f, 0xff, 0x51}) + Item(kC), 2}, {{0xff, 0x4f, 0xff, 0x51}, kC}},
};

// Any frame may be the first, and others follow backwards then.
TEST(ImageFrameInputStream, GivesFramesInAnyOrderAndWhereOthersAreSkipped)
{
    for (const auto& [aName, aDivision, aFrames] : kCases)
    {
        for (const Manner aManner : {kSeekable, kPipe, Manner{true, true, 3}, Manner{true, false}})
        {
            SCOPED_TRACE(aName);
            Fixture aFixture(aDivision, aManner);
            Fixture aSkipping(aDivision, aManner);
            bool isToSkip = true;
            for (const Bytes& aFrame : aFrames)
            {
                EXPECT_EQ(aFixture.Next(), aFrame);
                EXPECT_TRUE(isToSkip ? aSkipping.itsFrames.SkipNextFrame() : aSkipping.Next() == aFrame);
                isToSkip = !isToSkip;
            }
            EXPECT_EQ(aFixture.itsFrames.NextFrame(), nullptr);
            EXPECT_FALSE(aFixture.itsFrames.SkipNextFrame());
            EXPECT_FALSE(aSkipping.itsFrames.SkipNextFrame());
        }
        for (std::size_t aStart = 0; aStart < aFrames.size(); ++aStart)
        {
            SCOPED_TRACE(aName);
            Fixture aFixture(aDivision);
            for (std::size_t aFrame = aStart + 1; aFrame-- > 0;)
            {
                EXPECT_EQ(aFixture.Get(aFrame), aFrames[aFrame]);
            }
            EXPECT_EQ(Fixture(aDivision, kPipe).Get(aStart), aFrames[aStart]);
        }
    }
}

TEST(ImageFrameInputStream, GivesNothingForFramesThatAreNotThere)
{
    for (const int aFrames : {3, 1})
    {
        Fixture aFixture({Table({0, 12, 26}) + kABC, aFrames});
        for (const int anIndex : {-1, aFrames, 0x7fffffff, -0x7fffffff})
        {
            EXPECT_EQ(aFixture.itsFrames.GetFrame(anIndex), nullptr);
            EXPECT_EQ(aFixture.itsFrames.GetCurrentFrameLength(), 0u);
        }
        EXPECT_NE(aFixture.itsFrames.GetFrame(0), nullptr);
    }
}

TEST(ImageFrameInputStream, ReportsFragmentsThatCannotBeDivided)
{
    for (const Manner aManner : {kSeekable, kPipe})
    {
        Fixture aFixture({Table({}) + Item(kRaw) + Item(kMore) + Item(kMore) + Delimiter(), 2}, aManner);
        for (int anAttempt = 0; anAttempt < 2; ++anAttempt)
        {
            EXPECT_EQ(FailureOf([&] { aFixture.itsFrames.GetFrame(0); }),
                      "ImageFrameInputStream: 3 fragments cannot be divided into 2 frames [38, 0]");
        }
    }
}

// In a pipe, what came before is gone, also when the table turns out to lie later on; wrong frames would be
// worse.
TEST(ImageFrameInputStream, GoesOnlyForwardInAPipeWithATable)
{
    Fixture aFixture({Table({0, 12, 26}) + kABC, 3}, kPipe);
    EXPECT_EQ(aFixture.Get(1), kB);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(0), nullptr);
    EXPECT_EQ(aFixture.itsFrames.GetFrame(1), nullptr);
    EXPECT_EQ(aFixture.Get(2), kC);
    Fixture aLiar({Table({0, 12, 27}) + kABC, 3}, kPipe);
    EXPECT_EQ(aLiar.Next(), kA);
    EXPECT_NE(FailureOf([&] { aLiar.itsFrames.NextFrame(); }), "(nothing)");
}

TEST(ImageFrameInputStream, ReadsAFrameInPartAndGoesOn)
{
    for (const Manner aManner : {kSeekable, kPipe})
    {
        Fixture aFixture({Table({0, 24}) + kSplit, 2}, aManner);
        unsigned char aByte = 0;
        ASSERT_EQ(aFixture.itsFrames.NextFrame()->Read(&aByte, 1), 1u);
        EXPECT_EQ(aFixture.Next(), kSplitFrames[1]);
    }
}

/// Frames of 5000 bytes.
Division ManyFrames(int theCount, bool theTable)
{
    std::vector<std::uint32_t> anOffsets;
    Bytes aBytes;
    const Bytes anItem = Item(kA + Bytes(5000 - kA.size()));
    for (int aFrame = 0; aFrame < theCount; ++aFrame)
    {
        anOffsets.push_back(static_cast<std::uint32_t>(aBytes.size()));
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    return {Table(theTable ? anOffsets : std::vector<std::uint32_t>{}) + aBytes + Delimiter(), theCount};
}

TEST(ImageFrameInputStream, ReachesAFrameWithoutReadingTheOnesBefore)
{
    for (const bool isWithTable : {true, false})
    {
        Fixture aFixture(ManyFrames(1000, isWithTable));
        ASSERT_NE(aFixture.itsFrames.GetFrame(500), nullptr);
        EXPECT_LT(aFixture.itsRecord.itsBytesRead, isWithTable ? 4 * 1000u + 100 : 20 * 1000u);
        const std::uint64_t aBefore = aFixture.itsRecord.itsBytesRead;
        EXPECT_EQ(aFixture.Get(2).size(), 5000u);
        EXPECT_LT(aFixture.itsRecord.itsBytesRead - aBefore, 5100u) << "fragments were listed again";
    }
    // A pipe with a table must not pile up frames: each is read from the stream itself.
    Fixture aPipe(ManyFrames(100, true), {false, false, 100000});
    ASSERT_NE(aPipe.itsFrames.GetFrame(10), nullptr);
    EXPECT_LT(aPipe.itsRecord.itsBytesRead, 10u * 5008 + 1000);
}

// A million fragments without content are a file of 8 MB; listing them once is all the work there may be.
TEST(ImageFrameInputStream, IsNotDelayedByEmptyFragments)
{
    constexpr int kCount = 1000000;
    Bytes aBytes = Table({});
    const Bytes anItem = Item({});
    for (int aFragment = 0; aFragment < kCount; ++aFragment)
    {
        aBytes.insert(aBytes.end(), anItem.begin(), anItem.end());
    }
    Fixture aFixture({std::move(aBytes), kCount});
    for (int aFrame = 0; aFrame < kCount; ++aFrame)
    {
        ASSERT_NE(aFixture.itsFrames.GetFrame(aFrame), nullptr);
    }
    EXPECT_LT(aFixture.itsRecord.itsReads, 8u * kCount);
}
} // namespace
