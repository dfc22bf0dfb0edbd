// SPDX-License-Identifier: Apache-2.0
// A region of a whole-slide image is what its frames, decoded whole and laid side by side, show there.
#include <cstring>
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
    const char* itsName = "";
    int itsColumns = 0;
    int itsRows = 0;
    JpegSpec itsTile;
    const char* itsInterpretation = "MONOCHROME2";
    std::string itsUID = "";
    bool itsIsFull = true;
    int itsBits = 8;
    std::vector<std::uint16_t> itsAbsentColour = {};
};

/// All tiles of four planes; of a sparse slide shuffled, and many of them missing.
std::vector<Place> PlacesOf(const Slide& theSlide)
{
    std::vector<Place> aPlaces;
    for (int p = 0; p < 4; ++p)
    {
        for (int y = 0; y < theSlide.itsRows; y += theSlide.itsTile.itsHeight)
        {
            for (int x = 0; x < theSlide.itsColumns; x += theSlide.itsTile.itsWidth)
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
    aBuilder.AddUL(DICOMTags::TotalPixelMatrixColumns, aLong(theSlide.itsColumns))
        .AddUL(DICOMTags::TotalPixelMatrixRows, aLong(theSlide.itsRows));
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

/// The matrix, padding of its last tiles included, as theFile's frames show it that share theFrame's plane.
struct Canvas
{
    Canvas(const Slide& theSlide, const Bytes& theFile, const DecodeOptions& theOptions,
           const Bytes& theAbsent)
    {
        const std::vector<Place> aPlaces = PlacesOf(theSlide);
        quorix::decodeFrames(theFile, DecodeOptions{.scale = theOptions.scale},
                             [&](int theFrame, const Image& theTile)
                             {
                                 const Place& aPlace = aPlaces[static_cast<std::size_t>(theFrame)];
                                 if (itsPixels.empty())
                                 {
                                     Begin(theSlide, theTile, theAbsent);
                                 }
                                 if (aPlace.itsPlane ==
                                     aPlaces[static_cast<std::size_t>(theOptions.frame)].itsPlane)
                                 {
                                     Paste(theTile, aPlace);
                                 }
                                 return true;
                             });
    }

    Bytes Cut(const Region& theRegion) const
    {
        Bytes aCut;
        const int aRest = (1 << itsLevels) - 1;
        for (int y = theRegion.y >> itsLevels; y < (theRegion.y + theRegion.height + aRest) >> itsLevels; ++y)
        {
            const auto aFrom =
                itsPixels.begin() + (y * itsWidth + (theRegion.x >> itsLevels)) * itsPixelBytes;
            const auto aTo =
                itsPixels.begin() +
                (y * itsWidth + ((theRegion.x + theRegion.width + aRest) >> itsLevels)) * itsPixelBytes;
            aCut.insert(aCut.end(), aFrom, aTo);
        }
        return aCut;
    }

    int itsLevels = 0;

private:
    void Begin(const Slide& theSlide, const Image& theTile, const Bytes& theAbsent)
    {
        itsLevels = theTile.columns() < theSlide.itsTile.itsWidth ? theTile.scale() - 1 : 0;
        itsPixelBytes = theTile.samplesPerPixel() * theTile.bitsAllocated() / 8;
        itsWidth = theSlide.itsColumns + theTile.columns();
        itsPixels = Flat(theAbsent, itsWidth * (theSlide.itsRows + theTile.rows()));
    }

    void Paste(const Image& theTile, const Place& thePlace)
    {
        const int aRowBytes = theTile.columns() * itsPixelBytes;
        for (int y = 0; y < theTile.rows(); ++y)
        {
            const int aRow = (thePlace.itsY >> itsLevels) + y;
            std::copy_n(theTile.pixels().begin() + y * aRowBytes, aRowBytes,
                        itsPixels.begin() + (aRow * itsWidth + (thePlace.itsX >> itsLevels)) * itsPixelBytes);
        }
    }

    int itsWidth = 0;
    int itsPixelBytes = 0;
    Bytes itsPixels;
};

TEST(SlideRegion, IsWhatItsTilesShow)
{
    const JpegSpec kJpeg{
        .itsWidth = 32, .itsHeight = 24, .itsComponents = 3, .itsSampling = {{2, 2}, {}, {}}};
    const std::string kJpeg2000 = TransferSyntaxType::TSJPEG2KUID;
    constexpr int kSize = Jpeg2000Streams::kLossySize;
    const struct
    {
        Slide itsSlide;
        Bytes itsAbsent;
    } kSlides[] = {
        {{"native", 50, 33, {.itsWidth = 16, .itsHeight = 8}}, {0}},
        {{"sparse", 50, 33, {.itsWidth = 16, .itsHeight = 8}, "MONOCHROME1", "", false, 16}, {0xff, 0xff}},
        {{"JPEG", 100, 70, kJpeg, "YBR_FULL_422", TransferSyntaxType::TSJPEG50UID}, {255, 255, 255}},
        {{"sparse, half as light",
          40,
          21,
          {.itsWidth = 9, .itsHeight = 10},
          "MONOCHROME2",
          "",
          false,
          8,
          {0x8000, 0x8080, 0x8080}},
         {119}},
        {{"JPEG 2000", 3 * kSize - 1, 2 * kSize, {kSize, kSize, 3}, "YBR_ICT", kJpeg2000}, {255, 255, 255}},
    };
    int aHalved = 0;
    for (const auto& [aSlide, anAbsent] : kSlides)
    {
        SCOPED_TRACE(aSlide.itsName);
        const Bytes aFile = FileOf(aSlide);
        std::mt19937 aGenerator(5);
        const auto aPick = [&](int theLeast, int theMost)
        { return std::uniform_int_distribution<int>(theLeast, theMost)(aGenerator); };
        for (int i = 0; i < 40; ++i)
        {
            DecodeOptions anOptions;
            anOptions.frame = aPick(0, static_cast<int>(PlacesOf(aSlide).size()) - 1);
            anOptions.scale = aPick(1, 2);
            const Canvas aCanvas(aSlide, aFile, anOptions, anAbsent);
            const int aX = aPick(0, aSlide.itsColumns - 1);
            const int aY = aPick(0, aSlide.itsRows - 1);
            anOptions.region =
                Region{aX, aY, aPick(1, aSlide.itsColumns - aX), aPick(1, aSlide.itsRows - aY)};
            const Image anImage = quorix::decode(aFile, anOptions);
            const Bytes aCut = aCanvas.Cut(*anOptions.region);
            EXPECT_EQ(anImage.scale() - 1, aCanvas.itsLevels);
            aHalved += aCanvas.itsLevels;
            const bool isWhole =
                aCut == Canvas(aSlide, aFile, anOptions, Bytes(anAbsent.size(), 9)).Cut(*anOptions.region);
            EXPECT_NE(isWhole, std::any_of(anImage.warnings().begin(), anImage.warnings().end(),
                                           [](const quorix::Warning& theWarning)
                                           { return theWarning.identifier == "absent"; }));
            EXPECT_TRUE(aCut == Bytes(anImage.pixels().begin(), anImage.pixels().end()));
            EXPECT_EQ(anImage.attributeAsInt(0x0028, 0x0010), anImage.rows());
            EXPECT_EQ(anImage.rows() * anImage.columns() * anImage.samplesPerPixel() *
                          anImage.bitsAllocated() / 8,
                      static_cast<int>(aCut.size()));
        }
        EXPECT_THROW(quorix::decode(aFile, {.region = Region{0, 0, aSlide.itsColumns + 1, 1}}),
                     quorix::DecodeError);
    }
    EXPECT_GT(aHalved, 0);
}
} // namespace
