// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBlockDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "support/ForEachTarget.h"
#include "support/Jpeg2000Streams.h"

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

/// The clean-up segment of a block of 64 x 64 samples that are all -1: codes of quads with four significant
/// samples that leave their magnitudes to the stream of ones behind an end, backwards from the last byte but
/// one.
Bytes EncodeMinusOnes()
{
    Bytes aBackwards;
    std::uint32_t aBits = 0;
    std::uint32_t aCount = 4; // half of the first byte is for the length
    const auto aPut = [&](std::uint32_t theCode, std::uint32_t theLength)
    {
        aBits |= theCode << aCount;
        aCount += theLength;
        while (aCount >= 8)
        {
            const bool isStuffed = (aBackwards.empty() || aBackwards.back() > 0x8F) && (aBits & 0x7F) == 0x7F;
            aBackwards.push_back(static_cast<std::uint8_t>(isStuffed ? 0x7F : aBits & 0xFF));
            aBits >>= isStuffed ? 7 : 8;
            aCount -= isStuffed ? 7 : 8;
        }
    };
    for (int i = 0; i < 32 * 32; ++i)
    {
        const bool isLeft = i % 32 == 0; // and no neighbour there
        i < 32 ? aPut(isLeft ? 91 : 21, 7) : aPut(isLeft ? 26 : 0, isLeft ? 5 : 3);
    }
    constexpr std::size_t kLength = 417; // with a byte of MEL, whose first bit is 0, and the length's own
    while (aBackwards.size() < kLength - 2)
    {
        aPut(0, 8);
    }
    aBackwards.front() = static_cast<std::uint8_t>(aBackwards.front() | (kLength & 15));
    Bytes aSegment{0};
    aSegment.insert(aSegment.end(), aBackwards.rbegin(), aBackwards.rend());
    aSegment.push_back(static_cast<std::uint8_t>(kLength / 16));
    return aSegment;
}

// MagRef takes a bit of every sample, far beyond the end of a segment of one byte.
TEST(HTBlockDecoderTest, EverySampleIsRefined)
{
    const Bytes aCleanup = EncodeMinusOnes();
    const Bytes aRefinement{0};
    const j2k::HTBlock aBlock{64, 64, aCleanup, aRefinement, 3, 1, 4};
    j2k::HTBlockDecoder aDecoder;
    EXPECT_EQ(aDecoder.Decode(aBlock), j2k::HTFinding::None);
    EXPECT_EQ(StoreDoubled(aDecoder, aBlock), std::vector<float>(4096, -5));
}

// Nothing is read or written outside, whatever the bytes are, and a block that cannot be decoded is zero.
TEST(HTBlockDecoderTest, AnyBytes)
{
    std::mt19937 anEngine(1);
    const auto aRandom = [&](std::uint32_t theCount)
    { return static_cast<std::uint32_t>(anEngine() % theCount); };
    for (int i = 0; i < 3000; ++i)
    {
        j2k::HTBlockDecoder aDecoder; // a new one: scratch memory of another block would hide a fault
        const std::uint32_t aWidth = 1 + aRandom(i % 2 == 0 ? 64 : 1024);
        const std::uint32_t aHeight = 1 + aRandom(std::min(4096 / aWidth, 1024U));
        const std::uint32_t aBits = 1 + aRandom(29);
        const std::uint32_t aPlane = aRandom(31 - aBits);
        Bytes aCleanup(aRandom(200));
        Bytes aRefinement(aRandom(30));
        const auto aFill = [&] { return static_cast<std::uint8_t>(aRandom(3) == 0 ? 0xFF : aRandom(256)); };
        std::generate(aCleanup.begin(), aCleanup.end(), aFill);
        std::generate(aRefinement.begin(), aRefinement.end(), aFill);
        if (aCleanup.size() > 1)
        {
            aCleanup.back() = static_cast<std::uint8_t>(aCleanup.size() / 32);
        }
        const j2k::HTBlock aBlock{aWidth,         aHeight, aCleanup, aRefinement,
                                  1 + aRandom(3), aPlane,  aBits,    aRandom(2) == 0};
        const j2k::HTFinding aFinding = aDecoder.Decode(aBlock);
        const std::vector<float> aSamples = StoreDoubled(aDecoder, aBlock);
        const bool isZero =
            std::all_of(aSamples.begin(), aSamples.end(), [](float theSample) { return theSample == 0; });
        EXPECT_TRUE(isZero || aFinding == j2k::HTFinding::None || aFinding == j2k::HTFinding::BadRefinement);
    }
}

} // namespace
