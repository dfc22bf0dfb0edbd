// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketSequence.h"

#include <gtest/gtest.h>

#include "support/LongRun.h"
#include "support/PlainPackets.h"
#include "support/TileMaker.h"

#include <random>

namespace
{
/// Keeps what it hears of, up to a number of packets.
class Recorder final : public j2k::PacketVisitor
{
public:
    explicit Recorder(std::size_t theMost) : itsMost(theMost) {}

    bool VisitPacket(const j2k::PacketPlace& thePlace) override
    {
        itsPackets.push_back({thePlace.itsLayer, thePlace.itsResolution->GetLevel(), thePlace.itsComponent,
                              thePlace.itsPrecinct});
        return itsPackets.size() < itsMost;
    }

    std::vector<PlainPacket> itsPackets;

private:
    std::size_t itsMost;
};

std::vector<PlainPacket> ListPackets(TileMaker& theMaker, std::size_t theMost)
{
    const auto aTile = theMaker.Open();
    std::vector<std::unique_ptr<j2k::TileComponent>> aComponents;
    const j2k::Rect aRect = theMaker.itsImage.GetTile(theMaker.itsData.itsIndex);
    for (std::size_t c = 0; c < theMaker.itsImage.itsComponents.size(); ++c)
    {
        aComponents.push_back(std::make_unique<j2k::TileComponent>(
            *aTile, theMaker.itsImage.itsComponents[c], theMaker.itsData.itsCoding.itsComponents[c], aRect,
            theMaker.itsImage.ToComponent(aRect, c), 0));
    }
    j2k::WorkBudget aBudget(std::uint64_t(1) << 24, "too much work", theMaker.itsReports);
    Recorder aRecorder(theMost);
    j2k::PacketSequence(aComponents, theMaker.itsData.itsCoding, aBudget).Run(aRecorder);
    return aRecorder.itsPackets;
}

std::uint8_t RandomPrecinct(std::mt19937& theRandom, unsigned int theLevel)
{
    const unsigned int aLeast = theLevel == 0 ? 0 : 1;
    const auto aPick = [&]() { return theRandom() % 6 == 0 ? 15 : aLeast + theRandom() % 6; };
    const unsigned int aWidth = aPick();
    return static_cast<std::uint8_t>(aWidth | (aPick() << 4));
}

// A tile anywhere in an image, subsampled components, any levels and precincts.
TileMaker RandomTile(std::mt19937& theRandom)
{
    TileMaker aMaker(1, 1, 1 + theRandom() % 3);
    j2k::ImageSize& anImage = aMaker.itsImage;
    const auto aPick = [&](unsigned int theMost)
    { return static_cast<std::uint32_t>(theRandom() % theMost); };
    anImage.itsImage.itsX0 = aPick(70);
    anImage.itsImage.itsY0 = aPick(70);
    anImage.itsImage.itsX1 = anImage.itsImage.itsX0 + 1 + aPick(90);
    anImage.itsImage.itsY1 = anImage.itsImage.itsY0 + 1 + aPick(90);
    anImage.itsTileOriginX = aPick(anImage.itsImage.itsX0 + 1);
    anImage.itsTileOriginY = aPick(anImage.itsImage.itsY0 + 1);
    anImage.itsTileWidth = anImage.itsImage.itsX0 - anImage.itsTileOriginX + 1 + aPick(90);
    anImage.itsTileHeight = anImage.itsImage.itsY0 - anImage.itsTileOriginY + 1 + aPick(90);
    anImage.itsTilesAcross = static_cast<std::uint32_t>(
        j2k::CeilDiv(anImage.itsImage.itsX1 - anImage.itsTileOriginX, anImage.itsTileWidth));
    anImage.itsTilesDown = static_cast<std::uint32_t>(
        j2k::CeilDiv(anImage.itsImage.itsY1 - anImage.itsTileOriginY, anImage.itsTileHeight));
    aMaker.itsData.itsIndex = aPick(anImage.GetTileCount());
    for (std::size_t c = 0; c < anImage.itsComponents.size(); ++c)
    {
        anImage.itsComponents[c].itsXRsiz = static_cast<std::uint8_t>(1 + aPick(3));
        anImage.itsComponents[c].itsYRsiz = static_cast<std::uint8_t>(1 + aPick(4));
        j2k::ComponentCoding& aCoding = aMaker.itsData.itsCoding.itsComponents[c];
        aCoding.itsLevels = static_cast<std::uint8_t>(aPick(6));
        for (unsigned int aLevel = 0; aLevel <= aCoding.itsLevels; ++aLevel)
        {
            aCoding.itsPrecinctSizes[aLevel] = RandomPrecinct(theRandom, aLevel);
        }
    }
    aMaker.itsData.itsCoding.itsLayers = static_cast<std::uint16_t>(1 + aPick(3));
    aMaker.itsData.itsCoding.itsOrder = static_cast<j2k::ProgressionOrder>(aPick(5));
    return aMaker;
}

TEST(PacketSequenceTest, GoesTheWayOfTheStandardsLoops)
{
    std::mt19937 aRandom(11);
    for (int aRound = 0; aRound < Rounds(400); ++aRound)
    {
        TileMaker aMaker = RandomTile(aRandom);
        for (unsigned int i = aRound % 2 == 0 ? 0 : 1 + aRandom() % 4; i > 0; --i)
        {
            j2k::Progression aProgression;
            aProgression.itsOrder = static_cast<j2k::ProgressionOrder>(aRandom() % 5);
            aProgression.itsFirstResolution = static_cast<std::uint8_t>(aRandom() % 3);
            aProgression.itsEndResolution = static_cast<std::uint8_t>(1 + aRandom() % 8);
            aProgression.itsFirstComponent = static_cast<std::uint16_t>(aRandom() % 2);
            aProgression.itsEndComponent = static_cast<std::uint16_t>(1 + aRandom() % 4);
            aProgression.itsEndLayer = static_cast<std::uint16_t>(1 + aRandom() % 4);
            aMaker.itsData.itsCoding.itsProgressions.push_back(aProgression);
        }
        const auto anExpected =
            PlainPackets(aMaker.itsImage, aMaker.itsData.itsIndex, aMaker.itsData.itsCoding).List();
        const auto aFound = ListPackets(aMaker, ~std::size_t(0));
        ASSERT_EQ(aFound.size(), anExpected.size()) << "round " << aRound;
        ASSERT_TRUE(aFound == anExpected) << "round " << aRound;
    }
}

TEST(PacketSequenceTest, KnowsTheGeometryThatTheStandardsFormulasGive)
{
    std::mt19937 aRandom(12);
    for (int aRound = 0; aRound < Rounds(60); ++aRound)
    {
        TileMaker aMaker = RandomTile(aRandom);
        aMaker.ForAll(
            [](j2k::ComponentCoding& theCoding)
            {
                theCoding.itsLog2BlockWidth = 3;
                theCoding.itsLog2BlockHeight = 2;
            });
        const auto aTile = aMaker.Open();
        const PlainPackets aPlain(aMaker.itsImage, aMaker.itsData.itsIndex, aMaker.itsData.itsCoding);
        for (unsigned int c = 0; c < aTile->GetComponentCount(); ++c)
        {
            for (unsigned int r = 0; r < aTile->GetComponent(c).GetResolutionCount(); ++r)
            {
                const j2k::Resolution& aResolution = aTile->GetComponent(c).GetResolution(r);
                ASSERT_EQ(aResolution.GetRect(), aPlain.GetResolution(c, r));
                for (unsigned int b = 0; b < aResolution.GetSubbandCount(); ++b)
                {
                    const j2k::Subband& aSubband = aResolution.GetSubband(b);
                    ASSERT_EQ(aSubband.GetRect(), aPlain.GetSubband(c, r, b));
                    std::size_t aBlocks = 0;
                    for (std::uint64_t p = 0; p < aResolution.GetPrecincts().GetCount(); ++p)
                    {
                        const PlainBlocks aList = aPlain.ListBlocks(c, r, b, p);
                        aBlocks += aList.size();
                        const auto aWide = aResolution.GetPrecincts().GetColumns();
                        const j2k::BlockRange aRange = aSubband.GetPrecinctBlocks(
                            static_cast<std::uint32_t>(p % aWide), static_cast<std::uint32_t>(p / aWide));
                        ASSERT_EQ(std::size_t(aRange.itsColumns) * aRange.itsRows, aList.size());
                        for (const auto& aBlock : aList)
                        {
                            ASSERT_EQ(aSubband.GetBlockRect(aBlock.first, aBlock.second),
                                      aPlain.GetBlock(c, r, b, aBlock));
                        }
                    }
                    ASSERT_EQ(std::size_t(aSubband.GetBlockColumns()) * aSubband.GetBlockRows(), aBlocks);
                }
            }
        }
    }
}

// What a few bytes can declare must not make anybody wait. The test's own time limit is the check.
TEST(PacketSequenceTest, DoesNotSpinOverPlacesWithoutPackets)
{
    TileMaker aMaker(0x7FFFFFFF, 0x7FFFFFFF, 300);
    aMaker.itsRestrictions.itsDiscardLevels = 32;
    aMaker.itsData.itsCoding.itsLayers = 65535;
    for (std::size_t c = 0; c < 300; ++c)
    {
        aMaker.itsImage.itsComponents[c] = {8, false, 255, static_cast<std::uint8_t>(1 + c % 255)};
        j2k::ComponentCoding& aCoding = aMaker.itsData.itsCoding.itsComponents[c];
        aCoding.itsLevels = 32;
        aCoding.itsPrecinctSizes.fill(0xF1);
        aCoding.itsPrecinctSizes[0] = 0xF0;
    }
    for (int anOrder = 0; anOrder < 5; ++anOrder)
    {
        aMaker.itsData.itsCoding.itsOrder = static_cast<j2k::ProgressionOrder>(anOrder);
        EXPECT_EQ(ListPackets(aMaker, 100000).size(), 100000U);
    }
}

TEST(PacketSequenceTest, RefusesProgressionsThatRepeatThemselvesForever)
{
    TileMaker aMaker(1000, 1000);
    aMaker.ForAll([](j2k::ComponentCoding& theCoding) { theCoding.itsPrecinctSizes.fill(0x00); });
    aMaker.itsData.itsCoding.itsProgressions.resize(10000);
    EXPECT_THROW(ListPackets(aMaker, ~std::size_t(0)), std::runtime_error);
}
} // namespace
