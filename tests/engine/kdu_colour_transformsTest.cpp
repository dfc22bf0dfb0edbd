// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_colour_transforms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/ForEachTarget.h"

// Every instruction set that this machine can run must give the standard's formulas at every width around the
// sizes of vectors, on lines that end exactly where they end.

namespace
{
/// Three lines of numbers.
using Lines = std::array<std::vector<double>, 3>;

/// Random numbers below theLimit, and its ends.
Lines MakeLines(std::size_t theWidth, double theLimit)
{
    std::mt19937 aGenerator(static_cast<unsigned int>(theWidth) + 1);
    Lines aLines;
    for (std::vector<double>& aLine : aLines)
    {
        for (std::size_t i = 0; i < theWidth; ++i)
        {
            const double aShare = static_cast<double>(aGenerator()) / 2147483648.0 - 1.0;
            aLine.push_back(i % 7 == 3   ? -theLimit
                            : i % 5 == 2 ? theLimit - 1
                                         : std::floor(aShare * theLimit));
        }
    }
    return aLines;
}

/// RCT, T.800 G.2.2.
std::array<double, 3> ConvertReversibly(double theY, double theU, double theV)
{
    const double aGreen = theY - std::floor((theU + theV) / 4);
    return {theV + aGreen, aGreen, theU + aGreen};
}

/// ICT, T.800 G.3.2.
std::array<double, 3> ConvertIrreversibly(double theY, double theCb, double theCr)
{
    return {theY + 1.402 * theCr, theY - 0.344136 * theCb - 0.714136 * theCr, theY + 1.772 * theCb};
}

/// The sample's bits when an integer wraps.
template <class Number>
Number Wrap(double theValue)
{
    return static_cast<Number>(static_cast<std::int64_t>(theValue));
}

template <class Sample, class Number>
void Check(void (*theConvert)(Sample*, Sample*, Sample*, int), double theLimit, Number Sample::*theMember,
           const std::function<void(Number, double)>& theExpect,
           std::array<double, 3> (*theFormula)(double, double, double))
{
    ForEachTarget(
        [&]
        {
            for (std::size_t aWidth = 0; aWidth < 80; ++aWidth)
            {
                const Lines aLines = MakeLines(aWidth, theLimit);
                std::array<std::vector<Sample>, 3> aSamples;
                for (std::size_t c = 0; c < 3; ++c)
                {
                    aSamples[c].resize(aWidth);
                    std::transform(aLines[c].begin(), aLines[c].end(), aSamples[c].begin(),
                                   [&](double theValue)
                                   {
                                       Sample aSample;
                                       aSample.*theMember = static_cast<Number>(theValue);
                                       return aSample;
                                   });
                }
                theConvert(aSamples[0].data(), aSamples[1].data(), aSamples[2].data(),
                           static_cast<int>(aWidth));
                for (std::size_t i = 0; i < aWidth; ++i)
                {
                    SCOPED_TRACE("width " + std::to_string(aWidth) + ", sample " + std::to_string(i));
                    const std::array<double, 3> anExpected =
                        theFormula(aLines[0][i], aLines[1][i], aLines[2][i]);
                    for (std::size_t c = 0; c < 3; ++c)
                    {
                        theExpect(aSamples[c][i].*theMember, anExpected[c]);
                    }
                }
            }
        });
}

TEST(kdu_colour_transformsTest, ReversibleIntegersAreExactAndWrap)
{
    const auto check = []<class Number>(Number theResult, double theExpected)
    { ASSERT_EQ(theResult, Wrap<Number>(theExpected)); };
    // Where everything fits, and at the ends of the types.
    for (const double aLimit : {8192.0, 32768.0})
    {
        Check<kdu_sample16, std::int16_t>(kdu_convert_ycc_to_rgb_rev16, aLimit, &kdu_sample16::ival, check,
                                          ConvertReversibly);
    }
    for (const double aLimit : {1048576.0, 2147483648.0})
    {
        Check<kdu_sample32, std::int32_t>(kdu_convert_ycc_to_rgb_rev32, aLimit, &kdu_sample32::ival, check,
                                          ConvertReversibly);
    }
}

TEST(kdu_colour_transformsTest, FixedPointIsRoundedAndSaturates)
{
    Check<kdu_sample16, std::int16_t>(
        kdu_convert_ycc_to_rgb_irrev16, 32768.0, &kdu_sample16::ival,
        [](std::int16_t theResult, double theExpected)
        { ASSERT_NEAR(theResult, std::clamp(theExpected, -32768.0, 32767.0), 0.51); },
        ConvertIrreversibly);
}

TEST(kdu_colour_transformsTest, FloatsAreTheFormulas)
{
    Check<kdu_sample32, float>(
        kdu_convert_ycc_to_rgb_irrev32, 4096.0, &kdu_sample32::fval,
        [](float theResult, double theExpected) { ASSERT_NEAR(theResult, theExpected, 0.01); },
        ConvertIrreversibly);
}
} // namespace
