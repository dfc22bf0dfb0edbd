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
    const auto aBits = static_cast<std::size_t>(theWhole.bitsAllocated() * theWhole.samplesPerPixel());
    const auto aPixel = [&](int theColumn, int theRow)
    {
        return (static_cast<std::size_t>(theRow * theWhole.columns()) + static_cast<std::size_t>(theColumn)) *
               aBits;
    };
    const unsigned char* const aSource = theWhole.pixels().data();
    Bytes aPixels;
    if (aBits % 8 == 0)
    {
        for (int y = aTop; y < aBottom; ++y)
        {
            aPixels.insert(aPixels.end(), aSource + aPixel(aLeft, y) / 8, aSource + aPixel(aRight, y) / 8);
        }
        return aPixels;
    }
    std::vector<bool> aCut;
    for (int y = aTop; y < aBottom; ++y)
    {
        for (std::size_t b = aPixel(aLeft, y); b < aPixel(aRight, y); ++b)
        {
            aCut.push_back((aSource[b / 8] >> (b % 8) & 1) != 0);
        }
    }
    aPixels.resize((aCut.size() + 7) / 8);
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

/// Nothing for what cannot be decoded.
std::optional<Image> TryToDecode(const Bytes& theFile, const DecodeOptions& theOptions)
{
    try
    {
        return quorix::decode(theFile, theOptions);
    }
    catch (const quorix::DecodeError&)
    {
        return std::nullopt;
    }
}

/// How many regions were compared. theFull: the same image at full size, or null where that is wanted itself.
int CompareRegions(const Bytes& theFile, DecodeOptions theOptions, int theCount,
                   const Image* theFull = nullptr)
{
    const std::optional<Image> aWhole = TryToDecode(theFile, theOptions);
    if (!aWhole)
    {
        return 0;
    }
    const Image& aFull = theFull != nullptr ? *theFull : *aWhole;
    const bool isReduced = aWhole->columns() < aFull.columns() || aWhole->rows() < aFull.rows();
    if (theFull != nullptr && !isReduced)
    {
        return 0; // nothing that was not compared at full size
    }
    for (const Region& aRegion :
         SomeRegions(aFull.columns(), aFull.rows(), static_cast<unsigned>(theFile.size()), theCount))
    {
        theOptions.region = aRegion;
        const Image aPart = quorix::decode(theFile, theOptions);
        const Bytes aCut = CutOf(*aWhole, aRegion, isReduced ? aWhole->scale() - 1 : 0);
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
        {"planes", Native(EXPLICIT_LITTLE, 3, "RGB", 4, 5, 8, 0, Counting(60), "OB", 1)},
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

/// A native file of 60000 x 60000 pixels of 8 bits, which counts what is read.
class HugeFile final : public quorix::InputStream
{
public:
    std::size_t read(unsigned char* theBuffer, std::size_t theSize) override
    {
        for (std::size_t i = 0; i < theSize; ++i, ++itsPosition)
        {
            theBuffer[i] = itsPosition < itsHeader.size() ? itsHeader[itsPosition]
                                                          : PixelAt(itsPosition - itsHeader.size());
        }
        itsBytesRead += theSize;
        return theSize;
    }
    bool canSeek() const override { return true; }
    void seek(std::uint64_t thePosition) override { itsPosition = thePosition; }
    std::uint64_t position() const override { return itsPosition; }
    std::optional<std::uint64_t> length() const override
    {
        return itsHeader.size() + std::uint64_t{kLines} * kLines;
    }

    static std::uint8_t PixelAt(std::uint64_t theIndex)
    {
        return static_cast<std::uint8_t>(theIndex / kLines + 3 * (theIndex % kLines));
    }

    static constexpr std::uint16_t kLines = 60000;
    std::size_t itsBytesRead = 0;

private:
    Bytes itsHeader = DicomBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE)
                          .AddImageAttributes(1, "MONOCHROME2", kLines, kLines, 8, 8)
                          .AddHeader(DICOMTags::PixelData, "OB", std::uint32_t{kLines} * kLines)
                          .Build();
    std::size_t itsPosition = 0;
};

TEST(Region, ReadsItsOwnPixelsOfANativeFile)
{
    HugeFile aFile;
    DecodeOptions anOptions;
    anOptions.region = Region{31000, 59900, 100, 100};
    const Image anImage = quorix::decode(aFile, anOptions);
    ASSERT_EQ(anImage.pixels().size(), 10000U);
    for (std::uint64_t i = 0; i < 10000; ++i)
    {
        ASSERT_EQ(anImage.pixels()[i],
                  HugeFile::PixelAt((59900 + i / 100) * HugeFile::kLines + 31000 + i % 100));
    }
    EXPECT_LT(aFile.itsBytesRead, 1U << 20);
}

JpegSpec RandomJpeg(std::mt19937& theGenerator)
{
    const auto aPick = [&](int theLeast, int theMost)
    { return std::uniform_int_distribution<int>(theLeast, theMost)(theGenerator); };
    using Process = JpegSpec::Process;
    JpegSpec aSpec;
    aSpec.itsWidth = aPick(1, 70);
    aSpec.itsHeight = aPick(1, 90);
    aSpec.itsComponents = aPick(0, 1) == 0 ? 1 : 3;
    aSpec.itsProcess = static_cast<Process>(aPick(0, 3));
    const bool isLossless = aSpec.itsProcess == Process::LOSSLESS;
    const bool isDeep = aPick(0, 2) == 0 && aSpec.itsProcess != Process::BASELINE;
    aSpec.itsPrecision = isDeep ? (isLossless ? aPick(9, 16) : 12) : 8;
    aSpec.itsInterleaved = aPick(0, 3) != 0;
    aSpec.itsPredictor = aPick(1, 7);
    aSpec.itsQuantization = aPick(1, 20);
    if (!isLossless && aSpec.itsComponents == 3)
    {
        aSpec.itsSampling = {{aPick(1, 2), aPick(1, 2)}, {1, 1}, {1, 1}};
    }
    aSpec.itsRestartInterval = aPick(0, 2) != 0 ? 0 : isLossless ? 5 * aSpec.itsWidth : aPick(1, 12);
    return aSpec;
}

TEST(Region, IsTheCutOfTheWholeOfAnyJPEGAndRLE)
{
    std::mt19937 aGenerator(7);
    int aCompared = 0;
    for (int i = 0; i < 150; ++i)
    {
        const JpegSpec aSpec = RandomJpeg(aGenerator);
        Bytes aFile = MakeJpeg(aSpec, MakeSamples(aSpec, static_cast<unsigned>(i)));
        SCOPED_TRACE("image " + std::to_string(i));
        aCompared += CompareRegions(aFile, {}, 5);
        aFile.resize(aFile.size() * 2 / 3); // its end is missing, which costs rows
        CompareRegions(aFile, {}, 5);

        // Packets of all lengths, which run on from row to row.
        const auto aSize = static_cast<std::size_t>(aSpec.itsWidth * aSpec.itsHeight);
        std::vector<Bytes> aPlanes;
        for (int p = 0; p < aSpec.itsComponents; ++p)
        {
            Bytes& aPlane = aPlanes.emplace_back(Counting(aSize));
            const auto aStart = std::min<std::size_t>(aSize, aGenerator() % 999);
            std::fill_n(aPlane.begin(), aStart, std::uint8_t{9});
        }
        const char* const anInterpretation = aSpec.itsComponents == 1 ? "MONOCHROME2" : "RGB";
        for (const bool isCut : {false, true})
        {
            Bytes aFrame = RleFrame(aPlanes);
            aFrame.resize(isCut ? aFrame.size() * 9 / 10 : aFrame.size());
            CompareRegions(Encapsulated(TransferSyntaxType::TSRLEUID,
                                        {aSpec.itsWidth, aSpec.itsHeight, aSpec.itsComponents},
                                        anInterpretation, {aFrame}),
                           {}, 5);
        }
    }
    EXPECT_GT(aCompared, 700);
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
            const std::optional<Image> aFull = TryToDecode(aFile, {});
            DecodeOptions anOptions;
            aCompared += CompareRegions(aFile, anOptions, 4);
            for (anOptions.scale = 2; aFull && anOptions.scale <= 3; ++anOptions.scale)
            {
                aCompared += CompareRegions(aFile, anOptions, 4, &*aFull);
            }
        }
    }
    EXPECT_GT(aCompared, 1000);
}
} // namespace
