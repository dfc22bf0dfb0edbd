// SPDX-License-Identifier: Apache-2.0
// What damage makes of an image is the IJG library's affair, on all paths: errors, their texts, the bytes
// read and the pixels.

#include <random>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/detail/JPEGScanBudget.h"
#include "support/LongRun.h"

namespace
{
using Process = JpegSpec::Process;

class JPEGDamage : public testing::Test
{
protected:
    // The library prints the first warning of an image; thousands of them help nobody.
    void SetUp() override { testing::internal::CaptureStderr(); }
    void TearDown() override { testing::internal::GetCapturedStderr(); }
};

/// theChroma: the samples of luma, across and down, to one of chroma.
JpegSpec Kind(Process theProcess, int thePrecision, int theComponents = 1, int theChroma = 1,
              int theRestarts = 0, bool theInterleaved = true, bool theTwoTables = false)
{
    JpegSpec aSpec{21, 19, theComponents, thePrecision, theProcess};
    aSpec.itsQuantization = 20;
    aSpec.itsPredictor = 1 + thePrecision % 7;
    aSpec.itsPointTransform = theProcess == Process::LOSSLESS && thePrecision == 12 ? 1 : 0;
    aSpec.itsRestartInterval = theRestarts;
    aSpec.itsSampling = {{theChroma, theChroma}};
    aSpec.itsInterleaved = theInterleaved;
    aSpec.itsTwoTables = theTwoTables;
    return aSpec;
}

const JpegSpec kVictims[] = {Kind(Process::BASELINE, 8),
                             Kind(Process::BASELINE, 8, 3, 2),
                             Kind(Process::EXTENDED, 8, 3, 2, 2),
                             Kind(Process::PROGRESSIVE, 8, 3, 2, 2),
                             Kind(Process::EXTENDED, 12, 1, 1, 3),
                             Kind(Process::PROGRESSIVE, 12),
                             Kind(Process::EXTENDED, 12, 3, 2, 2),
                             Kind(Process::PROGRESSIVE, 12, 3, 2),
                             Kind(Process::LOSSLESS, 7, 1, 1, 63),
                             Kind(Process::LOSSLESS, 12),
                             Kind(Process::LOSSLESS, 16, 1, 1, 21),
                             Kind(Process::LOSSLESS, 7, 3, 1, 0, true, true),
                             Kind(Process::LOSSLESS, 12, 3, 1, 63),
                             Kind(Process::LOSSLESS, 16, 3, 1, 0, false),
                             Kind(Process::LOSSLESS, 8, 3, 1, 21)};

/// One bit to a handful, bytes lost or added, markers where none belong, the end missing.
Bytes Damage(Bytes theJpeg, std::mt19937& theRandom)
{
    const auto aPlace = [&](std::size_t theRange)
    { return static_cast<std::ptrdiff_t>(theRandom() % theRange); };
    // Every other stream is struck where one bit changes most.
    const std::size_t aRange =
        theRandom() % 2 == 0 ? std::min<std::size_t>(theJpeg.size(), 200) : theJpeg.size();
    for (unsigned int i = 0; i <= theRandom() % 4; ++i)
    {
        const auto aBegin = theJpeg.begin() + aPlace(std::min(aRange, theJpeg.size()));
        const auto aByte = static_cast<std::uint8_t>(theRandom());
        switch (theRandom() % 8)
        {
        case 0:
            theJpeg.insert(aBegin, aByte % 20u, aByte);
            break;
        case 1:
            theJpeg.erase(aBegin);
            break;
        case 2:
            *aBegin = 0xff;
            break;
        case 3:
            theJpeg.insert(aBegin, {0xff, static_cast<std::uint8_t>(0xd0 + aByte % 10)});
            break;
        default:
            *aBegin ^= static_cast<std::uint8_t>(1u << (aByte % 8));
            break;
        }
    }
    if (theRandom() % 16 == 0)
    {
        theJpeg.resize(theJpeg.size() - static_cast<std::size_t>(aPlace(theJpeg.size() / 2)));
    }
    return theJpeg;
}

// One thing may differ: damage that no library notices and that makes coefficients far beyond those of any
// image of 8 bits. Their samples wrap around in one library's arithmetic and are limited in the other's; the
// block is lost either way.
TEST_F(JPEGDamage, AllPathsEndAlike)
{
    std::mt19937 aRandom(20240531);
    int aRuns = 0;
    int aPictures = 0;
    int aWildPictures = 0;
    for (const JpegSpec& aVictim : kVictims)
    {
        const Bytes anIntact = Image(aVictim).itsJpeg;
        for (int aRound = 0; aRound < Rounds(320); ++aRound, ++aRuns)
        {
            const Bytes aJpeg = Damage(anIntact, aRandom);
            const Setting aSetting{
                aRound % 5 == 0   ? 8
                : aRound % 5 == 1 ? 16
                                  : BuildFor(aVictim),
                aRound % 2 == 0 ? Decoder::COLOR_MODEL_RGB : Decoder::COLOR_MODEL_YBR_FULL_422, 97};
            const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aSetting, aJpeg);
            Outcome aFast = DecodeOn(JPEGPath::FAST, aSetting, aJpeg);
            if (aVictim.itsProcess != Process::LOSSLESS && aSetting.itsBuild == 8 &&
                aFast.itsPixels != aLibrary.itsPixels)
            {
                ++aWildPictures;
                ASSERT_EQ(aFast.itsPixels.size(), aLibrary.itsPixels.size());
                aFast.itsPixels = aLibrary.itsPixels;
            }
            ASSERT_TRUE(aFast == aLibrary)
                << aRuns << ": '" << aLibrary.itsError << "', '" << aFast.itsError << "'";
            aPictures += aLibrary.itsError.empty() ? 1 : 0;
        }
    }
    EXPECT_GT(aPictures, aRuns / 10);
    EXPECT_LT(aPictures, aRuns);
    EXPECT_LT(aWildPictures, aRuns / 50);
}

TEST_F(JPEGDamage, EveryTruncationIsTheSameError)
{
    const std::size_t aStep = Rounds(1) > 1 ? 1 : 7;
    for (const JpegSpec& aVictim : kVictims)
    {
        const Bytes aJpeg = Image(aVictim).itsJpeg;
        for (std::size_t aCut = 0; aCut < aJpeg.size(); aCut += aStep)
        {
            const Setting aSetting{BuildFor(aVictim)};
            ASSERT_TRUE(PathsAgree(aSetting, Cut(aJpeg, aCut), false)) << "cut at " << aCut;
            ASSERT_NE(DecodeOn(JPEGPath::FAST, aSetting, Cut(aJpeg, aCut)).itsError, "") << "cut at " << aCut;
        }
    }
}

// A component whose scan never comes must not show what somebody else left in the heap.
TEST_F(JPEGDamage, MissingComponentIsZero)
{
    JpegSpec aSpec{100, 100, 3, 8, Process::LOSSLESS, {'R', 'G', 'B'}};
    aSpec.itsInterleaved = false;
    auto [aSamples, aJpeg] = Image(aSpec);
    const Bytes aLastScan = {0xff, 0xda, 0, 8, 1, 'B'};
    const auto aCut = std::search(aJpeg.begin(), aJpeg.end(), aLastScan.begin(), aLastScan.end());
    ASSERT_TRUE(aCut != aJpeg.end());
    aJpeg.erase(aCut, aJpeg.end() - 2);
    // Blocks of the sizes that the decoder will ask for, full of something recognisable.
    for (std::size_t i = 0; i < 50; ++i)
    {
        const Bytes aLeftOver(i * 400, 0x5a);
        ASSERT_EQ(std::count(aLeftOver.begin(), aLeftOver.end(), 0x5a), static_cast<std::ptrdiff_t>(i * 400));
    }
    const Samples aDecoded = DecodeSamples(*MakeDecoder(8), aJpeg);
    ASSERT_EQ(aDecoded.size(), aSamples.size());
    for (std::size_t i = 0; i < aDecoded.size(); ++i)
    {
        ASSERT_EQ(aDecoded[i], i % 3 == 2 ? 0 : aSamples[i]) << "sample " << i;
    }
}

// Each further scan of a progressive image costs a pass over all of it, for a dozen bytes.
TEST_F(JPEGDamage, EndlessScansAreCutOff)
{
    const Bytes anEmptyScan = {0xff, 0xda, 0, 8, 1, 1, 0, 1, 5, 0};
    // The side is written into the frame header; the data stays that of a small image.
    for (const auto& [aSide, aScans, isTooMany] :
         {std::tuple{16, 900, false}, {16, 1100, true}, {4000, 90, false}, {4000, 300, true}})
    {
        Bytes aJpeg = Image({.itsProcess = Process::PROGRESSIVE, .itsEndOfImage = false}).itsJpeg;
        const Bytes aMarker = {0xff, 0xc2};
        const auto aFrame = std::search(aJpeg.begin(), aJpeg.end(), aMarker.begin(), aMarker.end());
        aFrame[5] = aFrame[7] = static_cast<std::uint8_t>(aSide >> 8);
        aFrame[6] = aFrame[8] = static_cast<std::uint8_t>(aSide & 0xff);
        for (int i = 0; i < aScans; ++i)
        {
            aJpeg.insert(aJpeg.end(), anEmptyScan.begin(), anEmptyScan.end());
        }
        aJpeg.insert(aJpeg.end(), {0xff, 0xd9});
        ByteSource aSource(aJpeg);
        const bool isCutOff =
            DecodeError(*MakeDecoder(8), aSource)
                .find("bytes so far): Too many scans for an image of so few bytes") != std::string::npos;
        EXPECT_EQ(isCutOff, isTooMany) << aSide << " pixels a side, " << aScans;
    }
}

// Visits to blocks are counted, so that what a file may cost does not hang on a clock.
TEST(JPEGScans, BytesPayForScans)
{
    constexpr std::uint64_t kMega = 1'000'000;
    // Scans that come evenly with the bytes, over so many blocks each.
    for (const auto& [aScans, aBlocks, aBytes, anAllowed] :
         {std::tuple{64, kMega / 16, kMega / 20, 64}, // four million pixels, a byte a hundred
          {64, kMega, 10 * kMega, 64},                // 64 million, a script of many scans
          {10, 4 * kMega, kMega, 10},                 // 268 million, next to nothing on them
          {99, 4 * kMega, kMega / 4, 9},              // runs of ends of bands
          {1000, std::uint64_t{1}, std::uint64_t{0}, 1000},
          {1100, std::uint64_t{1}, kMega, 1000}})
    {
        JPEGScanBudget aBudget;
        int aLast = 0;
        for (int i = 1; i <= aScans; ++i)
        {
            aBudget.AddBytes(static_cast<int>(aBytes / static_cast<unsigned int>(aScans)));
            aLast = aBudget.Allows(i, aBlocks) && aBudget.Allows(i, aBlocks) ? i : aLast;
        }
        EXPECT_EQ(aLast, anAllowed) << aScans << " scans of " << aBlocks << " blocks, " << aBytes << " bytes";
    }
}
} // namespace
