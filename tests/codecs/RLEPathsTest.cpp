// SPDX-License-Identifier: Apache-2.0
//
// The fast path against the exact one, over frames that are sound, odd and damaged.
#include <algorithm>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include "RLETestHelpers.h"
#include "support/ForEachTarget.h"
#include "support/LongRun.h"

namespace
{
using RLETest::Bytes;
using RLETest::Outcome;

/// A frame made up from random packets.
class RandomFrame
{
public:
    RandomFrame(unsigned int theSeed, std::size_t theMostPixels) : itsRandom(theSeed)
    {
        static constexpr unsigned int kShapes[][2] = {{1, 1}, {1, 2}, {3, 1}, {3, 2}, {1, 4}, {4, 1}, {3, 4}};
        const auto& aShape = kShapes[Below(std::size(kShapes))];
        itsLayout = {aShape[0] * aShape[1], aShape[1], Below(theMostPixels + 1)};
        for (unsigned int i = 0; i <= itsLayout.itsSegmentCount; ++i)
        {
            itsOffsets.push_back(static_cast<std::uint32_t>(64 + itsBody.size()));
            if (i < itsLayout.itsSegmentCount)
            {
                AddSegment();
            }
        }
        for (std::size_t aTimes = OneIn(2) ? 1 + Below(3) : 0; aTimes > 0; --aTimes)
        {
            Damage();
        }
    }

    std::size_t Below(std::size_t theLimit) { return itsRandom() % theLimit; }
    bool OneIn(std::size_t theNumber) { return Below(theNumber) == 0; }

    void AddBytes(Bytes& theBytes, std::size_t theCount)
    {
        std::generate_n(std::back_inserter(theBytes), theCount,
                        [this] { return static_cast<std::uint8_t>(itsRandom()); });
    }

    RLEPixelLayout itsLayout;
    std::vector<std::uint32_t> itsOffsets;
    Bytes itsBody;
    bool itsIsSound = true;

private:
    void AddSegment()
    {
        constexpr std::size_t kLongest[] = {4, 20, 128, 128};
        const std::size_t aLongest = kLongest[Below(4)];
        std::size_t aLeft = itsLayout.itsPixelCount;
        while (aLeft > 0)
        {
            const bool isLast = OneIn(1000); // the segment ends early
            const std::size_t aFull = 1 + Below(aLongest);
            const bool isTooLong = aFull > aLeft && OneIn(40);
            const std::size_t aCount = isTooLong ? aFull : std::min(aFull, aLeft);
            const bool isRepeat = aCount > 1 && OneIn(2);
            itsBody.insert(itsBody.end(), OneIn(50) ? 1 : 0, 0x80);
            itsBody.push_back(static_cast<std::uint8_t>(isRepeat ? 257 - aCount : aCount - 1));
            AddBytes(itsBody, isRepeat ? 1 : aCount);
            itsIsSound = itsIsSound && !isTooLong && (!isLast || aCount == aLeft);
            aLeft -= isLast ? aLeft : std::min(aLeft, aCount);
        }
        AddBytes(itsBody, itsBody.size() % 2 + (OneIn(8) ? 2 * Below(100) : 0));
    }

    void Damage()
    {
        itsIsSound = false;
        const std::size_t aPlace = Below(itsBody.size() + 1);
        switch (Below(4))
        {
        case 0:
            itsOffsets[Below(itsOffsets.size())] ^= 1u << Below(OneIn(4) ? 32 : 9);
            break;
        case 1:
            itsBody.resize(aPlace);
            break;
        default:
            if (aPlace < itsBody.size())
            {
                itsBody[aPlace] ^= static_cast<std::uint8_t>(1u << Below(8));
            }
        }
    }

    std::mt19937 itsRandom;
};

void Compare(unsigned int theSeed, std::size_t theMostPixels)
{
    RandomFrame aFrame(theSeed, theMostPixels);
    // What fits every single read of a sound frame; a shorter limit is told apart by the exact path only.
    const bool isInPieces = aFrame.itsIsSound && aFrame.OneIn(4);
    ByteSource aSource(aFrame.itsBody, isInPieces ? 256 + static_cast<int>(aFrame.Below(2000)) : 1 << 30);
    constexpr int kAnswers[] = {0, 0, -1, -5};
    aSource.AtEnd(
        [anAnswer = kAnswers[aFrame.Below(4)], isThrowing = aFrame.OneIn(6)]
        { return isThrowing ? throw DICOMLibException("the source failed", DLRC_IO_ERROR, 5) : anAnswer; });
    Bytes aBuffer;
    aFrame.AddBytes(aBuffer, aFrame.itsLayout.itsPixelCount * aFrame.itsLayout.itsSegmentCount +
                                 (aFrame.OneIn(3) ? aFrame.Below(600) : 0));
    const auto aDecode = [&](RLEPath thePath)
    { return RLETest::DecodeFrame(thePath, aSource, aFrame.itsLayout, aFrame.itsOffsets, aBuffer); };
    const Outcome anExact = aDecode(RLEPath::EXACT);
    const Outcome aFast = aDecode(RLEPath::FAST);
    ASSERT_TRUE(anExact == aFast) << "seed " << theSeed << ": '" << anExact.itsFailure << "', '"
                                  << aFast.itsFailure << "', consumed " << anExact.itsConsumed << ", "
                                  << aFast.itsConsumed;
    ASSERT_TRUE(!aFrame.itsIsSound || aFast.itsFailure == "(nothing)")
        << "seed " << theSeed << ": " << aFast.itsFailure;
}

void CompareMany(unsigned int theFirst, int theCount, std::size_t theMostPixels)
{
    for (int i = 0; i < theCount && !testing::Test::HasFatalFailure(); ++i)
    {
        Compare(theFirst + static_cast<unsigned int>(i), theMostPixels);
    }
}

// The last ones are larger than the window of compressed bytes and than the pieces in which the last plane is
// put together.
TEST(RLEPaths, FramesComeOutAlike)
{
    CompareMany(0, Rounds(60000), 60);
    CompareMany(1000000, Rounds(4000), 2000);
    CompareMany(2000000, Rounds(40), 150000);
    ForEachTarget([] { CompareMany(3000000, 1000, 400); });
}
} // namespace
