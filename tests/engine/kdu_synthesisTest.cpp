// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/kdu_codestream.h"
#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "engine/kdu_sample_allocator.h"
#include "support/ByteSource.h"
#include "support/EngineReports.h"
#include "support/Jpeg2000Streams.h"

// The way from code-blocks to lines, through the public classes.

namespace
{
using Bytes = std::vector<std::uint8_t>;

// Signed, 8 bits, 41 x 45 with the image at (3, 5), two levels of the 5/3 transform, code-blocks of 8 x 4.
// Nearly all samples are zero, so blocks with data stand between blocks without.
const char* const kSpots =
    "ff4fff51002900000000002c0000003200000003000000050000002c0000003200000000000000000001870101ff52000c"
    "00000001000201000001ff5c000a4040484850484850ff90000a0000000000fd0001ff93f01f42f42f447e88001ebf1163"
    "03ed7adf14d3f83ff01917e10ee88de88341845f9c44f843c313818453e10ff388be4098f44a201af91276e8035042b315"
    "1d8fc011af1a91191c55c53aa81fa53f157324e7181f5f0358fe3d0838b3e81f295c2d1492897f17f7f418f42cfc21bd0f"
    "f0872fe70d7c8167e1138fa1fa1ec40f06887f204ff38512fe70f7c81a7e115d037e409fe708257e4097c2247a20100c10"
    "0bef21afb721af741ed56a3b58a323f664ecd723f5279f1c8ec721afb721af131c88bcbb1c93ce4a7f1e3e0d82acd92128"
    "8041b1bbbf287f72aebf18d4a41f18d3a0df1d868cc022a78d1422a7885fffd9";
constexpr int kWidth = 41;
constexpr int kHeight = 45;

int SpotValue(int theX, int theY)
{
    return theX % 16 == 5 && theY % 23 == 2 ? theX - 2 * theY : 0;
}

Bytes Spots()
{
    const std::string aText = kSpots;
    Bytes aBytes;
    for (std::size_t i = 0; i < aText.size(); i += 2)
    {
        aBytes.push_back(static_cast<std::uint8_t>(std::stoi(aText.substr(i, 2), nullptr, 16)));
    }
    return aBytes;
}

/// theOffset bytes behind the beginning of theMarker.
std::size_t Find(const Bytes& theBytes, std::uint8_t theMarker, std::size_t theOffset)
{
    const Bytes aPattern = {0xff, theMarker};
    const auto aPlace = std::search(theBytes.begin(), theBytes.end(), aPattern.begin(), aPattern.end());
    return static_cast<std::size_t>(aPlace - theBytes.begin()) + theOffset;
}

/// A stream's first tile, and the lines of its first component.
class OpenTile
{
public:
    explicit OpenTile(const Bytes& theBytes, bool theFussy = false) : itsSource(theBytes)
    {
        itsCodestream.create(&itsSource);
        if (theFussy)
        {
            itsCodestream.set_fussy();
        }
        kdu_dims aTiles;
        itsCodestream.get_valid_tiles(aTiles);
        itsTile = itsCodestream.open_tile(aTiles.pos);
    }
    ~OpenTile() { itsCodestream.destroy(); }
    OpenTile(const OpenTile&) = delete;
    OpenTile& operator=(const OpenTile&) = delete;

    kdu_resolution GetResolution() { return itsTile.access_component(0).access_resolution(); }

    /// theLines lines of the highest resolution.
    std::vector<int> Pull(bool theUseShorts, int theLines)
    {
        kdu_sample_allocator anAllocator;
        kdu_synthesis aSynthesis(GetResolution(), &anAllocator, theUseShorts);
        kdu_line_buf aLine;
        kdu_dims aDims;
        GetResolution().get_dims(aDims);
        aLine.pre_create(&anAllocator, aDims.size.x, true, theUseShorts);
        anAllocator.finalize();
        aLine.create();
        std::vector<int> aResult;
        for (int y = 0; y < theLines; ++y)
        {
            aSynthesis.pull(aLine);
            for (int x = 0; x < aLine.get_width(); ++x)
            {
                aResult.push_back(theUseShorts ? aLine.get_buf16()[x].ival : aLine.get_buf32()[x].ival);
            }
        }
        return aResult;
    }

private:
    ByteSource itsSource;
    kdu_codestream itsCodestream;
    kdu_tile itsTile;
};

TEST(kdu_synthesisTest, BlocksWithoutDataBetweenBlocksWithDataAreZero)
{
    std::vector<int> anExpected;
    for (int i = 0; i < kWidth * kHeight; ++i)
    {
        anExpected.push_back(SpotValue(i % kWidth, i / kWidth));
    }
    EXPECT_EQ(OpenTile(Spots()).Pull(true, kHeight), anExpected);
    EXPECT_EQ(OpenTile(Spots()).Pull(false, kHeight), anExpected);
}

TEST(kdu_synthesisTest, BothIntegerRepresentationsAgreeWhereverTheDataEnds)
{
    const Bytes aBytes = Spots();
    for (std::size_t aLength = Find(aBytes, 0x93, 2); aLength <= aBytes.size(); ++aLength)
    {
        const Bytes aShort(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aLength));
        EXPECT_EQ(OpenTile(aShort).Pull(true, kHeight), OpenTile(aShort).Pull(false, kHeight)) << aLength;
    }
}

TEST(kdu_synthesisTest, ATileWithoutDataAndLinesBeyondTheLastAreZero)
{
    const Bytes aBytes = Spots();
    const Bytes aHeader(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(Find(aBytes, 0x93, 2)));
    EXPECT_EQ(OpenTile(aHeader).Pull(true, kHeight), std::vector<int>(kWidth * kHeight, 0));
    const std::vector<int> aLines = OpenTile(aBytes).Pull(true, kHeight + 2);
    EXPECT_EQ(std::vector<int>(aLines.end() - 2 * kWidth, aLines.end()), std::vector<int>(2 * kWidth, 0));
}

/// The error or warning that theAction ends with.
template <class Action>
EngineReport CatchReport(const Action& theAction)
{
    try
    {
        theAction();
    }
    catch (const EngineReport& aReport)
    {
        return aReport;
    }
    return {};
}

TEST(kdu_synthesisTest, ReversibleComponentsDeeperThanLinesAreRefusedByName)
{
    const EngineReports anInstaller;
    // 28 bits still go; the streams' steps are not concerned.
    EXPECT_NO_THROW(
        OpenTile(Jpeg2000Streams::Patch(Spots(), Jpeg2000Streams::kDepthOfComponent0, {0x80 | 27}))
            .Pull(false, 1));
    const EngineReport aReport = CatchReport(
        []
        {
            OpenTile(Jpeg2000Streams::Patch(Spots(), Jpeg2000Streams::kDepthOfComponent0, {0x80 | 28}))
                .Pull(false, 1);
        });
    EXPECT_FALSE(aReport.itsIsWarning);
    EXPECT_EQ(aReport.itsText, "Component 0 of tile 0 has 29 bits per sample; reversibly coded ones of more "
                               "than 28 are not supported");
}

TEST(kdu_synthesisTest, WhatBlocksShowToBeWrongIsAWarningInFussyModeOnly)
{
    const EngineReports anInstaller;
    // The stream announces segmentation symbols and has none.
    const Bytes aBytes = Spots();
    const Bytes aBent = Jpeg2000Streams::Patch(aBytes, Find(aBytes, 0x52, 12), {0x20});
    EXPECT_NO_THROW(OpenTile(aBent).Pull(true, kHeight));
    const EngineReport aReport = CatchReport([&aBent] { OpenTile(aBent, true).Pull(true, kHeight); });
    EXPECT_TRUE(aReport.itsIsWarning);
    EXPECT_EQ(aReport.itsText, "Code-block 0, 0 of subband LH at resolution 2 in tile 0: wrong segmentation "
                               "symbol (at byte 276 of the codestream)");
}

struct LineMismatch
{
    const char* itsName;
    int itsWidth;
    bool itsAbsolute;
    bool itsUseShorts;
};

class kdu_synthesisMismatch : public ::testing::TestWithParam<LineMismatch>
{
};

TEST_P(kdu_synthesisMismatch, IsRefusedAndNotWrittenTo)
{
    OpenTile aTile(Spots());
    kdu_sample_allocator anAllocator;
    kdu_synthesis aSynthesis(aTile.GetResolution(), &anAllocator, false);
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, GetParam().itsWidth, GetParam().itsAbsolute, GetParam().itsUseShorts);
    anAllocator.finalize();
    aLine.create();
    EXPECT_THROW(aSynthesis.pull(aLine), std::logic_error);
}

INSTANTIATE_TEST_SUITE_P(AnyDifference, kdu_synthesisMismatch,
                         ::testing::Values(LineMismatch{"narrow", kWidth - 1, true, false},
                                           LineMismatch{"wide", kWidth + 1, true, false},
                                           LineMismatch{"float", kWidth, false, false},
                                           LineMismatch{"short", kWidth, true, true}),
                         [](const auto& theInfo) { return theInfo.param.itsName; });

TEST(kdu_synthesisTest, IrreversibleComponentsHaveNoShortLines)
{
    OpenTile aTile(Jpeg2000Streams::Lossy());
    kdu_sample_allocator anAllocator;
    EXPECT_THROW(kdu_synthesis(aTile.GetResolution(), &anAllocator, true), std::logic_error);
}

TEST(kdu_decoderTest, DeliversASubbandsOwnCoefficients)
{
    // Without levels of a transform the LL subband is the image.
    OpenTile aTile(Jpeg2000Streams::Pair());
    kdu_sample_allocator anAllocator;
    kdu_decoder aDecoder(aTile.GetResolution().access_subband(0), &anAllocator, true);
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, 4, true, true);
    anAllocator.finalize();
    aLine.create();
    for (int y = 0; y < 4; ++y)
    {
        aDecoder.pull(aLine);
        for (int x = 0; x < 4; ++x)
        {
            EXPECT_EQ(aLine.get_buf16()[x].ival, 9 * x + 13 * y - 128) << x << ", " << y;
        }
    }
}
} // namespace
