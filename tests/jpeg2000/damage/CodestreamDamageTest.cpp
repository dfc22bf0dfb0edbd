// SPDX-License-Identifier: Apache-2.0
// Damaged codestreams end in pixels or in one of the engine's reports, in every mode.

#include <gtest/gtest.h>

#include "support/LongRun.h"
#include "support/Survival.h"
#include "support/jpeg2000/CodestreamEditor.h"
#include "support/jpeg2000/OpenJph.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// A caller that believes a sane data set has no larger buffer.
constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 18;

EngineOptions MakeOptions(EngineMode theMode, int theDiscardLevels = 0)
{
    return {.itsMode = theMode,
            .itsDiscardLevels = theDiscardLevels,
            .itsLargestRead = 97,
            .itsMostSamples = kMostSamples};
}

struct Victim
{
    const char* itsName;
    Bytes itsStream;
};

/// Grey, 12 bits, two layers, precincts, SOP and EPH, the first half of the styles.
Bytes MakeGrey()
{
    Dice aDice(1);
    OpenJpeg::Options anOptions;
    anOptions.itsResolutions = 3;
    anOptions.itsBlockWidth = anOptions.itsBlockHeight = 8;
    anOptions.itsBlockStyle = 1 + 4 + 32;
    anOptions.itsRates = {8, 1};
    anOptions.itsPrecincts = {{16, 16}};
    anOptions.itsSOP = anOptions.itsEPH = true;
    return OpenJpeg::Encode(MakeImage(31, 27, 1, 12, false, aDice), anOptions);
}

/// Colour, tiled, irreversible, with a POC marker segment, PLT and TLM, the other styles.
Bytes MakeColour()
{
    Dice aDice(2);
    OpenJpeg::Options anOptions;
    anOptions.itsIrreversible = true;
    anOptions.itsComponentTransform = true;
    anOptions.itsResolutions = 3;
    anOptions.itsBlockWidth = 16;
    anOptions.itsBlockHeight = 4;
    anOptions.itsBlockStyle = 2 + 8 + 16;
    anOptions.itsRates = {6, 2};
    anOptions.itsTileWidth = anOptions.itsTileHeight = 16;
    anOptions.itsOrder = "RPCL";
    anOptions.itsProgressionChanges = {{"RLCP", 0, 0, 2, 1, 3}, {"CPRL", 1, 0, 2, 3, 3}};
    anOptions.itsPLT = anOptions.itsTLM = true;
    return OpenJpeg::Encode(MakeImage(24, 24, 3, 8, false, aDice), anOptions);
}

/// Packet headers in the main header, the tiles' parts in turn, a region of interest.
Bytes MakePacked()
{
    Dice aDice(3);
    OpenJpeg::Options anOptions;
    anOptions.itsResolutions = 2;
    anOptions.itsOrder = "PCRL";
    anOptions.itsSOP = anOptions.itsEPH = true;
    anOptions.itsTileWidth = anOptions.itsTileHeight = 16;
    anOptions.itsRoiComponent = 0;
    anOptions.itsRoiShift = 5;
    CodestreamEditor anEditor(OpenJpeg::Encode(MakeImage(20, 20, 2, 8, true, aDice), anOptions));
    anEditor.Scatter(2);
    return anEditor.Join(CodestreamEditor::Headers::InMain, true);
}

/// High-throughput code-blocks, colour, tiles, precincts.
Bytes MakeHighThroughput()
{
    Dice aDice(5);
    OpenJpeg::Options anOptions;
    anOptions.itsComponentTransform = true;
    anOptions.itsResolutions = 3;
    anOptions.itsBlockWidth = 16;
    anOptions.itsBlockHeight = 8;
    anOptions.itsPrecincts = {{16, 16}};
    anOptions.itsTileWidth = anOptions.itsTileHeight = 24;
    anOptions.itsOrder = "RLCP";
    return OpenJph::Encode(MakeImage(31, 27, 3, 8, false, aDice), anOptions);
}

std::vector<Victim> MakeVictims()
{
    return {{"grey", MakeGrey()},
            {"colour", MakeColour()},
            {"packed", MakePacked()},
            {"high throughput", MakeHighThroughput()}};
}

TEST(CodestreamDamage, EveryTruncationSurvives)
{
    for (const Victim& aVictim : MakeVictims())
    {
        std::size_t aDecoded = 0;
        EXPECT_TRUE(Survives(aVictim.itsStream, MakeOptions(EngineMode::Fussy))) << "the victim is whole";
        for (std::size_t aSize = 0; aSize < aVictim.itsStream.size(); ++aSize)
        {
            SCOPED_TRACE(std::string(aVictim.itsName) + " cut to " + std::to_string(aSize) + " bytes");
            const Bytes aCut(aVictim.itsStream.data(), aVictim.itsStream.data() + aSize);
            const bool isDecoded = Survives(aCut, MakeOptions(EngineMode::Fast));
            aDecoded += isDecoded ? 1 : 0;
            if (isDecoded)
            {
                EngineOptions aWide = MakeOptions(EngineMode::Fast);
                aWide.itsTakesShorts = false;
                EXPECT_EQ(DescribeDifference(EngineDecode(aCut), EngineDecode(aCut, aWide), 0), "");
            }
            Survives(aCut, MakeOptions(EngineMode::Resilient, 1));
            EXPECT_FALSE(Survives(aCut, MakeOptions(EngineMode::Fussy))) << "a non-conformance passes";
        }
        // The headers are a few hundred bytes; from there on there is something to see.
        EXPECT_GT(aDecoded, aVictim.itsStream.size() / 4) << aVictim.itsName;
    }
}

TEST(CodestreamDamage, FlippedBitsSurvive)
{
    Dice aDice(4);
    const std::vector<Victim> aVictims = MakeVictims();
    for (int i = 0; i < Rounds(20000); ++i)
    {
        const Victim& aVictim = aVictims[static_cast<std::size_t>(aDice.Roll(0, 3))];
        Bytes aStream = aVictim.itsStream;
        std::string aTrace = aVictim.itsName;
        for (int aFlip = aDice.Roll(1, 4); aFlip > 0; --aFlip)
        {
            // Every third one in the first bytes, where the headers are.
            const int aLast = static_cast<int>(aStream.size()) - 1;
            const int aByte = aDice.Roll(0, aDice.Chance(33) ? 150 : aLast);
            const int aBit = aDice.Roll(0, 7);
            aStream[static_cast<std::size_t>(aByte)] ^= static_cast<std::uint8_t>(1 << aBit);
            aTrace += ", bit " + std::to_string(aBit) + " of byte " + std::to_string(aByte);
        }
        SCOPED_TRACE(aTrace);
        Survives(aStream, MakeOptions(kEngineModes[aDice.Roll(0, 2)], aDice.Chance(20) ? 1 : 0));
    }
}
} // namespace
