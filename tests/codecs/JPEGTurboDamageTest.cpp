// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "codecs/JPEGTurboHelpers.h"
#include "support/LongRun.h"
#include "support/WildBlocks.h"

namespace
{

std::vector<DctSpec> MakeVictims()
{
    std::vector<DctSpec> aVictims(8);
    aVictims[0].itsComponents = 1;
    aVictims[1].itsH = 2;
    aVictims[1].itsV = 2;
    aVictims[2] = aVictims[1];
    aVictims[2].itsRestartInterval = 2;
    aVictims[3].itsH = 2;
    aVictims[3].isOptimised = true;
    aVictims[4].isRGB = true;
    aVictims[5].isProgressive = true;
    aVictims[6] = aVictims[2];
    aVictims[6].isProgressive = true;
    aVictims[7].itsV = 2;
    return aVictims;
}

/// Flips bits, overwrites a byte, takes bytes out, or puts bytes in; every other time near the headers.
Bytes Damage(Bytes theJpeg, std::mt19937& theRandom)
{
    const std::size_t aRange = theRandom() % 2 == 0 ? 700 : theJpeg.size();
    const std::size_t aPlace = theRandom() % std::min(aRange, theJpeg.size());
    const auto aBegin = theJpeg.begin() + static_cast<std::ptrdiff_t>(aPlace);
    const auto aByte = static_cast<std::uint8_t>(theRandom());
    const std::size_t aCount = theRandom() % 20;
    switch (theRandom() % 5)
    {
    case 0:
        *aBegin = aByte;
        break;
    case 1:
        theJpeg.erase(aBegin,
                      aBegin + static_cast<std::ptrdiff_t>(std::min(aCount, theJpeg.size() - aPlace)));
        break;
    case 2:
        theJpeg.insert(aBegin, aCount, aByte);
        break;
    default:
        for (std::size_t i = 0; i <= aCount % 4; ++i)
        {
            theJpeg[(aPlace + i * theRandom()) % theJpeg.size()] ^=
                static_cast<std::uint8_t>(1u << (theRandom() % 8));
        }
        break;
    }
    return theJpeg;
}

// Errors, their texts and the bytes read are the same on both paths, and so are nearly all pixels: at a
// warning libjpeg-turbo gives up. What is left is damage that neither library notices and that makes
// coefficients far beyond those of any image. Their samples wrap around in one library's arithmetic and are
// limited in the other's. The block is lost either way, none of the two is nearer to the image, and its
// neighbours are the same, so this much is accepted.
TEST(JPEGTurboDamage, BothPathsEndAlike)
{
    testing::internal::CaptureStderr();
    std::mt19937 aRandom(20251121);
    int aRuns = 0;
    int aPictures = 0;
    int aWildPictures = 0;
    for (const DctSpec& aVictim : MakeVictims())
    {
        const Bytes anIntact = MakeDctJpeg(aVictim);
        const int aRounds = Rounds(320);
        for (int aRound = 0; aRound < aRounds; ++aRound, ++aRuns)
        {
            const Bytes aJpeg = Damage(anIntact, aRandom);
            const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aJpeg, 500);
            const Outcome aFast = DecodeOn(JPEGPath::AUTOMATIC, aJpeg, 500);
            ASSERT_TRUE(aFast.IsSameButPixels(aLibrary))
                << aRuns << ": '" << aLibrary.itsError << "', '" << aFast.itsError << "'";
            aPictures += aLibrary.itsError.empty() ? 1 : 0;
            if (aFast.itsPixels != aLibrary.itsPixels)
            {
                ++aWildPictures;
                ASSERT_TRUE(HasWildBlock(aJpeg)) << aRuns;
            }
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(aPictures, aRuns / 4);
    EXPECT_LT(aPictures, aRuns);
    EXPECT_LT(aWildPictures, aRuns / 10);
}

// With the transform rebuilt, not even wild blocks differ.
TEST(JPEGTurboDamage, DeepImagesAreTheSameToTheBit)
{
    testing::internal::CaptureStderr();
    std::mt19937 aRandom(20251122);
    int aPictures = 0;
    const int aRounds = Rounds(300);
    for (const bool isProgressive : {false, true})
    {
        JpegSpec aSpec = MakeDeepSpec(isProgressive, 61, 45, 30);
        aSpec.itsRestartInterval = isProgressive ? 0 : 3;
        const Bytes anIntact = MakeJpeg(aSpec, MakeSamples(aSpec));
        for (int aRound = 0; aRound < aRounds; ++aRound)
        {
            const Bytes aJpeg = Damage(anIntact, aRandom);
            const Outcome aLibrary = DecodeDeepOn(JPEGPath::LIBRARY, aJpeg);
            ASSERT_TRUE(DecodeDeepOn(JPEGPath::AUTOMATIC, aJpeg) == aLibrary)
                << isProgressive << ", round " << aRound;
            aPictures += aLibrary.itsError.empty() ? 1 : 0;
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(aPictures, aRounds / 4);
}

TEST(JPEGTurboDamage, EveryTruncationIsTheSameError)
{
    for (const DctSpec& aVictim : MakeVictims())
    {
        const Bytes anIntact = MakeDctJpeg(aVictim);
        const std::size_t aStep = Rounds(1) > 1 ? 1 : 23;
        for (std::size_t aCut = 0; aCut < anIntact.size(); aCut += aStep)
        {
            const Bytes aJpeg(anIntact.begin(), anIntact.begin() + static_cast<std::ptrdiff_t>(aCut));
            const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aJpeg, 500);
            ASSERT_TRUE(DecodeOn(JPEGPath::AUTOMATIC, aJpeg, 500) == aLibrary) << "cut at " << aCut;
            ASSERT_NE(aLibrary.itsError, "");
        }
    }
}

} // namespace
