// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/ShortLines.h"

#include <gtest/gtest.h>

#include "support/LongRun.h"
#include "support/PlainWavelet.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace
{
/// The 5/3 synthesis of one line of integers that begins at an even place.
std::vector<long> Lift(const std::vector<long>& theLow, const std::vector<long>& theHigh)
{
    const std::size_t aPairs = theLow.size();
    std::vector<long> aLine(2 * aPairs);
    for (std::size_t i = 0; i < aPairs; ++i)
    {
        aLine[2 * i] = theLow[i] - ((theHigh[i == 0 ? 0 : i - 1] + theHigh[i] + 2) >> 2);
    }
    for (std::size_t i = 0; i < aPairs; ++i)
    {
        aLine[2 * i + 1] = theHigh[i] + ((aLine[2 * i] + aLine[i + 1 < aPairs ? 2 * i + 2 : 2 * i]) >> 1);
    }
    return aLine;
}

// Every choice of extreme signs over a line long enough for the filters' reach.
TEST(ShortLinesTest, BoundsEveryLineOfExtremeCoefficients)
{
    std::mt19937 aRandom(3);
    constexpr std::size_t aPairs = 5;
    for (int aRound = 0; aRound < Rounds(12); ++aRound)
    {
        const long aLow = static_cast<long>(aRandom() % (aRound % 2 == 0 ? 9 : 20000));
        const long aHigh = static_cast<long>(aRandom() % (aRound % 3 == 0 ? 5 : 20000));
        long aLargest = 0;
        for (unsigned int aSigns = 0; aSigns < 1U << (2 * aPairs); ++aSigns)
        {
            std::vector<long> aLows(aPairs);
            std::vector<long> aHighs(aPairs);
            for (std::size_t i = 0; i < aPairs; ++i)
            {
                aLows[i] = (aSigns >> i & 1U) != 0 ? aLow : -aLow;
                aHighs[i] = (aSigns >> (aPairs + i) & 1U) != 0 ? aHigh : -aHigh;
            }
            for (const long aSample : Lift(aLows, aHighs))
            {
                aLargest = std::max(aLargest, std::abs(aSample));
            }
        }
        j2k::ShortLines aProof;
        const long aBound = static_cast<long>(
            aProof.Lift(static_cast<std::uint64_t>(aLow), static_cast<std::uint64_t>(aHigh)));
        EXPECT_LE(aLargest, aBound) << aLow << ' ' << aHigh;
        // A bound that is far off proves nothing for the images it is made for.
        EXPECT_LE(aBound, aLargest + 3) << aLow << ' ' << aHigh;
        EXPECT_TRUE(!aProof.Fits() || aLargest <= 32767) << aLow << ' ' << aHigh;
        EXPECT_TRUE(aProof.Fits() || aLargest > 32767 - 8) << aLow << ' ' << aHigh;
    }
}

// Two dimensions and three levels, in climbing directions: signs are flipped wherever that makes one sample
// larger.
TEST(ShortLinesTest, BoundsPlanesThatClimb)
{
    std::mt19937 aRandom(4);
    for (int aRound = 0; aRound < Rounds(6); ++aRound)
    {
        std::uint64_t aBound = (1U << (aRandom() % 10)) - 1U;
        PlainPlane aPlane{0, 0, 2, 2, std::vector<double>(4, double(aBound))};
        j2k::ShortLines aProof;
        for (int aLevel = 0; aLevel < 3; ++aLevel)
        {
            PlainPlane aNext{0, 0, aPlane.itsWidth * 2, aPlane.itsHeight * 2, {}};
            aNext.itsSamples.resize(static_cast<std::size_t>(aNext.itsWidth * aNext.itsHeight));
            std::array<PlainPlane, 4> aBands = PlainBands(aNext);
            aBands[0] = aPlane;
            std::array<std::uint64_t, 4> aBounds = {aBound, 0, 0, 0};
            for (std::size_t b = 1; b < 4; ++b)
            {
                aBounds[b] = (1U << (aRandom() % 9)) - 1U;
                std::fill(aBands[b].itsSamples.begin(), aBands[b].itsSamples.end(), double(aBounds[b]));
            }
            const std::size_t aTarget = aRandom() % aNext.itsSamples.size();
            const auto aMeasure = [&]()
            {
                PlainSynthesize(aNext, aBands, true);
                return aNext.itsSamples[aTarget];
            };
            double aBest = aMeasure();
            for (std::size_t b = 1; b < 4; ++b)
            {
                for (double& aSample : aBands[b].itsSamples)
                {
                    aSample = -aSample;
                    const double aNow = aMeasure();
                    aSample = aNow > aBest ? aSample : -aSample;
                    aBest = std::max(aBest, aNow);
                }
            }
            aMeasure();
            aBound = aProof.Lift(aProof.Lift(aBounds[0], aBounds[1]), aProof.Lift(aBounds[2], aBounds[3]));
            for (const double aSample : aNext.itsSamples)
            {
                ASSERT_LE(std::abs(aSample), double(aBound));
            }
            aPlane = aNext;
        }
    }
}

TEST(ShortLinesTest, BoundsTheComponentTransform)
{
    for (const long aY : {0L, 255L, 20000L, 32760L})
    {
        for (const long aU : {0L, 1L, 511L, 9000L, 16383L})
        {
            for (const long aV : {0L, 2L, 3L, 511L, 9000L, 16384L})
            {
                j2k::ShortLines aProof;
                aProof.Transform({static_cast<std::uint64_t>(aY), static_cast<std::uint64_t>(aU),
                                  static_cast<std::uint64_t>(aV)});
                long aLargest = 0;
                for (unsigned int aSigns = 0; aSigns < 8; ++aSigns)
                {
                    const long y = (aSigns & 1U) != 0 ? aY : -aY;
                    const long u = (aSigns & 2U) != 0 ? aU : -aU;
                    const long v = (aSigns & 4U) != 0 ? aV : -aV;
                    const long aGreen = y - ((u + v) >> 2);
                    for (const long aValue : {aGreen, v + aGreen, u + aGreen})
                    {
                        aLargest = std::max(aLargest, std::abs(aValue));
                    }
                }
                EXPECT_TRUE(!aProof.Fits() || aLargest <= 32767) << aY << ' ' << aU << ' ' << aV;
                EXPECT_TRUE(aProof.Fits() || aLargest > 32767 - 4) << aY << ' ' << aU << ' ' << aV;
            }
        }
    }
}
} // namespace
