// SPDX-License-Identifier: Apache-2.0
// What is left of an image whose packets are damaged, and what fussy decoding says of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/EngineDecode.h"
#include "support/EngineReports.h"
#include "support/jpeg2000/OpenJpeg.h"

namespace
{
using OpenJpeg::Bytes;

constexpr std::size_t kScod = 49; ///< where the coding style says whether there are SOP and EPH
constexpr std::uint8_t kSopBit = 2;
constexpr std::uint8_t kEphBit = 4;
constexpr std::size_t kSopSize = 6;

/// 16 x 16 in four code-blocks of 8 x 8, each a precinct of its own: packet i is quadrant i.
struct FourPackets
{
    Bytes itsHead;                 ///< up to SOD
    std::vector<Bytes> itsPackets; ///< from SOP on
    PlanarImage itsImage;

    FourPackets()
    {
        PlanarComponent aComponent;
        aComponent.itsWidth = aComponent.itsHeight = 16;
        for (int i = 0; i < 256; ++i)
        {
            aComponent.itsSamples.push_back(i * 97 % 251);
        }
        itsImage = {0, 0, 16, 16, {aComponent}};
        OpenJpeg::Options anOptions;
        anOptions.itsResolutions = 1;
        anOptions.itsBlockWidth = 8;
        anOptions.itsBlockHeight = 8;
        anOptions.itsPrecincts = {{8, 8}};
        anOptions.itsSOP = true;
        anOptions.itsEPH = true;
        const Bytes aStream = OpenJpeg::Encode(itsImage, anOptions);
        auto aStart = Find(aStream, aStream.begin(), {0xFF, 0x91});
        // Without the comment, which tells the encoder's version.
        const auto aComment = Find(aStream, aStream.begin(), {0xFF, 0x64});
        itsHead.assign(aStream.begin(), aComment);
        itsHead.insert(itsHead.end(), Find(aStream, aComment, {0xFF, 0x90}), aStart);
        while (aStart != aStream.end())
        {
            const auto anEnd = Find(aStream, aStart + 2, {0xFF, 0x91});
            itsPackets.emplace_back(aStart, anEnd);
            aStart = anEnd;
        }
        itsPackets.back().resize(itsPackets.back().size() - 2); // EOC
    }

    static Bytes::const_iterator Find(const Bytes& theBytes, Bytes::const_iterator theStart, Bytes thePattern)
    {
        return std::search(theStart, theBytes.end(), thePattern.begin(), thePattern.end());
    }

    /// What the packet's header is, with bytes that are not a marker behind it.
    void SetHeader(std::size_t thePacket, Bytes theHeader)
    {
        Bytes& aPacket = itsPackets[thePacket];
        aPacket.resize(kSopSize);
        aPacket.insert(aPacket.end(), theHeader.begin(), theHeader.end());
    }

    Bytes Join() const
    {
        Bytes aStream = itsHead;
        for (const Bytes& aPacket : itsPackets)
        {
            aStream.insert(aStream.end(), aPacket.begin(), aPacket.end());
        }
        auto anEnd = aStream.size();
        for (std::size_t i = anEnd - 12; i > 0; --i)
        {
            if (aStream[i] == 0xFF && aStream[i + 1] == 0x90)
            {
                aStream[i + 8] = static_cast<std::uint8_t>((anEnd - i) >> 8);
                aStream[i + 9] = static_cast<std::uint8_t>(anEnd - i);
                anEnd = i;
            }
        }
        aStream.insert(aStream.end(), {0xFF, 0xD9});
        return aStream;
    }

    /// For each quadrant "=" when it is right, "-" when nothing came of it, "?" otherwise.
    std::string Describe(const PlanarImage& theResult) const
    {
        std::string aText = "====";
        for (std::size_t i = 0; i < 4; ++i)
        {
            bool isGrey = true;
            for (std::size_t s = 0; s < 64; ++s)
            {
                const std::size_t aPlace = i / 2 * 128 + i % 2 * 8 + s / 8 * 16 + s % 8;
                const std::int32_t aSample = theResult.itsComponents[0].itsSamples[aPlace];
                isGrey = isGrey && aSample == 128;
                aText[i] = aSample == itsImage.itsComponents[0].itsSamples[aPlace] ? aText[i] : '?';
            }
            aText[i] = isGrey ? '-' : aText[i];
        }
        return aText;
    }
};

struct DamageCase
{
    const char* itsName;
    void (*itsDamage)(FourPackets&);
    const char* itsFast;
    const char* itsResilient;
    const char* itsFussy; ///< the warning, its place left out; "" for none
};

class PacketDamage : public testing::TestWithParam<DamageCase>
{
};

TEST_P(PacketDamage, IsSurvivedAsTheModeSays)
{
    FourPackets aPackets;
    ASSERT_EQ(aPackets.itsPackets.size(), 4U);
    GetParam().itsDamage(aPackets);
    const Bytes aStream = aPackets.Join();
    EXPECT_EQ(aPackets.Describe(EngineDecode(aStream)), GetParam().itsFast);
    EXPECT_EQ(aPackets.Describe(EngineDecode(aStream, {.itsMode = EngineMode::Resilient})),
              GetParam().itsResilient);
    std::string aText;
    try
    {
        EngineDecode(aStream, {.itsMode = EngineMode::Fussy});
    }
    catch (const EngineReport& aReport)
    {
        EXPECT_TRUE(aReport.itsIsWarning);
        aText = aReport.itsText.substr(0, aReport.itsText.find(" (at byte"));
    }
    EXPECT_EQ(aText, GetParam().itsFussy);
}

INSTANTIATE_TEST_SUITE_P(
    All, PacketDamage,
    testing::Values(
        DamageCase{"None", [](FourPackets&) {}, "====", "====", ""},
        DamageCase{"NoDataAtAll", [](FourPackets& thePackets) { thePackets.itsPackets.clear(); }, "----",
                   "----", "Data ends before the last packet in tile 0"},
        DamageCase{"BodyCut",
                   [](FourPackets& thePackets)
                   {
                       thePackets.itsPackets.resize(2);
                       thePackets.itsPackets[1].resize(50);
                   },
                   "=?--", "=?--", "Data ends within a packet in tile 0"},
        DamageCase{"HeaderCut",
                   [](FourPackets& thePackets)
                   {
                       thePackets.itsPackets.resize(2);
                       thePackets.itsPackets[1].resize(kSopSize + 1);
                   },
                   "=---", "=---", "Packet header contradicts itself or the data in tile 0"},
        // As many packets as that number skips would take longer than so few bytes are worth.
        DamageCase{"SopFarAhead", [](FourPackets& thePackets) { thePackets.itsPackets[1][4] = 0x70; },
                   "====", "====", "SOP has the number of another packet in tile 0"},
        DamageCase{"SopLength", [](FourPackets& thePackets) { thePackets.itsPackets[1][3] = 5; },
                   "====", "====", "SOP has a length other than 4 in tile 0"},
        DamageCase{"BytesBehindTheLastPacket",
                   [](FourPackets& thePackets) { thePackets.itsPackets[3].push_back(0); },
                   "====", "====", "Bytes follow the last packet in tile 0"},
        DamageCase{"AByteTooFew", [](FourPackets& thePackets) { thePackets.itsPackets[1].pop_back(); },
                   "=?--", "=-==", "EPH is missing behind a packet header in tile 0"},
        DamageCase{"AByteTooMany", [](FourPackets& thePackets) { thePackets.itsPackets[1].push_back(0x11); },
                   "==-?", "=-==", "EPH is missing behind a packet header in tile 0"},
        DamageCase{"PacketThatIsMissing",
                   [](FourPackets& thePackets)
                   { thePackets.itsPackets.erase(thePackets.itsPackets.begin() + 2); },
                   "==?-", "==-=", "SOP has the number of another packet in tile 0"},
        DamageCase{"SopOfOnePacketIsDestroyed",
                   [](FourPackets& thePackets) { thePackets.itsPackets[2][0] = 0; }, "==--",
                   "==-=", "EPH is missing behind a packet header in tile 0"},
        DamageCase{"SopBeforeSomePacketsOnly",
                   [](FourPackets& thePackets)
                   {
                       Bytes& aPacket = thePackets.itsPackets[1];
                       aPacket.erase(aPacket.begin(), aPacket.begin() + kSopSize);
                   },
                   "====", "====", ""},
        DamageCase{"SopThatIsNotAnnounced",
                   [](FourPackets& thePackets) { thePackets.itsHead[kScod] ^= kSopBit; },
                   "====", "====", "SOP where COD announces none in tile 0"},
        DamageCase{"EphThatIsNotAnnounced",
                   [](FourPackets& thePackets) { thePackets.itsHead[kScod] ^= kEphBit; },
                   "====", "====", "EPH where COD announces none in tile 0"},
        DamageCase{"EphThatIsMissing",
                   [](FourPackets& thePackets)
                   {
                       Bytes& aPacket = thePackets.itsPackets[3];
                       const auto aPlace = FourPackets::Find(aPacket, aPacket.begin(), {0xFF, 0x92});
                       aPacket.erase(aPlace, aPlace + 2);
                   },
                   "====", "====", "EPH is missing behind a packet header in tile 0"},
        DamageCase{"PacketAcrossTileParts",
                   [](FourPackets& thePackets)
                   {
                       thePackets.itsHead[thePackets.itsHead.size() - 3] = 0; // so many tile-parts
                       Bytes& aPacket = thePackets.itsPackets[1];
                       const Bytes aStart = {0xFF, 0x90, 0, 10, 0, 0, 0, 0, 0, 0, 1, 0, 0xFF, 0x93};
                       aPacket.insert(aPacket.begin() + 40, aStart.begin(), aStart.end());
                   },
                   "====", "====", "Packet goes on in the next tile-part in tile 0"},
        DamageCase{"AllBitPlanesZero",
                   [](FourPackets& thePackets) {
                       thePackets.SetHeader(1, {0xC0, 0x11, 0x00, 0xFF, 0x92, 1, 2});
                   },
                   "=-==", "=-==", "Packet header has a code-block with 9 zero bit-planes out of 9"},
        DamageCase{"ZeroBitPlanesWithoutEnd",
                   [](FourPackets& thePackets)
                   {
                       thePackets.itsPackets.resize(2);
                       thePackets.SetHeader(1, Bytes(200, 0));
                       thePackets.itsPackets[1][kSopSize] = 0xC0;
                   },
                   "=---", "=---", "Packet header contradicts itself or the data in tile 0"},
        DamageCase{"LengthBitsWithoutEnd",
                   [](FourPackets& thePackets)
                   {
                       thePackets.itsPackets.resize(2);
                       thePackets.SetHeader(1, {0xEF, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F});
                   },
                   "=---", "=---", "Packet header contradicts itself or the data in tile 0"}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });
} // namespace
