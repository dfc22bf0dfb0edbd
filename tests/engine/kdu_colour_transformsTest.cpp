// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_colour_transforms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/ForEachTarget.h"

// The conversion of fixed-point lines, which images do not go through.

namespace
{
/// One pixel before and after a conversion.
struct Pixel
{
    std::int16_t itsIn[3];
    std::int16_t itsOut[3];
};

TEST(kdu_colour_transforms, FixedPointIsRoundedAndSaturates)
{
    constexpr Pixel kPixels[] = {{{100, 0, 0}, {100, 100, 100}},
                                 {{0, 1000, 0}, {0, -344, 1772}},
                                 {{0, 0, 1000}, {1402, -714, 0}},
                                 {{-5, -1001, 1003}, {1401, -377, -1779}},
                                 {{32767, 32767, 32767}, {32767, -1909, 32767}},
                                 {{-32768, 0, -32768}, {-32768, -9367, -32768}}};
    // Lines of every width around the sizes of vectors.
    ForEachTarget(
        [&]
        {
            for (std::size_t aWidth = 0; aWidth < 80; ++aWidth)
            {
                std::vector<kdu_sample16> aLines[3];
                for (std::size_t i = 0; i < 3 * aWidth; ++i)
                {
                    aLines[i % 3].push_back({kPixels[i / 3 % std::size(kPixels)].itsIn[i % 3]});
                }
                kdu_convert_ycc_to_rgb_irrev16(aLines[0].data(), aLines[1].data(), aLines[2].data(),
                                               static_cast<int>(aWidth));
                for (std::size_t i = 0; i < 3 * aWidth; ++i)
                {
                    ASSERT_EQ(aLines[i % 3][i / 3].ival, kPixels[i / 3 % std::size(kPixels)].itsOut[i % 3])
                        << "width " << aWidth << ", sample " << i;
                }
            }
        });
}
} // namespace
