// SPDX-License-Identifier: Apache-2.0
// Legal codestreams that OpenJPEG's encoder does not write: packet headers in the main or the tile headers,
// many tile-parts, those of different tiles in turn; and what of them is left alone.

#include <gtest/gtest.h>

#include "support/LongRun.h"
#include "support/jpeg2000/CodestreamEditor.h"
#include "support/jpeg2000/EngineDecode.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
using Headers = CodestreamEditor::Headers;

struct Arrangement
{
    const char* itsName;
    std::size_t itsPacketsInAPart; ///< 0: tile-parts stay as they are
    Headers itsHeaders;
    bool itsKeepsMarkers;
};

RandomStream MakeStream(Dice& theDice)
{
    static constexpr const char* kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    RandomStream aStream;
    const auto aComponents = static_cast<std::size_t>(theDice.Chance(50) ? 1 : 3);
    aStream.itsImage = MakeImage(static_cast<std::uint32_t>(theDice.Roll(40, 70)),
                                 static_cast<std::uint32_t>(theDice.Roll(40, 70)), aComponents,
                                 theDice.Roll(8, 14), theDice.Chance(50), theDice);
    aStream.itsOptions.itsSOP = true;
    aStream.itsOptions.itsEPH = true;
    aStream.itsOptions.itsResolutions = theDice.Roll(2, 4);
    aStream.itsOptions.itsOrder = kOrders[theDice.Roll(0, 4)];
    aStream.itsOptions.itsRates = {20, 8, 1};
    aStream.itsOptions.itsComponentTransform = aComponents == 3 && theDice.Chance(50);
    aStream.itsOptions.itsTileWidth = theDice.Chance(70) ? 32 : 0;
    aStream.itsOptions.itsTileHeight = aStream.itsOptions.itsTileWidth;
    return aStream;
}

class RearrangedStreams : public testing::TestWithParam<Arrangement>
{
};

TEST_P(RearrangedStreams, DecodeToTheSamePixels)
{
    const Arrangement& anArrangement = GetParam();
    Dice aDice(5);
    for (int i = 0; i < Rounds(20); ++i)
    {
        const RandomStream aStream = MakeStream(aDice);
        SCOPED_TRACE("stream " + std::to_string(i) + ": " + aStream.Describe());
        CodestreamEditor anEditor(OpenJpeg::Encode(aStream.itsImage, aStream.itsOptions));
        if (anArrangement.itsPacketsInAPart > 0)
        {
            anEditor.Scatter(anArrangement.itsPacketsInAPart);
        }
        const auto aBytes = anEditor.Join(anArrangement.itsHeaders, anArrangement.itsKeepsMarkers);
        EngineOptions anOptions;
        anOptions.itsMode = EngineMode::Fussy;
        PlanarImage anImage;
        ASSERT_NO_THROW(anImage = EngineDecode(aBytes, anOptions));
        ASSERT_EQ(DescribeDifference(anImage, aStream.itsImage, 0), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Arrangements, RearrangedStreams,
                         testing::Values(Arrangement{"AsEncoded", 0, Headers::InPlace, true},
                                         Arrangement{"NoMarkers", 0, Headers::InPlace, false},
                                         Arrangement{"Scattered", 1, Headers::InPlace, false},
                                         Arrangement{"ScatteredWithMarkers", 5, Headers::InPlace, true},
                                         Arrangement{"TileHeaders", 0, Headers::InTile, false},
                                         Arrangement{"TileHeadersScattered", 3, Headers::InTile, true},
                                         Arrangement{"MainHeader", 0, Headers::InMain, false},
                                         Arrangement{"MainHeaderScattered", 2, Headers::InMain, true}),
                         [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

// Fussy decoding reports a segmentation symbol that is wrong, so it tells which blocks are decoded.
TEST(DiscardedResolutions, AreNotDecoded)
{
    constexpr int kResolutions = 4;
    Dice aDice(7);
    OpenJpeg::Options anOptions;
    anOptions.itsResolutions = kResolutions;
    anOptions.itsBlockStyle = 32;
    anOptions.itsSOP = true;
    anOptions.itsEPH = true;
    const auto aStream = OpenJpeg::Encode(MakeImage(90, 70, 1, 12, false, aDice), anOptions);
    for (int aDiscarded = 1; aDiscarded < kResolutions; ++aDiscarded)
    {
        CodestreamEditor anEditor(aStream);
        auto& aPackets = anEditor.GetTileParts().at(0).itsPackets; // one for each resolution
        ASSERT_EQ(aPackets.size(), std::size_t{kResolutions});
        // Away from the ends, so that no marker comes to be.
        auto& aBody = aPackets[static_cast<std::size_t>(kResolutions - aDiscarded)].itsBody;
        aBody.at(aBody.size() / 2) ^= 0x55;
        const auto aDamaged = anEditor.Join(Headers::InPlace, true);
        EngineOptions anEngineOptions;
        anEngineOptions.itsMode = EngineMode::Fussy;
        anEngineOptions.itsDiscardLevels = aDiscarded;
        EXPECT_EQ(DescribeDifference(EngineDecode(aDamaged, anEngineOptions),
                                     EngineDecode(aStream, anEngineOptions), 0),
                  "");
        --anEngineOptions.itsDiscardLevels;
        EXPECT_THROW(EngineDecode(aDamaged, anEngineOptions), EngineWarning) << aDiscarded;
    }
}
} // namespace
