// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/detail/JPEGPaths.h"
#include "support/LongRun.h"

namespace
{

using Codes = JpegSpec::Codes;

/// All that a caller sees of a decode.
struct Outcome
{
    Bytes itsPixels;
    std::string itsError;
    std::size_t itsBytesTaken = 0; ///< from the source
    int itsCloses = 0;

    bool operator==(const Outcome&) const = default;
};

struct Setting
{
    int itsBuild = 16;
    Decoder::ColorModel itsModel = Decoder::COLOR_MODEL_RGB;
    int itsLargestRead = 97;
};

Outcome DecodeOn(JPEGPath thePath, const Setting& theSetting, const Bytes& theJpeg)
{
    const auto aDecoder = MakeDecoder(theSetting.itsBuild, theSetting.itsModel);
    aDecoder->SetPath(thePath);
    ByteSource aSource(theJpeg, theSetting.itsLargestRead);
    Outcome anOutcome;
    try
    {
        aDecoder->SetSource(nullptr, aSource);
        const std::uint64_t aSize = std::min<std::uint64_t>(aDecoder->GetOutputSize(), 1u << 22);
        // What was in the buffer before must not show.
        Bytes aPixels(aSize, thePath == JPEGPath::LIBRARY ? 0x00 : 0x5a);
        aDecoder->Decode(0, aPixels.data(), aPixels.size());
        anOutcome.itsPixels = std::move(aPixels);
    }
    catch (const ExceptionBase& anException)
    {
        anOutcome.itsError = anException.GetMessageText();
    }
    anOutcome.itsBytesTaken = aSource.GetPosition();
    anOutcome.itsCloses = aSource.GetCloses();
    return anOutcome;
}

testing::AssertionResult PathsAgree(const Setting& theSetting, const Bytes& theJpeg, bool thePixels = true)
{
    const Outcome aSlow = DecodeOn(JPEGPath::LIBRARY, theSetting, theJpeg);
    const Outcome aFast = DecodeOn(JPEGPath::FAST, theSetting, theJpeg);
    if (aSlow == aFast && (!thePixels || !aSlow.itsPixels.empty()))
    {
        return testing::AssertionSuccess();
    }
    const auto aPlace = std::mismatch(aSlow.itsPixels.begin(), aSlow.itsPixels.end(), aFast.itsPixels.begin(),
                                      aFast.itsPixels.end());
    return testing::AssertionFailure()
           << theSetting.itsBuild << "-bit build, reads of " << theSetting.itsLargestRead << ": \""
           << aSlow.itsError << "\" and \"" << aFast.itsError << "\", first difference at byte "
           << aPlace.first - aSlow.itsPixels.begin() << " of " << aSlow.itsPixels.size() << " and "
           << aFast.itsPixels.size() << ", " << aSlow.itsBytesTaken << " and " << aFast.itsBytesTaken
           << " bytes taken, closed " << aSlow.itsCloses << " and " << aFast.itsCloses << " times";
}

class JPEGLosslessPaths : public testing::Test
{
protected:
    // The library prints the first warning of an image; thousands of them help nobody.
    void SetUp() override { testing::internal::CaptureStderr(); }
    void TearDown() override { testing::internal::GetCapturedStderr(); }
};

// Whatever else these tests compare, the paths must really be two.
TEST_F(JPEGLosslessPaths, UsualImagesTakeTheFastPath)
{
    using Way = JPEGPaths::Way;
    JPEGFrameHeader aUsual;
    aUsual.itsProcess = JPEGProcess::LOSSLESS;
    aUsual.itsWidth = 32;
    aUsual.itsHeight = 32;
    aUsual.itsPrecision = 12;
    aUsual.itsBuildPrecision = 12;
    aUsual.itsComponents = 3;
    aUsual.itsHSampling = {1, 1, 1, 0};
    aUsual.itsVSampling = {1, 1, 1, 0};
    aUsual.itsColorSpace = JPEGColorSpace::YCBCR;
    aUsual.itsOutputColorSpace = JPEGColorSpace::RGB;
    EXPECT_EQ(JPEGPaths::Choose(aUsual, JPEGPath::AUTOMATIC), Way::LOSSLESS_SCAN);
    EXPECT_EQ(JPEGPaths::Choose(aUsual, JPEGPath::FAST), Way::LOSSLESS_SCAN);
    EXPECT_EQ(JPEGPaths::Choose(aUsual, JPEGPath::LIBRARY), Way::LIBRARY);
    aUsual.itsHeight = 31;
    EXPECT_EQ(JPEGPaths::Choose(aUsual, JPEGPath::AUTOMATIC), Way::LIBRARY) << "tiny";
    EXPECT_EQ(JPEGPaths::Choose(aUsual, JPEGPath::FAST), Way::LOSSLESS_SCAN);
    struct UnusualCase
    {
        const char* itsName;
        void (*itsChange)(JPEGFrameHeader&);
    };
    for (const UnusualCase& aCase :
         {
             UnusualCase{"scaled down", [](JPEGFrameHeader& theHeader) { theHeader.itsPrecision = 13; }},
             UnusualCase{"arithmetic", [](JPEGFrameHeader& theHeader) { theHeader.itsArithmetic = true; }},
             UnusualCase{"components", [](JPEGFrameHeader& theHeader) { theHeader.itsComponents = 2; }},
             UnusualCase{"repeated",
                         [](JPEGFrameHeader& theHeader) { theHeader.itsRepeatsComponent = true; }},
             UnusualCase{"columns", [](JPEGFrameHeader& theHeader) { theHeader.itsHSampling[0] = 2; }},
             UnusualCase{"rows", [](JPEGFrameHeader& theHeader) { theHeader.itsVSampling[2] = 2; }},
             UnusualCase{"conversion", [](JPEGFrameHeader& theHeader) { theHeader.itsBuildPrecision = 16; }},
             UnusualCase{"one component of three", [](JPEGFrameHeader& theHeader)
                         { theHeader.itsOutputColorSpace = JPEGColorSpace::GRAYSCALE; }},
         })
    {
        JPEGFrameHeader aHeader = aUsual;
        aCase.itsChange(aHeader);
        EXPECT_EQ(JPEGPaths::Choose(aHeader, JPEGPath::FAST), Way::LIBRARY) << aCase.itsName;
    }
}

TEST_F(JPEGLosslessPaths, SampleFilesAreTheSame)
{
    const std::string aFolder = QUORIX_SAMPLES_DIR "/jpeg";
    if (!std::filesystem::is_directory(aFolder))
    {
        GTEST_SKIP() << "no sample files in " << aFolder;
    }
    for (const auto& anEntry : std::filesystem::directory_iterator(aFolder))
    {
        std::ifstream aFile(anEntry.path(), std::ios::binary);
        const Bytes aJpeg{std::istreambuf_iterator<char>(aFile), std::istreambuf_iterator<char>()};
        const Bytes aMarker = {0xff, 0xc3};
        if (std::search(aJpeg.begin(), aJpeg.end(), aMarker.begin(), aMarker.end()) == aJpeg.end())
        {
            continue;
        }
        for (const int aBuild : {8, 12, 16})
        {
            EXPECT_TRUE(PathsAgree({aBuild, Decoder::COLOR_MODEL_RGB, 1 << 20}, aJpeg, false))
                << anEntry.path();
        }
    }
}

/// Kinds of images between which the decoder's inner loops differ.
std::vector<JpegSpec> MakeKinds()
{
    std::vector<JpegSpec> aKinds;
    for (const int aKind : {0, 1, 2, 3, 4, 5, 6, 7})
    {
        JpegSpec aSpec;
        aSpec.itsProcess = JpegSpec::Process::LOSSLESS;
        aSpec.itsCodes = aKind % 2 == 0 ? Codes::FLAT : Codes::STEEP;
        aSpec.itsComponents = aKind < 2 ? 1 : 3;
        aSpec.itsInterleaved = aKind < 6;
        aSpec.itsTwoTables = aKind == 4 || aKind == 5;
        aKinds.push_back(aSpec);
    }
    return aKinds;
}

TEST_F(JPEGLosslessPaths, AllKindsOfImagesAreTheSame)
{
    int aCount = 0;
    for (JpegSpec aSpec : MakeKinds())
    {
        for (int i = 0; i < 15 * 7 * 4; ++i)
        {
            aSpec.itsPrecision = 2 + i % 15;
            aSpec.itsPredictor = 1 + i / 15 % 7;
            aSpec.itsWidth = 1 + (i * 7) % 23;
            aSpec.itsHeight = 1 + (i * 5) % 17;
            aSpec.itsPointTransform = i / 105 % 2 == 0 ? 0 : std::min(i % 4, aSpec.itsPrecision - 1);
            aSpec.itsRestartInterval = i / 210 * (1 + i % 3) * aSpec.itsWidth;
            const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec, static_cast<unsigned int>(i)));
            const int aBuild = aSpec.itsPrecision <= 8 ? 8 : aSpec.itsPrecision <= 12 ? 12 : 16;
            const auto aModel = i % 2 == 0 ? Decoder::COLOR_MODEL_RGB : Decoder::COLOR_MODEL_YBR_FULL_422;
            ASSERT_TRUE(PathsAgree({aBuild, aModel}, aJpeg)) << "image " << i;
            ASSERT_TRUE(PathsAgree({16, Decoder::COLOR_MODEL_RGB, 1 << 20}, aJpeg)) << "image " << i;
            aCount += 2;
        }
    }
    EXPECT_EQ(aCount, 8 * 420 * 2);
}

// Large enough for large tables, many fills of the input and many rows between decisions.
TEST_F(JPEGLosslessPaths, LargeImagesAreTheSame)
{
    for (JpegSpec aSpec : MakeKinds())
    {
        for (const int aPredictor : {1, 4, 6})
        {
            aSpec.itsPrecision = aPredictor == 4 ? 16 : 7;
            aSpec.itsPredictor = aPredictor;
            aSpec.itsWidth = 311;
            aSpec.itsHeight = 203;
            const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
            for (const int aLargestRead : {1, 1000, 1 << 20})
            {
                ASSERT_TRUE(PathsAgree({16, Decoder::COLOR_MODEL_RGB, aLargestRead}, aJpeg));
            }
        }
    }
}

/// Damages a stream: one bit to a handful, bytes lost, doubled or swapped, markers where none belong, the
/// end missing.
Bytes Damage(Bytes theJpeg, std::mt19937& theRandom)
{
    const auto aPlace = [&](std::size_t theRange)
    { return static_cast<std::ptrdiff_t>(theRandom() % theRange); };
    // Every other stream is struck where one bit changes most.
    const std::size_t aRange =
        theRandom() % 2 == 0 ? std::min<std::size_t>(theJpeg.size(), 90) : theJpeg.size();
    for (unsigned int i = 0; i <= theRandom() % 4; ++i)
    {
        const std::ptrdiff_t anIndex = aPlace(std::min(aRange, theJpeg.size()));
        const auto aByte = static_cast<std::uint8_t>(theRandom());
        switch (theRandom() % 8)
        {
        case 0:
            theJpeg.insert(theJpeg.begin() + anIndex, aByte);
            break;
        case 1:
            theJpeg.erase(theJpeg.begin() + anIndex);
            break;
        case 2:
            theJpeg[static_cast<std::size_t>(anIndex)] = 0xff;
            break;
        case 3:
            theJpeg.insert(theJpeg.begin() + anIndex, {0xff, static_cast<std::uint8_t>(0xd0 + aByte % 10)});
            break;
        case 4:
            std::reverse(theJpeg.begin() + anIndex, std::min(theJpeg.begin() + anIndex + 5, theJpeg.end()));
            break;
        default:
            theJpeg[static_cast<std::size_t>(anIndex)] ^= static_cast<std::uint8_t>(1u << (aByte % 8));
            break;
        }
    }
    if (theRandom() % 16 == 0)
    {
        theJpeg.resize(theJpeg.size() - static_cast<std::size_t>(aPlace(theJpeg.size() / 2)));
    }
    return theJpeg;
}

// What damage makes of an image is the library's affair, down to the last pixel. Two things may differ:
// counts and texts of warnings, as we read further ahead; and the pixels where a scan behind the first names
// a component twice, which no encoder writes and the library decodes into each other.
TEST_F(JPEGLosslessPaths, DamagedStreamsAreTheSame)
{
    std::mt19937 aRandom(20240531);
    std::vector<Bytes> aVictims;
    for (JpegSpec aSpec : MakeKinds())
    {
        for (const int aPrecision : {7, 12, 16})
        {
            aSpec.itsPrecision = aPrecision;
            aSpec.itsWidth = 21;
            aSpec.itsHeight = 19;
            aSpec.itsPredictor = 1 + static_cast<int>(aVictims.size() % 7);
            aSpec.itsRestartInterval = aVictims.size() % 3 == 0 ? 21 * 3 : 0;
            aSpec.itsPointTransform = aPrecision == 12 ? 1 : 0;
            aVictims.push_back(MakeJpeg(aSpec, MakeSamples(aSpec)));
        }
    }
    int aPictures = 0;
    const int aRounds = Rounds(2600);
    for (int i = 0; i < aRounds; ++i)
    {
        const Bytes aJpeg = Damage(aVictims[static_cast<std::size_t>(i) % aVictims.size()], aRandom);
        Setting aSetting;
        aSetting.itsBuild = i % 5 == 0 ? 8 : i % 5 == 1 ? 12 : 16;
        aSetting.itsModel = i % 2 == 0 ? Decoder::COLOR_MODEL_RGB : Decoder::COLOR_MODEL_YBR_FULL_422;
        ASSERT_TRUE(PathsAgree(aSetting, aJpeg, false)) << "round " << i;
        aPictures += DecodeOn(JPEGPath::FAST, aSetting, aJpeg).itsError.empty() ? 1 : 0;
    }
    EXPECT_GT(aPictures, aRounds / 10);
    EXPECT_LT(aPictures, aRounds);
}

} // namespace
