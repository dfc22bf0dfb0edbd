// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoderException.h"
#include "support/LongRun.h"

namespace
{

using Process = JpegSpec::Process;

struct Victim
{
    int itsBuild;
    JpegSpec itsSpec;
    Bytes itsJpeg;
};

Victim MakeVictim(int theBuild, Process theProcess, int thePrecision, int theComponents)
{
    Victim aVictim;
    aVictim.itsBuild = theBuild;
    aVictim.itsSpec.itsProcess = theProcess;
    aVictim.itsSpec.itsPrecision = thePrecision;
    aVictim.itsSpec.itsComponents = theComponents;
    aVictim.itsSpec.itsWidth = 21;
    aVictim.itsSpec.itsHeight = 19;
    aVictim.itsSpec.itsQuantization = 40;
    aVictim.itsSpec.itsRestartInterval = theProcess == Process::LOSSLESS ? 21 : 2;
    if (theComponents == 3 && theProcess != Process::LOSSLESS)
    {
        aVictim.itsSpec.itsSampling = {{2, 2}, {1, 1}, {1, 1}};
    }
    aVictim.itsJpeg = MakeJpeg(aVictim.itsSpec, MakeSamples(aVictim.itsSpec));
    return aVictim;
}

std::vector<Victim> MakeVictims()
{
    return {MakeVictim(8, Process::BASELINE, 8, 3),   MakeVictim(8, Process::PROGRESSIVE, 8, 3),
            MakeVictim(8, Process::LOSSLESS, 8, 3),   MakeVictim(12, Process::EXTENDED, 12, 1),
            MakeVictim(12, Process::LOSSLESS, 12, 1), MakeVictim(16, Process::LOSSLESS, 16, 1)};
}

/// Decodes into a buffer of at most a megabyte, as a caller would who believes a sane data set.
/// Returns whether there were pixels; anything but pixels or one of our exceptions fails the test.
bool Survives(int theBuild, const Bytes& theJpeg)
{
    const auto aDecoder = MakeDecoder(theBuild);
    ByteSource aSource(theJpeg, 97);
    try
    {
        aDecoder->SetSource(nullptr, aSource);
        const std::uint64_t aSize = std::min<std::uint64_t>(aDecoder->GetOutputSize(), 1u << 20);
        const auto aBuffer = std::make_unique<std::uint8_t[]>(aSize);
        aDecoder->Decode(0, aBuffer.get(), aSize);
        return true;
    }
    catch (const ExceptionBase&)
    {
        return false;
    }
}

class JPEGDecoderDamage : public testing::Test
{
protected:
    // The library prints the first warning of an image; thousands of them help nobody.
    void SetUp() override { testing::internal::CaptureStderr(); }
    void TearDown() override { testing::internal::GetCapturedStderr(); }
};

TEST_F(JPEGDecoderDamage, EveryTruncationIsAnError)
{
    for (const Victim& aVictim : MakeVictims())
    {
        EXPECT_TRUE(Survives(aVictim.itsBuild, aVictim.itsJpeg));
        for (std::size_t aCut = 0; aCut < aVictim.itsJpeg.size(); ++aCut)
        {
            EXPECT_FALSE(Survives(
                aVictim.itsBuild,
                Bytes(aVictim.itsJpeg.begin(), aVictim.itsJpeg.begin() + static_cast<std::ptrdiff_t>(aCut))))
                << aVictim.itsBuild << "-bit build, cut at " << aCut;
        }
    }
}

// Headers and data, one bit to a handful at a time: pixels or an error, in bounded time, nothing else.
TEST_F(JPEGDecoderDamage, FlippedBitsEndInPixelsOrAnError)
{
    std::mt19937 aRandom(20240229);
    int aPictures = 0;
    int aRuns = 0;
    const int aRounds = Rounds(1500);
    for (const Victim& aVictim : MakeVictims())
    {
        for (int aRound = 0; aRound < aRounds; ++aRound)
        {
            Bytes aJpeg = aVictim.itsJpeg;
            // Every other round strikes the headers only, where one bit changes most.
            const std::size_t aRange =
                aRound % 2 == 0 ? std::min<std::size_t>(aJpeg.size(), 700) : aJpeg.size();
            for (unsigned int i = 0; i <= aRandom() % 4; ++i)
            {
                aJpeg[aRandom() % aRange] ^= static_cast<std::uint8_t>(1u << (aRandom() % 8));
            }
            const int aBuild = aRound % 10 == 0 ? 16 : aVictim.itsBuild;
            aPictures += Survives(aBuild, aJpeg) ? 1 : 0;
            ++aRuns;
        }
    }
    EXPECT_GT(aPictures, aRuns / 20);
    EXPECT_LT(aPictures, aRuns);
}

// A component whose scan never comes must not show what somebody else left in the heap.
TEST_F(JPEGDecoderDamage, MissingComponentIsZero)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::LOSSLESS;
    aSpec.itsComponents = 3;
    aSpec.itsComponentIds = {'R', 'G', 'B'};
    aSpec.itsWidth = 100;
    aSpec.itsHeight = 100;
    aSpec.itsInterleaved = false;
    const Samples aSamples = MakeSamples(aSpec);
    Bytes aJpeg = MakeJpeg(aSpec, aSamples);
    const Bytes aLastScan = {0xff, 0xda, 0, 8, 1, 'B'};
    const auto aCut = std::search(aJpeg.begin(), aJpeg.end(), aLastScan.begin(), aLastScan.end());
    ASSERT_TRUE(aCut != aJpeg.end());
    aJpeg.erase(aCut, aJpeg.end() - 2);
    // Blocks of the sizes that the decoder will ask for, full of something recognisable.
    for (int i = 0; i < 50; ++i)
    {
        const Bytes aLeftOver(static_cast<std::size_t>(i) * 400, 0x5a);
        ASSERT_EQ(std::count(aLeftOver.begin(), aLeftOver.end(), 0x5a), i * 400);
    }
    const Samples aDecoded = DecodeSamples(*MakeDecoder(8), aJpeg);
    ASSERT_EQ(aDecoded.size(), aSamples.size());
    for (std::size_t i = 0; i < aDecoded.size(); ++i)
    {
        ASSERT_EQ(aDecoded[i], i % 3 == 2 ? 0 : aSamples[i]) << "sample " << i;
    }
}

// Each further scan of a progressive image costs a pass over all of it, for a dozen bytes.
TEST_F(JPEGDecoderDamage, EndlessScansAreCutOff)
{
    struct ScansCase
    {
        int itsSide; ///< written into the frame header; the data stays that of a small image
        int itsScans;
        bool itsTooMany;
    };
    for (const ScansCase& aCase : {ScansCase{16, 900, false}, ScansCase{16, 1100, true},
                                   ScansCase{4000, 90, false}, ScansCase{4000, 300, true}})
    {
        JpegSpec aSpec;
        aSpec.itsProcess = Process::PROGRESSIVE;
        aSpec.itsEndOfImage = false;
        Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
        const Bytes aScan = {0xff, 0xda, 0, 8, 1, 1, 0, 1, 5, 0};
        ASSERT_TRUE(std::search(aJpeg.begin(), aJpeg.end(), aScan.begin(), aScan.end()) != aJpeg.end());
        const Bytes aMarker = {0xff, 0xc2};
        const auto aFrame = std::search(aJpeg.begin(), aJpeg.end(), aMarker.begin(), aMarker.end());
        ASSERT_TRUE(aFrame != aJpeg.end());
        for (int i = 0; i < 4; ++i)
        {
            aFrame[5 + i] = static_cast<std::uint8_t>(i % 2 == 0 ? aCase.itsSide >> 8 : aCase.itsSide & 0xff);
        }
        for (int i = 0; i < aCase.itsScans; ++i)
        {
            aJpeg.insert(aJpeg.end(), aScan.begin(), aScan.end());
        }
        aJpeg.insert(aJpeg.end(), {0xff, 0xd9});
        const auto aDecoder = MakeDecoder(8);
        ByteSource aSource(aJpeg);
        const bool isCutOff =
            DecodeError(*aDecoder, aSource).find("bytes so far): Too many scans") != std::string::npos;
        EXPECT_EQ(isCutOff, aCase.itsTooMany) << aCase.itsSide << " pixels a side, " << aCase.itsScans;
    }
}

} // namespace
