// SPDX-License-Identifier: Apache-2.0
// Legal codestreams that OpenJPEG's encoder does not write: packet headers in the main or the tile headers,
// many tile-parts, those of different tiles in turn, components and tiles of their own coding; and what of
// them is left alone.

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/EngineDecode.h"
#include "support/EngineReports.h"
#include "support/LongRun.h"
#include "support/jpeg2000/CodestreamEditor.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
using Bytes = CodestreamEditor::Bytes;
using Headers = CodestreamEditor::Headers;
using Segment = CodestreamEditor::Segment;
using Segments = std::vector<Segment>;

constexpr EngineOptions kFussy{.itsMode = EngineMode::Fussy};

/// Name; packets in a tile-part, 0 where they stay as they are; where headers stand, and whether with
/// markers; how many tile-parts fewer are announced.
using Arrangement = std::tuple<const char*, std::size_t, Headers, bool, int>;

RandomStream MakeStream(Dice& theDice)
{
    static constexpr const char* kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    RandomStream aStream;
    const auto aComponents = static_cast<std::size_t>(theDice.Chance(50) ? 1 : 3);
    aStream.itsImage = MakeImage(static_cast<std::uint32_t>(theDice.Roll(40, 70)),
                                 static_cast<std::uint32_t>(theDice.Roll(40, 70)), aComponents,
                                 theDice.Roll(8, 14), theDice.Chance(50), theDice);
    aStream.itsOptions.itsSOP = aStream.itsOptions.itsEPH = true;
    aStream.itsOptions.itsResolutions = theDice.Roll(2, 4);
    aStream.itsOptions.itsOrder = kOrders[theDice.Roll(0, 4)];
    aStream.itsOptions.itsRates = {20, 8, 1};
    aStream.itsOptions.itsComponentTransform = aComponents == 3 && theDice.Chance(50);
    aStream.itsOptions.itsTileWidth = theDice.Chance(70) ? 32 : 0;
    aStream.itsOptions.itsTileHeight = aStream.itsOptions.itsTileWidth;
    return aStream;
}

constexpr Arrangement kArrangements[] = {{"as encoded", 0, Headers::InPlace, true, 0},
                                         {"no markers", 0, Headers::InPlace, false, 0},
                                         {"scattered", 1, Headers::InPlace, false, 0},
                                         {"scattered, with markers", 5, Headers::InPlace, true, 0},
                                         {"more parts than announced", 2, Headers::InPlace, true, 1},
                                         {"tile headers", 0, Headers::InTile, false, 0},
                                         {"tile headers, scattered", 3, Headers::InTile, true, 0},
                                         {"main header", 0, Headers::InMain, false, 0},
                                         {"main header, scattered", 2, Headers::InMain, true, 0}};

TEST(RearrangedStreams, DecodeToTheSamePixels)
{
    for (int i = 0; i < Rounds(20) * 9; ++i)
    {
        const auto& [aName, aPacketCount, aPlace, hasMarkers, aMissing] = kArrangements[i % 9];
        SCOPED_TRACE(testing::Message() << aName << ", stream " << i / 9);
        Dice aDice(static_cast<std::uint32_t>(5 + i / 9));
        const RandomStream aStream = MakeStream(aDice);
        CodestreamEditor anEditor(OpenJpeg::Encode(aStream.itsImage, aStream.itsOptions));
        if (aPacketCount > 0)
        {
            anEditor.Scatter(aPacketCount);
        }
        for (CodestreamEditor::TilePart& aPart : anEditor.GetTileParts())
        {
            aPart.itsCount =
                static_cast<std::uint8_t>(aPart.itsCount > 1 ? aPart.itsCount - aMissing : aPart.itsCount);
        }
        const auto aBytes = anEditor.Join(aPlace, hasMarkers);
        PlanarImage anImage;
        ASSERT_NO_THROW(anImage = EngineDecode(aBytes, aMissing > 0 ? EngineOptions() : kFussy));
        ASSERT_EQ(DescribeDifference(anImage, aStream.itsImage, 0), "");
    }
}

// Fussy decoding reports a segmentation symbol or an end of a pass that is wrong, so it tells which blocks
// are decoded.
TEST(DiscardedResolutions, AreNotDecoded)
{
    constexpr int kResolutions = 4;
    constexpr std::pair<int, const char*> kStyles[] = {{32, "wrong segmentation symbol"},
                                                       {16, "coding pass not terminated as announced"}};
    for (int i = 0; i < 2 * (kResolutions - 1); ++i)
    {
        const auto& [aStyle, aText] = kStyles[i % 2];
        const int aDiscarded = 1 + i / 2;
        Dice aDice(7);
        OpenJpeg::Options anOptions;
        anOptions.itsResolutions = kResolutions;
        anOptions.itsBlockStyle = aStyle;
        anOptions.itsSOP = anOptions.itsEPH = true;
        const auto aStream = OpenJpeg::Encode(MakeImage(90, 70, 1, 12, false, aDice), anOptions);
        CodestreamEditor anEditor(aStream);
        auto& aPackets = anEditor.GetTileParts().at(0).itsPackets; // one for each resolution
        ASSERT_EQ(aPackets.size(), std::size_t{kResolutions});
        // Away from the ends, so that no marker comes to be.
        auto& aBody = aPackets[static_cast<std::size_t>(kResolutions - aDiscarded)].itsBody;
        aBody.at(aBody.size() / 2) ^= 0x55;
        const auto aDamaged = anEditor.Join(Headers::InPlace, true);
        EngineOptions anEngineOptions = kFussy;
        anEngineOptions.itsDiscardLevels = aDiscarded;
        EXPECT_EQ(DescribeDifference(EngineDecode(aDamaged, anEngineOptions),
                                     EngineDecode(aStream, anEngineOptions), 0),
                  "");
        --anEngineOptions.itsDiscardLevels;
        const std::string aReport = ReportOf([&] { EngineDecode(aDamaged, anEngineOptions); });
        EXPECT_NE(aReport.find(aText), std::string::npos) << aDiscarded << aReport;
    }
}

/// Likewise: the last block of the highest resolution is decoded for a region only where that is made of it.
TEST(Regions, LeaveOtherBlocksAlone)
{
    Dice aDice(7);
    OpenJpeg::Options anOptions;
    anOptions.itsBlockWidth = anOptions.itsBlockHeight = 16;
    anOptions.itsBlockStyle = 32;
    anOptions.itsOrder = "RLCP";
    anOptions.itsPrecincts = {{64, 64}};
    anOptions.itsSOP = anOptions.itsEPH = true;
    const auto aStream = OpenJpeg::Encode(MakeImage(90, 70, 1, 12, false, aDice), anOptions);
    CodestreamEditor anEditor(aStream);
    auto& aBody = anEditor.GetTileParts().at(0).itsPackets.back().itsBody;
    aBody.at(aBody.size() - 4) ^= 0x55;
    const auto aDamaged = anEditor.Join(Headers::InPlace, true);
    for (const auto& [aPlace, isTouched] : {std::pair{0, false}, {62, false}, {63, true}, {80, true}})
    {
        EngineOptions aPart = kFussy;
        aPart.itsRegion = kdu_dims{{aPlace, aPlace * 7 / 9}, {1, 20}};
        EXPECT_EQ(ReportOf([&] { EngineDecode(aDamaged, aPart); }).empty(), !isTouched) << aPlace;
    }
}

/// One component of 50 x 40, encoded by itself.
CodestreamEditor EncodeAlone(const PlanarImage& theImage, std::size_t theComponent, int theResolutions,
                             int theRoiShift)
{
    PlanarImage anImage = theImage;
    anImage.itsComponents = {theImage.itsComponents.at(theComponent)};
    OpenJpeg::Options anOptions;
    anOptions.itsOrder = "CPRL";
    anOptions.itsResolutions = theResolutions;
    anOptions.itsBlockWidth = 8 << theResolutions;
    anOptions.itsBlockStyle = theComponent == 0 ? 0 : 8;
    anOptions.itsSOP = anOptions.itsEPH = true;
    anOptions.itsRoiComponent = theRoiShift > 0 ? 0 : -1;
    anOptions.itsRoiShift = theRoiShift;
    return CodestreamEditor(OpenJpeg::Encode(anImage, anOptions));
}

constexpr std::uint16_t kSIZ = 0xFF51, kCOD = 0xFF52, kCOC = 0xFF53, kQCD = 0xFF5C, kQCC = 0xFF5D,
                        kRGN = 0xFF5E;

Segment Find(CodestreamEditor& theEditor, std::uint16_t theMarker)
{
    for (const Segment& aSegment : theEditor.GetMainSegments())
    {
        if (aSegment.itsMarker == theMarker)
        {
            return aSegment;
        }
    }
    return {};
}

/// COD and QCD.
Segments ForAll(CodestreamEditor& theEditor)
{
    return {Find(theEditor, kCOD), Find(theEditor, kQCD)};
}

/// What COD and QCD say, for theComponent alone.
Segments ForOne(CodestreamEditor& theEditor, std::uint8_t theComponent)
{
    const Bytes aStyle = Find(theEditor, kCOD).itsContent;
    Segment aCoc{kCOC, {theComponent, 0}};
    aCoc.itsContent.insert(aCoc.itsContent.end(), aStyle.begin() + 5, aStyle.end());
    Segment aQcc{kQCC, Find(theEditor, kQCD).itsContent};
    aQcc.itsContent.insert(aQcc.itsContent.begin(), theComponent);
    return {aCoc, aQcc};
}

Segments operator+(Segments theFirst, const Segments& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

/// A tile's COC and QCC count before its COD and QCD, those before the main header's COC and QCC, those
/// before its COD and QCD; a tile's RGN before the main header's.
TEST(ComponentsOfTheirOwnCoding, FollowTheNearestMarkerSegment)
{
    Dice aDice(31);
    const PlanarImage anImage = MakeImage(50, 40, 2, 9, true, aDice);
    CodestreamEditor aFirst = EncodeAlone(anImage, 0, 3, 0);
    CodestreamEditor aSecond = EncodeAlone(anImage, 1, 2, 6);
    CodestreamEditor aWrong = EncodeAlone(anImage, 1, 1, 0);
    Segment aSize = Find(aFirst, kSIZ);
    aSize.itsContent[35] = 2;
    aSize.itsContent.insert(aSize.itsContent.end(), {0x88, 1, 1});
    const Segments aRight = {{kRGN, {1, 0, 6}}};
    const Segments aShift = {{kRGN, {1, 0, 3}}};
    const std::pair<Segments, Segments> kPlaces[] = {
        {aRight + ForAll(aFirst) + ForOne(aSecond, 1), {}},
        {aRight + ForAll(aWrong) + ForOne(aFirst, 0) + ForOne(aSecond, 1), {}},
        {aRight + ForAll(aWrong) + ForOne(aWrong, 0), ForAll(aFirst) + ForOne(aSecond, 1)},
        {aShift + ForAll(aFirst) + ForOne(aWrong, 1), aRight + ForOne(aSecond, 1)},
        {aShift + ForAll(aWrong) + ForOne(aFirst, 0), aRight + ForOne(aSecond, 1)}};
    int aPlace = 0;
    for (const auto& [aMain, aTile] : kPlaces)
    {
        CodestreamEditor anEditor = aFirst;
        anEditor.GetMainSegments() = Segments{aSize} + aMain;
        CodestreamEditor::TilePart& aPart = anEditor.GetTileParts().at(0);
        aPart.itsSegments = aTile;
        const auto& aMore = aSecond.GetTileParts().at(0).itsPackets;
        aPart.itsPackets.insert(aPart.itsPackets.end(), aMore.begin(), aMore.end());
        EXPECT_EQ(DescribeDifference(EngineDecode(anEditor.Join(Headers::InPlace, true), kFussy), anImage, 0),
                  "")
            << "place " << aPlace++;
    }
}

/// From 257 components on their indices take two bytes.
TEST(ManyComponents, HaveWideIndices)
{
    Dice aDice(37);
    const PlanarImage anImage = MakeImage(5, 4, 257, 8, false, aDice);
    OpenJpeg::Options anOptions;
    anOptions.itsResolutions = 2;
    anOptions.itsRoiComponent = 256;
    anOptions.itsRoiShift = 7;
    anOptions.itsProgressionChanges = {{"RLCP", 0, 0, 1, 2, 200}, {"CPRL", 0, 200, 1, 2, 257}};
    EXPECT_EQ(DescribeDifference(EngineDecode(OpenJpeg::Encode(anImage, anOptions), kFussy), anImage, 0), "");
}

/// A body of more than a megabyte comes in pieces, whether its length is told or not.
TEST(LargeStreams, ComeBackInPieces)
{
    Dice aDice(43);
    PlanarImage anImage = MakeImage(900, 700, 1, 16, false, aDice);
    for (std::int32_t& aSample : anImage.itsComponents[0].itsSamples)
    {
        aSample = aDice.Roll(0, 65535);
    }
    Bytes aStream = OpenJpeg::Encode(anImage, OpenJpeg::Options());
    ASSERT_GT(aStream.size(), std::size_t{1} << 20);
    EXPECT_EQ(DescribeDifference(EngineDecode(aStream, kFussy), anImage, 0), "");
    const Bytes aStart = {0xFF, 0x90};
    std::fill_n(std::search(aStream.begin(), aStream.end(), aStart.begin(), aStart.end()) + 6, 4, 0);
    EXPECT_EQ(DescribeDifference(EngineDecode(aStream, kFussy), anImage, 0), "");
}

/// Steps that follow from one: OpenJPEG decodes what its encoder does not write.
TEST(DerivedSteps, AreAsOpenJpegDerivesThem)
{
    Dice aDice(41);
    OpenJpeg::Options anOptions;
    anOptions.itsIrreversible = true;
    anOptions.itsResolutions = 4;
    anOptions.itsSOP = anOptions.itsEPH = true;
    PlanarImage anImage = MakeImage(60, 50, 1, 12, false, aDice);
    for (std::size_t i = 0; i < 3000; ++i)
    {
        anImage.itsComponents[0].itsSamples[i] = static_cast<std::int32_t>(1500 + i / 3 + i * i % 97);
    }
    CodestreamEditor anEditor(OpenJpeg::Encode(anImage, anOptions));
    for (Segment& aSegment : anEditor.GetMainSegments())
    {
        if (aSegment.itsMarker == kQCD)
        {
            aSegment.itsContent = {0x41, 0x81, 0x23}; // two guard bits, 16 and a mantissa
        }
    }
    const Bytes aStream = anEditor.Join(Headers::InPlace, false);
    const auto aPeers = OpenJpeg::Decode(aStream);
    ASSERT_TRUE(aPeers.has_value());
    const auto [aLowest, aHighest] = std::minmax_element(aPeers->itsComponents[0].itsSamples.begin(),
                                                         aPeers->itsComponents[0].itsSamples.end());
    EXPECT_TRUE(*aLowest > 0 && *aLowest < *aHighest && *aHighest < 4095) << "nothing is cut off";
    EXPECT_EQ(DescribeDifference(EngineDecode(aStream), *aPeers, 1), "");
}
} // namespace
