// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"

#include <gtest/gtest.h>

#include "support/EncapsulatedBytes.h"
#include "support/RecordingInputStream.h"

namespace
{
using namespace EncapsulatedBytes;
using Manner = RecordingInputStream::Manner;

constexpr Manner kSeekable{};
constexpr Manner kPipe{false, false, 3};

struct Fixture
{
    Fixture(Bytes theBytes, Manner theManner)
        : itsFragments(std::make_unique<RecordingInputStream>(std::move(theBytes), theManner, itsRecord), {},
                       {})
    {
    }

    Bytes ReadFragment()
    {
        Bytes aBytes(100);
        std::size_t aCount = 0;
        while (const std::size_t aStep = itsFragments.Read(aBytes.data() + aCount, aBytes.size() - aCount))
        {
            aCount += aStep;
        }
        aBytes.resize(aCount);
        return aBytes;
    }

    std::vector<Bytes> ReadAll()
    {
        std::vector<Bytes> anAll;
        while (itsFragments.NextFragment())
        {
            anAll.push_back(ReadFragment());
        }
        return anAll;
    }

    RecordingInputStream::Record itsRecord;
    PixelDataFragmentInputStreamVR itsFragments;
};

struct LayoutCase
{
    const char* itsName;
    Bytes itsBytes;
    std::vector<std::uint32_t> itsTable;
    std::vector<Bytes> itsFragments;
};

class PixelDataFragmentLayout : public testing::TestWithParam<LayoutCase>
{
};

TEST_P(PixelDataFragmentLayout, IsReadFromSeekableStreamsAndPipesAlike)
{
    for (const Manner aManner : {kSeekable, kPipe, Manner{true, false, 1}, Manner{false, true, 7}})
    {
        Fixture aFixture(GetParam().itsBytes, aManner);
        EXPECT_EQ(aFixture.itsFragments.GetBasicOffsetTable(), GetParam().itsTable);
        EXPECT_EQ(aFixture.ReadAll(), GetParam().itsFragments);
        EXPECT_FALSE(aFixture.itsFragments.NextFragment());
    }
}

const Bytes kTwo = Item({}) + Item({1, 2, 3, 4}) + Item({5, 6});

INSTANTIATE_TEST_SUITE_P(
    Layouts, PixelDataFragmentLayout,
    testing::Values(
        LayoutCase{"Plain", kTwo + Delimiter(), {}, {{1, 2, 3, 4}, {5, 6}}},
        LayoutCase{"Table", Table({0, 0x8000010a}) + Item({1}) + Delimiter(), {0, 0x8000010a}, {{1}}},
        LayoutCase{
            "TableWithBytesOver", Item({0, 0, 0, 0, 9, 9}) + Item({1, 2}) + Delimiter(), {0}, {{1, 2}}},
        LayoutCase{"NoDelimiter", kTwo, {}, {{1, 2, 3, 4}, {5, 6}}},
        LayoutCase{"OddAndEmpty",
                   Item({}) + Item({7, 8, 9}) + Item({}) + Item({1}) + Delimiter(),
                   {},
                   {{7, 8, 9}, {}, {1}}},
        LayoutCase{"GarbageEnds", kTwo + Bytes(16, 0) + Item({1}), {}, {{1, 2, 3, 4}, {5, 6}}},
        LayoutCase{"HalfHeaderEnds", kTwo + Bytes{0xfe, 0xff, 0, 0xe0, 1}, {}, {{1, 2, 3, 4}, {5, 6}}},
        LayoutCase{"LengthPastTheEnd", Item({}) + Header(0xe000, 1000) + Bytes{1, 2, 3}, {}, {{1, 2, 3}}},
        LayoutCase{
            "UndefinedLength", Item({}) + Header(0xe000, 0xffffffff) + Bytes{1, 2, 3}, {}, {{1, 2, 3}}},
        LayoutCase{"TablePastTheEnd", Header(0xe000, 0xfffffff0) + Bytes{0, 0, 0, 0}, {}, {}},
        LayoutCase{"TableOfUndefinedLength", Header(0xe000, 0xffffffff) + kTwo, {}, {}},
        LayoutCase{"NoTableNoFragment", Delimiter() + kTwo, {}, {}}, LayoutCase{"Nothing", {}, {}, {}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST(PixelDataFragmentInputStreamVR, TellsLengthsAndOffsetsBeforeReading)
{
    Fixture aFixture(kTwo + Delimiter(), kSeekable);
    PixelDataFragmentInputStreamVR& aFragments = aFixture.itsFragments;
    ASSERT_TRUE(aFragments.NextFragment());
    EXPECT_EQ(aFragments.GetFragmentOffset(), 0u);
    EXPECT_EQ(aFragments.GetFragmentLength(), 4u);
    unsigned char aByte = 0;
    EXPECT_EQ(aFragments.Read(&aByte, 1), 1u);
    EXPECT_EQ(aFragments.GetFragmentRemaining(), 3u);
    ASSERT_TRUE(aFragments.NextFragment());
    EXPECT_EQ(aFragments.GetFragmentOffset(), 12u);
    EXPECT_EQ(aFragments.GetNextOffset(), 22u);
    EXPECT_FALSE(aFragments.NextFragment());
    EXPECT_FALSE(aFragments.HasReachedStreamEnd());
}

TEST(PixelDataFragmentInputStreamVR, CutsLengthsToTheStreamWhereItsEndIsKnown)
{
    Fixture aFixture(Item({}) + Header(0xe000, 0xffffffff) + Bytes{1, 2, 3}, kSeekable);
    ASSERT_TRUE(aFixture.itsFragments.NextFragment());
    EXPECT_EQ(aFixture.itsFragments.GetFragmentLength(), 3u);
    EXPECT_FALSE(aFixture.itsFragments.NextFragment());
    EXPECT_TRUE(aFixture.itsFragments.HasReachedStreamEnd());
}

TEST(PixelDataFragmentInputStreamVR, SeeksBackAfterTheEndAndRefusesOffsetsOutsideTheStream)
{
    for (const bool isLengthKnown : {true, false})
    {
        Fixture aFixture(kTwo + Delimiter(), {true, isLengthKnown, 100});
        PixelDataFragmentInputStreamVR& aFragments = aFixture.itsFragments;
        aFixture.ReadAll();
        EXPECT_FALSE(aFragments.SeekToFragment(1000));
        EXPECT_FALSE(aFragments.SeekToFragment(0xffffffffffffffff));
        ASSERT_TRUE(aFragments.SeekToFragment(12));
        EXPECT_EQ(aFixture.ReadAll(), (std::vector<Bytes>{{5, 6}}));
        ASSERT_TRUE(aFragments.SeekToFragment(13));
        EXPECT_FALSE(aFragments.NextFragment());
    }
    Fixture aPipe(kTwo + Delimiter(), kPipe);
    EXPECT_FALSE(aPipe.itsFragments.SeekToFragment(0));
    EXPECT_EQ(aPipe.ReadAll().size(), 2u);
}

// Some writers leave the offset table's item out; its place is taken by the first fragment.
TEST(PixelDataFragmentInputStreamVR, TakesAFirstItemThatBeginsACodestreamForAFragment)
{
    for (const Bytes& aStart : {Bytes{0xff, 0xd8, 0xff, 0xe0}, Bytes{0xff, 0x4f, 0xff, 0x51}})
    {
        Fixture aFixture(Item(aStart) + Item({1, 2}) + Delimiter(), kSeekable);
        EXPECT_TRUE(aFixture.itsFragments.GetBasicOffsetTable().empty());
        EXPECT_EQ(aFixture.ReadAll(), (std::vector<Bytes>{aStart, {1, 2}}));
    }
}
} // namespace
