// SPDX-License-Identifier: Apache-2.0
// A region of a whole-slide image is what its frames, decoded whole and laid side by side, show there.
#include <random>

#include <gmock/gmock.h>

#include "decompressors/Part10Files.h"
#include "quorix/decode.h"

namespace
{
using namespace Part10Files;
using quorix::DecodeOptions;
using quorix::Image;
using quorix::Region;

/// A tile, one for each frame.
struct Place
{
    int itsX = 0;
    int itsY = 0;
    int itsPlane = 0; ///< focal planes 0 and 1, and those of the other optical path
};

struct Slide
{
    const char* itsName;
    std::pair<int, int> itsSize; ///< columns and rows of the matrix
    JpegSpec itsTile;
    const char* itsInterpretation;
    std::string itsUID = "";
    bool itsIsFull = true;
    int itsBits = 8;
    Bytes itsAbsent = {}; ///< a pixel without a tile
    std::vector<std::uint16_t> itsAbsentColour = {};
};

/// All tiles of four planes; of a sparse slide shuffled, and many of them missing.
std::vector<Place> PlacesOf(const Slide& theSlide)
{
    std::vector<Place> aPlaces;
    for (int p = 0; p < 4; ++p)
    {
        for (int y = 0; y < theSlide.itsSize.second; y += theSlide.itsTile.itsHeight)
        {
            for (int x = 0; x < theSlide.itsSize.first; x += theSlide.itsTile.itsWidth)
            {
                aPlaces.push_back({x, y, p});
            }
        }
    }
    if (!theSlide.itsIsFull)
    {
        std::shuffle(aPlaces.begin(), aPlaces.end(), std::mt19937(3));
        aPlaces.resize(aPlaces.size() * 2 / 3);
    }
    return aPlaces;
}

DicomBuilder PlaceItem(const Place& thePlace)
{
    using enum DicomBuilder::Syntax;
    const auto aNumber = [](int theNumber) { return std::vector{static_cast<std::uint32_t>(theNumber)}; };
    DicomBuilder aPosition(EXPLICIT_LITTLE);
    aPosition
        .AddString(DICOMTags::ZOffsetInSlideCoordinateSystem, "DS",
                   thePlace.itsPlane % 2 == 0 ? "0.0" : "0.5")
        .AddUL(DICOMTags::ColumnPositionInTotalImagePixelMatrix, aNumber(thePlace.itsX + 1))
        .AddUL(DICOMTags::RowPositionInTotalImagePixelMatrix, aNumber(thePlace.itsY + 1));
    DicomBuilder aPath(EXPLICIT_LITTLE);
    aPath.AddString(DICOMTags::OpticalPathIdentifier, "SH", thePlace.itsPlane < 2 ? "A" : "B");
    return DicomBuilder(EXPLICIT_LITTLE)
        .AddSequence(DICOMTags::OpticalPathIdentificationSequence, {aPath})
        .AddSequence(DICOMTags::PlanePositionSlideSequence, {aPosition});
}

/// One frame's bytes, native or compressed.
Bytes FrameOf(const Slide& theSlide, unsigned theFrame)
{
    const JpegSpec& aTile = theSlide.itsTile;
    const auto aPixels = static_cast<std::size_t>(aTile.itsWidth * aTile.itsHeight);
    if (theSlide.itsUID == TransferSyntaxType::TSJPEG2KUID)
    {
        return Jpeg2000Streams::Lossy();
    }
    if (!theSlide.itsUID.empty())
    {
        return MakeJpeg(aTile, MakeSamples(aTile, theFrame));
    }
    return Counting(aPixels * static_cast<std::size_t>(theSlide.itsBits) / 8, 7 * theFrame);
}

Bytes FileOf(const Slide& theSlide)
{
    const std::vector<Place> aPlaces = PlacesOf(theSlide);
    const auto aShort = [](int theNumber) { return static_cast<std::uint16_t>(theNumber); };
    const auto aLong = [](int theNumber) { return std::vector{static_cast<std::uint32_t>(theNumber)}; };
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, theSlide.itsUID);
    if (theSlide.itsIsFull)
    {
        aBuilder.AddString(DICOMTags::DimensionOrganizationType, "CS", "TILED_FULL");
    }
    aBuilder.AddImageAttributes(aShort(theSlide.itsTile.itsComponents), theSlide.itsInterpretation,
                                aShort(theSlide.itsTile.itsHeight), aShort(theSlide.itsTile.itsWidth),
                                aShort(theSlide.itsBits), aShort(theSlide.itsBits), 0,
                                static_cast<int>(aPlaces.size()));
    aBuilder.AddUL(DICOMTags::TotalPixelMatrixColumns, aLong(theSlide.itsSize.first))
        .AddUL(DICOMTags::TotalPixelMatrixRows, aLong(theSlide.itsSize.second));
    if (!theSlide.itsAbsentColour.empty())
    {
        aBuilder.AddUS(DICOMTags::RecommendedAbsentPixelCIELabValue, theSlide.itsAbsentColour);
    }
    if (!theSlide.itsIsFull)
    {
        std::vector<DicomBuilder> anItems;
        std::transform(aPlaces.begin(), aPlaces.end(), std::back_inserter(anItems), PlaceItem);
        aBuilder.AddSequence(DICOMTags::PerFrameFunctionalGroupsSequence, anItems);
    }
    std::vector<Bytes> aFrames;
    Bytes aPixels;
    for (std::size_t f = 0; f < aPlaces.size(); ++f)
    {
        aFrames.push_back(Even(FrameOf(theSlide, static_cast<unsigned>(f))));
        aPixels.insert(aPixels.end(), aFrames.back().begin(), aFrames.back().end());
    }
    return theSlide.itsUID.empty() ? aBuilder.AddNativePixelData(aPixels, "OB").Build()
                                   : aBuilder.AddEncapsulatedPixelData(aFrames).Build();
}

/// All tiles, each whole.
std::vector<Image> TilesOf(const Bytes& theFile, int theScale)
{
    std::vector<Image> aTiles;
    quorix::decodeFrames(theFile, {.scale = theScale},
                         [&](int, Image theTile)
                         {
                             aTiles.push_back(std::move(theTile));
                             return true;
                         });
    return aTiles;
}

/// A region, pixel by pixel, as the tiles show it, and how many pixels none shows.
struct Expected
{
    Expected(const Slide& theSlide, const std::vector<Image>& theTiles, int theFrame, const Region& theRegion)
        : itsPlaces(PlacesOf(theSlide))
    {
        const Image& aFirst = theTiles.front();
        itsLevels = aFirst.columns() < theSlide.itsTile.itsWidth ? aFirst.scale() - 1 : 0;
        const int aRest = (1 << itsLevels) - 1;
        for (int y = theRegion.y >> itsLevels; y < (theRegion.y + theRegion.height + aRest) >> itsLevels; ++y)
        {
            for (int x = theRegion.x >> itsLevels; x < (theRegion.x + theRegion.width + aRest) >> itsLevels;
                 ++x)
            {
                AddPixel(theSlide, theTiles, theFrame, x, y);
            }
        }
    }

    Bytes itsPixels;
    int itsLevels = 0;
    int itsHoles = 0;

private:
    std::vector<Place> itsPlaces;

    void AddPixel(const Slide& theSlide, const std::vector<Image>& theTiles, int theFrame, int theX, int theY)
    {
        for (std::size_t f = 0; f < theTiles.size(); ++f)
        {
            const Image& aTile = theTiles[f];
            const int aX = theX - (itsPlaces[f].itsX >> itsLevels);
            const int aY = theY - (itsPlaces[f].itsY >> itsLevels);
            if (itsPlaces[f].itsPlane == itsPlaces[static_cast<std::size_t>(theFrame)].itsPlane && aX >= 0 &&
                aY >= 0 && aX < aTile.columns() && aY < aTile.rows())
            {
                const int aBytes = aTile.samplesPerPixel() * aTile.bitsAllocated() / 8;
                const auto* const aPixel = aTile.pixels().begin() + (aY * aTile.columns() + aX) * aBytes;
                itsPixels.insert(itsPixels.end(), aPixel, aPixel + aBytes);
                return;
            }
        }
        ++itsHoles;
        itsPixels.insert(itsPixels.end(), theSlide.itsAbsent.begin(), theSlide.itsAbsent.end());
    }
};

std::vector<Slide> MakeSlides()
{
    constexpr int kSize = Jpeg2000Streams::kLossySize;
    const JpegSpec kJpeg{
        .itsWidth = 32, .itsHeight = 24, .itsComponents = 3, .itsSampling = {{2, 2}, {}, {}}};
    return {
        {"native", {50, 33}, {16, 8}, "MONOCHROME2", "", true, 8, {0}},
        {"sparse", {50, 33}, {16, 8}, "MONOCHROME1", "", false, 16, {0xff, 0xff}},
        {"half as light", {40, 21}, {9, 10}, "MONOCHROME2", "", false, 8, {119}, {0x8000, 0x8080, 0x8080}},
        {"JPEG",
         {100, 70},
         kJpeg,
         "YBR_FULL_422",
         TransferSyntaxType::TSJPEG50UID,
         false,
         8,
         {255, 255, 255}},
        {"JPEG 2000",
         {3 * kSize - 1, 2 * kSize},
         {kSize, kSize, 3},
         "YBR_ICT",
         TransferSyntaxType::TSJPEG2KUID},
    };
}

TEST(SlideRegion, IsWhatItsTilesShow)
{
    int aHalved = 0;
    for (const Slide& aSlide : MakeSlides())
    {
        SCOPED_TRACE(aSlide.itsName);
        const Bytes aFile = FileOf(aSlide);
        const std::vector<Image> aTiles[] = {TilesOf(aFile, 1), TilesOf(aFile, 2)};
        std::mt19937 aGenerator(5);
        const auto aPick = [&](int theLeast, int theMost)
        { return std::uniform_int_distribution<int>(theLeast, theMost)(aGenerator); };
        for (int i = 0; i < 40; ++i)
        {
            DecodeOptions anOptions;
            anOptions.frame = aPick(0, static_cast<int>(aTiles[0].size()) - 1);
            anOptions.scale = aPick(1, 2);
            const int aX = aPick(0, aSlide.itsSize.first - 1);
            const int aY = aPick(0, aSlide.itsSize.second - 1);
            anOptions.region =
                Region{aX, aY, aPick(1, aSlide.itsSize.first - aX), aPick(1, aSlide.itsSize.second - aY)};
            const Image anImage = quorix::decode(aFile, anOptions);
            const Expected aWanted(aSlide, aTiles[anOptions.scale - 1], anOptions.frame, *anOptions.region);
            aHalved += aWanted.itsLevels;
            EXPECT_EQ(anImage.scale() - 1, aWanted.itsLevels);
            EXPECT_TRUE(aWanted.itsPixels == Bytes(anImage.pixels().begin(), anImage.pixels().end()));
            EXPECT_EQ(anImage.attributeAsInt(0x0028, 0x0010), anImage.rows());
            EXPECT_EQ(aWanted.itsHoles > 0,
                      std::any_of(anImage.warnings().begin(), anImage.warnings().end(),
                                  [](const auto& theWarning) { return theWarning.identifier == "absent"; }));
        }
        EXPECT_THROW(quorix::decode(aFile, {.region = Region{0, 0, aSlide.itsSize.first + 1, 1}}),
                     quorix::DecodeError);
    }
    EXPECT_GT(aHalved, 0);
}
} // namespace
