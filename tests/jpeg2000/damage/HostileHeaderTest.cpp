// SPDX-License-Identifier: Apache-2.0
// A hundred bytes that declare more than any computer has: refused or done at once.

#include <gtest/gtest.h>

#include <functional>

#include "support/jpeg2000/Survival.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

constexpr EngineMode kModes[] = {EngineMode::Fast, EngineMode::Resilient, EngineMode::Fussy};

void Put(Bytes& theBytes, std::uint64_t theValue, int theCount)
{
    for (int i = theCount - 1; i >= 0; --i)
    {
        theBytes.push_back(static_cast<std::uint8_t>(theValue >> (8 * i)));
    }
}

/// What a codestream's headers declare; the defaults are a harmless image of 8 x 8.
struct Declared
{
    const char* itsName = "";
    std::uint32_t itsX1 = 8;
    std::uint32_t itsY1 = 8;
    std::uint32_t itsX0 = 0;
    std::uint32_t itsY0 = 0;
    std::uint32_t itsTileWidth = 8;
    std::uint32_t itsTileHeight = 8;
    std::uint16_t itsComponents = 1;
    std::uint16_t itsComponentsThere = 1; ///< entries that follow
    std::uint8_t itsDepth = 8;
    std::uint8_t itsSubsampling = 1;
    std::uint8_t itsOrder = 0;
    std::uint16_t itsLayers = 1;
    std::uint8_t itsLevels = 1;
    std::uint8_t itsLog2Block = 6;
    int itsLog2Precinct = -1; ///< of every resolution; -1 for the largest
    std::uint8_t itsBodyByte = 0;
    int itsBodyBytes = 8;
    int itsProgressionSegments = 0; ///< full of progressions without a packet
    std::uint8_t itsOrders = 5;     ///< how many of the progression orders are tried
};

void PutSize(Bytes& theBytes, const Declared& theDeclared)
{
    Put(theBytes, 0xFF51, 2);
    Put(theBytes, 38U + 3U * theDeclared.itsComponentsThere, 2);
    Put(theBytes, 0, 2);
    for (const std::uint32_t aValue :
         {theDeclared.itsX1, theDeclared.itsY1, theDeclared.itsX0, theDeclared.itsY0,
          theDeclared.itsTileWidth, theDeclared.itsTileHeight, std::uint32_t{0}, std::uint32_t{0}})
    {
        Put(theBytes, aValue, 4);
    }
    Put(theBytes, theDeclared.itsComponents, 2);
    for (int i = 0; i < theDeclared.itsComponentsThere; ++i)
    {
        Put(theBytes, theDeclared.itsDepth - 1U, 1);
        Put(theBytes, theDeclared.itsSubsampling, 1);
        Put(theBytes, theDeclared.itsSubsampling, 1);
    }
}

void PutCoding(Bytes& theBytes, const Declared& theDeclared)
{
    const bool hasPrecincts = theDeclared.itsLog2Precinct >= 0;
    Put(theBytes, 0xFF52, 2);
    Put(theBytes, 12U + (hasPrecincts ? theDeclared.itsLevels + 1U : 0U), 2);
    Put(theBytes, hasPrecincts ? 1 : 0, 1);
    Put(theBytes, theDeclared.itsOrder, 1);
    Put(theBytes, theDeclared.itsLayers, 2);
    Put(theBytes, 0, 1);
    Put(theBytes, theDeclared.itsLevels, 1);
    Put(theBytes, theDeclared.itsLog2Block - 2U, 1);
    Put(theBytes, theDeclared.itsLog2Block - 2U, 1);
    Put(theBytes, 0, 1);
    Put(theBytes, 1, 1); // 5/3
    for (int i = 0; hasPrecincts && i <= theDeclared.itsLevels; ++i)
    {
        Put(theBytes, static_cast<std::uint64_t>(theDeclared.itsLog2Precinct) * 17, 1);
    }
    const std::uint32_t aSubbands = 3U * theDeclared.itsLevels + 1;
    Put(theBytes, 0xFF5C, 2);
    Put(theBytes, 3 + aSubbands, 2);
    Put(theBytes, 0x40, 1);
    theBytes.insert(theBytes.end(), aSubbands, 10 << 3);
}

void PutProgressions(Bytes& theBytes)
{
    constexpr std::size_t kCount = 9361;
    constexpr std::uint64_t kEntry = 0x00C8000121FF00; // components from 200 on
    Put(theBytes, 0xFF5F, 2);
    Put(theBytes, 2 + 7 * kCount, 2);
    for (std::size_t i = 0; i < kCount; ++i)
    {
        Put(theBytes, kEntry, 7);
    }
}

Bytes MakeStream(const Declared& theDeclared)
{
    Bytes aBytes;
    Put(aBytes, 0xFF4F, 2);
    PutSize(aBytes, theDeclared);
    PutCoding(aBytes, theDeclared);
    for (int i = 0; i < theDeclared.itsProgressionSegments; ++i)
    {
        PutProgressions(aBytes);
    }
    Put(aBytes, 0xFF90, 2);
    Put(aBytes, 10, 2);
    Put(aBytes, 0, 2);
    Put(aBytes, 14U + static_cast<std::uint64_t>(theDeclared.itsBodyBytes), 4);
    Put(aBytes, 0, 1);
    Put(aBytes, 1, 1);
    Put(aBytes, 0xFF93, 2);
    aBytes.insert(aBytes.end(), static_cast<std::size_t>(theDeclared.itsBodyBytes), theDeclared.itsBodyByte);
    Put(aBytes, 0xFFD9, 2);
    return aBytes;
}

constexpr std::uint32_t kLargest = 0xFFFFFFFF;

Declared Make(const char* theName, const std::function<void(Declared&)>& theChange)
{
    Declared aDeclared;
    aDeclared.itsName = theName;
    theChange(aDeclared);
    return aDeclared;
}

void SetSide(Declared& theDeclared, std::uint32_t theSide)
{
    theDeclared.itsX1 = theDeclared.itsY1 = theSide;
    theDeclared.itsTileWidth = theDeclared.itsTileHeight = theSide;
}

std::vector<Declared> MakeHostiles()
{
    return {
        Make("Harmless", [](Declared&) {}),
        Make("LargestImage", [](Declared& theHeader) { SetSide(theHeader, kLargest); }),
        Make("LargestInt", [](Declared& theHeader) { SetSide(theHeader, 0x7FFFFFFF); }),
        Make("OneTallColumn",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsX0 = kLargest - 1;
             }),
        Make("OneWideRow",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsY0 = kLargest - 1;
             }),
        Make("FarCorner",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsX0 = theHeader.itsY0 = kLargest - 9;
                 theHeader.itsLevels = 32;
             }),
        Make("MostTiles",
             [](Declared& theHeader)
             {
                 theHeader.itsX1 = 65535;
                 theHeader.itsY1 = 1;
                 theHeader.itsTileWidth = theHeader.itsTileHeight = 1;
                 theHeader.itsComponents = theHeader.itsComponentsThere = 3;
                 theHeader.itsLevels = 32;
                 theHeader.itsOrders = 1; // empty tiles have no order, but take their time
             }),
        Make("MostTilesAndProgressions",
             [](Declared& theHeader)
             {
                 theHeader.itsX1 = 65535;
                 theHeader.itsY1 = 1;
                 theHeader.itsTileWidth = theHeader.itsTileHeight = 1;
                 theHeader.itsProgressionSegments = 4;
                 theHeader.itsOrders = 1;
             }),
        Make("TooManyTiles",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsTileWidth = theHeader.itsTileHeight = 1;
             }),
        Make("MostComponentsNotThere", [](Declared& theHeader) { theHeader.itsComponents = 16384; }),
        Make("MostComponents",
             [](Declared& theHeader)
             {
                 theHeader.itsComponents = theHeader.itsComponentsThere = 16384;
                 theHeader.itsLayers = 65535;
                 theHeader.itsLevels = 32;
             }),
        Make("MostLayers",
             [](Declared& theHeader)
             {
                 theHeader.itsLayers = 65535;
                 theHeader.itsLevels = 32;
             }),
        Make("MostLevels", [](Declared& theHeader) { theHeader.itsLevels = 32; }),
        Make("TooManyLevels", [](Declared& theHeader) { theHeader.itsLevels = 33; }),
        Make("SmallestPrecincts",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, 1000);
                 theHeader.itsLog2Precinct = 0;
                 theHeader.itsLayers = 65535;
             }),
        Make("SmallPrecincts",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, 1000);
                 theHeader.itsLog2Precinct = 1;
                 theHeader.itsLayers = 65535;
                 theHeader.itsLevels = 32;
             }),
        Make("SmallPrecinctsOfLargestImage",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsLog2Precinct = 1;
             }),
        Make("SmallestBlocks",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, 1000);
                 theHeader.itsLog2Block = 2;
                 theHeader.itsBodyByte = 0xA5;
             }),
        Make("LargeWithBlocks",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, 60000);
                 theHeader.itsLog2Block = 2;
                 theHeader.itsBodyByte = 0xFE;
             }),
        Make("Deepest", [](Declared& theHeader) { theHeader.itsDepth = 38; }),
        Make("MostSubsampled",
             [](Declared& theHeader)
             {
                 SetSide(theHeader, kLargest);
                 theHeader.itsSubsampling = 255;
             }),
        Make("NoSubsampling", [](Declared& theHeader) { theHeader.itsSubsampling = 0; }),
    };
}

class HostileHeader : public testing::TestWithParam<Declared>
{
};

TEST_P(HostileHeader, EndsAtOnce)
{
    EngineOptions anOptions; // of a caller who has room for a million samples
    anOptions.itsMostSamples = std::uint64_t{1} << 20;
    for (std::uint8_t anOrder = 0; anOrder < GetParam().itsOrders; ++anOrder)
    {
        Declared aDeclared = GetParam();
        aDeclared.itsOrder = anOrder;
        for (const EngineMode aMode : kModes)
        {
            for (const int aBodyBytes : {0, 8})
            {
                aDeclared.itsBodyBytes = aBodyBytes;
                anOptions.itsMode = aMode;
                for (const int aDiscarded : {0, 2})
                {
                    anOptions.itsDiscardLevels = aDiscarded;
                    Survives(MakeStream(aDeclared), anOptions);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Headers, HostileHeader, testing::ValuesIn(MakeHostiles()),
                         [](const auto& theInfo) { return std::string(theInfo.param.itsName); });
} // namespace
