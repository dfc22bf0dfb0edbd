// SPDX-License-Identifier: Apache-2.0
//
// The fast path against the exact one, over frames that are sound, odd and damaged.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "RLETestHelpers.h"
#include "support/LongRun.h"

namespace
{
using RLETest::Bytes;
using RLETest::Outcome;

/// A frame made up from random packets, and the planes that it stands for.
struct Frame
{
    RLEPixelLayout itsLayout;
    std::vector<std::uint32_t> itsOffsets;
    Bytes itsBody;
    std::vector<Bytes> itsPlanes;
    bool itsIsSound = true;
};

class FrameMaker
{
public:
    explicit FrameMaker(unsigned int theSeed) : itsRandom(theSeed) {}

    std::uint32_t Below(std::uint32_t theLimit) { return itsRandom() % theLimit; }
    bool OneIn(std::uint32_t theNumber) { return Below(theNumber) == 0; }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(itsRandom()); }

    Frame Make(std::uint64_t thePixelCount)
    {
        static constexpr unsigned int kShapes[][2] = {{1, 1}, {1, 2}, {3, 1}, {3, 2}, {1, 4}, {4, 1}, {3, 4}};
        const auto& aShape = kShapes[Below(std::size(kShapes))];
        Frame aFrame;
        aFrame.itsLayout = {aShape[0] * aShape[1], aShape[1], thePixelCount};
        for (unsigned int i = 0; i < aFrame.itsLayout.itsSegmentCount; ++i)
        {
            aFrame.itsOffsets.push_back(static_cast<std::uint32_t>(64 + aFrame.itsBody.size()));
            AddSegment(aFrame);
        }
        aFrame.itsOffsets.push_back(static_cast<std::uint32_t>(64 + aFrame.itsBody.size()));
        return aFrame;
    }

    void Damage(Frame& theFrame)
    {
        theFrame.itsIsSound = false;
        for (std::uint32_t aTimes = 1 + Below(3); aTimes > 0; --aTimes)
        {
            switch (Below(4))
            {
            case 0:
                theFrame.itsOffsets[Below(static_cast<std::uint32_t>(theFrame.itsOffsets.size()))] ^=
                    1u << Below(OneIn(4) ? 32 : 9);
                break;
            case 1:
                theFrame.itsBody.resize(Below(static_cast<std::uint32_t>(theFrame.itsBody.size() + 1)));
                break;
            default:
                if (!theFrame.itsBody.empty())
                {
                    theFrame.itsBody[Below(static_cast<std::uint32_t>(theFrame.itsBody.size()))] ^=
                        static_cast<std::uint8_t>(1u << Below(8));
                }
            }
        }
    }

private:
    void AddSegment(Frame& theFrame)
    {
        const std::uint32_t aStyle = Below(4);
        std::uint64_t aLeft = theFrame.itsLayout.itsPixelCount;
        Bytes aPlane;
        if (OneIn(60) && aLeft > 0)
        {
            aLeft = Below(static_cast<std::uint32_t>(aLeft)); // ends early
            theFrame.itsIsSound = false;
        }
        while (aLeft > 0)
        {
            const std::uint32_t aLongest = aStyle == 0 ? 4 : aStyle == 1 ? 20 : 128;
            auto aCount = 1 + Below(aLongest);
            if (aCount > aLeft && OneIn(40))
            {
                theFrame.itsIsSound = false; // too long
            }
            else
            {
                aCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(aCount, aLeft));
            }
            AddPacket(aCount, aStyle == 3 ? OneIn(8) : OneIn(2), theFrame.itsBody, aPlane);
            aLeft -= std::min<std::uint64_t>(aLeft, aCount);
        }
        theFrame.itsPlanes.push_back(std::move(aPlane));
        AddPadding(theFrame.itsBody);
    }

    void AddPacket(std::uint32_t theCount, bool theRepeat, Bytes& theBody, Bytes& thePlane)
    {
        if (OneIn(50))
        {
            theBody.push_back(0x80);
        }
        const bool isRepeat = theRepeat && theCount > 1;
        theBody.push_back(static_cast<std::uint8_t>(isRepeat ? 257 - theCount : theCount - 1));
        std::uint8_t aByte = Byte();
        for (std::uint32_t i = 0; i < theCount; ++i)
        {
            aByte = isRepeat ? aByte : Byte();
            if (i == 0 || !isRepeat)
            {
                theBody.push_back(aByte);
            }
            thePlane.push_back(aByte);
        }
    }

    void AddPadding(Bytes& theBody)
    {
        const std::uint32_t aCount = theBody.size() % 2 + (OneIn(8) ? 2 * Below(100) : 0);
        for (std::uint32_t i = 0; i < aCount; ++i)
        {
            theBody.push_back(Byte());
        }
    }

    std::mt19937 itsRandom;
};

Bytes MakeExpected(const Frame& theFrame, Bytes theBuffer)
{
    const RLEPixelLayout& aLayout = theFrame.itsLayout;
    for (unsigned int s = 0; s < aLayout.itsSegmentCount; ++s)
    {
        for (std::size_t i = 0; i < aLayout.itsPixelCount; ++i)
        {
            theBuffer[i * aLayout.itsSegmentCount + aLayout.GetColumn(s)] = theFrame.itsPlanes[s][i];
        }
    }
    return theBuffer;
}

ByteSource MakeSource(const Frame& theFrame, FrameMaker& theMaker)
{
    // What fits every single read of a sound frame; a shorter limit is told apart by the exact path only.
    const bool isInPieces = theFrame.itsIsSound && theMaker.OneIn(4);
    ByteSource aSource(theFrame.itsBody, isInPieces ? 256 + static_cast<int>(theMaker.Below(2000)) : 1 << 30);
    static constexpr int kAnswers[] = {0, 0, -1, -5};
    const int anAnswer = kAnswers[theMaker.Below(4)];
    const bool isThrowing = theMaker.OneIn(6);
    aSource.AtEnd(
        [anAnswer, isThrowing]
        {
            if (isThrowing)
            {
                throw DICOMLibException("the source failed", DLRC_IO_ERROR, 5);
            }
            return anAnswer;
        });
    return aSource;
}

std::string Compare(const Frame& theFrame, FrameMaker& theMaker)
{
    const ByteSource aSource = MakeSource(theFrame, theMaker);
    const std::uint64_t aNeeded = theFrame.itsLayout.itsPixelCount * theFrame.itsLayout.itsSegmentCount;
    Bytes aBuffer(aNeeded + (theMaker.OneIn(3) ? theMaker.Below(600) : 0));
    std::generate(aBuffer.begin(), aBuffer.end(), [&theMaker] { return theMaker.Byte(); });
    const auto& anOffsets = theFrame.itsOffsets;
    const Outcome anExact =
        RLETest::DecodeFrame(RLEPath::EXACT, aSource, theFrame.itsLayout, anOffsets, aBuffer);
    const Outcome aFast =
        RLETest::DecodeFrame(RLEPath::FAST, aSource, theFrame.itsLayout, anOffsets, aBuffer);
    if (!(anExact == aFast))
    {
        return "exact: " + anExact.itsText + "; consumed " + std::to_string(anExact.itsConsumed) +
               "\nfast: " + aFast.itsText + "; consumed " + std::to_string(aFast.itsConsumed) +
               (anExact.itsBuffer == aFast.itsBuffer ? "" : "\nthe outputs differ");
    }
    if (theFrame.itsIsSound && (!aFast.itsText.empty() || aFast.itsBuffer != MakeExpected(theFrame, aBuffer)))
    {
        return "a sound frame came out wrong: " + aFast.itsText;
    }
    return "";
}

void CompareMany(unsigned int theFirst, int theCount, std::uint32_t theMostPixels)
{
    for (unsigned int aSeed = theFirst; aSeed < theFirst + static_cast<unsigned int>(theCount); ++aSeed)
    {
        FrameMaker aMaker(aSeed);
        Frame aFrame = aMaker.Make(aMaker.Below(theMostPixels + 1));
        if (aMaker.OneIn(2))
        {
            aMaker.Damage(aFrame);
        }
        const std::string aDifference = Compare(aFrame, aMaker);
        ASSERT_EQ(aDifference, "") << "seed " << aSeed;
    }
}

TEST(RLEPaths, SmallFrames)
{
    CompareMany(0, 250000, 60);
}

TEST(RLEPaths, FramesOfManyPackets)
{
    CompareMany(1000000, Rounds(8000), 2000);
}

// Larger than the window of compressed bytes and than the pieces in which the last plane is put together.
TEST(RLEPaths, FramesOfManyPieces)
{
    CompareMany(2000000, Rounds(60), 150000);
}
} // namespace
