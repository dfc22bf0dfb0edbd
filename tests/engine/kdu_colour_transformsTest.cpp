// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_colour_transforms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/ForEachTarget.h"

// The conversion of fixed-point lines, which images do not go through, and sums that leave 16 and 32 bits.

namespace
{
/// One pixel before and after a conversion.
struct Pixel
{
    std::int32_t itsIn[3];
    std::int32_t itsOut[3];
};

/// theConvert on lines of every width around the sizes of vectors, on every instruction set.
template <class Sample, class Convert>
void Check(Convert theConvert, const std::vector<Pixel>& thePixels)
{
    ForEachTarget(
        [&]
        {
            for (std::size_t aWidth = 0; aWidth < 80; ++aWidth)
            {
                std::vector<Sample> aLines[3];
                for (std::size_t i = 0; i < 3 * aWidth; ++i)
                {
                    Sample aSample;
                    aSample.ival =
                        static_cast<decltype(aSample.ival)>(thePixels[i / 3 % thePixels.size()].itsIn[i % 3]);
                    aLines[i % 3].push_back(aSample);
                }
                theConvert(aLines[0].data(), aLines[1].data(), aLines[2].data(), static_cast<int>(aWidth));
                for (std::size_t i = 0; i < 3 * aWidth; ++i)
                {
                    ASSERT_EQ(aLines[i % 3][i / 3].ival, thePixels[i / 3 % thePixels.size()].itsOut[i % 3])
                        << "width " << aWidth << ", sample " << i;
                }
            }
        });
}

TEST(kdu_colour_transforms, FixedPointIsRoundedAndSaturates)
{
    Check<kdu_sample16>(kdu_convert_ycc_to_rgb_irrev16, {{{100, 0, 0}, {100, 100, 100}},
                                                         {{0, 1000, 0}, {0, -344, 1772}},
                                                         {{0, 0, 1000}, {1402, -714, 0}},
                                                         {{-5, -1001, 1003}, {1401, -377, -1779}},
                                                         {{32767, 32767, 32767}, {32767, -1909, 32767}},
                                                         {{-32768, 0, -32768}, {-32768, -9367, -32768}}});
}

TEST(kdu_colour_transforms, ReversibleIntegersWrap)
{
    Check<kdu_sample16>(kdu_convert_ycc_to_rgb_rev16,
                        {{{10, 3, -8}, {4, 12, 15}}, {{32767, 32767, 32767}, {-16385, 16384, -16385}}});
    Check<kdu_sample32>(kdu_convert_ycc_to_rgb_rev32,
                        {{{10, 3, -8}, {4, 12, 15}},
                         {{2147483647, 2147483647, 2147483647}, {-1073741825, 1073741824, -1073741825}}});
}
} // namespace
