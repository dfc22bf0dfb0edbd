// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/Synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "support/ForEachTarget.h"
#include "support/LongRun.h"
#include "support/PlainWavelet.h"

// Line by line, the transform must give what the standard's formulas give on the whole plane: for every small
// size at odd and even places, where ends, mirrors, single samples and empty bands are, on every instruction
// set that this machine can run.

namespace
{
/// One plane's coefficients: the bands of every level from the highest downwards. The LL band of the last is
/// the lowest; those of the others are left to the synthesis.
using Levels = std::vector<std::array<PlainPlane, 4>>;

template <class Sample>
class PlaneSource final : public j2k::LineSource<Sample>
{
public:
    PlaneSource(const PlainPlane& thePlane, double theScale)
        : itsWidth(static_cast<std::size_t>(thePlane.itsWidth))
    {
        for (const double aSample : thePlane.itsSamples)
        {
            itsSamples.push_back(static_cast<Sample>(aSample * theScale));
        }
    }

    const Sample* Pull() override
    {
        // A copy that ends where the line ends: nothing may be read behind it.
        const auto aBegin = itsSamples.begin() + static_cast<std::ptrdiff_t>(itsWidth * itsNext++);
        itsLine = std::make_unique<Sample[]>(itsWidth);
        std::copy_n(aBegin, itsWidth, itsLine.get());
        return itsLine.get();
    }

private:
    std::size_t itsWidth;
    std::size_t itsNext = 0;
    std::vector<Sample> itsSamples;
    std::unique_ptr<Sample[]> itsLine;
};

PlainPlane MakePlane(std::int64_t theX0, std::int64_t theY0, std::int64_t theWidth, std::int64_t theHeight)
{
    return {theX0, theY0, theWidth, theHeight,
            std::vector<double>(static_cast<std::size_t>(theWidth * theHeight))};
}

j2k::Rect ToRect(const PlainPlane& thePlane)
{
    const auto narrow = [](std::int64_t theValue) { return static_cast<std::uint32_t>(theValue); };
    return {narrow(thePlane.itsX0), narrow(thePlane.itsY0), narrow(thePlane.itsX0 + thePlane.itsWidth),
            narrow(thePlane.itsY0 + thePlane.itsHeight)};
}

/// Random coefficients, or those that theMake makes.
template <class Make>
Levels MakeLevels(const PlainPlane& thePlane, int theLevels, const Make& theMake)
{
    Levels aLevels;
    PlainPlane aPlane = thePlane;
    for (int l = 0; l < theLevels; ++l)
    {
        aLevels.push_back(PlainBands(aPlane));
        aPlane = aLevels.back()[0];
        for (PlainPlane& aBand : aLevels.back())
        {
            std::generate(aBand.itsSamples.begin(), aBand.itsSamples.end(), theMake);
        }
    }
    return aLevels;
}

PlainPlane SynthesizePlainly(PlainPlane thePlane, const Levels& theLevels, bool theReversible)
{
    PlainPlane aResult = theLevels.back()[0];
    for (std::size_t l = theLevels.size(); l-- > 0;)
    {
        std::array<PlainPlane, 4> aBands = theLevels[l];
        aBands[0] = aResult;
        aResult = l == 0 ? thePlane : theLevels[l - 1][0];
        PlainSynthesize(aResult, aBands, theReversible);
    }
    return aResult;
}

template <class Sample>
std::vector<Sample> SynthesizeByLines(const PlainPlane& thePlane, const Levels& theLevels)
{
    kdu_sample_allocator anAllocator;
    std::unique_ptr<j2k::LineSource<Sample>> aSource;
    // Coefficients of 9/7 carry the scales of all levels above.
    std::vector<double> aScales = {1.0};
    std::vector<j2k::Rect> aRects = {ToRect(thePlane)};
    for (std::size_t l = 0; l < theLevels.size(); ++l)
    {
        const j2k::Rect& aRect = aRects.back();
        const j2k::AxisScale anAcross(aRect.itsX0, aRect.itsX1), aDown(aRect.itsY0, aRect.itsY1);
        aScales.push_back(aScales.back() * anAcross.itsLow * aDown.itsLow);
        aRects.push_back(ToRect(theLevels[l][0]));
    }
    const auto scale = [&](double theScale) { return std::is_floating_point_v<Sample> ? theScale : 1.0; };
    aSource = std::make_unique<PlaneSource<Sample>>(theLevels.back()[0], scale(aScales.back()));
    for (std::size_t l = theLevels.size(); l-- > 0;)
    {
        if (aRects[l].IsEmpty())
        {
            continue;
        }
        const j2k::AxisScale anAcross(aRects[l].itsX0, aRects[l].itsX1),
            aDown(aRects[l].itsY0, aRects[l].itsY1);
        const auto make = [&](std::size_t theBand, float theAcross, float theDown)
        {
            return std::make_unique<PlaneSource<Sample>>(theLevels[l][theBand],
                                                         scale(aScales[l] * theAcross * theDown));
        };
        j2k::SynthesisInputs<Sample> anInputs = {std::move(aSource), make(1, anAcross.itsHigh, aDown.itsLow),
                                                 make(2, anAcross.itsLow, aDown.itsHigh),
                                                 make(3, anAcross.itsHigh, aDown.itsHigh)};
        aSource = std::make_unique<j2k::Synthesis<Sample>>(aRects[l], std::move(anInputs), anAllocator);
    }
    anAllocator.finalize();
    std::vector<Sample> aResult;
    for (std::int64_t y = 0; y < thePlane.itsHeight; ++y)
    {
        const Sample* const aLine = aSource->Pull();
        aResult.insert(aResult.end(), aLine, aLine + thePlane.itsWidth);
    }
    return aResult;
}

std::string Describe(const PlainPlane& thePlane, std::size_t theLevels)
{
    return std::to_string(thePlane.itsWidth) + "x" + std::to_string(thePlane.itsHeight) + " at " +
           std::to_string(thePlane.itsX0) + "," + std::to_string(thePlane.itsY0) + ", levels " +
           std::to_string(theLevels);
}

template <class Sample>
void ExpectSame(const PlainPlane& thePlane, const Levels& theLevels)
{
    const PlainPlane anExpected = SynthesizePlainly(thePlane, theLevels, !std::is_floating_point_v<Sample>);
    const std::vector<Sample> aResult = SynthesizeByLines<Sample>(thePlane, theLevels);
    ASSERT_EQ(aResult.size(), anExpected.itsSamples.size());
    for (std::size_t i = 0; i < aResult.size(); ++i)
    {
        const double aTolerance = std::is_floating_point_v<Sample> ? 0.01 : 0.0;
        ASSERT_NEAR(static_cast<double>(aResult[i]), anExpected.itsSamples[i], aTolerance)
            << Describe(thePlane, theLevels.size()) << ", sample " << i;
    }
}

/// Every size up to theLargest on both axes, at a place and with levels drawn by lot.
template <class Sample>
void ExpectSameForAllSizes(std::int64_t theLargest, int theRounds)
{
    std::mt19937 aGenerator(4711);
    const auto draw = [&aGenerator](int theEnd)
    { return static_cast<int>(aGenerator() % static_cast<unsigned>(theEnd)); };
    for (std::int64_t aCase = 0; aCase < theLargest * theLargest * theRounds; ++aCase)
    {
        const PlainPlane aPlane =
            MakePlane(draw(4), draw(4), 1 + aCase % theLargest, 1 + aCase / theLargest % theLargest);
        const int aLevels = 1 + draw(6);
        ExpectSame<Sample>(aPlane, MakeLevels(aPlane, aLevels, [&draw] { return draw(401) - 200; }));
        if (::testing::Test::HasFatalFailure())
        {
            return;
        }
    }
}

TEST(SynthesisTest, SmallPlanesAreTheStandardsInAllRepresentations)
{
    ForEachTarget(
        []
        {
            ExpectSameForAllSizes<std::int16_t>(40, Rounds(1));
            ExpectSameForAllSizes<std::int32_t>(40, Rounds(1));
            ExpectSameForAllSizes<float>(40, Rounds(1));
        });
}

TEST(SynthesisTest, WidthsAroundWholeVectorsAreTheStandards)
{
    ForEachTarget(
        []
        {
            for (const std::int64_t aWidth : {63, 64, 65, 66, 67, 95, 96, 97, 127, 128, 129, 130, 257, 1001})
            {
                for (const std::int64_t anX0 : {0, 1})
                {
                    const PlainPlane aPlane = MakePlane(anX0, 1, aWidth, 5);
                    std::mt19937 aGenerator(7);
                    const Levels aLevels =
                        MakeLevels(aPlane, 2, [&] { return static_cast<int>(aGenerator() % 401u) - 200; });
                    ExpectSame<std::int16_t>(aPlane, aLevels);
                    ExpectSame<std::int32_t>(aPlane, aLevels);
                    ExpectSame<float>(aPlane, aLevels);
                }
            }
        });
}

TEST(SynthesisTest, ThirtyTwoLevelsOverASmallPlane)
{
    const PlainPlane aPlane = MakePlane(5, 3, 9, 11);
    std::mt19937 aGenerator(3);
    const Levels aLevels = MakeLevels(aPlane, 32, [&] { return static_cast<int>(aGenerator() % 21u) - 10; });
    ExpectSame<std::int32_t>(aPlane, aLevels);
    ExpectSame<float>(aPlane, aLevels);
}

/// A plane that swings so far that sums of neighbours do not fit the type, while all coefficients do.
template <class Sample>
void ExpectExactAtFullSwing()
{
    const double aSwing = 0.9 * static_cast<double>(std::numeric_limits<Sample>::max());
    PlainPlane aPlane = MakePlane(1, 0, 150, 140);
    std::mt19937 aGenerator(11);
    for (std::size_t i = 0; i < aPlane.itsSamples.size(); ++i)
    {
        const double aPhase = static_cast<double>(i % 150) / 40 + static_cast<double>(i / 150) / 30;
        aPlane.itsSamples[i] = std::floor(aSwing * std::clamp(2 * std::sin(aPhase), -1.0, 1.0)) +
                               static_cast<double>(aGenerator() % 50u);
    }
    Levels aLevels = {PlainAnalyze(aPlane)};
    aLevels.push_back(PlainAnalyze(aLevels.back()[0]));
    const std::vector<Sample> aResult = SynthesizeByLines<Sample>(aPlane, aLevels);
    EXPECT_TRUE(
        std::equal(aResult.begin(), aResult.end(), aPlane.itsSamples.begin(), aPlane.itsSamples.end()));
}

TEST(SynthesisTest, SamplesThatFillTheirTypeComeBackExactly)
{
    ForEachTarget(
        []
        {
            ExpectExactAtFullSwing<std::int16_t>();
            ExpectExactAtFullSwing<std::int32_t>();
        });
}

/// Any bits at all, as damaged streams bring them.
template <class Sample>
void ExpectSameBitsEverywhere(double theScale)
{
    const PlainPlane aPlane = MakePlane(1, 1, 301, 40);
    std::mt19937 aGenerator(13);
    const Levels aLevels = MakeLevels(
        aPlane, 3, [&] { return static_cast<double>(static_cast<std::int32_t>(aGenerator())) * theScale; });
    std::vector<Sample> aFirst;
    ForEachTarget(
        [&]
        {
            const std::vector<Sample> aResult = SynthesizeByLines<Sample>(aPlane, aLevels);
            if (aFirst.empty())
            {
                aFirst = aResult;
            }
            EXPECT_EQ(0, std::memcmp(aFirst.data(), aResult.data(), aResult.size() * sizeof(Sample)));
        });
}

TEST(SynthesisTest, EveryInstructionSetGivesTheSameBits)
{
    ExpectSameBitsEverywhere<std::int16_t>(1.0 / 65536);
    ExpectSameBitsEverywhere<std::int32_t>(1.0);
    ExpectSameBitsEverywhere<float>(1.0 / 65521);
}
} // namespace
