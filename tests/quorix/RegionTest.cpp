// SPDX-License-Identifier: Apache-2.0
// A region is, bit for bit, the cut of the whole image: of small images of every layout, and of every sample.
#include <filesystem>
#include <random>

#include <gmock/gmock.h>

#include "decompressors/Part10Files.h"
#include "quorix/decode.h"
#include "support/SampleTable.h"

namespace
{
using namespace Part10Files;
using quorix::DecodeOptions;
using quorix::Image;
using quorix::Region;

/// One bit after the other: the pixels of theRegion as they stand in theWhole, which is decoded at theLevels.
Bytes CutOf(const Image& theWhole, Region theRegion, int theLevels)
{
    const int aRest = (1 << theLevels) - 1;
    const int aLeft = std::min(theRegion.x >> theLevels, theWhole.columns() - 1);
    const int aTop = std::min(theRegion.y >> theLevels, theWhole.rows() - 1);
    const int aRight = std::min((theRegion.x + theRegion.width + aRest) >> theLevels, theWhole.columns());
    const int aBottom = std::min((theRegion.y + theRegion.height + aRest) >> theLevels, theWhole.rows());
    const int aBits = theWhole.bitsAllocated() * theWhole.samplesPerPixel();
    std::vector<bool> aCut;
    for (int y = aTop; y < aBottom; ++y)
    {
        for (int b = aLeft * aBits; b < aRight * aBits; ++b)
        {
            const auto aBit =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(theWhole.columns() * aBits) +
                static_cast<std::size_t>(b);
            aCut.push_back((theWhole.pixels()[aBit / 8] >> (aBit % 8) & 1) != 0);
        }
    }
    Bytes aPixels((aCut.size() + 7) / 8);
    for (std::size_t i = 0; i < aCut.size(); ++i)
    {
        aPixels[i / 8] = static_cast<std::uint8_t>(aPixels[i / 8] | (aCut[i] ? 1U << (i % 8) : 0U));
    }
    return aPixels;
}

/// Regions of all sizes, the first a corner of one pixel, the second all of the image.
std::vector<Region> SomeRegions(int theColumns, int theRows, unsigned theSeed, int theCount)
{
    std::vector<Region> aRegions{{theColumns - 1, theRows - 1, 1, 1}, {0, 0, theColumns, theRows}};
    std::mt19937 aGenerator(theSeed);
    const auto aPick = [&](int theLeast, int theMost)
    { return std::uniform_int_distribution<int>(theLeast, theMost)(aGenerator); };
    while (static_cast<int>(aRegions.size()) < theCount)
    {
        const int aX = aPick(0, theColumns - 1);
        const int aY = aPick(0, theRows - 1);
        aRegions.push_back({aX, aY, aPick(1, theColumns - aX), aPick(1, theRows - aY)});
    }
    return aRegions;
}

/// How many images were compared: one for each region, 0 for what cannot be decoded.
int CompareRegions(const Bytes& theFile, DecodeOptions theOptions, int theCount)
{
    Image aWhole;
    int aColumns = 0;
    int aRows = 0;
    try
    {
        aWhole = quorix::decode(theFile, theOptions);
        DecodeOptions aFullSize = theOptions;
        aFullSize.scale = 1;
        const Image aFull = quorix::decode(theFile, aFullSize);
        aColumns = aFull.columns();
        aRows = aFull.rows();
    }
    catch (const quorix::DecodeError&)
    {
        return 0;
    }
    const bool isReduced = aWhole.columns() < aColumns || aWhole.rows() < aRows;
    for (const Region& aRegion :
         SomeRegions(aColumns, aRows, static_cast<unsigned>(theFile.size()), theCount))
    {
        theOptions.region = aRegion;
        const Image aPart = quorix::decode(theFile, theOptions);
        const Bytes aCut = CutOf(aWhole, aRegion, isReduced ? aWhole.scale() - 1 : 0);
        EXPECT_TRUE(aCut == Bytes(aPart.pixels().begin(), aPart.pixels().end()) &&
                    aPart.attributeAsInt(0x0028, 0x0010).value_or(aPart.rows()) == aPart.rows() &&
                    aPart.attributeAsInt(0x0028, 0x0011).value_or(aPart.columns()) == aPart.columns())
            << aRegion.width << " x " << aRegion.height << " at " << aRegion.x << ", " << aRegion.y
            << ", frame " << theOptions.frame << ", scale " << theOptions.scale;
    }
    return theCount;
}

TEST(Region, IsTheCutOfTheWholeInEveryLayout)
{
    using enum DicomBuilder::Syntax;
    JpegSpec aSpec{.itsWidth = 3, .itsHeight = 2};
    const Bytes aPlanes = RleFrame({Counting(6), Counting(6, 50), Counting(6, 90)});
    const struct
    {
        const char* itsName;
        Bytes itsFile;
        int itsFrames = 1;
    } kFiles[] = {
        {"bits", Native(EXPLICIT_LITTLE, 1, "MONOCHROME2", 5, 7, 1, 0, {0xA5, 0x3C, 0x96, 0x5A, 5, 0}, "OB")},
        {"bytes of two frames", Grey8(2), 2},
        {"big-endian words", Native(EXPLICIT_BIG, 1, "MONOCHROME2", 3, 4, 16, 1, Counting(24), "OW")},
        {"32 bits", Native(IMPLICIT_LITTLE, 1, "MONOCHROME2", 2, 3, 32, 0, Counting(24), "OW")},
        {"pairs", Native(EXPLICIT_LITTLE, 3, "YBR_FULL_422", 3, 4, 8, 0, Counting(24, 90), "OB")},
        {"RLE of two frames",
         Encapsulated(TransferSyntaxType::TSRLEUID, {3, 2, 3, 8}, "RGB", {aPlanes, aPlanes}), 2},
        {"JPEG 2000", GreyJpeg2000({Jpeg2000Streams::Grey12(), Jpeg2000Streams::Grey12()}), 2},
        {"palette", PaletteImage().AddNativePixelData({0, 1, 2, 3}, "OB").Build()},
    };
    for (const auto& aFile : kFiles)
    {
        SCOPED_TRACE(aFile.itsName);
        for (int f = 0; f < aFile.itsFrames; ++f)
        {
            DecodeOptions anOptions;
            anOptions.frame = f;
            EXPECT_GT(CompareRegions(aFile.itsFile, anOptions, 12), 0);
        }
        DecodeOptions anOptions;
        anOptions.region = Region{1, 0, 2, 1};
        int aFrames = 0;
        quorix::decodeFrames(aFile.itsFile, anOptions,
                             [&](int theFrame, const Image& theImage)
                             {
                                 DecodeOptions aWhole;
                                 aWhole.frame = theFrame;
                                 EXPECT_EQ(CutOf(quorix::decode(aFile.itsFile, aWhole), *anOptions.region, 0),
                                           Bytes(theImage.pixels().begin(), theImage.pixels().end()));
                                 return ++aFrames > 0;
                             });
        EXPECT_EQ(aFrames, aFile.itsFrames);
        for (const Region& anOutside :
             {Region{0, 0, 1, 50}, Region{40, 0, 1, 1}, Region{1 << 30, 0, 1 << 30, 1}})
        {
            anOptions.region = anOutside;
            EXPECT_THROW(quorix::decode(aFile.itsFile, anOptions), quorix::DecodeError);
        }
    }
}

TEST(Region, IsTheCutOfTheWholeOfEverySample)
{
    int aCompared = 0;
    for (const SampleSet aSet : {SampleSet::Images, SampleSet::NewCodecs})
    {
        if (SampleTable::GetFolder(aSet).empty())
        {
            GTEST_SKIP() << "no samples";
        }
        const SampleTable aTable = SampleTable::Load(0, aSet);
        for (const auto& [aName, someFrames] : aTable.GetFiles())
        {
            SCOPED_TRACE(aName);
            const Bytes aFile = SampleTable::ReadFile(aName, aSet);
            for (int aScale = 1; aScale <= 3; ++aScale)
            {
                DecodeOptions anOptions;
                anOptions.scale = aScale;
                anOptions.reading = aScale == 2 ? quorix::Reading::byContract : quorix::Reading::byMeaning;
                aCompared += CompareRegions(aFile, anOptions, 5);
            }
        }
    }
    EXPECT_GT(aCompared, 1000);
}
} // namespace
