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

/// Places in the stream that tests damage: its first byte, then SOP and EPH of each packet, then EOC.
constexpr std::size_t kHead = 0, kSop0 = 1, kSop1 = 3, kSop2 = 5, kSop3 = 7, kEph3 = 8, kEnd = 9;

/// Bytes from one place to another, the second left out, replaced by others.
struct Edit
{
    std::size_t itsFrom;
    std::ptrdiff_t itsFromOffset;
    std::size_t itsTo;
    std::ptrdiff_t itsToOffset;
    Bytes itsBytes = {};
};

constexpr std::ptrdiff_t kScod = 49; ///< from the head: whether there are SOP (2) and EPH (4)
constexpr std::ptrdiff_t kSop = 6;   ///< bytes of SOP

/// 16 x 16 in four code-blocks of 8 x 8, each a precinct of its own: packet i is quadrant i.
struct FourPackets
{
    Bytes itsStream;
    std::vector<std::ptrdiff_t> itsPlaces;
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
        anOptions.itsBlockWidth = anOptions.itsBlockHeight = 8;
        anOptions.itsPrecincts = {{8, 8}};
        anOptions.itsSOP = anOptions.itsEPH = true;
        itsStream = OpenJpeg::Encode(itsImage, anOptions);
        // Without the comment, which tells the encoder's version.
        itsStream.erase(Find(0x64, itsStream.begin()), Find(0x90, itsStream.begin()));
        itsPlaces.push_back(0);
        for (int i = 0; i < 8; ++i)
        {
            const auto aStart = itsStream.begin() + itsPlaces.back();
            itsPlaces.push_back(Find(i % 2 == 0 ? 0x91 : 0x92, aStart) - itsStream.begin());
        }
        itsPlaces.push_back(Find(0xD9, itsStream.begin()) - itsStream.begin());
    }

    Bytes::iterator Find(std::uint8_t theMarker, Bytes::iterator theStart)
    {
        const Bytes aPattern = {0xFF, theMarker};
        return std::search(theStart, itsStream.end(), aPattern.begin(), aPattern.end());
    }

    /// The stream with the edits, which are in the order of their places, and the tile-parts' lengths made
    /// true.
    Bytes Damage(const std::vector<Edit>& theEdits) const
    {
        Bytes aStream = itsStream;
        for (auto anEdit = theEdits.rbegin(); anEdit != theEdits.rend(); ++anEdit)
        {
            const auto aFrom = aStream.begin() + itsPlaces[anEdit->itsFrom] + anEdit->itsFromOffset;
            const auto aTo = aStream.begin() + itsPlaces[anEdit->itsTo] + anEdit->itsToOffset;
            aStream.insert(aStream.erase(aFrom, aTo), anEdit->itsBytes.begin(), anEdit->itsBytes.end());
        }
        auto anEnd = aStream.size() - 2;
        for (std::size_t i = anEnd - 12; i > 0; --i)
        {
            if (aStream[i] == 0xFF && aStream[i + 1] == 0x90)
            {
                aStream[i + 8] = static_cast<std::uint8_t>((anEnd - i) >> 8);
                aStream[i + 9] = static_cast<std::uint8_t>(anEnd - i);
                anEnd = i;
            }
        }
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

/// Name and edits; the pixels after fast decoding and after resilient; the warning, its place left out, ""
/// for none.
using DamageCase = std::tuple<const char*, std::vector<Edit>, std::string, std::string>;

const std::string kIn0 = " in tile 0";
const std::string kNoEph = "EPH is missing behind a packet header" + kIn0;
const std::string kContradiction = "Packet header contradicts itself or the data" + kIn0;
const std::string kOther = "SOP has the number of another packet" + kIn0;
const std::string kAllZero = "Packet header has a code-block with 9 zero bit-planes out of 9";
const Bytes kZero9 = {0xC0, 0x11, 0x00, 0xFF, 0x92, 1, 2};
const std::vector<Edit> kZeroOn = {{kSop1, kSop, kSop1, kSop + 1, {0xC0}},
                                   {kSop1, kSop + 1, kEnd, 0, Bytes(199)}};
const Bytes kLengthOn = {0xEF, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F};
const Bytes kPart = {0xFF, 0x90, 0, 10, 0, 0, 0, 0, 0, 0, 1, 0, 0xFF, 0x93};
// How many tile-parts there are is not told then.
const std::vector<Edit> kAcross = {{kSop0, -3, kSop0, -2, {0}}, {kSop1, 40, kSop1, 40, kPart}};

const DamageCase kCases[] = {
    {"none", {}, "==== ====", ""},
    {"no data at all", {{kSop0, 0, kEnd, 0}}, "---- ----", "Data ends before the last packet" + kIn0},
    {"body cut", {{kSop1, 50, kEnd, 0}}, "=?-- =?--", "Data ends within a packet" + kIn0},
    {"header cut", {{kSop1, kSop + 1, kEnd, 0}}, "=--- =---", kContradiction},
    // As many packets as that number skips would take longer than so few bytes are worth.
    {"SOP far ahead", {{kSop1, 4, kSop1, 5, {0x70}}}, "==== ====", kOther},
    {"SOP's length", {{kSop1, 3, kSop1, 4, {5}}}, "==== ====", "SOP has a length other than 4" + kIn0},
    {"bytes too many", {{kEnd, 0, kEnd, 0, {0}}}, "==== ====", "Bytes follow the last packet" + kIn0},
    {"a byte too few", {{kSop2, -1, kSop2, 0}}, "=?-- =-==", kNoEph},
    {"a byte too many", {{kSop2, 0, kSop2, 0, {0x11}}}, "==-? =-==", kNoEph},
    {"a packet missing", {{kSop2, 0, kSop3, 0}}, "==?- ==-=", kOther},
    {"SOP destroyed", {{kSop2, 0, kSop2, 1, {0}}}, "==-- ==-=", kNoEph},
    {"SOP before some packets only", {{kSop1, 0, kSop1, kSop}}, "==== ====", ""},
    {"no SOP", {{kHead, kScod, kHead, kScod + 1, {5}}}, "==== ====", "SOP where COD announces none" + kIn0},
    {"no EPH", {{kHead, kScod, kHead, kScod + 1, {3}}}, "==== ====", "EPH where COD announces none" + kIn0},
    {"EPH missing", {{kEph3, 0, kEph3, 2}}, "==== ====", kNoEph},
    {"across tile-parts", kAcross, "==== ====", "Packet goes on in the next tile-part" + kIn0},
    {"all bit-planes zero", {{kSop1, kSop, kSop2, 0, kZero9}}, "=-== =-==", kAllZero},
    {"zero bit-planes without end", kZeroOn, "=--- =---", kContradiction},
    {"length bits without end", {{kSop1, kSop, kEnd, 0, kLengthOn}}, "=--- =---", kContradiction},
};

TEST(PacketDamage, IsSurvivedAsTheModeSays)
{
    const FourPackets aPackets;
    for (const auto& [aName, anEdits, aPixels, aWarning] : kCases)
    {
        SCOPED_TRACE(aName);
        const Bytes aStream = aPackets.Damage(anEdits);
        EXPECT_EQ(aPackets.Describe(EngineDecode(aStream)) + ' ' +
                      aPackets.Describe(EngineDecode(aStream, {.itsMode = EngineMode::Resilient})),
                  aPixels);
        const std::string aText = ReportOf([&] { EngineDecode(aStream, {.itsMode = EngineMode::Fussy}); });
        EXPECT_EQ(aText.substr(0, aText.find(" (at byte")), aWarning.empty() ? "" : "warning: " + aWarning);
    }
}
} // namespace
