// SPDX-License-Identifier: Apache-2.0
// The engine's interface: what it refuses, what it reads when, and how it uses its source.

#include "engine/kdu_codestream.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "support/EngineDecode.h"
#include "support/Jpeg2000Streams.h"
#include "support/OpenCodestream.h"

namespace
{
using namespace Jpeg2000Streams;

constexpr std::size_t kFirstSot = 74; ///< of Grey12
constexpr std::size_t kLastLength = 334;
constexpr std::size_t kLengthInPair = 74;

/// Size and position of a component.
std::vector<int> GetDims(OpenCodestream& theCodestream, int theComponent)
{
    kdu_dims aDims;
    theCodestream->get_dims(theComponent, aDims);
    return {aDims.pos.x, aDims.pos.y, aDims.size.x, aDims.size.y};
}

TEST(KduCodestream, DiscardsAsManyLevelsAsAllTilesHave)
{
    // The last tile has two levels, the others three.
    Bytes aBytes = Patch(Grey12(), kLastLength, {0, 0, 0, 0});
    const Bytes aCoding = {0xFF, 0x52, 0, 12, 0, 0, 0, 1, 0, 2, 4, 4, 0, 1};
    aBytes.insert(aBytes.begin() + kLastLength + 6, aCoding.begin(), aCoding.end());
    OpenCodestream anOpen(aBytes);
    anOpen->apply_input_restrictions(0, 1, 0, 0, nullptr);
    const std::size_t aBefore = anOpen.GetSource().GetPosition();
    EXPECT_LE(aBefore, kFirstSot + 14);
    EXPECT_EQ(anOpen->get_fewest_levels(false), 3);
    EXPECT_EQ(anOpen.GetSource().GetPosition(), aBefore);
    EXPECT_EQ(anOpen->get_fewest_levels(true), 2);
    EXPECT_EQ(anOpen.GetSource().GetPosition(), aBytes.size());
    anOpen->apply_input_restrictions(0, 1, 1, 0, nullptr);
    EXPECT_EQ(GetDims(anOpen, 0), (std::vector{2, 1, 6, 5}));
    anOpen->apply_input_restrictions(0, 1, 31, 0, nullptr);
    EXPECT_EQ(GetDims(anOpen, 0), (std::vector{1, 1, 3, 2}));
    anOpen->apply_input_restrictions(0, 0, 0, 0, nullptr);
    EXPECT_EQ(GetDims(anOpen, 0), (std::vector{3, 1, 13, 11}));
}

/// Of four tiles of 8 x 8 the image, from (3, 1) on, has the corners.
TEST(KduCodestream, KeepsToARegion)
{
    OpenCodestream anOpen(Grey12());
    kdu_dims aRegion{{9, 2}, {40, 5}};
    anOpen->apply_input_restrictions(0, 0, 0, 0, &aRegion);
    EXPECT_EQ(GetDims(anOpen, 0), (std::vector{9, 2, 7, 5}));
    kdu_dims aTiles;
    anOpen->get_valid_tiles(aTiles);
    EXPECT_TRUE(aTiles.pos.x == 1 && aTiles.pos.y == 0 && aTiles.size.x == 1 && aTiles.size.y == 1);
    EXPECT_THROW(anOpen->open_tile({0, 0}), EngineReport);
    kdu_dims aBand;
    anOpen->open_tile({1, 0}).access_component(0).access_resolution(2).access_subband(1).get_dims(aBand);
    EXPECT_EQ((std::vector{aBand.pos.x, aBand.pos.y, aBand.size.x, aBand.size.y}), (std::vector{2, 1, 2, 1}));
    EXPECT_LT(anOpen.GetSource().GetPosition(), kLastLength);
    anOpen->apply_input_restrictions(0, 0, 0, 0, nullptr);
    EXPECT_THROW(anOpen->open_tile({0, 0}), EngineReport) << "its bytes were not kept";
    EXPECT_TRUE(anOpen->open_tile({1, 1}).exists());
}

TEST(KduCodestream, RefusesWhatIsNotThere)
{
    OpenCodestream anOpen(Grey12());
    kdu_dims aRegion;
    EXPECT_THROW(GetDims(anOpen, 1), EngineReport);
    EXPECT_THROW(anOpen->get_bit_depth(-1), EngineReport);
    EXPECT_THROW(anOpen->open_tile({2, 0}), EngineReport);
    EXPECT_THROW(anOpen->open_tile({0, -1}), EngineReport);
    EXPECT_THROW(anOpen->apply_input_restrictions(1, 1, 0, 0, nullptr), EngineReport);
    EXPECT_THROW(anOpen->apply_input_restrictions(0, 2, 0, 0, &aRegion), EngineReport);
    kdu_tile aTile = anOpen->open_tile({1, 0});
    aTile.close();
    EXPECT_THROW(anOpen->open_tile({1, 0}), EngineReport);
    EXPECT_TRUE(anOpen->open_tile({0, 0}).exists()); // and is left open
    ByteSource aSource({1, 2, 3});
    kdu_codestream aCodestream;
    EXPECT_THROW(aCodestream.create(&aSource), EngineReport);
    EXPECT_FALSE(aCodestream.exists());
    EXPECT_THROW(aCodestream.get_num_components(), std::logic_error);
    aCodestream.destroy();
}

TEST(KduCodestream, TransformsColoursOnlyWhereAllThreeAreDecoded)
{
    for (const int aComponents : {2, 3})
    {
        OpenCodestream anOpen(Colour());
        anOpen->apply_input_restrictions(0, aComponents, 0, 0, nullptr);
        EXPECT_EQ(anOpen->get_num_components(true), aComponents);
        EXPECT_EQ(anOpen->open_tile({0, 0}).get_ycc(), aComponents == 3);
    }
}

/// Lines of 16 bits are the fast ones; ExtremeImages hold them to be exact.
TEST(KduTileComp, OffersShortLinesForWhatFits)
{
    const std::pair<Bytes, bool> kCases[] = {{Grey12(), true},
                                             {Colour(), true},
                                             {DeepColour(), true},
                                             {Patch(Grey12(), kDepthOfComponent0, {0x80 | 16}), false},
                                             {Lossy(), false}};
    for (const auto& [aBytes, isExpected] : kCases)
    {
        OpenCodestream anOpen(aBytes);
        EXPECT_EQ(anOpen->open_tile({0, 0}).access_component(0).fits_short_lines(), isExpected);
    }
}

/// Sources may be slow to ask: Java streams, for one.
TEST(KduSource, IsAskedSeldom)
{
    Bytes aBytes = Patch(Pair(), kLengthInPair, {0, 0x30, 0, 0});
    aBytes.resize(3 << 20);
    OpenCodestream anOpen(aBytes);
    EXPECT_LE(anOpen.GetSource().GetReads(), 10);
    anOpen->open_tile({0, 0});
    EXPECT_LE(anOpen.GetSource().GetReads(), 20);
}

TEST(KduSource, FailsInEveryPlace)
{
    const EngineReports someReports;
    const Bytes aBytes = Grey12();
    for (std::size_t aSize = 0; aSize < aBytes.size(); ++aSize)
    {
        for (const bool throws : {false, true})
        {
            ByteSource aSource(Bytes(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aSize)));
            aSource.AtEnd([=]() { return throws ? throw std::out_of_range("source") : -3; });
            kdu_codestream aCodestream;
            std::string aReport;
            try
            {
                aReport =
                    ReportOf([&] { aCodestream.create(&aSource), aCodestream.get_fewest_levels(true); });
            }
            catch (const std::out_of_range&)
            {
                aReport = "thrown";
            }
            EXPECT_EQ(aReport, throws ? "thrown"
                                      : "error: The source answered a read with -3 (at byte " +
                                            std::to_string(aSize) + " of the codestream)");
            aCodestream.destroy();
        }
    }
}

/// Lengths that lead behind every later tile-part: going back each time would run into the test's time limit.
TEST(KduSource, ManyWrongLengthsTakeLinearTime)
{
    Bytes aBytes = Pair();
    aBytes.resize(68);
    for (unsigned int aPart = 0; aPart < 300000; ++aPart)
    {
        const Bytes aTilePart = {0xFF, 0x90, 0, 10, 0, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 0xFF, 0x93, 7};
        aBytes.insert(aBytes.end(), aTilePart.begin(), aTilePart.end());
        aBytes[aBytes.size() - 5] = static_cast<std::uint8_t>(aPart);
    }
    const PlanarImage anImage = EngineDecode(aBytes);
    ASSERT_EQ(anImage.itsComponents.size(), 2u);
    EXPECT_EQ(anImage.itsComponents[0].itsSamples.size(),
              EngineDecode(Pair()).itsComponents[0].itsSamples.size());
}

TEST(KduSynthesis, RefusesLinesThatDoNotSuit)
{
    OpenCodestream anOpen(Pair());
    kdu_tile aTile = anOpen->open_tile({0, 0});
    // Too narrow, too wide, of floats, of shorts.
    for (const auto& [aWidth, isAbsolute, isShort] :
         {std::tuple{3, true, false}, {5, true, false}, {4, false, false}, {4, true, true}})
    {
        kdu_sample_allocator anAllocator;
        kdu_synthesis aSynthesis(aTile.access_component(0).access_resolution(), &anAllocator, false);
        kdu_line_buf aLine;
        aLine.pre_create(&anAllocator, aWidth, isAbsolute, isShort);
        anAllocator.finalize();
        aLine.create();
        EXPECT_THROW(aSynthesis.pull(aLine), std::logic_error) << aWidth;
    }
    OpenCodestream aLossy(Lossy());
    kdu_sample_allocator anAllocator;
    EXPECT_THROW(
        kdu_synthesis(aLossy->open_tile({0, 0}).access_component(0).access_resolution(), &anAllocator, true),
        std::logic_error);
}

TEST(KduSynthesis, LinesBeyondTheLastAreZero)
{
    OpenCodestream anOpen(Pair());
    kdu_sample_allocator anAllocator;
    kdu_decoder aDecoder(anOpen->open_tile({0, 0}).access_component(0).access_resolution().access_subband(0),
                         &anAllocator, true);
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, 4, true, true);
    anAllocator.finalize();
    aLine.create();
    for (int i = 0; i < 6 * 4; ++i)
    {
        if (i % 4 == 0)
        {
            aDecoder.pull(aLine);
        }
        EXPECT_EQ(aLine.get_buf16()[i % 4].ival, i < 16 ? 9 * (i % 4) + 13 * (i / 4) - 128 : 0) << i;
    }
}
} // namespace
