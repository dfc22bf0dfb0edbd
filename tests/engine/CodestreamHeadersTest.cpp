// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodestreamReader.h"

#include "support/CodestreamBuilder.h"
#include "support/CodestreamReading.h"
#include "support/EngineReports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace
{

using namespace j2k;
using Builder = CodestreamBuilder;
using Bytes = Builder::Bytes;
using Reading = CodestreamReading;
using testing::ElementsAre;

Builder::Image ImageOf(std::size_t theComponents)
{
    return {.itsComponents = std::vector<Builder::Component>(theComponents)};
}

/// Exponents for as many levels as any test uses.
Builder::Steps StepsOf(int theExponent, int theGuardBits = 2)
{
    return {.itsGuardBits = theGuardBits, .itsSteps = std::vector<int>(25, theExponent << 3)};
}

TileCoding CodingOfTile(const Builder& theMainHeader, const Builder& theTileHeader)
{
    Builder aBuilder = theMainHeader;
    aBuilder.Add({.itsHeader = theTileHeader.GetBytes(), .itsBody = {1}}).Eoc();
    Reading aReading(aBuilder.GetBytes());
    return aReading.itsReader.TakeTile(0)->itsCoding;
}

/// One figure of every component.
template <typename Figure>
std::vector<int> Each(const TileCoding& theCoding, Figure ComponentCoding::*theFigure)
{
    std::vector<int> aResult;
    for (const ComponentCoding& aComponent : theCoding.itsComponents)
    {
        aResult.push_back(static_cast<int>(aComponent.*theFigure));
    }
    return aResult;
}

/// Component 0 follows the main COD, 1 the main COC, 2 the tile's COC, unless the tile's COD steps in.
TEST(CodestreamPrecedence, TileComponentTileMainComponentMain)
{
    Builder aMain = Builder::Begin(ImageOf(4), {.itsStyle = {.itsLevels = 2}}, StepsOf(2, 1));
    aMain.Coc(1, {.itsLevels = 3}).Coc(2, {.itsLevels = 3}).Qcc(1, StepsOf(3, 3)).Qcc(2, StepsOf(3, 3));
    aMain.Rgn(1, 11).Rgn(2, 12);
    const Builder aComponentsOnly =
        Builder().Coc(2, {.itsLevels = 4}).Coc(3, {.itsLevels = 4}).Qcc(2, StepsOf(4, 4)).Rgn(2, 22);
    const Builder aWholeTile = Builder()
                                   .Coc(2, {.itsLevels = 4})
                                   .Cod({.itsOrder = 3, .itsLayers = 7, .itsStyle = {.itsLevels = 5}})
                                   .Qcd(StepsOf(5, 5));

    const TileCoding aPlain = CodingOfTile(aMain, Builder());
    EXPECT_THAT(Each(aPlain, &ComponentCoding::itsLevels), ElementsAre(2, 3, 3, 2));
    EXPECT_THAT(Each(aPlain, &ComponentCoding::itsGuardBits), ElementsAre(1, 3, 3, 1));
    EXPECT_THAT(Each(aPlain, &ComponentCoding::itsRoiShift), ElementsAre(0, 11, 12, 0));

    const TileCoding aMixed = CodingOfTile(aMain, aComponentsOnly);
    EXPECT_THAT(Each(aMixed, &ComponentCoding::itsLevels), ElementsAre(2, 3, 4, 4));
    EXPECT_THAT(Each(aMixed, &ComponentCoding::itsGuardBits), ElementsAre(1, 3, 4, 1));
    EXPECT_THAT(Each(aMixed, &ComponentCoding::itsRoiShift), ElementsAre(0, 11, 22, 0));
    EXPECT_EQ(aMixed.itsLayers, 1);

    const TileCoding aWhole = CodingOfTile(aMain, aWholeTile);
    EXPECT_THAT(Each(aWhole, &ComponentCoding::itsLevels), ElementsAre(5, 5, 4, 5));
    EXPECT_THAT(Each(aWhole, &ComponentCoding::itsGuardBits), ElementsAre(5, 5, 5, 5));
    EXPECT_EQ(aWhole.itsOrder, ProgressionOrder::PCRL);
    EXPECT_EQ(aWhole.itsLayers, 7);
}

TEST(CodestreamPrecedence, ProgressionsOfTheTileReplaceAndGoOn)
{
    const Builder aMain = Builder::Begin().Poc({{.itsOrder = 1}});
    EXPECT_EQ(CodingOfTile(aMain, Builder()).itsProgressions.at(0).itsOrder, ProgressionOrder::RLCP);

    Builder aBuilder = aMain;
    aBuilder.Add({.itsParts = 2, .itsHeader = Builder().Poc({{.itsOrder = 2}, {.itsOrder = 3}}).GetBytes()});
    aBuilder.Add({.itsPart = 1, .itsParts = 2, .itsHeader = Builder().Poc({{.itsOrder = 4}}).GetBytes()})
        .Eoc();
    Reading aReading(aBuilder.GetBytes());
    const auto aTile = aReading.itsReader.TakeTile(0);
    ASSERT_EQ(aTile->itsCoding.itsProgressions.size(), 3U);
    EXPECT_EQ(aTile->itsCoding.itsProgressions[2].itsOrder, ProgressionOrder::CPRL);
}

/// With 257 components indices take two bytes, and 0 as an end stands for all of them.
TEST(CodestreamSegments, WideComponentIndices)
{
    const Builder aMain =
        Builder::Begin(ImageOf(257)).Rgn(256, 5).Poc({{.itsFirstComponent = 255, .itsEndComponent = 0}});
    const TileCoding aCoding = CodingOfTile(aMain, Builder());
    EXPECT_EQ(aCoding.itsComponents[256].itsRoiShift, 5);
    EXPECT_EQ(aCoding.itsProgressions.at(0).itsFirstComponent, 255);
    EXPECT_EQ(aCoding.itsProgressions.at(0).itsEndComponent, 16384);
}

TEST(CodestreamSegments, CodTellsEverything)
{
    const Builder aMain = Builder::Begin(ImageOf(3), {.itsScod = 6,
                                                      .itsOrder = 2,
                                                      .itsLayers = 300,
                                                      .itsTransform = 1,
                                                      .itsStyle = {.itsLevels = 1,
                                                                   .itsBlockWidth = 1,
                                                                   .itsBlockHeight = 3,
                                                                   .itsBlockStyle = 0x2B,
                                                                   .itsTransform = 1,
                                                                   .itsPrecincts = {0x70, 0x8F}}});
    const TileCoding aCoding = CodingOfTile(aMain, Builder());
    const ComponentCoding& aComponent = aCoding.itsComponents[2];
    EXPECT_TRUE(aCoding.itsComponentTransform && aCoding.itsMayHaveSOP && aCoding.itsHasEPH);
    EXPECT_EQ(aCoding.itsLayers, 300);
    EXPECT_EQ(aComponent.itsLog2BlockWidth, 3);
    EXPECT_EQ(aComponent.itsLog2BlockHeight, 5);
    EXPECT_EQ(aComponent.itsBlockStyle, 0x2B);
    EXPECT_TRUE(aComponent.itsReversible);
    EXPECT_EQ(aComponent.itsPrecinctSizes[0], 0x70);
    EXPECT_EQ(aComponent.itsPrecinctSizes[1], 0x8F);
    EXPECT_EQ(CodingOfTile(Builder::Begin(), Builder()).itsComponents[0].itsPrecinctSizes[1], 0xFF);
}

/// Derived exponents: E-5 with 3 levels; they stop at 0.
TEST(CodestreamSegments, DerivedSteps)
{
    const auto Derive = [](int theStep)
    {
        const Builder aMain = Builder::Begin({}, {.itsStyle = {.itsLevels = 3, .itsTransform = 0}},
                                             {.itsStyle = 1, .itsSteps = {theStep}});
        const auto someSteps = CodingOfTile(aMain, Builder()).itsComponents[0].itsSteps;
        return std::vector<int>(someSteps.begin(), someSteps.begin() + 10);
    };
    const auto Step = [](int theExponent) { return (theExponent << 11) | 0x123; };
    EXPECT_THAT(Derive(Step(9)), ElementsAre(Step(9), Step(9), Step(9), Step(9), Step(8), Step(8), Step(8),
                                             Step(7), Step(7), Step(7)));
    EXPECT_EQ(Derive(Step(1)).back(), Step(0));
}

/// Tiles from (3, 1) on, an image from (5, 2) on: figures worked out by hand from B-7 to B-12.
TEST(CodestreamSegments, TileGeometry)
{
    Reading aReading(Builder::Begin({.itsX1 = 20,
                                     .itsY1 = 11,
                                     .itsX0 = 5,
                                     .itsY0 = 2,
                                     .itsTileWidth = 8,
                                     .itsTileHeight = 7,
                                     .itsTileOriginX = 3,
                                     .itsTileOriginY = 1,
                                     .itsComponents = {{.itsXRsiz = 2, .itsYRsiz = 3}}})
                         .Add({})
                         .Eoc()
                         .GetBytes());
    const ImageSize& anImage = aReading.itsReader.GetImageSize();
    EXPECT_EQ(anImage.itsTilesAcross, 3U);
    EXPECT_EQ(anImage.itsTilesDown, 2U);
    const Rect aFirst = anImage.GetTile(0);
    EXPECT_THAT((std::vector{aFirst.itsX0, aFirst.itsY0, aFirst.itsX1, aFirst.itsY1}),
                ElementsAre(5, 2, 11, 8));
    const Rect aLast = anImage.GetTile(5);
    EXPECT_THAT((std::vector{aLast.itsX0, aLast.itsY0, aLast.itsX1, aLast.itsY1}),
                ElementsAre(19, 8, 20, 11));
    const Rect aPart = anImage.ToComponent(aFirst, 0);
    EXPECT_THAT((std::vector{aPart.itsX0, aPart.itsY0, aPart.itsX1, aPart.itsY1}), ElementsAre(3, 1, 6, 3));
}

const Builder::Image kTwoTiles{.itsTileWidth = 8};

std::vector<Bytes> PackedHeadersOf(const Builder& theBuilder)
{
    Reading aReading(theBuilder.GetBytes());
    std::vector<Bytes> aResult;
    for (std::uint32_t aTile = 0; aTile < 2; ++aTile)
    {
        const auto aData = aReading.itsReader.TakeTile(aTile);
        aResult.push_back(aData->itsPackedHeaders);
        EXPECT_TRUE(aData->itsHasPackedHeaders);
    }
    return aResult;
}

/// Tile-parts in the order 1, 0, 1 and their headers, split wherever a marker segment can end: inside the
/// lengths too.
TEST(CodestreamPackedHeaders, MainHeaderSplitsAnywhereInAnyOrder)
{
    const Bytes aAll = {0, 0, 0, 2, 11, 12, 0, 0, 0, 1, 21, 0, 0, 0, 3, 31, 32, 33};
    for (std::size_t aSplit = 0; aSplit <= aAll.size(); ++aSplit)
    {
        const auto aMiddle = aAll.begin() + static_cast<std::ptrdiff_t>(aSplit);
        Bytes aFirst(aAll.begin(), aMiddle);
        Bytes aSecond(aMiddle, aAll.end());
        aFirst.insert(aFirst.begin(), 3);
        aSecond.insert(aSecond.begin(), 200);
        Builder aBuilder = Builder::Begin(kTwoTiles).Segment(0xFF60, aSecond).Segment(0xFF60, aFirst);
        aBuilder.Add({.itsTile = 1, .itsParts = 2}).Add({}).Add({.itsTile = 1, .itsPart = 1, .itsParts = 2});
        EXPECT_THAT(PackedHeadersOf(aBuilder.Eoc()), ElementsAre(Bytes{21}, Bytes{11, 12, 31, 32, 33}))
            << aSplit;
    }
}

/// Indices begin anew in every tile-part.
TEST(CodestreamPackedHeaders, TileHeadersAreSorted)
{
    Builder aBuilder = Builder::Begin(kTwoTiles);
    const Builder aFirst = Builder().Segment(0xFF61, {2, 3}).Segment(0xFF61, {0, 1}).Segment(0xFF61, {1, 2});
    aBuilder.Add({.itsParts = 2, .itsHeader = aFirst.GetBytes()});
    aBuilder.Add({.itsTile = 1, .itsHeader = Builder().Segment(0xFF61, {0, 9}).GetBytes()});
    aBuilder.Add({.itsPart = 1, .itsParts = 2, .itsHeader = Builder().Segment(0xFF61, {0, 4}).GetBytes()});
    EXPECT_THAT(PackedHeadersOf(aBuilder.Eoc()), ElementsAre(Bytes{1, 2, 3, 4}, Bytes{9}));
}

TEST(CodestreamPackedHeaders, LengthsBeyondTheEndGiveWhatIsThere)
{
    const Builder aMain = Builder::Begin(kTwoTiles).Segment(0xFF60, {0, 0xFF, 0xFF, 0xFF, 0xFF, 5, 6});
    EXPECT_THAT(PackedHeadersOf(Builder(aMain).Add({}).Add({.itsTile = 1}).Eoc()),
                ElementsAre(Bytes{5, 6}, Bytes{}));
}

struct LevelsCase
{
    int itsMain;
    std::vector<Builder> itsTileHeaders;
    unsigned int itsFewest;
};

/// The main header counts as long as one tile may follow it.
TEST(CodestreamFewestLevels, OverTilesAndComponents)
{
    const auto Cod = [](int theLevels) { return Builder().Cod({.itsStyle = {.itsLevels = theLevels}}); };
    const LevelsCase kCases[] = {
        {2, {Builder(), Builder()}, 2},
        {2, {Cod(1), Builder()}, 1},
        {2, {Cod(4), Builder()}, 2},
        {2, {Cod(5), Cod(4)}, 4},
        {2, {Cod(5), Builder().Coc(0, {.itsLevels = 3}).Coc(1, {.itsLevels = 4})}, 3},
        {2, {Cod(5), Cod(4).Coc(1, {.itsLevels = 0})}, 0},
        {2, {Cod(0).Coc(0, {.itsLevels = 3}).Coc(1, {.itsLevels = 4}), Cod(5)}, 3},
    };
    for (const LevelsCase& aCase : kCases)
    {
        Builder aBuilder = Builder::Begin({.itsTileWidth = 8, .itsComponents = {{}, {}}},
                                          {.itsStyle = {.itsLevels = aCase.itsMain}}, StepsOf(4));
        for (int aTile = 0; aTile < 2; ++aTile)
        {
            aBuilder.Add({.itsTile = aTile,
                          .itsHeader = aCase.itsTileHeaders[static_cast<std::size_t>(aTile)].GetBytes()});
        }
        Reading aReading(aBuilder.Eoc().GetBytes());
        EXPECT_EQ(aReading.itsReader.GetFewestLevels(), static_cast<unsigned int>(aCase.itsMain));
        aReading.itsReader.ReadAll();
        EXPECT_EQ(aReading.itsReader.GetFewestLevels(), aCase.itsFewest) << &aCase - kCases;
    }
}

} // namespace
