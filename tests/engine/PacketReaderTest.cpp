// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketReader.h"

#include <gtest/gtest.h>

#include "engine/detail/packets/PassSegments.h"
#include "support/EngineReports.h"
#include "support/LongRun.h"
#include "support/PacketWriter.h"
#include "support/PlainPackets.h"
#include "support/TileMaker.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <tuple>

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// A segment as a code-block should come out.
struct Segment
{
    std::uint32_t itsPasses = 0;
    Bytes itsBytes = {};

    bool operator==(const Segment&) const = default;
};

/// Component, resolution, band, column, row.
using BlockKey = std::tuple<unsigned int, unsigned int, unsigned int, std::uint32_t, std::uint32_t>;

/// Encodes a tile of random code-blocks packet by packet, and knows what each block must come out as.
class RandomPackets
{
public:
    RandomPackets(std::uint32_t theSeed, std::uint8_t theStyle, bool theSop, bool theEph)
        : itsRandom(theSeed), itsMaker(17 + theSeed % 40, 9 + theSeed % 50, 2), itsSegments(theStyle)
    {
        j2k::TileCoding& aCoding = itsMaker.itsData.itsCoding;
        aCoding.itsLayers = static_cast<std::uint16_t>(1 + Pick(4));
        aCoding.itsOrder = static_cast<j2k::ProgressionOrder>(Pick(5));
        aCoding.itsMayHaveSOP = theSop;
        aCoding.itsHasEPH = theEph;
        for (j2k::ComponentCoding& aComponent : aCoding.itsComponents)
        {
            aComponent.itsLevels = static_cast<std::uint8_t>(Pick(4));
            aComponent.itsLog2BlockWidth = static_cast<std::uint8_t>(2 + Pick(3));
            aComponent.itsLog2BlockHeight = static_cast<std::uint8_t>(2 + Pick(3));
            aComponent.itsBlockStyle = theStyle;
            for (std::uint8_t& aSize : aComponent.itsPrecinctSizes)
            {
                aSize = Pick(3) == 0 ? 0xFF : static_cast<std::uint8_t>(0x33 + Pick(3) + 16 * Pick(3));
            }
        }
        Encode();
    }

    struct Packet
    {
        PlainPacket itsPlace;
        Bytes itsHeader; ///< with EPH
        Bytes itsBody;
    };

    TileMaker& GetMaker() { return itsMaker; }
    const std::vector<Packet>& GetPackets() const { return itsPackets; }

    /// A packet as it stands in the body; theNumber for its SOP.
    Bytes Join(const Packet& thePacket, std::size_t theNumber, bool theWithHeader = true) const
    {
        Bytes aBytes;
        if (itsMaker.itsData.itsCoding.itsMayHaveSOP)
        {
            aBytes = {0xFF, 0x91, 0, 4, std::uint8_t(theNumber >> 8), std::uint8_t(theNumber & 0xFF)};
        }
        if (theWithHeader)
        {
            aBytes.insert(aBytes.end(), thePacket.itsHeader.begin(), thePacket.itsHeader.end());
        }
        aBytes.insert(aBytes.end(), thePacket.itsBody.begin(), thePacket.itsBody.end());
        return aBytes;
    }

    /// Adds all packets to the body.
    void AddAll(bool theWithHeaders = true)
    {
        for (std::size_t i = 0; i < itsPackets.size(); ++i)
        {
            itsMaker.AddBody(Join(itsPackets[i], i, theWithHeaders));
        }
    }

    /// The blocks of a tile that the first theLayers layers bring.
    void Expect(const j2k::Tile& theTile, unsigned int theLayers) const
    {
        ExpectBlocks(theTile, [theLayers](const BlockKey&) { return theLayers; });
    }

    /// theCountLayers says how many layers count for a block.
    template <class CountLayers>
    void ExpectBlocks(const j2k::Tile& theTile, const CountLayers& theCountLayers) const
    {
        for (const auto& [aKey, aBlock] : itsBlocks)
        {
            const auto [c, r, b, x, y] = aKey;
            const j2k::Resolution& aResolution =
                const_cast<j2k::Tile&>(theTile).GetComponent(c).GetResolution(r);
            j2k::CollectedBlock aCollected;
            const bool anIsThere = aResolution.GetSubband(b).CollectBlock(x, y, aCollected);
            const auto anExpected = Assemble(aBlock, theCountLayers(aKey));
            ASSERT_EQ(anIsThere, !anExpected.empty());
            if (anIsThere)
            {
                ASSERT_TRUE(Read(aCollected) == anExpected);
                ASSERT_EQ(aCollected.itsBlock.itsBitPlanes, 9 - aBlock.itsZeroBitPlanes);
                ASSERT_EQ(aCollected.itsIsCut, theTile.LeavesLayersOut() && !EndsSegment(anExpected));
                ExpectMargins(aCollected);
            }
        }
    }

private:
    unsigned int Pick(unsigned int theMost) { return static_cast<unsigned int>(itsRandom() % theMost); }

    void Encode()
    {
        const PlainPackets aPlain(itsMaker.itsImage, 0, itsMaker.itsData.itsCoding);
        std::map<std::tuple<unsigned int, unsigned int, std::uint64_t>, PacketWriter> aWriters;
        for (const PlainPacket& aPlace : aPlain.List())
        {
            const auto aKey = std::make_tuple(aPlace.itsComponent, aPlace.itsResolution, aPlace.itsPrecinct);
            auto aWriter = aWriters.find(aKey);
            if (aWriter == aWriters.end())
            {
                aWriter = aWriters.emplace(aKey, MakePrecinct(aPlain, aPlace)).first;
            }
            PacketWriter::Packet aPacket = aWriter->second.Write(aPlace.itsLayer);
            if (itsMaker.itsData.itsCoding.itsHasEPH)
            {
                aPacket.itsHeader.insert(aPacket.itsHeader.end(), {0xFF, 0x92});
            }
            itsPackets.push_back({aPlace, aPacket.itsHeader, aPacket.itsBody});
        }
    }

    PacketWriter MakePrecinct(const PlainPackets& thePlain, const PlainPacket& thePlace)
    {
        std::vector<PacketWriter::Band> aBands;
        for (unsigned int b = 0; b < (thePlace.itsResolution == 0 ? 1U : 3U); ++b)
        {
            const PlainBlocks aPositions =
                thePlain.ListBlocks(thePlace.itsComponent, thePlace.itsResolution, b, thePlace.itsPrecinct);
            PacketWriter::Band aBand;
            aBand.itsColumns = static_cast<std::size_t>(
                std::count_if(aPositions.begin(), aPositions.end(),
                              [&aPositions](const auto& thePosition)
                              { return thePosition.second == aPositions.front().second; }));
            aBand.itsRows = aPositions.empty() ? 0 : aPositions.size() / aBand.itsColumns;
            for (const auto& aPosition : aPositions)
            {
                aBand.itsBlocks.push_back(MakeBlock());
                itsBlocks[{thePlace.itsComponent, thePlace.itsResolution, b, aPosition.first,
                           aPosition.second}] = aBand.itsBlocks.back();
            }
            aBands.push_back(std::move(aBand));
        }
        return PacketWriter(std::move(aBands));
    }

    PacketWriter::Block MakeBlock()
    {
        const unsigned int aLayers = itsMaker.itsData.itsCoding.itsLayers;
        PacketWriter::Block aBlock;
        aBlock.itsFirstLayer = Pick(aLayers + 2);
        aBlock.itsZeroBitPlanes = Pick(9);
        aBlock.itsLayers.resize(aLayers);
        std::uint32_t aPass = 0;
        for (unsigned int aLayer = aBlock.itsFirstLayer; aLayer < aLayers; ++aLayer)
        {
            if (aLayer != aBlock.itsFirstLayer && Pick(3) == 0)
            {
                continue;
            }
            unsigned int aPasses = 1 + Pick(Pick(4) == 0 ? 164 : 7);
            while (aPasses > 0)
            {
                const unsigned int aPart = std::min(aPasses, itsSegments.GetPassesToEnd(aPass));
                aBlock.itsLayers[aLayer].push_back({aPart, MakeBytes()});
                aPasses -= aPart;
                aPass += aPart;
            }
        }
        return aBlock;
    }

    Bytes MakeBytes()
    {
        Bytes aBytes(Pick(5) == 0 ? Pick(300) : Pick(9));
        // As in a real codestream, nothing looks like a marker.
        std::generate(aBytes.begin(), aBytes.end(),
                      [this]() { return static_cast<std::uint8_t>(itsRandom() % 0xFF); });
        return aBytes;
    }

    std::vector<Segment> Assemble(const PacketWriter::Block& theBlock, unsigned int theLayers) const
    {
        std::vector<Segment> aSegments;
        std::uint32_t aPass = 0;
        for (unsigned int aLayer = 0; aLayer < std::min<std::size_t>(theLayers, theBlock.itsLayers.size());
             ++aLayer)
        {
            for (const PacketWriter::Share& aShare : theBlock.itsLayers[aLayer])
            {
                if (itsSegments.IsStart(aPass))
                {
                    aSegments.emplace_back();
                }
                aPass += aShare.itsPasses;
                Segment& aLast = aSegments.back();
                aLast.itsPasses += aShare.itsPasses;
                aLast.itsBytes.insert(aLast.itsBytes.end(), aShare.itsBytes.begin(), aShare.itsBytes.end());
            }
        }
        return aSegments;
    }

    /// Whether the passes of theSegments are whole segments, however many more may follow.
    bool EndsSegment(const std::vector<Segment>& theSegments) const
    {
        return itsSegments.IsStart(std::accumulate(theSegments.begin(), theSegments.end(), 0U,
                                                   [](std::uint32_t theSum, const Segment& theSegment)
                                                   { return theSum + theSegment.itsPasses; }));
    }

    static std::vector<Segment> Read(const j2k::CollectedBlock& theBlock)
    {
        std::vector<Segment> aSegments;
        for (const j2k::CodedSegment& aSegment : theBlock.itsBlock.itsSegments)
        {
            aSegments.push_back(
                {aSegment.itsPasses, Bytes(aSegment.itsData, aSegment.itsData + aSegment.itsLength)});
        }
        return aSegments;
    }

    static void ExpectMargins(const j2k::CollectedBlock& theBlock)
    {
        const std::uint8_t* aFree = theBlock.itsBytes.data();
        for (const j2k::CodedSegment& aSegment : theBlock.itsBlock.itsSegments)
        {
            ASSERT_GE(aSegment.itsData - aFree, std::ptrdiff_t(j2k::CodedSegment::kLead));
            aFree = aSegment.itsData + aSegment.itsLength;
            ASSERT_TRUE(std::all_of(aFree, aFree + j2k::CodedSegment::kTail,
                                    [](std::uint8_t theByte) { return theByte == 0xFF; }));
            aFree += j2k::CodedSegment::kTail;
        }
        ASSERT_LE(aFree, theBlock.itsBytes.data() + theBlock.itsBytes.size());
    }

    std::mt19937 itsRandom;
    TileMaker itsMaker;
    j2k::PassSegments itsSegments;
    std::map<BlockKey, PacketWriter::Block> itsBlocks;
    std::vector<Packet> itsPackets;
};

constexpr std::uint8_t kStyles[] = {0, j2k::CBS_BYPASS, j2k::CBS_TERMINATE_ALL,
                                    j2k::CBS_BYPASS | j2k::CBS_TERMINATE_ALL};

RandomPackets MakeRandom(int theRound, bool theSop)
{
    return {static_cast<std::uint32_t>(theRound), kStyles[theRound % 4], theSop, theRound % 3 == 0};
}

TEST(PacketReaderTest, CollectsWhatAnEncoderWrote)
{
    for (int aRound = 0; aRound < Rounds(80); ++aRound)
    {
        SCOPED_TRACE(aRound);
        RandomPackets aPackets = MakeRandom(aRound, aRound % 5 < 2);
        TileMaker& aMaker = aPackets.GetMaker();
        aPackets.AddAll();
        if (aRound % 2 == 0)
        {
            // The same in pieces of any size.
            const auto aBody = std::move(aMaker.itsData.itsBody);
            aMaker.itsData.itsBody.clear();
            aMaker.itsData.itsBodyBytes = 0;
            for (const j2k::BodyChunk& aChunk : aBody)
            {
                const auto aCut = aChunk.itsBytes.begin() + std::ptrdiff_t(aChunk.itsBytes.size() / 2);
                aMaker.AddBody(Bytes(aChunk.itsBytes.begin(), aCut));
                aMaker.AddBody(Bytes(aCut, aChunk.itsBytes.end()));
            }
        }
        EngineReports aReports;
        aMaker.itsReports.SetTolerance(static_cast<j2k::Tolerance>(aRound % 3));
        const auto aTile = aMaker.Open();
        EXPECT_EQ(aTile->GetUnreadBytes(), 0U);
        aPackets.Expect(*aTile, ~0U);
    }
}

TEST(PacketReaderTest, CollectsWithPackedHeaders)
{
    for (int aRound = 0; aRound < 12; ++aRound)
    {
        RandomPackets aPackets = MakeRandom(aRound, aRound % 2 == 0);
        aPackets.AddAll(false);
        j2k::TileData& aData = aPackets.GetMaker().itsData;
        aData.itsHasPackedHeaders = true;
        for (const RandomPackets::Packet& aPacket : aPackets.GetPackets())
        {
            aData.itsPackedHeaders.insert(aData.itsPackedHeaders.end(), aPacket.itsHeader.begin(),
                                          aPacket.itsHeader.end());
        }
        const auto aTile = aPackets.GetMaker().Open();
        EXPECT_EQ(aTile->GetUnreadBytes(), 0U);
        aPackets.Expect(*aTile, ~0U);
    }
}

TEST(PacketReaderTest, KeepsOnlyTheLayersThatAreWanted)
{
    for (int aRound = 0; aRound < 40; ++aRound)
    {
        RandomPackets aPackets = MakeRandom(aRound, false);
        aPackets.AddAll();
        for (unsigned int aLayers = 1; aLayers < 4; ++aLayers)
        {
            aPackets.GetMaker().itsRestrictions.itsMaxLayers = aLayers;
            aPackets.Expect(*aPackets.GetMaker().Open(), aLayers);
        }
    }
}

// Cut between packets: what came before counts, nothing else does.
TEST(PacketReaderTest, KeepsEveryPacketBeforeTheCut)
{
    for (int aRound = 0; aRound < 12; ++aRound)
    {
        RandomPackets aWhole = MakeRandom(aRound, false);
        const std::size_t aCut = aWhole.GetPackets().size() * 2 / 3;
        const PlainPackets aPlain(aWhole.GetMaker().itsImage, 0, aWhole.GetMaker().itsData.itsCoding);
        std::map<BlockKey, unsigned int> aLayers;
        for (std::size_t i = 0; i < aCut; ++i)
        {
            const RandomPackets::Packet& aPacket = aWhole.GetPackets()[i];
            aWhole.GetMaker().AddBody(aWhole.Join(aPacket, i));
            const auto& [l, r, c, k] = aPacket.itsPlace;
            for (unsigned int b = 0; b < 3; ++b)
            {
                for (const auto& [x, y] : b == 0 || r > 0 ? aPlain.ListBlocks(c, r, b, k) : PlainBlocks())
                {
                    aLayers[{c, r, b, x, y}] = l + 1;
                }
            }
        }
        const auto aTile = aWhole.GetMaker().Open();
        aWhole.ExpectBlocks(*aTile, [&aLayers](const BlockKey& theKey)
                            { return aLayers.count(theKey) != 0 ? aLayers[theKey] : 0; });
    }
}

/// One component of 16 x 16 in four code-blocks of 8 x 8, each a precinct of its own: packet i is block i.
class FourPackets
{
public:
    FourPackets()
    {
        itsMaker.ForAll(
            [](j2k::ComponentCoding& theCoding)
            {
                theCoding.itsLog2BlockWidth = 3;
                theCoding.itsLog2BlockHeight = 3;
                theCoding.itsPrecinctSizes.fill(0x33);
            });
    }

    static Bytes MakePacket(unsigned int theIndex, std::size_t theLength, unsigned int theZeroBitPlanes = 1,
                            unsigned int thePasses = 4)
    {
        PacketWriter::Block aBlock;
        aBlock.itsZeroBitPlanes = theZeroBitPlanes;
        aBlock.itsLayers = {{{thePasses, Bytes(theLength, static_cast<std::uint8_t>(0x10 + theIndex))}}};
        const auto aPacket = PacketWriter({{1, 1, {aBlock}}}).Write(0);
        Bytes aBytes = aPacket.itsHeader;
        aBytes.insert(aBytes.end(), aPacket.itsBody.begin(), aPacket.itsBody.end());
        return aBytes;
    }

    void Add(Bytes theBytes) { itsMaker.AddBody(std::move(theBytes)); }

    void AddWithSop(unsigned int theIndex, Bytes theBytes)
    {
        itsMaker.itsData.itsCoding.itsMayHaveSOP = true;
        theBytes.insert(theBytes.begin(), {0xFF, 0x91, 0, 4, 0, static_cast<std::uint8_t>(theIndex)});
        Add(std::move(theBytes));
    }

    /// For each block its length and passes, "-" for none, "?" when the bytes are not its own.
    static std::string Describe(j2k::Tile& theTile)
    {
        std::string aText;
        for (unsigned int i = 0; i < 4; ++i)
        {
            j2k::CollectedBlock aBlock;
            aText += i == 0 ? "" : " ";
            if (!theTile.GetComponent(0).GetResolution(0).GetSubband(0).CollectBlock(i % 2, i / 2, aBlock))
            {
                aText += "-";
                continue;
            }
            const j2k::CodedSegment& aSegment = aBlock.itsSegments[0];
            aText += std::to_string(aSegment.itsLength) + "/" + std::to_string(aSegment.itsPasses);
            const bool anIsOwn = std::all_of(aSegment.itsData, aSegment.itsData + aSegment.itsLength,
                                             [i](std::uint8_t theByte) { return theByte == 0x10 + i; });
            aText += anIsOwn ? "" : "?";
        }
        return aText;
    }

    TileMaker itsMaker;
};

struct DamageCase
{
    const char* itsName;
    void (*itsMake)(FourPackets&);
    const char* itsFast;
    const char* itsResilient;
    const char* itsFussy; ///< start of the warning; null for none
};

class PacketReaderDamage : public testing::TestWithParam<DamageCase>
{
};

TEST_P(PacketReaderDamage, IsSurvivedAsTheModeSays)
{
    FourPackets aPackets;
    GetParam().itsMake(aPackets);
    const EngineReports aReports;
    EXPECT_EQ(FourPackets::Describe(*aPackets.itsMaker.Open()), GetParam().itsFast);
    aPackets.itsMaker.itsReports.SetTolerance(j2k::Tolerance::Resilient);
    EXPECT_EQ(FourPackets::Describe(*aPackets.itsMaker.Open()), GetParam().itsResilient);
    std::string aText = "none";
    j2k::Reports aStrict;
    aStrict.SetTolerance(j2k::Tolerance::Fussy);
    aPackets.itsMaker.itsReports = aStrict;
    try
    {
        aPackets.itsMaker.Open();
    }
    catch (const EngineReport& theReport)
    {
        EXPECT_TRUE(theReport.itsIsWarning);
        aText = theReport.itsText;
    }
    EXPECT_EQ(aText, GetParam().itsFussy == nullptr ? "none" : GetParam().itsFussy);
}

void AddFour(FourPackets& thePackets, bool theWithSop)
{
    for (unsigned int i = 0; i < 4; ++i)
    {
        theWithSop ? thePackets.AddWithSop(i, FourPackets::MakePacket(i, 5))
                   : thePackets.Add(FourPackets::MakePacket(i, 5));
    }
}

/// The second packet's header tells theLength in the place of 5.
void AddFourWithALie(FourPackets& thePackets, std::size_t theLength)
{
    const std::size_t aSize = FourPackets::MakePacket(0, 5).size();
    for (unsigned int i = 0; i < 4; ++i)
    {
        Bytes aBytes = FourPackets::MakePacket(i, i == 1 ? theLength : 5);
        aBytes.resize(aSize, 0x11);
        thePackets.AddWithSop(i, aBytes);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, PacketReaderDamage,
    testing::Values(
        DamageCase{"None", [](FourPackets& thePackets) { AddFour(thePackets, false); }, "5/4 5/4 5/4 5/4",
                   "5/4 5/4 5/4 5/4", nullptr},
        DamageCase{"NoneWithSop", [](FourPackets& thePackets) { AddFour(thePackets, true); },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4", nullptr},
        DamageCase{"NoDataAtAll", [](FourPackets&) {}, "- - - -", "- - - -",
                   "Data ends before the last packet in tile 0 (at byte 0 of the codestream)"},
        DamageCase{"BodyCutInTheMiddle",
                   [](FourPackets& thePackets)
                   {
                       thePackets.Add(FourPackets::MakePacket(0, 5));
                       Bytes aBytes = FourPackets::MakePacket(1, 100, 1, 8);
                       aBytes.resize(aBytes.size() - 50);
                       thePackets.Add(aBytes);
                   },
                   "5/4 50/4 - -", "5/4 50/4 - -",
                   "Data ends within a packet in tile 0 (at byte 160 of the codestream)"},
        DamageCase{"HeaderCut",
                   [](FourPackets& thePackets)
                   {
                       thePackets.Add(FourPackets::MakePacket(0, 5));
                       Bytes aBytes = FourPackets::MakePacket(1, 100);
                       aBytes.resize(1);
                       thePackets.Add(aBytes);
                   },
                   "5/4 - - -", "5/4 - - -",
                   "Packet header contradicts itself or the data in tile 0 (at byte 108 of the codestream)"},
        // As many packets as that number skips would take longer than so few bytes are worth.
        DamageCase{"SopFarAhead",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, true);
                       thePackets.itsMaker.itsData.itsBody[1].itsBytes[4] = 0x70;
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4",
                   "SOP has the number of another packet in tile 0 (at byte 119 of the codestream)"},
        DamageCase{"BytesBehindTheLastPacket",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, false);
                       thePackets.Add({0x00});
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4",
                   "Bytes follow the last packet in tile 0 (at byte 128 of the codestream)"},
        DamageCase{"LengthThatIsTooLong", [](FourPackets& thePackets) { AddFourWithALie(thePackets, 7); },
                   "5/4 7/4? - -", "5/4 - 5/4 5/4",
                   "Bytes follow the last packet in tile 0 (at byte 130 of the codestream)"},
        DamageCase{"LengthThatIsTooShort", [](FourPackets& thePackets) { AddFourWithALie(thePackets, 4); },
                   "5/4 4/4 - 5/4?", "5/4 - 5/4 5/4",
                   "SOP has the number of another packet in tile 0 (at byte 132 of the codestream)"},
        DamageCase{"PacketThatIsMissing",
                   [](FourPackets& thePackets)
                   {
                       for (const unsigned int i : {0U, 1U, 3U})
                       {
                           thePackets.AddWithSop(i, FourPackets::MakePacket(i, 5));
                       }
                   },
                   "5/4 5/4 5/4? -", "5/4 5/4 - 5/4",
                   "SOP has the number of another packet in tile 0 (at byte 132 of the codestream)"},
        DamageCase{"SopOfOnePacketIsDestroyed",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, true);
                       thePackets.itsMaker.itsData.itsBody[2].itsBytes[0] = 0x00;
                   },
                   "5/4 5/4 - -", "5/4 5/4 - 5/4",
                   "Bytes follow the last packet in tile 0 (at byte 128 of the codestream)"},
        DamageCase{"SopBeforeSomePacketsOnly",
                   [](FourPackets& thePackets)
                   {
                       thePackets.AddWithSop(0, FourPackets::MakePacket(0, 5));
                       thePackets.Add(FourPackets::MakePacket(1, 5));
                       thePackets.AddWithSop(2, FourPackets::MakePacket(2, 5));
                       thePackets.Add(FourPackets::MakePacket(3, 5));
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4", nullptr},
        DamageCase{"SopThatIsNotAnnounced",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, true);
                       thePackets.itsMaker.itsData.itsCoding.itsMayHaveSOP = false;
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4",
                   "SOP where COD announces none in tile 0 (at byte 100 of the codestream)"},
        DamageCase{"EphThatIsMissing",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, false);
                       thePackets.itsMaker.itsData.itsCoding.itsHasEPH = true;
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4",
                   "EPH is missing behind a packet header in tile 0 (at byte 102 of the codestream)"},
        DamageCase{"EphThatIsNotAnnounced",
                   [](FourPackets& thePackets)
                   {
                       AddFour(thePackets, false);
                       Bytes& aBytes = thePackets.itsMaker.itsData.itsBody[3].itsBytes;
                       aBytes.insert(aBytes.begin() + 2, {0xFF, 0x92});
                   },
                   "5/4 5/4 5/4 5/4", "5/4 5/4 5/4 5/4",
                   "EPH where COD announces none in tile 0 (at byte 125 of the codestream)"},
        DamageCase{"PacketAcrossTileParts",
                   [](FourPackets& thePackets)
                   {
                       const Bytes aBytes = FourPackets::MakePacket(1, 5);
                       TileMaker& aMaker = thePackets.itsMaker;
                       aMaker.AddBody(FourPackets::MakePacket(0, 5), true);
                       aMaker.AddBody(Bytes(aBytes.begin(), aBytes.begin() + 3));
                       aMaker.AddBody(Bytes(aBytes.begin() + 3, aBytes.end()), true);
                       aMaker.AddBody({0x00});
                       aMaker.AddBody(FourPackets::MakePacket(3, 5), true);
                   },
                   "5/4 5/4 - 5/4", "5/4 5/4 - 5/4",
                   "Packet goes on in the next tile-part in tile 0 (at byte 114 of the codestream)"},
        DamageCase{"AllBitPlanesZero",
                   [](FourPackets& thePackets)
                   {
                       thePackets.Add(FourPackets::MakePacket(0, 5, 9));
                       thePackets.Add(FourPackets::MakePacket(1, 5, 300));
                       thePackets.Add(FourPackets::MakePacket(2, 5, 8));
                       thePackets.Add(FourPackets::MakePacket(3, 5));
                   },
                   "- - 5/4 5/4", "- - 5/4 5/4",
                   "Packet header has a code-block with 9 zero bit-planes out of 9 (at byte 100 of the "
                   "codestream)"},
        DamageCase{"ZeroBitPlanesWithoutEnd",
                   [](FourPackets& thePackets)
                   {
                       thePackets.Add(FourPackets::MakePacket(0, 5));
                       Bytes aBytes(200, 0);
                       aBytes[0] = 0xC0;
                       thePackets.Add(aBytes);
                   },
                   "5/4 - - -", "5/4 - - -",
                   "Packet header contradicts itself or the data in tile 0 (at byte 172 of the codestream)"},
        DamageCase{"LengthBitsWithoutEnd",
                   [](FourPackets& thePackets)
                   {
                       thePackets.Add(FourPackets::MakePacket(0, 5));
                       thePackets.Add({0xEF, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F});
                   },
                   "5/4 - - -", "5/4 - - -",
                   "Packet header contradicts itself or the data in tile 0 (at byte 112 of the codestream)"}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

// A cut segment keeps the passes that its share of the bytes stands for; what follows it does not count.
TEST(PacketReaderTest, NeverLeavesAGapBetweenTheSegmentsOfACutPacket)
{
    FourPackets aPackets;
    aPackets.itsMaker.ForAll([](j2k::ComponentCoding& theCoding)
                             { theCoding.itsBlockStyle = j2k::CBS_TERMINATE_ALL; });
    PacketWriter::Block aBlock;
    aBlock.itsLayers = {{{1, Bytes(6)}, {1, Bytes(6)}, {1, Bytes(0)}, {1, Bytes(2)}}};
    const auto aPacket = PacketWriter({{1, 1, {aBlock}}}).Write(0);
    aPackets.Add(aPacket.itsHeader);
    aPackets.Add(Bytes(11));
    j2k::CollectedBlock aCollected;
    const auto aTile = aPackets.itsMaker.Open();
    EXPECT_TRUE(aTile->GetComponent(0).GetResolution(0).GetSubband(0).CollectBlock(0, 0, aCollected));
    EXPECT_EQ(aCollected.itsSegments.size(), 1U);
}

TEST(PacketReaderTest, SurvivesAnyBytes)
{
    for (int aRound = 0; aRound < Rounds(150); ++aRound)
    {
        std::mt19937 aRandom(static_cast<std::uint32_t>(aRound));
        RandomPackets aPackets = MakeRandom(aRound, true);
        aPackets.AddAll();
        TileMaker& aMaker = aPackets.GetMaker();
        for (unsigned int i = 0; i < 1U + aRandom() % 20; ++i)
        {
            Bytes& aBytes = aMaker.itsData.itsBody[aRandom() % aMaker.itsData.itsBody.size()].itsBytes;
            if (!aBytes.empty())
            {
                aBytes[aRandom() % aBytes.size()] = static_cast<std::uint8_t>(aRandom());
            }
        }
        aMaker.itsReports.SetTolerance(aRound % 2 == 0 ? j2k::Tolerance::Resilient : j2k::Tolerance::Fast);
        try
        {
            const auto aTile = aMaker.Open();
            j2k::CollectedBlock aBlock;
            for (std::size_t c = 0; c < aTile->GetComponentCount(); ++c)
            {
                const j2k::Subband& aSubband = aTile->GetComponent(c).GetResolution(0).GetSubband(0);
                for (std::uint32_t i = 0; i < aSubband.GetBlockColumns() * aSubband.GetBlockRows(); ++i)
                {
                    aSubband.CollectBlock(i % aSubband.GetBlockColumns(), i / aSubband.GetBlockColumns(),
                                          aBlock);
                }
            }
        }
        catch (const std::runtime_error&)
        {
        }
    }
}
} // namespace
