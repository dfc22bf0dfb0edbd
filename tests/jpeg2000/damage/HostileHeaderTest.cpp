// SPDX-License-Identifier: Apache-2.0
// A hundred bytes that declare more than any computer has: refused or done at once.

#include <gtest/gtest.h>

#include "support/Survival.h"
#include "support/Words.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kLargest = 0x7FFFFFFF;

/// What a codestream's headers declare; the defaults are a harmless image of 8 x 8.
struct Declared
{
    const char* itsName = "";
    const char* itsText = ""; ///< of the error in the first progression order; "" where there are pixels
    std::uint32_t itsX1 = 8;
    std::uint32_t itsY1 = 8;
    std::uint32_t itsX0 = 0;
    std::uint32_t itsY0 = 0;
    std::uint32_t itsTileWidth = 8;
    std::uint32_t itsTileHeight = 8;
    std::uint16_t itsComponents = 1;
    std::uint8_t itsDepth = 8;
    std::uint16_t itsLayers = 1;
    std::uint8_t itsLevels = 1;
    std::uint8_t itsLog2Block = 6;
    std::uint8_t itsExponent = 10; ///< of every subband: one less than its bit-planes
    int itsLog2Precinct = -1;      ///< of every resolution; -1 for the largest
    Bytes itsBody = Bytes(8, 0);
    int itsProgressionSegments = 0; ///< full of itsProgression
    std::uint64_t itsProgression = 0;
    std::uint64_t itsRoom = std::uint64_t{1} << 20; ///< samples that the caller has room for
    std::uint8_t itsOrders = 5;                     ///< how many of the progression orders are tried
};

Bytes MakeStream(const Declared& theDeclared, std::uint8_t theOrder, const Bytes& theBody)
{
    const bool hasPrecincts = theDeclared.itsLog2Precinct >= 0;
    const std::uint32_t aSubbands = 3U * theDeclared.itsLevels + 1;
    Bytes aBytes;
    const auto aPut = [&aBytes](std::uint64_t theValue, int theCount)
    { PutBigEndian(aBytes, theValue, theCount); };
    aPut(0xFF4FFF51, 4);
    aPut(38U + 3U * theDeclared.itsComponents, 2);
    aPut(0, 2);
    for (const std::uint32_t aValue :
         {theDeclared.itsX1, theDeclared.itsY1, theDeclared.itsX0, theDeclared.itsY0,
          theDeclared.itsTileWidth, theDeclared.itsTileHeight, std::uint32_t{0}, std::uint32_t{0}})
    {
        aPut(aValue, 4);
    }
    aPut(theDeclared.itsComponents, 2);
    for (int i = 0; i < theDeclared.itsComponents; ++i)
    {
        aPut(theDeclared.itsDepth - 1U, 1);
        aPut(0x101, 2);
    }
    aPut(0xFF52, 2);
    aPut(12U + (hasPrecincts ? theDeclared.itsLevels + 1U : 0U), 2);
    aPut(hasPrecincts ? 1 : 0, 1);
    aPut(theOrder, 1);
    aPut(theDeclared.itsLayers, 2);
    aPut(theDeclared.itsLevels, 2); // no component transform
    aPut((theDeclared.itsLog2Block - 2U) * 0x101U, 2);
    aPut(1, 2); // 5/3
    for (int i = 0; hasPrecincts && i <= theDeclared.itsLevels; ++i)
    {
        aPut(static_cast<std::uint64_t>(theDeclared.itsLog2Precinct) * 17, 1);
    }
    aPut(0xFF5C, 2);
    aPut(3 + aSubbands, 2);
    aPut(0x40, 1);
    aBytes.insert(aBytes.end(), aSubbands, static_cast<std::uint8_t>(theDeclared.itsExponent << 3));
    for (int i = 0; i < theDeclared.itsProgressionSegments; ++i)
    {
        constexpr std::size_t kCount = 9361;
        aPut(0xFF5F, 2);
        aPut(2 + 7 * kCount, 2);
        for (std::size_t k = 0; k < kCount; ++k)
        {
            aPut(theDeclared.itsProgression, 7);
        }
    }
    aPut(0xFF90000A0000, 6);
    aPut(14U + theBody.size(), 4);
    aPut(0x0001FF93, 4);
    aBytes.insert(aBytes.end(), theBody.begin(), theBody.end());
    aPut(0xFFD9, 2);
    return aBytes;
}

Declared Square(std::uint32_t theSide, Declared theRest)
{
    theRest.itsX1 = theRest.itsY1 = theRest.itsTileWidth = theRest.itsTileHeight = theSide;
    return theRest;
}

/// As many tiles as there can be, of one sample. Those without a packet have no order, but take their time.
Declared Row(Declared theRest)
{
    theRest.itsX1 = 65535;
    theRest.itsY1 = theRest.itsTileWidth = theRest.itsTileHeight = theRest.itsOrders = 1;
    return theRest;
}

/// A packet for each of 4096 blocks that brings 88 coding passes and a byte.
Bytes NameManyPasses()
{
    Bytes aBody;
    for (int i = 0; i < 4096; ++i)
    {
        aBody.insert(aBody.end(), {0xFF, 0x7B, 0x30, 0x04, 0x5A});
    }
    return aBody;
}

/// A byte for each layer: the tag tree says that no block comes yet.
Bytes NameManyBlocks()
{
    Bytes aBody(20, 0x80);
    aBody[0] = 0xC0;
    return aBody;
}

constexpr const char* kTooManySamples = "Tile 0 has far more samples than its bytes can stand for";
constexpr const char* kTooManyPackets = "POC marker segments repeat far more packets than the tile has bytes";

const Declared kHostiles[] = {
    {.itsName = "Harmless"},
    Square(0xFFFFFFFF, {.itsName = "LargestImage",
                        .itsText = "SIZ: positions of 2147483648 and above on the reference grid are not "
                                   "supported (at byte 2 of the codestream)"}),
    Square(kLargest, {.itsName = "LargestInt", .itsText = kTooManySamples}),
    Square(kLargest, {.itsName = "OneTallColumn", .itsText = kTooManySamples, .itsX0 = kLargest - 1}),
    Square(kLargest, {.itsName = "OneWideRow", .itsText = kTooManySamples, .itsY0 = kLargest - 1}),
    Square(kLargest, {.itsName = "FarCorner", .itsX0 = kLargest - 9, .itsY0 = kLargest - 9, .itsLevels = 32}),
    Row({.itsName = "MostTiles", .itsComponents = 3, .itsLevels = 32}),
    Row({.itsName = "MostTilesAndProgressions",
         .itsText = kTooManyPackets,
         .itsProgressionSegments = 4,
         .itsProgression = 0x00C8000121FF00}), // components from 200 on
    {.itsName = "RepeatedProgressions",
     .itsText = kTooManyPackets,
     .itsLayers = 60,
     .itsLevels = 0,
     .itsBody = Bytes(60),
     .itsProgressionSegments = 1,
     .itsProgression = 0x0000003C210100,
     .itsOrders = 1},
    {.itsName = "MostComponents",
     .itsText = "Tile 0 has far more resolutions than bytes",
     .itsComponents = 16384,
     .itsLayers = 65535,
     .itsLevels = 32},
    Square(4096, {.itsName = "SamplesOfManyComponents",
                  .itsText = kTooManySamples,
                  .itsComponents = 16384,
                  .itsLevels = 0}),
    {.itsName = "MostLayers", .itsLayers = 65535, .itsLevels = 32},
    Square(1000, {.itsName = "SmallestPrecincts", .itsLayers = 65535, .itsLevels = 0, .itsLog2Precinct = 0}),
    Square(1000, {.itsName = "SmallPrecincts", .itsLayers = 65535, .itsLevels = 32, .itsLog2Precinct = 1}),
    Square(1000, {.itsName = "SmallestBlocks", .itsLog2Block = 2, .itsBody = Bytes(8, 0xA5)}),
    Square(1024, {.itsName = "BlocksWithoutData",
                  .itsText = "Packets name far more code-blocks than the tile has bytes",
                  .itsLayers = 20,
                  .itsLevels = 0,
                  .itsLog2Block = 2,
                  .itsBody = NameManyBlocks()}),
    Square(4096, {.itsName = "PassesWithoutData",
                  .itsText = "Code-blocks declare far more coding passes than they have bytes",
                  .itsLevels = 0,
                  .itsExponent = 29,
                  .itsLog2Precinct = 6,
                  .itsBody = NameManyPasses(),
                  .itsRoom = std::uint64_t{1} << 24}),
    {.itsName = "Deepest", .itsText = "more samples or bits than the test wants", .itsDepth = 38},
};

TEST(HostileHeader, EndsAtOnce)
{
    for (const Declared& aDeclared : kHostiles)
    {
        EngineOptions anOptions;
        anOptions.itsMostSamples = aDeclared.itsRoom;
        SCOPED_TRACE(aDeclared.itsName);
        for (int i = 0; i < aDeclared.itsOrders * 6; ++i)
        {
            anOptions.itsMode = kEngineModes[i % 3];
            anOptions.itsDiscardLevels = i % 2 * 2;
            const auto anOrder = static_cast<std::uint8_t>(i / 6);
            Survives(MakeStream(aDeclared, anOrder, {}), anOptions);
            Survives(MakeStream(aDeclared, anOrder, aDeclared.itsBody), anOptions);
        }
        anOptions = {.itsMostSamples = anOptions.itsMostSamples};
        const Bytes aStream = MakeStream(aDeclared, 0, aDeclared.itsBody);
        const std::string aText = aDeclared.itsText;
        EXPECT_EQ(ReportOf([&] { EngineDecode(aStream, anOptions); }),
                  aText.empty() ? "" : "error: " + aText);
    }
}
} // namespace
