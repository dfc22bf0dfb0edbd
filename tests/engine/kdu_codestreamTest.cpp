// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_codestream.h"

#include "support/ByteSource.h"
#include "support/CodestreamBuilder.h"
#include "support/EngineReports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace
{

using Builder = CodestreamBuilder;
using testing::ElementsAre;

/// Ends its codestream; the handle's owner would otherwise have to.
struct OpenCodestream
{
    explicit OpenCodestream(const Builder& theBuilder) : itsSource(theBuilder.GetBytes())
    {
        itsCodestream.create(&itsSource);
    }
    ~OpenCodestream() { itsCodestream.destroy(); }

    std::vector<int> GetDims(int theComponent) const
    {
        kdu_dims aDims;
        itsCodestream.get_dims(theComponent, aDims);
        return {aDims.pos.x, aDims.pos.y, aDims.size.x, aDims.size.y};
    }

    ByteSource itsSource;
    kdu_codestream itsCodestream;
};

/// 35 x 21 at (5, 3), component 1 at half the width; the second of two tiles has 2 levels, the first 3.
Builder MakeStream()
{
    const Builder::Image anImage{.itsX1 = 40,
                                 .itsY1 = 24,
                                 .itsX0 = 5,
                                 .itsY0 = 3,
                                 .itsTileWidth = 20,
                                 .itsTileHeight = 24,
                                 .itsComponents = {{}, {.itsDepth = 12, .itsSigned = true, .itsXRsiz = 2}}};
    const Builder::Steps someSteps{.itsSteps = std::vector<int>(10, 64)};
    const Builder::Bytes anEmptyPacket(1, 0);
    Builder aBuilder = Builder::Begin(anImage, {.itsStyle = {.itsLevels = 3}}, someSteps);
    aBuilder.Add({.itsBody = anEmptyPacket});
    const Builder aHeader = Builder().Cod({.itsStyle = {.itsLevels = 2}});
    return aBuilder.Add({.itsTile = 1, .itsHeader = aHeader.GetBytes(), .itsBody = anEmptyPacket}).Eoc();
}

TEST(KduCodestream, TellsWhatTheMainHeaderSays)
{
    const OpenCodestream anOpen(MakeStream());
    EXPECT_EQ(anOpen.itsCodestream.get_num_components(), 2);
    EXPECT_EQ(anOpen.itsCodestream.get_bit_depth(1), 12);
    EXPECT_TRUE(anOpen.itsCodestream.get_signed(1));
    EXPECT_FALSE(anOpen.itsCodestream.get_signed(0));
    EXPECT_EQ(anOpen.itsCodestream.get_subsampling(1).x, 2);
    EXPECT_EQ(anOpen.itsCodestream.get_subsampling(1).y, 1);
    EXPECT_THAT(anOpen.GetDims(0), ElementsAre(5, 3, 35, 21));
    EXPECT_THAT(anOpen.GetDims(1), ElementsAre(3, 3, 17, 21));
    kdu_dims someTiles;
    anOpen.itsCodestream.get_valid_tiles(someTiles);
    EXPECT_EQ(someTiles.size.x, 2);
    EXPECT_EQ(someTiles.size.y, 1);
}

/// Borders are divided with rounding up, not the extent.
TEST(KduCodestream, DiscardsAsManyLevelsAsAllTilesHave)
{
    OpenCodestream anOpen(MakeStream());
    kdu_codestream aCodestream = anOpen.itsCodestream;
    aCodestream.apply_input_restrictions(0, 2, 1, 0, nullptr);
    EXPECT_THAT(anOpen.GetDims(0), ElementsAre(3, 2, 17, 10));
    aCodestream.apply_input_restrictions(0, 2, 31, 0, nullptr);
    EXPECT_THAT(anOpen.GetDims(0), ElementsAre(2, 1, 8, 5));
    EXPECT_THAT(anOpen.GetDims(1), ElementsAre(1, 1, 4, 5));
    EXPECT_EQ(aCodestream.get_fewest_levels(false), 2);
    aCodestream.apply_input_restrictions(0, 0, 0, 0, nullptr);
    EXPECT_THAT(anOpen.GetDims(0), ElementsAre(5, 3, 35, 21));
}

TEST(KduCodestream, ReadsOnlyTheMainHeaderUntilATileIsWanted)
{
    OpenCodestream anOpen(MakeStream());
    anOpen.itsCodestream.apply_input_restrictions(0, 2, 0, 0, nullptr);
    const std::size_t aBefore = anOpen.itsSource.GetPosition();
    EXPECT_LE(aBefore, MakeStream().GetSize() - 31);
    EXPECT_EQ(anOpen.itsCodestream.get_fewest_levels(false), 3);
    EXPECT_EQ(anOpen.itsSource.GetPosition(), aBefore);
    EXPECT_EQ(anOpen.itsCodestream.get_fewest_levels(true), 2);
    EXPECT_EQ(anOpen.itsSource.GetPosition(), MakeStream().GetSize());
}

TEST(KduCodestream, RefusesWhatIsNotThere)
{
    const EngineReports someReports;
    OpenCodestream anOpen(MakeStream());
    kdu_dims aRegion;
    EXPECT_THROW(anOpen.GetDims(2), EngineReport);
    EXPECT_THROW(anOpen.itsCodestream.get_bit_depth(-1), EngineReport);
    EXPECT_THROW(anOpen.itsCodestream.open_tile({2, 0}), EngineReport);
    EXPECT_THROW(anOpen.itsCodestream.open_tile({0, -1}), EngineReport);
    EXPECT_THROW(anOpen.itsCodestream.apply_input_restrictions(1, 1, 0, 0, nullptr), EngineReport);
    EXPECT_THROW(anOpen.itsCodestream.apply_input_restrictions(0, 2, 0, 0, &aRegion), EngineReport);
}

TEST(KduCodestream, AFailedCreateLeavesNothing)
{
    const EngineReports someReports;
    ByteSource aSource({1, 2, 3});
    kdu_codestream aCodestream;
    EXPECT_THROW(aCodestream.create(&aSource), EngineReport);
    EXPECT_FALSE(aCodestream.exists());
    EXPECT_THROW(aCodestream.get_num_components(), std::logic_error);
    aCodestream.destroy();
}

TEST(KduCodestream, FussyRefusesWhatTheMainHeaderHasShown)
{
    const EngineReports someReports;
    OpenCodestream anOpen(Builder::Begin().Segment(0xFF44, {1}).Add({}).Eoc());
    anOpen.itsCodestream.set_fast();
    anOpen.itsCodestream.set_resilient();
    EXPECT_THROW(anOpen.itsCodestream.set_fussy(), EngineReport);
}

/// Tiles in any order, each once, each until it is closed; destroy ends those that were left open.
TEST(KduCodestream, OpensEveryTileOnce)
{
    const EngineReports someReports;
    OpenCodestream anOpen(MakeStream());
    kdu_tile aSecond = anOpen.itsCodestream.open_tile({1, 0});
    ASSERT_TRUE(aSecond.exists());
    EXPECT_EQ(aSecond.get_num_components(), 2);
    aSecond.close();
    EXPECT_THROW(anOpen.itsCodestream.open_tile({1, 0}), EngineReport);
    EXPECT_TRUE(anOpen.itsCodestream.open_tile({0, 0}).exists());
}

} // namespace
