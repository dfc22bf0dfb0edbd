// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBlockDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "support/ForEachTarget.h"
#include "support/HTEncoder.h"
#include "support/Jpeg2000Streams.h"
#include "support/LongRun.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// Twice the samples: a step of two makes the half step below plane 0 an integer.
std::vector<float> StoreDoubled(const j2k::HTBlockDecoder& theDecoder, const j2k::HTBlock& theBlock)
{
    std::vector<float> aSamples(std::size_t{theBlock.itsWidth} * theBlock.itsHeight);
    theDecoder.Store(aSamples.data(), theBlock.itsWidth, {}, 2);
    return aSamples;
}

// Blocks of conformance streams.
TEST(HTBlockDecoderTest, KnownBlocks)
{
    const Bytes aSquare = Jpeg2000Streams::FromHex(
        "45d015741781a0bb7ba081061aa8db1508946e04e84680f20004c0057f79d7e803f00427de00");
    const Bytes aSquareRefined = Jpeg2000Streams::FromHex("a69401037fcc7f");
    const Bytes aStrip = Jpeg2000Streams::FromHex("441bf9a48144d88044f829d762c9bf9700");
    const Bytes aStripRefined = Jpeg2000Streams::FromHex("78f8");
    const struct
    {
        j2k::HTBlock itsBlock;
        std::vector<float> itsDoubled;
    } kBlocks[] = {
        {{6, 6, aSquare, aSquareRefined, 3, 1, 11},
         {0,  3,    11,    11,    3,    0,  3, -79, -447, -447, -79, 3, 11, -447, -2569, -2569, -447, 11,
          11, -447, -2569, -2569, -447, 11, 3, -79, -447, -447, -79, 3, 0,  3,    11,    11,    3,    0}},
        {{3, 5, aStrip, aStripRefined, 3, 1, 13},
         {13, -39, 13, -93, 259, -93, 69, -199, 69, 15, -31, 15, -7, 15, -7}},
        {{3, 5, aStrip, aStripRefined, 2, 1, 13},
         {14, -38, 14, -94, 258, -94, 70, -198, 70, 14, -30, 14, -6, 14, -6}},
    };
    ForEachTarget(
        [&]
        {
            j2k::HTBlockDecoder aDecoder;
            for (const auto& aKnown : kBlocks)
            {
                EXPECT_EQ(aDecoder.Decode(aKnown.itsBlock), j2k::HTFinding::None);
                EXPECT_EQ(StoreDoubled(aDecoder, aKnown.itsBlock), aKnown.itsDoubled);
            }
        });
}

class HTBlockDecoderRandomTest : public testing::Test
{
protected:
    std::uint32_t Draw(std::uint32_t theCount) { return static_cast<std::uint32_t>(itsEngine() % theCount); }

    /// Magnitudes below two to the power of theBits, in runs that are more or less large and more or less
    /// zero.
    std::vector<std::int32_t> DrawSamples(std::size_t theCount, std::uint32_t theBits)
    {
        std::vector<std::int32_t> aSamples(theCount);
        std::uint32_t aBits = theBits;
        std::uint32_t aZeros = 0; // of eight
        for (std::int32_t& aSample : aSamples)
        {
            if (Draw(61) == 0)
            {
                aBits = Draw(theBits + 1);
                aZeros = Draw(9);
            }
            const auto aMagnitude = static_cast<std::int32_t>(Draw(1U << aBits));
            aSample = Draw(8) < aZeros ? 0 : Draw(2) == 0 ? aMagnitude : -aMagnitude;
        }
        return aSamples;
    }

    void Damage(Bytes& theSegment)
    {
        switch (Draw(3))
        {
        case 0:
            theSegment[Draw(static_cast<std::uint32_t>(theSegment.size()))] ^=
                static_cast<std::uint8_t>(1 + Draw(255));
            break;
        case 1:
            theSegment.resize(Draw(static_cast<std::uint32_t>(theSegment.size())));
            break;
        default:
            theSegment.resize(2 + Draw(200));
            std::generate(theSegment.begin(), theSegment.end(),
                          [&] { return static_cast<std::uint8_t>(Draw(3) == 0 ? 0xFF : Draw(256)); });
            theSegment.back() = static_cast<std::uint8_t>(theSegment.size() / 32);
        }
        theSegment.shrink_to_fit(); // for the sanitizers
    }

    std::mt19937 itsEngine{2};
};

// What was encoded comes out, whatever instruction set is used.
TEST_F(HTBlockDecoderRandomTest, Encoded)
{
    j2k::HTBlockDecoder aDecoder;
    for (int i = 0; i < Rounds(150); ++i)
    {
        const std::uint32_t aWidth = 1 + Draw(i % 5 == 0 ? 1024 : 80);
        const std::uint32_t aHeight = 1 + Draw(std::min(4096 / aWidth, 80U));
        const std::uint32_t aBits = 1 + Draw(i % 2 == 0 ? 16 : 29);
        const std::vector<std::int32_t> aSamples = DrawSamples(std::size_t{aWidth} * aHeight, aBits);
        const Bytes aSegment = HTEncoder(aWidth, aSamples, [&](std::uint32_t n) { return Draw(n); }).Encode();
        const j2k::HTBlock aBlock{aWidth, aHeight, aSegment, {}, 1, Draw(2), aBits};
        std::vector<std::int32_t> anExpected(aSamples.size());
        std::vector<float> aDoubled(aSamples.size());
        for (std::size_t n = 0; n < aSamples.size(); ++n)
        {
            const std::int64_t aMagnitude = (2 * std::abs(std::int64_t{aSamples[n]}) + (aSamples[n] != 0))
                                            << aBlock.itsPlane;
            anExpected[n] = static_cast<std::int32_t>(aSamples[n] < 0 ? -(aMagnitude / 2) : aMagnitude / 2);
            aDoubled[n] = static_cast<float>(aSamples[n] < 0 ? -aMagnitude : aMagnitude);
        }
        ForEachTarget(
            [&]
            {
                ASSERT_EQ(aDecoder.Decode(aBlock), j2k::HTFinding::None);
                ASSERT_EQ(StoreDoubled(aDecoder, aBlock), aDoubled);
                std::vector<std::int32_t> aStored(aSamples.size());
                aDecoder.Store(aStored.data(), aWidth, {});
                ASSERT_EQ(aStored, anExpected);
                std::vector<std::int16_t> aShort(aSamples.size());
                aDecoder.Store(aShort.data(), aWidth, {});
                ASSERT_TRUE(std::equal(aShort.begin(), aShort.end(), anExpected.begin(),
                                       [](std::int32_t a, std::int32_t b)
                                       { return a == std::clamp(b, -32768, 32767); }));
            });
    }
}

// Nothing is read or written outside whatever the bytes are, all instruction sets make the same of them, and
// a block that cannot be decoded is zero.
TEST_F(HTBlockDecoderRandomTest, Damaged)
{
    for (int i = 0; i < Rounds(500); ++i)
    {
        const std::uint32_t aWidth = 1 + Draw(i % 5 == 0 ? 1024 : 40);
        const std::uint32_t aHeight = 1 + Draw(std::min(4096 / aWidth, 40U));
        const std::uint32_t aBits = 1 + Draw(i % 2 == 0 ? 16 : 28);
        Bytes aSegment = HTEncoder(aWidth, DrawSamples(std::size_t{aWidth} * aHeight, aBits),
                                   [&](std::uint32_t n) { return Draw(n); })
                             .Encode();
        Damage(aSegment);
        Bytes aRefinement(Draw(30));
        std::generate(aRefinement.begin(), aRefinement.end(),
                      [&] { return static_cast<std::uint8_t>(Draw(256)); });
        const j2k::HTBlock aBlock{aWidth,      aHeight,          aSegment, aRefinement,
                                  1 + Draw(3), Draw(31 - aBits), aBits,    Draw(2) == 0};
        const auto aDecode = [&]
        {
            j2k::HTBlockDecoder aDecoder; // a new one: scratch memory of another block would hide a fault
            const j2k::HTFinding aFinding = aDecoder.Decode(aBlock);
            return std::pair(aFinding, StoreDoubled(aDecoder, aBlock));
        };
        const auto anExpected = aDecode();
        const auto& [aFinding, aSamples] = anExpected;
        EXPECT_TRUE(aFinding == j2k::HTFinding::None || aFinding == j2k::HTFinding::BadRefinement ||
                    aSamples == std::vector<float>(aSamples.size()));
        ForEachTarget([&] { EXPECT_EQ(aDecode(), anExpected); });
    }
}

} // namespace
