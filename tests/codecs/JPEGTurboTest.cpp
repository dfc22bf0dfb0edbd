// SPDX-License-Identifier: Apache-2.0
// DCT images on the library's path and on libjpeg-turbo's: nobody may see a difference.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "codecs/JPEGTurboHelpers.h"
#include "support/ForEachTarget.h"

namespace
{

using Process = JpegSpec::Process;
using Content = DctSpec::Content;

/// Whether libjpeg-turbo must have decoded the image itself.
bool IsForTurbo(const DctSpec& theSpec)
{
    const bool isUsualSampling = theSpec.itsH <= 2 && (theSpec.itsV == 1 || theSpec.itsV == theSpec.itsH);
    return isUsualSampling && theSpec.itsComponents != 4 && theSpec.itsQuality >= 50;
}

void ExpectSame(const DctSpec& theSpec)
{
    const Bytes aJpeg = MakeDctJpeg(theSpec);
    const auto aDescribe = [&]
    {
        return std::to_string(theSpec.itsWidth) + " x " + std::to_string(theSpec.itsHeight) + " x " +
               std::to_string(theSpec.itsComponents) + ", sampling " + std::to_string(theSpec.itsH) + "x" +
               std::to_string(theSpec.itsV) + ", quality " + std::to_string(theSpec.itsQuality) +
               (theSpec.isProgressive ? ", progressive" : "") + (theSpec.isRGB ? ", RGB" : "");
    };
    const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aJpeg);
    EXPECT_TRUE(DecodeOn(JPEGPath::AUTOMATIC, aJpeg) == aLibrary) << aDescribe();
    EXPECT_EQ(aLibrary.itsError.empty(), theSpec.itsComponents != 4) << aDescribe();
    if (IsForTurbo(theSpec))
    {
        const TurboResult aTurbo = DecodeWithTurbo(aJpeg, theSpec);
        EXPECT_TRUE(aTurbo.isTaken && aTurbo.itsPixels == aLibrary.itsPixels) << aDescribe();
    }
}

// Every edge of the interpolation: sizes around a block and below the shortest row that is interpolated.
TEST(JPEGTurbo, SamplingsAndSizesComeOutAlike)
{
    constexpr std::array<std::array<int, 2>, 8> kSamplings = {
        {{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}, {4, 2}, {1, 4}, {3, 1}}};
    constexpr std::array<std::array<int, 2>, 7> kSizes = {
        {{1, 1}, {2, 1}, {3, 7}, {5, 2}, {17, 16}, {33, 34}, {64, 9}}};
    DctSpec aSpec;
    for (const auto& aSampling : kSamplings)
    {
        for (const auto& aSize : kSizes)
        {
            for (const bool isProgressive : {false, true})
            {
                aSpec.itsH = aSampling[0];
                aSpec.itsV = aSampling[1];
                aSpec.itsWidth = aSize[0];
                aSpec.itsHeight = aSize[1];
                aSpec.isProgressive = isProgressive;
                ExpectSame(aSpec);
            }
        }
    }
}

TEST(JPEGTurbo, CodingsComeOutAlike)
{
    for (const int aQuality : {1, 10, 50, 75, 100})
    {
        for (const int aKind : {0, 1, 2, 3, 4, 5})
        {
            for (int aBits = 0; aBits < 16; ++aBits)
            {
                DctSpec aSpec;
                aSpec.itsQuality = aQuality;
                aSpec.itsComponents = aKind == 0 ? 1 : aKind == 5 ? 4 : 3;
                aSpec.isRGB = aKind == 1;
                aSpec.itsH = aKind == 3 || aKind == 4 ? 2 : 1;
                aSpec.itsV = aKind == 4 ? 2 : 1;
                aSpec.isProgressive = (aBits & 1) != 0;
                aSpec.isOptimised = (aBits & 2) != 0;
                aSpec.itsRestartInterval = (aBits & 4) != 0 ? 3 : 0;
                aSpec.itsContent = (aBits & 8) != 0 ? Content::NOISE : Content::SMOOTH;
                ExpectSame(aSpec);
            }
        }
    }
}

// Twelve bits: the library's own transform, rebuilt for every instruction set, inside the image and where
// blocks hang over its edges.
TEST(JPEGTurbo, DeepGreyImagesComeOutAlike)
{
    constexpr std::array<std::array<int, 2>, 5> kSizes = {{{1, 1}, {7, 9}, {8, 8}, {61, 45}, {128, 64}}};
    for (const bool isProgressive : {false, true})
    {
        for (const auto& aSize : kSizes)
        {
            for (const int aStep : {1, 30, 255})
            {
                const JpegSpec aSpec = MakeDeepSpec(isProgressive, aSize[0], aSize[1], aStep);
                Samples aSamples = MakeSamples(aSpec);
                std::mt19937 aRandom(5);
                for (std::size_t i = 0; aStep != 30 && i < aSamples.size(); ++i)
                {
                    aSamples[i] = aRandom() % 2 == 0 ? 0 : 4095;
                }
                const Bytes aJpeg = MakeJpeg(aSpec, aSamples);
                const Outcome aLibrary = DecodeDeepOn(JPEGPath::LIBRARY, aJpeg);
                ASSERT_EQ(aLibrary.itsError, "");
                ForEachTarget([&] { EXPECT_TRUE(DecodeDeepOn(JPEGPath::AUTOMATIC, aJpeg) == aLibrary); });
                DctSpec aHeader;
                aHeader.itsWidth = aSpec.itsWidth;
                aHeader.itsHeight = aSpec.itsHeight;
                aHeader.itsComponents = 1;
                aHeader.isProgressive = isProgressive;
                const TurboResult aTurbo = DecodeWithTurbo(aJpeg, aHeader, 12);
                EXPECT_TRUE(aTurbo.isTaken && aTurbo.itsPixels == aLibrary.itsPixels);
            }
        }
    }
}

// Coefficients far beyond those of any image, alone in their columns, which the library takes a shortcut for.
TEST(JPEGTurbo, WildCoefficientsOfDeepImagesComeOutAlike)
{
    const JpegSpec aSpec = MakeDeepSpec(false, 64, 16, 1);
    Samples aSamples = MakeSamples(aSpec);
    for (std::size_t i = 0; i < aSamples.size(); ++i)
    {
        aSamples[i] = i % 64 * 7 % 5 < 2 ? 0 : 4095;
    }
    Bytes aJpeg = MakeJpeg(aSpec, aSamples);
    const Bytes aMarker = {0xff, 0xdb, 0, 67, 0};
    const auto aTable = std::search(aJpeg.begin(), aJpeg.end(), aMarker.begin(), aMarker.end());
    ASSERT_NE(aTable, aJpeg.end());
    std::fill_n(aTable + 5, 64, std::uint8_t{255});
    const Outcome aLibrary = DecodeDeepOn(JPEGPath::LIBRARY, aJpeg);
    ASSERT_EQ(aLibrary.itsError, "");
    ForEachTarget([&] { EXPECT_TRUE(DecodeDeepOn(JPEGPath::AUTOMATIC, aJpeg) == aLibrary); });
}

// The one sampling of which the two libraries are known to make different pixels.
TEST(JPEGTurbo, RowsOfHalvedChromaAreTheLibrarysOwn)
{
    DctSpec aSpec;
    aSpec.itsV = 2;
    const Bytes aJpeg = MakeDctJpeg(aSpec);
    const TurboResult aTurbo = DecodeWithTurbo(aJpeg, aSpec);
    EXPECT_TRUE(aTurbo.isTaken);
    EXPECT_NE(aTurbo.itsPixels, DecodeOn(JPEGPath::AUTOMATIC, aJpeg).itsPixels);
}

JpegSpec MakeSpec(Process theProcess, std::vector<int> theIds, bool theJFIF, int theAdobe,
                  std::vector<int> theComments = {})
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    aSpec.itsWidth = 40;
    aSpec.itsHeight = 33;
    aSpec.itsComponents = 3;
    aSpec.itsQuantization = 20;
    aSpec.itsComponentIds = std::move(theIds);
    aSpec.itsJFIF = theJFIF;
    aSpec.itsAdobeTransform = theAdobe;
    aSpec.itsCommentLengths = std::move(theComments);
    return aSpec;
}

// Markers, identifiers and the data set settle the colour space; headers of several fills and of more than
// is kept; fills that end anywhere.
TEST(JPEGTurbo, HeadersAreReadAlike)
{
    const std::vector<JpegSpec> aSpecs = {
        MakeSpec(Process::BASELINE, {}, true, -1),
        MakeSpec(Process::EXTENDED, {}, false, 0),
        MakeSpec(Process::BASELINE, {}, false, 1),
        MakeSpec(Process::BASELINE, {}, true, 2),
        MakeSpec(Process::PROGRESSIVE, {'R', 'G', 'B'}, false, -1),
        MakeSpec(Process::BASELINE, {0, 7, 255}, false, -1),
        MakeSpec(Process::BASELINE, {1, 1, 2}, false, -1),
        MakeSpec(Process::BASELINE, {}, false, -1, {65533, 0, 40000}),
        MakeSpec(Process::BASELINE, {}, false, -1, std::vector<int>(20, 65533)),
    };
    for (std::size_t i = 0; i < aSpecs.size(); ++i)
    {
        const Bytes aJpeg = MakeJpeg(aSpecs[i], MakeSamples(aSpecs[i]));
        for (const int aRead : {1, 700, 32768})
        {
            for (const auto aModel : {Decoder::COLOR_MODEL_UNKNOWN, Decoder::COLOR_MODEL_RGB})
            {
                const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aJpeg, aRead, aModel);
                EXPECT_EQ(aLibrary.itsError, "") << "row " << i;
                EXPECT_TRUE(DecodeOn(JPEGPath::AUTOMATIC, aJpeg, aRead, aModel) == aLibrary)
                    << "row " << i << ", " << aRead << " bytes a read, model " << aModel;
            }
        }
    }
}

/// Cuts the image before the last marker of that number, and ends it there.
Bytes EndBefore(Bytes theJpeg, std::uint8_t theMarker)
{
    const Bytes aMarker = {0xff, theMarker};
    const auto anEnd = std::find_end(theJpeg.begin(), theJpeg.end(), aMarker.begin(), aMarker.end());
    theJpeg.erase(anEnd, theJpeg.end());
    theJpeg.insert(theJpeg.end(), {0xff, 0xd9});
    return theJpeg;
}

Bytes InsertBeforeEnd(Bytes theJpeg, std::size_t theCount, std::uint8_t theByte)
{
    theJpeg.insert(theJpeg.end() - 2, theCount, theByte);
    return theJpeg;
}

/// Takes out the first segment of that marker.
Bytes WithoutTables(Bytes theJpeg, std::uint8_t theMarker)
{
    const Bytes aMarker = {0xff, theMarker};
    const auto aBegin = std::search(theJpeg.begin(), theJpeg.end(), aMarker.begin(), aMarker.end());
    theJpeg.erase(aBegin, aBegin + 2 + (aBegin[2] << 8 | aBegin[3]));
    return theJpeg;
}

/// JFIF 9: a warning at the very beginning.
Bytes WithOddVersion(Bytes theJpeg)
{
    theJpeg.at(11) = 9;
    return theJpeg;
}

// What looks unusual only after the header: libjpeg-turbo must give up, because it would smooth, warn, invent
// or read on in its own way.
TEST(JPEGTurbo, GivesUpOnWhatItWouldDecodeDifferently)
{
    DctSpec aPlain;
    DctSpec aCoarse;
    aCoarse.itsQuality = 10;
    DctSpec aProgressive;
    aProgressive.isProgressive = true;
    struct Row
    {
        const char* itsName;
        DctSpec itsSpec;
        Bytes itsJpeg;
        bool isTaken;
    };
    const std::vector<Row> aRows = {
        {"as it is", aPlain, MakeDctJpeg(aPlain), true},
        {"coarse steps", aCoarse, MakeDctJpeg(aCoarse), false},
        {"all scans", aProgressive, MakeDctJpeg(aProgressive), true},
        {"last scan missing", aProgressive, EndBefore(MakeDctJpeg(aProgressive), 0xda), false},
        {"left-over bytes", aPlain, InsertBeforeEnd(MakeDctJpeg(aPlain), 50, 0x55), false},
        {"fill bytes", aPlain, InsertBeforeEnd(MakeDctJpeg(aPlain), 5000, 0xff), true},
        {"table missing", aPlain, WithoutTables(MakeDctJpeg(aPlain), 0xc4), false},
        {"warning long before the error", aPlain, WithOddVersion(WithoutTables(MakeDctJpeg(aPlain), 0xdb)),
         false},
        {"not the image of the header", aProgressive, MakeDctJpeg(aPlain), false},
    };
    testing::internal::CaptureStderr();
    for (const Row& aRow : aRows)
    {
        EXPECT_EQ(DecodeWithTurbo(aRow.itsJpeg, aRow.itsSpec).isTaken, aRow.isTaken) << aRow.itsName;
        EXPECT_TRUE(DecodeOn(JPEGPath::AUTOMATIC, aRow.itsJpeg, 100) ==
                    DecodeOn(JPEGPath::LIBRARY, aRow.itsJpeg, 100))
            << aRow.itsName;
    }
    testing::internal::GetCapturedStderr();
}

// The library itself decodes what libjpeg-turbo gave up, so its warning is printed, once.
TEST(JPEGTurbo, WarningsAreTheLibrarysOwn)
{
    const Bytes aJpeg = InsertBeforeEnd(MakeDctJpeg(DctSpec()), 50, 0x55);
    const auto aWarning = [&](JPEGPath thePath)
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(DecodeOn(thePath, aJpeg).itsError, "");
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(aWarning(JPEGPath::AUTOMATIC), aWarning(JPEGPath::LIBRARY));
    EXPECT_NE(aWarning(JPEGPath::AUTOMATIC).find("extraneous bytes before marker 0xd9"), std::string::npos);
}

// A few pixels with megabytes behind them: neither kept nor lost.
TEST(JPEGTurbo, DataOutOfProportionAreLeftToTheLibrary)
{
    DctSpec aSpec;
    aSpec.itsWidth = aSpec.itsHeight = 16;
    const Bytes aJpeg = InsertBeforeEnd(MakeDctJpeg(aSpec), 3u << 20, 0xff);
    const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, aJpeg);
    EXPECT_EQ(aLibrary.itsPixels.size(), 16u * 16u * 3u);
    EXPECT_TRUE(DecodeOn(JPEGPath::AUTOMATIC, aJpeg) == aLibrary);
}

TEST(JPEGTurbo, OutputColourCanBeOverridden)
{
    for (const int aComponents : {1, 3})
    {
        for (const auto aModel : {Decoder::COLOR_MODEL_UNKNOWN, Decoder::COLOR_MODEL_GREY,
                                  Decoder::COLOR_MODEL_RGB, Decoder::COLOR_MODEL_YBR_FULL_422})
        {
            std::array<Outcome, 2> anOutcomes;
            for (std::size_t i = 0; i < 2; ++i)
            {
                DctSpec aSpec;
                aSpec.itsComponents = aComponents;
                ByteSource aSource(MakeDctJpeg(aSpec));
                const auto aDecoder = MakeDecoder(8);
                aDecoder->SetPath(i == 0 ? JPEGPath::LIBRARY : JPEGPath::AUTOMATIC);
                aDecoder->SetSource(nullptr, aSource);
                aDecoder->SetDecompressedColorspace(aModel);
                anOutcomes[i].itsPixels.resize(aDecoder->GetOutputSize());
                try
                {
                    aDecoder->Decode(0, anOutcomes[i].itsPixels.data(), anOutcomes[i].itsPixels.size());
                }
                catch (const ExceptionBase& anException)
                {
                    anOutcomes[i] = {{}, anException.GetMessageText()};
                }
            }
            EXPECT_TRUE(anOutcomes[0] == anOutcomes[1]) << aComponents << " components to model " << aModel;
        }
    }
}

// One codec, image after image: the library must not find itself in the middle of the one before.
TEST(JPEGTurbo, CodecGoesOnToTheNextImage)
{
    const auto aDecoder = MakeDecoder(8);
    Bytes aPixels;
    for (const int aWidth : {200, 61, 90})
    {
        DctSpec aSpec;
        aSpec.itsWidth = aWidth;
        const Bytes aJpeg = MakeDctJpeg(aSpec);
        ByteSource aSource(aJpeg, 1500);
        ASSERT_NO_THROW(aPixels = DecodeBytes(*aDecoder, aSource));
        EXPECT_EQ(aPixels, DecodeOn(JPEGPath::LIBRARY, aJpeg).itsPixels);
    }
    EXPECT_THROW(aDecoder->Decode(0, aPixels.data(), aPixels.size()), ExceptionBase);
}

/// Every JPEG stream of a file: the file itself, or the items of its pixel data.
std::vector<Bytes> FindStreams(const Bytes& theFile)
{
    const Bytes aStart = {0xff, 0xd8, 0xff};
    const auto aStartsAt = [&](std::size_t thePosition)
    {
        return theFile.size() - thePosition >= aStart.size() &&
               std::equal(aStart.begin(), aStart.end(),
                          theFile.begin() + static_cast<std::ptrdiff_t>(thePosition));
    };
    if (theFile.size() >= aStart.size() && aStartsAt(0))
    {
        return {theFile};
    }
    std::vector<Bytes> aStreams;
    const Bytes anItem = {0xfe, 0xff, 0x00, 0xe0};
    for (auto aPosition = std::search(theFile.begin(), theFile.end(), anItem.begin(), anItem.end());
         theFile.end() - aPosition >= 16;
         aPosition = std::search(aPosition + 4, theFile.end(), anItem.begin(), anItem.end()))
    {
        const auto aData = aPosition + 8;
        const std::size_t aLength =
            aPosition[4] | aPosition[5] << 8 | aPosition[6] << 16 | std::size_t{aPosition[7]} << 24;
        if (aStartsAt(static_cast<std::size_t>(aData - theFile.begin())) &&
            aLength <= static_cast<std::size_t>(theFile.end() - aData))
        {
            aStreams.emplace_back(aData, aData + static_cast<std::ptrdiff_t>(aLength));
        }
    }
    return aStreams;
}

TEST(JPEGTurbo, SampleFilesComeOutAlike)
{
    const std::filesystem::path aFolder = QUORIX_SAMPLES_DIR;
    if (!std::filesystem::is_directory(aFolder))
    {
        GTEST_SKIP() << "no sample files in " << aFolder;
    }
    testing::internal::CaptureStderr();
    int aPictures = 0;
    for (const auto& anEntry : std::filesystem::recursive_directory_iterator(aFolder))
    {
        if (!anEntry.is_regular_file())
        {
            continue;
        }
        std::ifstream aFile(anEntry.path(), std::ios::binary);
        const Bytes aContent(std::istreambuf_iterator<char>(aFile), {});
        for (const Bytes& aJpeg : FindStreams(aContent))
        {
            for (const auto aModel : {Decoder::COLOR_MODEL_UNKNOWN, Decoder::COLOR_MODEL_RGB})
            {
                const auto aDecode = [&](JPEGPath thePath)
                { return DecodeOn(thePath, aJpeg, 1 << 20, aModel, 1u << 27); };
                const Outcome aLibrary = aDecode(JPEGPath::LIBRARY);
                EXPECT_TRUE(aDecode(JPEGPath::AUTOMATIC) == aLibrary) << anEntry.path();
                aPictures += aLibrary.itsError.empty() ? 1 : 0;
            }
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(aPictures, 50);
}

} // namespace
