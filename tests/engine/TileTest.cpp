// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/Tile.h"

#include <gtest/gtest.h>

#include "engine/detail/markers/CodestreamReader.h"
#include "support/ByteSource.h"
#include "support/EngineReports.h"
#include "support/PacketWriter.h"
#include "support/SampleTable.h"
#include "support/TileMaker.h"

#include <filesystem>
#include <string>

namespace
{
using Bytes = std::vector<std::uint8_t>;

struct RefusalCase
{
    const char* itsName;
    void (*itsBend)(TileMaker&);
    const char* itsText;
};

class TileRefusals : public testing::TestWithParam<RefusalCase>
{
};

TEST_P(TileRefusals, NameWhatIsWrong)
{
    TileMaker aMaker;
    GetParam().itsBend(aMaker);
    const EngineReports aReports;
    try
    {
        aMaker.Open();
        FAIL() << "nothing was reported";
    }
    catch (const EngineReport& theReport)
    {
        EXPECT_FALSE(theReport.itsIsWarning);
        EXPECT_EQ(theReport.itsText, GetParam().itsText);
    }
}

// A packet with one code-block in one precinct.
Bytes OneBlock(unsigned int theZeroBitPlanes)
{
    PacketWriter::Block aBlock;
    aBlock.itsZeroBitPlanes = theZeroBitPlanes;
    aBlock.itsLayers = {{{1, Bytes(3)}}};
    auto aPacket = PacketWriter({{1, 1, {aBlock}}}).Write(0);
    aPacket.itsHeader.insert(aPacket.itsHeader.end(), aPacket.itsBody.begin(), aPacket.itsBody.end());
    return aPacket.itsHeader;
}

INSTANTIATE_TEST_SUITE_P(
    All, TileRefusals,
    testing::Values(
        RefusalCase{"SamplesWithoutBytes", [](TileMaker& theMaker) { theMaker = TileMaker(20000, 20000); },
                    "Tile 0 has far more samples than its bytes can stand for"},
        RefusalCase{"SamplesInManyComponents",
                    [](TileMaker& theMaker) { theMaker = TileMaker(1 << 12, 1 << 12, 16384); },
                    "Tile 0 has far more samples than its bytes can stand for"},
        RefusalCase{"ResolutionsWithoutBytes",
                    [](TileMaker& theMaker)
                    {
                        theMaker = TileMaker(1, 1, 16384);
                        theMaker.ForAll([](j2k::ComponentCoding& theCoding) { theCoding.itsLevels = 32; });
                    },
                    "Tile 0 has far more resolutions than bytes"},
        // However many tiles there are, each one is cheap.
        RefusalCase{"ProgressionsOverAFewEmptyPackets",
                    [](TileMaker& theMaker)
                    {
                        theMaker.itsData.itsCoding.itsLayers = 60;
                        theMaker.itsData.itsCoding.itsProgressions.resize(1000);
                        theMaker.AddBody(Bytes(60));
                    },
                    "POC marker segments repeat far more packets than the tile has bytes"},
        RefusalCase{"MoreBitPlanesThanABlockDecoderHas",
                    [](TileMaker& theMaker)
                    {
                        theMaker.ForAll([](j2k::ComponentCoding& theCoding)
                                        { theCoding.itsSteps.fill(31 << 11); });
                        theMaker.AddBody(OneBlock(1));
                    },
                    "Code-block needs more than 30 magnitude bit-planes (at byte 102 of the codestream)"},
        RefusalCase{"MoreCodeBlocksThanBytes",
                    [](TileMaker& theMaker)
                    {
                        // Few enough for one tile; there may be very many of them.
                        theMaker = TileMaker(1 << 10, 1 << 10);
                        theMaker.itsData.itsCoding.itsLayers = 20;
                        theMaker.ForAll(
                            [](j2k::ComponentCoding& theCoding)
                            {
                                theCoding.itsLog2BlockWidth = 2;
                                theCoding.itsLog2BlockHeight = 2;
                            });
                        // A byte for each layer: the tag tree says that no block comes yet.
                        Bytes aBytes(20, 0x80);
                        aBytes[0] = 0xC0;
                        theMaker.AddBody(aBytes);
                    },
                    "Packets name far more code-blocks than the tile has bytes"}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST(TileTest, ThirtyBitPlanesAreNotTooMany)
{
    TileMaker aMaker;
    aMaker.ForAll([](j2k::ComponentCoding& theCoding) { theCoding.itsSteps.fill(31 << 11); });
    aMaker.AddBody(OneBlock(2));
    const auto aTile = aMaker.Open();
    EXPECT_EQ(aTile->GetComponent(0).GetResolution(0).GetSubband(0).GetLargestBitPlanes(), 30U);
    EXPECT_FALSE(aTile->GetComponent(0).FitsShortLines());
}

// E-3 over 2^depth: the exponent, the mantissa in 2048ths, and the gains of table E.1.
TEST(TileTest, ComputesStepsAndBitPlanes)
{
    TileMaker aMaker;
    aMaker.ForAll(
        [](j2k::ComponentCoding& theCoding)
        {
            theCoding.itsReversible = false;
            theCoding.itsLevels = 1;
            theCoding.itsGuardBits = 1;
            theCoding.itsRoiShift = 7;
            theCoding.itsSteps = {(8 << 11) | 1024, (9 << 11) | 512, 10 << 11, (11 << 11) | 2047};
        });
    const auto aTile = aMaker.Open();
    const j2k::TileComponent& aComponent = aTile->GetComponent(0);
    const j2k::Subband& aLL = aComponent.GetResolution(0).GetSubband(0);
    EXPECT_EQ(aLL.GetStep(), 1.5F / 256);
    EXPECT_EQ(aLL.GetMostBitPlanes(), 8U + 7U);
    const float anExpected[] = {1.25F * 2 / 512, 1.0F * 2 / 1024, (4095.0F / 2048) * 4 / 2048};
    for (unsigned int b = 0; b < 3; ++b)
    {
        EXPECT_EQ(aComponent.GetResolution(1).GetSubband(b).GetStep(), anExpected[b]);
        EXPECT_EQ(aComponent.GetResolution(1).GetSubband(b).GetMostBitPlanes(), 9U + b + 7U);
    }
}

struct RegionCase
{
    unsigned int itsShift;
    unsigned int itsZeroBitPlanes;
    unsigned int itsLargest;
};

// Nine bit-planes and the shift; what is below the shift is background, what is above loses it.
TEST(TileTest, BoundsCoefficientsOfARegionOfInterest)
{
    for (const RegionCase& aCase : {RegionCase{0, 2, 7}, RegionCase{9, 0, 9}, RegionCase{9, 4, 9},
                                    RegionCase{9, 12, 6}, RegionCase{4, 0, 9}, RegionCase{12, 3, 12}})
    {
        TileMaker aMaker;
        aMaker.itsData.itsCoding.itsComponents[0].itsRoiShift = static_cast<std::uint8_t>(aCase.itsShift);
        aMaker.AddBody(OneBlock(aCase.itsZeroBitPlanes));
        const auto aTile = aMaker.Open();
        const j2k::Subband& aSubband = aTile->GetComponent(0).GetResolution(0).GetSubband(0);
        EXPECT_EQ(aSubband.GetLargestBitPlanes(), aCase.itsLargest);
        EXPECT_EQ(aSubband.GetRegionOfInterest().itsShift, aCase.itsShift);
        EXPECT_EQ(aSubband.GetRegionOfInterest().itsBackgroundPlanes, aCase.itsShift);
    }
}

struct TransformCase
{
    const char* itsName;
    void (*itsBend)(TileMaker&);
    bool itsExpected;
    bool itsIsNonConformance;
};

class TileTransforms : public testing::TestWithParam<TransformCase>
{
};

TEST_P(TileTransforms, NeedThreeComponentsThatMatch)
{
    TileMaker aMaker(16, 16, 4);
    aMaker.itsData.itsCoding.itsComponentTransform = true;
    aMaker.AddBody(Bytes(4, 0));
    GetParam().itsBend(aMaker);
    const auto aTile = aMaker.Open();
    EXPECT_EQ(aTile->HasComponentTransform(), GetParam().itsExpected);
    for (std::size_t c = 0; c < aTile->GetComponentCount(); ++c)
    {
        EXPECT_EQ(aTile->GetComponent(c).IsChrominance(), GetParam().itsExpected && (c == 1 || c == 2));
    }
    const EngineReports aReports;
    aMaker.itsReports = j2k::Reports();
    aMaker.itsReports.SetTolerance(j2k::Tolerance::Fussy);
    bool anIsNonConformance = false;
    try
    {
        aMaker.Open();
    }
    catch (const EngineReport& theReport)
    {
        anIsNonConformance = theReport.itsText ==
                             "Tile 0 has a component transform over components that do not "
                             "match (at byte 100 of the codestream)";
    }
    EXPECT_EQ(anIsNonConformance, GetParam().itsIsNonConformance);
}

INSTANTIATE_TEST_SUITE_P(
    All, TileTransforms,
    testing::Values(
        TransformCase{"Matching", [](TileMaker&) {}, true, false},
        TransformCase{"NotAnnounced",
                      [](TileMaker& theMaker) { theMaker.itsData.itsCoding.itsComponentTransform = false; },
                      false, false},
        TransformCase{"Subsampled",
                      [](TileMaker& theMaker) { theMaker.itsImage.itsComponents[2].itsXRsiz = 2; }, false,
                      true},
        TransformCase{"OfTheSameSizeAtAnotherPlace",
                      [](TileMaker& theMaker)
                      {
                          theMaker.itsImage.itsImage = {2, 0, 3, 16};
                          theMaker.itsImage.itsComponents[2].itsXRsiz = 2;
                      },
                      false, true},
        TransformCase{"OneOfThemIrreversible",
                      [](TileMaker& theMaker)
                      { theMaker.itsData.itsCoding.itsComponents[1].itsReversible = false; },
                      false, true},
        TransformCase{"OnlyTheFourthDiffers",
                      [](TileMaker& theMaker) { theMaker.itsImage.itsComponents[3].itsYRsiz = 3; }, true,
                      false},
        TransformCase{"TwoAreDecoded",
                      [](TileMaker& theMaker) { theMaker.itsRestrictions.itsMaxComponents = 2; }, false,
                      false},
        TransformCase{"ThereAreTwo",
                      [](TileMaker& theMaker)
                      {
                          theMaker.itsImage.itsComponents.resize(2);
                          theMaker.itsData.itsCoding.itsComponents.resize(2);
                          theMaker.itsData.itsBody[0].itsBytes.resize(2);
                      },
                      false, true}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

// Three components whose blocks have so many bit-planes; with the transform all must fit together.
TEST(TileTest, ProvesShortLinesForTheThreeComponentsTogether)
{
    const auto aFits = [](bool theTransform, std::vector<unsigned int> theBitPlanes)
    {
        TileMaker aMaker(16, 16, 3);
        aMaker.ForAll(
            [](j2k::ComponentCoding& theCoding)
            {
                theCoding.itsGuardBits = 7;
                theCoding.itsSteps.fill(9 << 11);
            });
        aMaker.itsData.itsCoding.itsComponentTransform = theTransform;
        for (const unsigned int aPlanes : theBitPlanes)
        {
            aMaker.AddBody(OneBlock(15 - aPlanes));
        }
        const auto aTile = aMaker.Open();
        std::string aText;
        for (std::size_t c = 0; c < 3; ++c)
        {
            aText += aTile->GetComponent(c).FitsShortLines() ? 'y' : 'n';
        }
        return aText;
    };
    EXPECT_EQ(aFits(false, {15, 15, 15}), "yyy");
    EXPECT_EQ(aFits(true, {14, 14, 14}), "yyy");
    EXPECT_EQ(aFits(true, {15, 1, 1}), "nnn");
    EXPECT_EQ(aFits(true, {1, 1, 15}), "yyy");
}

// Every byte of a sound codestream belongs to a packet: the strongest sign that geometry, order, headers
// and segments are read as they were written.
TEST(TileTest, ReadsSampleCodestreamsToTheirLastByte)
{
    const std::string aFolder = SampleTable::GetFolder();
    if (aFolder.empty())
    {
        GTEST_SKIP() << "no sample images";
    }
    std::size_t aCount = 0;
    for (const auto& anEntry : std::filesystem::directory_iterator(aFolder + "/jpeg2000"))
    {
        const std::string anExtension = anEntry.path().extension();
        if (anExtension != ".j2k" && anExtension != ".j2c")
        {
            continue;
        }
        SCOPED_TRACE(anEntry.path().filename());
        ByteSource aSource(SampleTable::ReadFile("jpeg2000/" + anEntry.path().filename().string()));
        j2k::Reports aReports;
        j2k::CodestreamReader aReader(aSource, aReports);
        aReader.ReadMainHeader();
        for (std::uint32_t t = 0; t < aReader.GetImageSize().GetTileCount(); ++t)
        {
            const j2k::Tile aTile(aReader.GetImageSize(), aReader.TakeTile(t), {}, aReports);
            EXPECT_EQ(aTile.GetUnreadBytes(), 0U) << "tile " << t;
        }
        // Nothing departed from the standard, either.
        const EngineReports aThrowing;
        EXPECT_NO_THROW(aReports.SetTolerance(j2k::Tolerance::Fussy));
        ++aCount;
    }
    EXPECT_GT(aCount, 30U);
}
} // namespace
