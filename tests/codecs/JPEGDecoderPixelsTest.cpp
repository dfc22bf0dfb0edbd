// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "codecs/JPEGTestHelpers.h"

namespace
{

using Process = JpegSpec::Process;
using Codes = JpegSpec::Codes;

JpegSpec Lossless(int thePrecision, int thePredictor)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::LOSSLESS;
    aSpec.itsWidth = 37;
    aSpec.itsHeight = 23;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsPredictor = thePredictor;
    return aSpec;
}

void ExpectExact(int theBuild, const JpegSpec& theSpec)
{
    const Samples aSamples = MakeSamples(theSpec);
    const auto aDecoder = MakeDecoder(theBuild, Decoder::COLOR_MODEL_RGB);
    EXPECT_EQ(DecodeSamples(*aDecoder, MakeJpeg(theSpec, aSamples)), aSamples)
        << theBuild << "-bit build, precision " << theSpec.itsPrecision << ", predictor "
        << theSpec.itsPredictor;
}

// A wrong predictor, a sign slip or a lost high bit in one precision out of fifteen.
TEST(JPEGDecoderPixels, LosslessIsExactInEveryPrecisionAndPredictor)
{
    for (const int aBuild : {8, 12, 16})
    {
        for (int aPrecision = 2; aPrecision <= aBuild; ++aPrecision)
        {
            for (int aPredictor = 1; aPredictor <= 7; ++aPredictor)
            {
                ExpectExact(aBuild, Lossless(aPrecision, aPredictor));
            }
        }
    }
}

// Rows that restart, codes longer than any fast table, planes apart, and 16-bit colour.
TEST(JPEGDecoderPixels, LosslessIsExactInEveryLayout)
{
    for (const int aComponents : {1, 3})
    {
        for (const int aRestartRows : {0, 1, 5})
        {
            for (const bool anInterleaved : {true, false})
            {
                for (const Codes aCodes : {Codes::FLAT, Codes::STEEP})
                {
                    JpegSpec aSpec = Lossless(16, 4);
                    aSpec.itsComponents = aComponents;
                    aSpec.itsRestartInterval = aRestartRows * aSpec.itsWidth;
                    aSpec.itsInterleaved = anInterleaved;
                    aSpec.itsCodes = aCodes;
                    ExpectExact(16, aSpec);
                    aSpec.itsPrecision = 8;
                    ExpectExact(8, aSpec);
                }
            }
        }
    }
}

TEST(JPEGDecoderPixels, LosslessSmallestImages)
{
    for (const int aWidth : {1, 2})
    {
        for (const int aHeight : {1, 2})
        {
            JpegSpec aSpec = Lossless(16, 7);
            aSpec.itsWidth = aWidth;
            aSpec.itsHeight = aHeight;
            ExpectExact(16, aSpec);
        }
    }
}

TEST(JPEGDecoderPixels, PointTransformClearsLowBits)
{
    JpegSpec aSpec = Lossless(12, 6);
    aSpec.itsPointTransform = 3;
    Samples aSamples = MakeSamples(aSpec);
    const Bytes aJpeg = MakeJpeg(aSpec, aSamples);
    for (std::uint16_t& aSample : aSamples)
    {
        aSample = static_cast<std::uint16_t>(aSample & ~7u);
    }
    EXPECT_EQ(DecodeSamples(*MakeDecoder(12), aJpeg), aSamples);
    EXPECT_EQ(DecodeSamples(*MakeDecoder(16), aJpeg), aSamples);
}

// A lossless image passes the header of a smaller build and comes out scaled down, never out of range.
TEST(JPEGDecoderPixels, LosslessAboveTheBuildIsScaledDown)
{
    const JpegSpec aSpec = Lossless(16, 1);
    const Samples aSamples = MakeSamples(aSpec);
    for (const int aBuild : {8, 12})
    {
        const auto aDecoder = MakeDecoder(aBuild);
        const Samples aDecoded = DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples));
        EXPECT_EQ(aDecoder->GetPrecision(), 16);
        ASSERT_EQ(aDecoded.size(), aSamples.size());
        for (std::size_t i = 0; i < aSamples.size(); ++i)
        {
            ASSERT_EQ(aDecoded[i], aSamples[i] >> (16 - aBuild)) << aBuild << "-bit build, sample " << i;
        }
    }
}

struct LossyCase
{
    const char* itsName;
    int itsBuild;
    Process itsProcess;
    int itsWidth;
    int itsHeight;
    int itsComponents;
    bool itsInterleaved;
    int itsRestartInterval;
};

std::ostream& operator<<(std::ostream& theStream, const LossyCase& theCase)
{
    return theStream << theCase.itsName;
}

class JPEGDecoderLossy : public testing::TestWithParam<LossyCase>
{
};

// Quantised by 1, samples come back within 1 of what was coded: blocks out of place, lost padding,
// restarts that lose the prediction and rows written to the wrong address all show.
TEST_P(JPEGDecoderLossy, SamplesComeBack)
{
    const LossyCase& aCase = GetParam();
    JpegSpec aSpec;
    aSpec.itsProcess = aCase.itsProcess;
    aSpec.itsWidth = aCase.itsWidth;
    aSpec.itsHeight = aCase.itsHeight;
    aSpec.itsComponents = aCase.itsComponents;
    aSpec.itsPrecision = aCase.itsBuild;
    aSpec.itsInterleaved = aCase.itsInterleaved;
    aSpec.itsRestartInterval = aCase.itsRestartInterval;
    aSpec.itsCodes = Codes::STEEP;
    const Samples aSamples = MakeSamples(aSpec);
    const auto aDecoder = MakeDecoder(aCase.itsBuild, Decoder::COLOR_MODEL_RGB);
    const Samples aDecoded = DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples));
    ASSERT_EQ(aDecoded.size(), aSamples.size());
    for (std::size_t i = 0; i < aSamples.size(); ++i)
    {
        ASSERT_LE(std::abs(int{aDecoded[i]} - int{aSamples[i]}), 1) << "sample " << i;
    }
    EXPECT_EQ(aDecoder->GetScanMode(), aCase.itsProcess == Process::PROGRESSIVE ? 0 : 1);
    EXPECT_EQ(aDecoder->GetCompressionReversible(), Decoder::CR_IRREVERSIBLE);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, JPEGDecoderLossy,
    testing::Values(LossyCase{"OnePixel", 8, Process::BASELINE, 1, 1, 1, true, 0},
                    LossyCase{"Grey", 8, Process::BASELINE, 61, 35, 1, true, 0},
                    LossyCase{"Colour", 8, Process::BASELINE, 61, 35, 3, true, 0},
                    LossyCase{"Planes", 8, Process::BASELINE, 61, 35, 3, false, 0},
                    LossyCase{"Restarts", 8, Process::EXTENDED, 61, 35, 3, true, 3},
                    LossyCase{"Progressive", 8, Process::PROGRESSIVE, 61, 35, 3, true, 0},
                    LossyCase{"ProgressiveRestarts", 8, Process::PROGRESSIVE, 61, 35, 1, true, 5},
                    LossyCase{"Grey12", 12, Process::EXTENDED, 61, 35, 1, true, 0},
                    LossyCase{"Colour12", 12, Process::EXTENDED, 61, 35, 3, true, 2},
                    LossyCase{"Progressive12", 12, Process::PROGRESSIVE, 61, 35, 3, true, 0}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

// Rows per call and padding differ with the sampling; a row too many would land behind the buffer.
TEST(JPEGDecoderPixels, SubsampledColourFillsExactlyTheBuffer)
{
    for (const JpegSpec::Sampling aLuma : {JpegSpec::Sampling{2, 1}, {2, 2}, {1, 2}, {4, 1}, {4, 2}, {1, 4}})
    {
        for (int aSize = 15; aSize <= 18; ++aSize)
        {
            for (const bool anInterleaved : {true, false})
            {
                JpegSpec aSpec;
                aSpec.itsWidth = aSize;
                aSpec.itsHeight = aSize + 16;
                aSpec.itsComponents = 3;
                aSpec.itsSampling = {aLuma, {1, 1}, {1, 1}};
                aSpec.itsInterleaved = anInterleaved;
                const auto aDecoder = MakeDecoder(8, Decoder::COLOR_MODEL_RGB);
                const Samples aSamples = MakeFlatSamples(aSpec, {200, 30, 90});
                EXPECT_EQ(DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples)), aSamples)
                    << aLuma.itsHorizontal << "x" << aLuma.itsVertical << ", " << aSize << " columns";
            }
        }
    }
}

// One codec, several frames: its library object and its buffers serve again.
TEST(JPEGDecoderPixels, OneCodecDecodesFrameAfterFrame)
{
    const auto aDecoder = MakeDecoder(16);
    for (unsigned int aFrame = 0; aFrame < 3; ++aFrame)
    {
        JpegSpec aSpec = Lossless(12, 1);
        aSpec.itsWidth += static_cast<int>(aFrame);
        const Samples aSamples = MakeSamples(aSpec, aFrame);
        EXPECT_EQ(DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples)), aSamples);
    }
}

TEST(JPEGDecoderPixels, CodecsOnSeveralThreadsDoNotDisturbEachOther)
{
    std::vector<int> aMatches(4, 0);
    std::vector<std::thread> aThreads;
    for (std::size_t i = 0; i < aMatches.size(); ++i)
    {
        aThreads.emplace_back(
            [i, &aMatches]
            {
                for (unsigned int aRound = 0; aRound < 20; ++aRound)
                {
                    const JpegSpec aSpec = Lossless(i % 2 == 0 ? 8 : 16, 1 + static_cast<int>(aRound % 7));
                    const Samples aSamples = MakeSamples(aSpec, aRound);
                    const auto aDecoder = MakeDecoder(aSpec.itsPrecision);
                    aMatches[i] += DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples)) == aSamples ? 1 : 0;
                }
            });
    }
    for (std::thread& aThread : aThreads)
    {
        aThread.join();
    }
    EXPECT_EQ(aMatches, std::vector<int>(4, 20));
}

} // namespace
