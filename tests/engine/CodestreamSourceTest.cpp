// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodestreamReader.h"

#include "support/CodestreamBuilder.h"
#include "support/CodestreamReading.h"
#include "support/EngineReports.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

namespace
{

using namespace j2k;
using Builder = CodestreamBuilder;
using Bytes = Builder::Bytes;
using Reading = CodestreamReading;

constexpr std::size_t kTiles = 2;

/// A body without markers that has FF at every place.
Bytes MakeBody(std::size_t theSize)
{
    Bytes aBody(theSize);
    for (std::size_t anIndex = 0; anIndex < theSize; ++anIndex)
    {
        aBody[anIndex] = anIndex % 5 == 0 ? 0xFF : static_cast<std::uint8_t>(anIndex % 0x90);
    }
    return aBody;
}

Builder MakeMainHeader()
{
    Builder aBuilder = Builder::Begin({.itsTileWidth = 8});
    return aBuilder.Segment(0xFF64, {0, 1, 'a', 'b'}).Marker(0xFF3F).Coc(0, {}).Poc({{}}).Rgn(0, 2);
}

/// Two tiles and something of everything; the last tile-part with or without its length.
Builder MakeStream(std::size_t theBodyBytes, bool theLastHasLength)
{
    Builder aBuilder = MakeMainHeader();
    aBuilder.Add(
        {.itsParts = 2, .itsHeader = Builder().Segment(0xFF58, {0, 1}).GetBytes(), .itsBody = {1, 2}});
    aBuilder.Add({.itsTile = 1, .itsHeader = Builder().Cod({}).Qcc(0, {}).GetBytes(), .itsBody = {3}});
    aBuilder.Add({.itsPart = 1,
                  .itsParts = 2,
                  .itsBody = MakeBody(theBodyBytes),
                  .itsLength = theLastHasLength ? std::nullopt : std::optional<std::uint32_t>(0)});
    return aBuilder.Eoc();
}

class CodestreamSource : public testing::TestWithParam<bool>
{
};

/// A file may have more boxes, a frame may have a neighbour: neither may be touched, however bytes come.
TEST_P(CodestreamSource, ReadsToTheEndAndNotFurther)
{
    const EngineReports someReports;
    for (const std::size_t aBodyBytes : {0U, 1U, 2U, 5U, 6U, 7U, 3000U})
    {
        const Builder aStream = MakeStream(aBodyBytes, GetParam());
        for (const int aLargestRead : {1, 2, 3, 1000, std::numeric_limits<int>::max()})
        {
            Bytes aBytes = aStream.GetBytes();
            aBytes.insert(aBytes.end(), 100, 0xFF);
            Reading aReading(aBytes, aLargestRead);
            aReading.itsReports.SetTolerance(Tolerance::Fussy);
            Bytes anExpected = {1, 2};
            const Bytes aLast = MakeBody(aBodyBytes);
            anExpected.insert(anExpected.end(), aLast.begin(), aLast.end());
            EXPECT_EQ(Reading::Join(*aReading.itsReader.TakeTile(0)), anExpected) << aBodyBytes;
            EXPECT_EQ(Reading::Join(*aReading.itsReader.TakeTile(1)), Bytes{3});
            EXPECT_EQ(aReading.itsSource.GetPosition(), aStream.GetSize())
                << aBodyBytes << ' ' << aLargestRead;
        }
    }
}

/// Every byte may be the last: an error without a tile-part, otherwise what is there.
TEST_P(CodestreamSource, MayEndAnywhere)
{
    const EngineReports someReports;
    const Bytes aBytes = MakeStream(20, GetParam()).GetBytes();
    const std::size_t anEnoughBytes = MakeMainHeader().GetSize() + 12;
    for (std::size_t aSize = 0; aSize < aBytes.size(); ++aSize)
    {
        try
        {
            Reading aReading(Bytes(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aSize)), 7);
            const bool anIsCut = aReading.itsReader.TakeTile(0)->itsTruncated;
            const bool anIsCutToo = aReading.itsReader.TakeTile(1)->itsTruncated;
            EXPECT_TRUE(anIsCut || anIsCutToo || aSize + 2 >= aBytes.size()) << aSize;
            EXPECT_GE(aSize, anEnoughBytes);
        }
        catch (const EngineReport& aReport)
        {
            EXPECT_FALSE(aReport.itsIsWarning) << aReport.itsText;
            EXPECT_LT(aSize, anEnoughBytes) << aReport.itsText;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutLength, CodestreamSource, testing::Bool());

/// Sources may be slow to ask: Java streams, for one.
TEST(CodestreamSourceReads, AreFew)
{
    Reading aReading(Builder::Begin().Add({.itsBody = Bytes(3 << 20)}).Eoc().GetBytes());
    EXPECT_LE(aReading.itsSource.GetReads(), 10);
    const auto aTile = aReading.itsReader.TakeTile(0);
    EXPECT_EQ(aTile->itsBodyBytes, std::size_t(3) << 20);
    EXPECT_LE(aReading.itsSource.GetReads(), 20);
}

TEST(CodestreamSourceReads, TakeNoMemoryForWhatDoesNotArrive)
{
    Reading aReading(Builder::Begin().Add({.itsBody = {1, 2, 3}, .itsLength = 0xFFFFFFF0}).GetBytes());
    const auto aTile = aReading.itsReader.TakeTile(0);
    ASSERT_EQ(aTile->itsBody.size(), 1U);
    EXPECT_LE(aTile->itsBody[0].itsBytes.capacity(), 64U);
    EXPECT_TRUE(aTile->itsTruncated);
}

/// Pieces know their places, for reports and because packets do not cross tile-parts.
TEST(CodestreamSourceReads, PiecesKnowWhereTheyBegin)
{
    const Bytes aBytes = MakeStream(1 << 17, true).GetBytes();
    Reading aReading(aBytes);
    const auto aTile = aReading.itsReader.TakeTile(0);
    ASSERT_EQ(aTile->itsBody.size(), 3U);
    for (const BodyChunk& aChunk : aTile->itsBody)
    {
        EXPECT_TRUE(std::equal(aChunk.itsBytes.begin(), aChunk.itsBytes.end(),
                               aBytes.begin() + static_cast<std::ptrdiff_t>(aChunk.itsOffset)));
    }
    EXPECT_TRUE(aTile->itsBody[0].itsStartsTilePart);
    EXPECT_TRUE(aTile->itsBody[1].itsStartsTilePart);
    EXPECT_FALSE(aTile->itsBody[2].itsStartsTilePart);
}

TEST(CodestreamSourceFailures, ANegativeAnswerIsAnErrorInEveryPlace)
{
    const EngineReports someReports;
    const Bytes aBytes = MakeStream(9, true).GetBytes();
    for (std::size_t aSize = 0; aSize < aBytes.size(); ++aSize)
    {
        ByteSource aSource(Bytes(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aSize)));
        aSource.AtEnd([] { return -3; });
        Reports aReports;
        CodestreamReader aReader(aSource, aReports);
        try
        {
            aReader.ReadMainHeader();
            aReader.ReadAll();
            ADD_FAILURE() << aSize;
        }
        catch (const EngineReport& aReport)
        {
            EXPECT_EQ(aReport.itsText, "The source answered a read with -3 (at byte " +
                                           std::to_string(aSize) + " of the codestream)");
        }
    }
}

TEST(CodestreamSourceFailures, ExceptionsPass)
{
    const Bytes aBytes = MakeStream(9, false).GetBytes();
    for (std::size_t aSize = 0; aSize < aBytes.size(); ++aSize)
    {
        ByteSource aSource(Bytes(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aSize)));
        aSource.AtEnd([]() -> int { throw std::out_of_range("source"); });
        Reports aReports;
        CodestreamReader aReader(aSource, aReports);
        EXPECT_THROW(aReader.ReadMainHeader(); aReader.ReadAll(), std::out_of_range) << aSize;
    }
}

/// Lengths that lead behind every later tile-part: going back each time would take minutes here.
TEST(CodestreamSourceFailures, ManyWrongLengthsTakeLinearTime)
{
    constexpr int kParts = 60000;
    Builder aBuilder = Builder::Begin();
    for (int aPart = 0; aPart < kParts; ++aPart)
    {
        aBuilder.Add({.itsPart = aPart & 0xFF, .itsParts = 0, .itsBody = {7}, .itsLength = 0x7FFFFFFF});
    }
    const auto aStart = std::chrono::steady_clock::now();
    Reading aReading(aBuilder.Eoc().GetBytes());
    EXPECT_EQ(aReading.itsReader.TakeTile(0)->itsBodyBytes, std::size_t(kParts));
    EXPECT_LT(std::chrono::steady_clock::now() - aStart, std::chrono::seconds(10));
}

TEST(CodestreamSourceFailures, ATileIsTakenOnce)
{
    const EngineReports someReports;
    Reading aReading(MakeStream(3, true).GetBytes());
    aReading.itsReader.TakeTile(1);
    EXPECT_THROW(aReading.itsReader.TakeTile(1), EngineReport);
    EXPECT_EQ(aReading.itsReader.TakeTile(0)->itsBodyBytes, 5U);
}

/// Seeded damage: a report or data not larger than what arrived, nothing else.
TEST(CodestreamDamage, NeverMoreThanAReport)
{
    const EngineReports someReports;
    Builder aBuilder = Builder::Begin(
        {.itsTileWidth = 8, .itsComponents = std::vector<Builder::Component>(3)}, {.itsTransform = 1});
    aBuilder.Segment(0xFF60, {0, 0, 0, 0, 1, 5, 0, 0, 0, 2, 6, 7}).Qcc(1, {}).Coc(2, {}).Poc({{}, {}});
    aBuilder.Raw(MakeStream(40, false).GetBytes());
    const Bytes aFirst = aBuilder.GetBytes();
    const Bytes aSecond = MakeStream(60, true).GetBytes();
    std::mt19937 aRandom(20240517);
    int aReported = 0;
    constexpr int kRounds = 20000;
    for (int aRound = 0; aRound < kRounds; ++aRound)
    {
        Bytes aBytes = aRound % 2 == 0 ? aFirst : aSecond;
        for (unsigned int aCount = aRandom() % 4 + 1; aCount > 0; --aCount)
        {
            aBytes[aRandom() % aBytes.size()] ^= static_cast<std::uint8_t>(1U << aRandom() % 8);
        }
        try
        {
            Reading aReading(aBytes, aRound % 3 == 0 ? 5 : 4096);
            aReading.itsReports.SetTolerance(aRound % 5 == 0 ? Tolerance::Fussy : Tolerance::Fast);
            aReading.itsReader.ReadAll();
            EXPECT_LE(aReading.itsReader.GetFewestLevels(), kMaxLevels);
            for (std::uint32_t aTile = 0; aTile < kTiles; ++aTile)
            {
                const auto aData = aReading.itsReader.TakeTile(
                    std::min(aTile, aReading.itsReader.GetImageSize().GetTileCount() - 1));
                EXPECT_LE(aData->itsBodyBytes + aData->itsPackedHeaders.size(), aBytes.size());
            }
        }
        catch (const EngineReport&)
        {
            ++aReported;
        }
    }
    EXPECT_GT(aReported, kRounds / 10);
    EXPECT_LT(aReported, kRounds);
}

} // namespace
