// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEInterleave.h"

#include <vector>

#include <gtest/gtest.h>

#include "support/ForEachTarget.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// Buffers are exactly as large as they must be: the address sanitizer sees every byte too far.
void CheckInterleave(std::size_t thePlaneCount, std::size_t thePixelCount)
{
    std::vector<Bytes> aPlanes(thePlaneCount, Bytes(thePixelCount));
    std::vector<const std::uint8_t*> aPointers;
    Bytes anExpected(thePlaneCount * thePixelCount);
    for (std::size_t p = 0; p < thePlaneCount; ++p)
    {
        for (std::size_t i = 0; i < thePixelCount; ++i)
        {
            aPlanes[p][i] = static_cast<std::uint8_t>(i * 7 + p * 85);
            anExpected[i * thePlaneCount + p] = aPlanes[p][i];
        }
        aPointers.push_back(aPlanes[p].data());
    }
    Bytes anOutput(anExpected.size());
    RLEInterleave(aPointers.data(), thePlaneCount, thePixelCount, anOutput.data());
    ASSERT_EQ(anOutput, anExpected) << thePlaneCount << " planes of " << thePixelCount;
}

// Each instruction set has code of its own; machines with older processors must get the same pixels.
TEST(RLEInterleave, EveryInstructionSet)
{
    ForEachTarget(
        []
        {
            for (std::size_t aPlaneCount = 1; aPlaneCount <= 12; ++aPlaneCount)
            {
                for (std::size_t aPixelCount = 0; aPixelCount < 200; ++aPixelCount)
                {
                    CheckInterleave(aPlaneCount, aPixelCount);
                }
            }
        });
}

TEST(RLEInterleave, ScatterTouchesItsOwnBytesOnly)
{
    const Bytes aPlane = {1, 2, 3};
    Bytes anOutput(7, 9); // ends right behind the last byte that is written
    RLEScatter(aPlane.data(), aPlane.size(), 3, anOutput.data());
    EXPECT_EQ(anOutput, (Bytes{1, 9, 9, 2, 9, 9, 3}));
}
} // namespace
