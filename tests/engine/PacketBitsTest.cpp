// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketBits.h"

#include <gtest/gtest.h>

#include "engine/detail/packets/PassSegments.h"
#include "engine/detail/packets/TagTree.h"
#include "support/LongRun.h"
#include "support/PacketWriter.h"

#include <random>
#include <string>

namespace
{
using Bytes = std::vector<std::uint8_t>;

struct BitsCase
{
    const char* itsName;
    std::vector<Bytes> itsChunks;
    std::size_t itsReads;    ///< bits
    const char* itsExpected; ///< bits
    bool itsOverrun;
    std::uint64_t itsEnd; ///< position behind the header
};

class PacketBitsTable : public testing::TestWithParam<BitsCase>
{
};

TEST_P(PacketBitsTable, DropsStuffedBitsAndEndsAtAByte)
{
    std::vector<j2k::BodyChunk> aChunks;
    for (const Bytes& aBytes : GetParam().itsChunks)
    {
        aChunks.push_back({aBytes, 0, false});
    }
    const j2k::TileBody aBody(aChunks);
    j2k::BodyCursor aCursor(aBody);
    j2k::PacketBits aBits(aCursor);
    std::string aRead;
    for (std::size_t i = 0; i < GetParam().itsReads; ++i)
    {
        aRead += aBits.ReadBit() != 0 ? '1' : '0';
    }
    aBits.Finish();
    EXPECT_EQ(aRead, GetParam().itsExpected);
    EXPECT_EQ(aBits.HasOverrun(), GetParam().itsOverrun);
    EXPECT_EQ(aCursor.GetPosition(), GetParam().itsEnd);
}

INSTANTIATE_TEST_SUITE_P(
    All, PacketBitsTable,
    testing::Values(
        BitsCase{"MostSignificantFirst", {{0xA5, 0x80}}, 9, "101001011", false, 2},
        BitsCase{"RestOfTheByteIsDropped", {{0x80, 0x55}}, 1, "1", false, 1},
        BitsCase{"BitBehindFFIsStuffed", {{0xFF, 0x7F, 0x80}}, 16, "1111111111111111", false, 3},
        BitsCase{"StuffedBitIsIgnoredWhateverItIs", {{0xFF, 0xBF}}, 15, "111111110111111", false, 2},
        BitsCase{"FinalFFTakesAByteMore", {{0xFF, 0x00, 0x12}}, 8, "11111111", false, 2},
        BitsCase{"FinalFFWithoutThatByte", {{0xFF}}, 8, "11111111", true, 1},
        BitsCase{"ZeroesBehindTheEnd", {{0xFE}}, 12, "111111100000", true, 1},
        BitsCase{"NoBytesAtAll", {}, 2, "00", true, 0},
        BitsCase{"AcrossChunks", {{0xFF}, {}, {0x7F}, {0xC0, 0x00}}, 17, "11111111111111111", false, 3}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

// The example of ISO/IEC 15444-1 B.10.2: its bits for the first three leaves.
TEST(TagTreeTest, ReadsTheExampleOfTheStandard)
{
    const std::vector<j2k::BodyChunk> aChunks = {{{0b01111001, 0b10100000}, 0, false}};
    const j2k::TileBody aBody(aChunks);
    j2k::BodyCursor aCursor(aBody);
    j2k::PacketBits aBits(aCursor);
    std::vector<std::uint32_t> aNodes(j2k::TagTree::CountNodes(6, 3));
    j2k::TagTree aTree(6, 3, aNodes.data());
    for (const auto& [aColumn, aValue] : {std::pair(0U, 1U), std::pair(1U, 3U), std::pair(2U, 2U)})
    {
        EXPECT_TRUE(aTree.ReadIsBelow(aBits, aColumn, 0, 100));
        EXPECT_EQ(aTree.GetLeast(aColumn, 0), aValue);
    }
}

TEST(TagTreeTest, ReadsTreesOfAnyShapeInStepsAndAtOnce)
{
    std::mt19937 aRandom(7);
    for (int aRound = 0; aRound < Rounds(200); ++aRound)
    {
        const std::uint32_t aColumns = 1 + aRandom() % 19;
        const std::uint32_t aRows = 1 + aRandom() % 19;
        std::vector<unsigned int> aLeaves(aColumns * aRows);
        for (unsigned int& aLeaf : aLeaves)
        {
            aLeaf = aRandom() % (1 + aRandom() % 9);
        }
        const std::vector<unsigned int> aThresholds = {1, 2, 4, 10};
        TagTreeWriter aWriter(aColumns, aRows, aLeaves);
        PacketBitWriter aBitWriter;
        const auto aForEach = [&](const auto& theTask)
        {
            for (const unsigned int aThreshold : aThresholds)
            {
                for (std::uint32_t i = 0; i < aLeaves.size(); ++i)
                {
                    theTask(i % aColumns, i / aColumns, aThreshold, aLeaves[i]);
                }
            }
        };
        aForEach([&](std::uint32_t x, std::uint32_t y, unsigned int theThreshold, unsigned int)
                 { aWriter.Write(aBitWriter, x, y, theThreshold); });
        const std::vector<j2k::BodyChunk> aChunks = {{aBitWriter.Finish(), 0, false}};
        const j2k::TileBody aBody(aChunks);
        j2k::BodyCursor aCursor(aBody);
        j2k::PacketBits aBits(aCursor);
        std::vector<std::uint32_t> aNodes(j2k::TagTree::CountNodes(aColumns, aRows));
        j2k::TagTree aTree(aColumns, aRows, aNodes.data());
        aForEach([&](std::uint32_t x, std::uint32_t y, unsigned int theThreshold, unsigned int theLeaf)
                 { ASSERT_EQ(aTree.ReadIsBelow(aBits, x, y, theThreshold), theLeaf < theThreshold); });
        aBits.Finish();
        EXPECT_FALSE(aBits.HasOverrun());
        EXPECT_TRUE(aCursor.IsAtEnd());
    }
}

struct SegmentsCase
{
    const char* itsName;
    std::uint8_t itsStyle;
    std::vector<std::uint32_t> itsLengths; ///< passes of the first segments
};

class PassSegmentsTable : public testing::TestWithParam<SegmentsCase>
{
};

// ISO/IEC 15444-1 table D.9.
TEST_P(PassSegmentsTable, SplitsPassesAsTheStyleSays)
{
    const j2k::PassSegments aSegments(GetParam().itsStyle);
    std::uint32_t aPass = 0;
    for (const std::uint32_t aLength : GetParam().itsLengths)
    {
        for (std::uint32_t i = 0; i < aLength; ++i, ++aPass)
        {
            EXPECT_EQ(aSegments.IsStart(aPass), i == 0) << aPass;
            EXPECT_EQ(std::min(aSegments.GetPassesToEnd(aPass), 100 - aPass), aLength - i) << aPass;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, PassSegmentsTable,
                         testing::Values(SegmentsCase{"Plain", 0, {100}},
                                         SegmentsCase{"StylesThatDoNotSplit",
                                                      j2k::CBS_RESET | j2k::CBS_CAUSAL |
                                                          j2k::CBS_PREDICTABLE_TERMINATION |
                                                          j2k::CBS_SEGMENTATION_SYMBOLS,
                                                      {100}},
                                         SegmentsCase{"Bypass", j2k::CBS_BYPASS, {10, 2, 1, 2, 1, 2, 1}},
                                         SegmentsCase{"TerminateAll",
                                                      j2k::CBS_TERMINATE_ALL,
                                                      {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}},
                                         SegmentsCase{"BypassAndTerminateAll",
                                                      j2k::CBS_BYPASS | j2k::CBS_TERMINATE_ALL,
                                                      {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}}),
                         [](const auto& theInfo) { return std::string(theInfo.param.itsName); });
} // namespace
