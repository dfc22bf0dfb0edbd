// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodestreamReader.h"

#include "support/CodestreamBuilder.h"
#include "support/CodestreamReading.h"
#include "support/EngineReports.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>

namespace
{

using namespace j2k;
using Builder = CodestreamBuilder;
using Bytes = Builder::Bytes;
using Reading = CodestreamReading;

const Builder::Image kThree{.itsComponents = std::vector<Builder::Component>(3)};
const Builder::Image kFourTiles{.itsTileWidth = 8, .itsTileHeight = 8};
const Builder::TilePart kOnlyPart{.itsBody = {1, 2, 3, 4}};

/// A codestream that is right up to here, continued by one tile-part and EOC.
Bytes Finish(Builder theBuilder)
{
    return theBuilder.Add(kOnlyPart).Eoc().GetBytes();
}

Bytes WithImage(const Builder::Image& theImage)
{
    return Finish(Builder::Begin(theImage));
}

Bytes WithCoding(const Builder::Coding& theCoding, const Builder::Image& theImage = {})
{
    return Finish(Builder::Begin(theImage, theCoding));
}

Bytes WithStyle(const Builder::Style& theStyle)
{
    return WithCoding({.itsStyle = theStyle});
}

Bytes WithSteps(const Builder::Steps& theSteps)
{
    return Finish(Builder::Begin({}, {}, theSteps));
}

Bytes WithSegment(unsigned int theCode, const Bytes& theBody)
{
    return Finish(Builder::Begin().Segment(theCode, theBody));
}

Bytes WithTileHeader(const Builder& theHeader)
{
    return Builder::Begin().Add({.itsHeader = theHeader.GetBytes(), .itsBody = {1, 2}}).Eoc().GetBytes();
}

Bytes WithTileParts(const std::vector<Builder::TilePart>& theParts, const Builder::Image& theImage = {})
{
    Builder aBuilder = Builder::Begin(theImage);
    for (const Builder::TilePart& aPart : theParts)
    {
        aBuilder.Add(aPart);
    }
    return aBuilder.Eoc().GetBytes();
}

/// Reads everything; the first report, if any.
std::optional<EngineReport> ReadAllTiles(const Bytes& theBytes, Tolerance theTolerance)
{
    const EngineReports someReports;
    try
    {
        Reading aReading(theBytes);
        aReading.itsReports.SetTolerance(theTolerance);
        const std::uint32_t aCount = std::min(aReading.itsReader.GetImageSize().GetTileCount(), 64U);
        for (std::uint32_t aTile = 0; aTile < aCount; ++aTile)
        {
            aReading.itsReader.TakeTile(aTile);
        }
    }
    catch (const EngineReport& aReport)
    {
        return aReport;
    }
    return std::nullopt;
}

enum class Verdict
{
    Fine,
    NonConformance,
    Error
};

struct StreamCase
{
    const char* itsName;
    Bytes itsBytes;
    Verdict itsVerdict;
    const char* itsText;
};

void PrintTo(const StreamCase& theCase, std::ostream* theStream)
{
    *theStream << theCase.itsName;
}

class CodestreamReports : public testing::TestWithParam<StreamCase>
{
};

/// An error in every mode; a non-conformance only where it is refused.
TEST_P(CodestreamReports, DependOnTheTolerance)
{
    const StreamCase& aCase = GetParam();
    for (const Tolerance aTolerance : {Tolerance::Fast, Tolerance::Resilient, Tolerance::Fussy})
    {
        const std::optional<EngineReport> aReport = ReadAllTiles(aCase.itsBytes, aTolerance);
        const bool anIsExpected =
            aCase.itsVerdict == Verdict::Error ||
            (aCase.itsVerdict == Verdict::NonConformance && aTolerance == Tolerance::Fussy);
        ASSERT_EQ(aReport.has_value(), anIsExpected) << (aReport ? aReport->itsText : "no report");
        if (aReport)
        {
            EXPECT_EQ(aReport->itsText, std::string(aCase.itsText) + " of the codestream)");
            EXPECT_EQ(aReport->itsIsWarning, aCase.itsVerdict == Verdict::NonConformance);
        }
    }
}

std::string GetName(const testing::TestParamInfo<StreamCase>& theInfo)
{
    return theInfo.param.itsName;
}

INSTANTIATE_TEST_SUITE_P(
    Siz, CodestreamReports,
    testing::Values(
        StreamCase{"Right", WithImage({}), Verdict::Fine, ""},
        StreamCase{"NoSoc", Bytes{0xFF, 0x51, 0, 41, 0, 0, 0}, Verdict::Error,
                   "SOC: the codestream does not begin with it (at byte 0"},
        StreamCase{"ComFirst", Builder().Marker(0xFF4F).Segment(0xFF64, {0, 1}).GetBytes(), Verdict::Error,
                   "SIZ: the marker does not follow SOC (at byte 2"},
        StreamCase{"Empty", WithImage({.itsX1 = 5, .itsX0 = 5}), Verdict::Error,
                   "SIZ: the image area is empty (at byte 2"},
        StreamCase{
            "Far", WithImage({.itsX1 = 0x80000000, .itsTileWidth = 0xFFFFFFFF}), Verdict::Error,
            "SIZ: positions of 2147483648 and above on the reference grid are not supported (at byte 2"},
        StreamCase{"LargeTile", WithImage({.itsTileWidth = 0xFFFFFFFF, .itsTileHeight = 0xFFFFFFFF}),
                   Verdict::Fine, ""},
        StreamCase{"NoTileSize", WithImage({.itsTileHeight = 0}), Verdict::Error,
                   "SIZ: the tile size is 0 (at byte 2"},
        StreamCase{"TileBehindOrigin", WithImage({.itsTileOriginX = 1}), Verdict::Error,
                   "SIZ: the first tile does not meet the image area (at byte 2"},
        StreamCase{"TileBeforeImage", WithImage({.itsX0 = 8, .itsTileWidth = 8}), Verdict::Error,
                   "SIZ: the first tile does not meet the image area (at byte 2"},
        StreamCase{"ManyTiles", WithImage({.itsX1 = 65536, .itsY1 = 1, .itsTileWidth = 1}), Verdict::Error,
                   "SIZ: more than 65535 tiles (at byte 2"},
        // 2^32 tiles: a product in 32 bits would be 0.
        StreamCase{"TilesWrap",
                   WithImage({.itsX1 = 65536, .itsY1 = 65536, .itsTileWidth = 1, .itsTileHeight = 1}),
                   Verdict::Error, "SIZ: more than 65535 tiles (at byte 2"},
        StreamCase{"NoComponents", WithImage({.itsComponents = {}}), Verdict::Error,
                   "SIZ: the number of components is not between 1 and 16384 (at byte 2"},
        StreamCase{"TooManyComponents", WithImage({.itsCount = 16385}), Verdict::Error,
                   "SIZ: the number of components is not between 1 and 16384 (at byte 2"},
        StreamCase{"FewerEntries", WithImage({.itsCount = 2}), Verdict::Error,
                   "SIZ: the marker segment is too short (at byte 2"},
        StreamCase{"MoreEntries",
                   WithImage({.itsComponents = std::vector<Builder::Component>(2), .itsCount = 1}),
                   Verdict::NonConformance, "SIZ: the marker segment is longer than its contents (at byte 2"},
        StreamCase{"Deepest", WithImage({.itsComponents = {{.itsDepth = 38}}}), Verdict::Fine, ""},
        StreamCase{"TooDeep", WithImage({.itsComponents = {{.itsDepth = 39}}}), Verdict::Error,
                   "SIZ: a component has more than 38 bits (at byte 2"},
        StreamCase{"NoSampling", WithImage({.itsComponents = {{.itsYRsiz = 0}}}), Verdict::Error,
                   "SIZ: a component has a sampling factor of 0 (at byte 2"},
        StreamCase{"EmptyComponent",
                   WithImage({.itsX1 = 2, .itsX0 = 1, .itsComponents = {{}, {.itsXRsiz = 255}}}),
                   Verdict::Fine, ""},
        StreamCase{"Part2", WithImage({.itsCapabilities = 0x8000}), Verdict::NonConformance,
                   "SIZ: the codestream announces extensions of ISO/IEC 15444-2 (at byte 2"},
        StreamCase{"Part15", WithImage({.itsCapabilities = 0x4000}), Verdict::Error,
                   "SIZ: the codestream needs ISO/IEC 15444-15 (high-throughput JPEG 2000), which is not "
                   "supported (at byte 2"}),
    GetName);

INSTANTIATE_TEST_SUITE_P(
    Coding, CodestreamReports,
    testing::Values(
        StreamCase{"NoCod", Finish(Builder().Marker(0xFF4F).Siz({}).Qcd({})), Verdict::Error,
                   "COD: missing in the main header (at byte 54"},
        StreamCase{"NoQcd", Finish(Builder().Marker(0xFF4F).Siz({}).Cod({})), Verdict::Error,
                   "QCD: missing in the main header (at byte 59"},
        StreamCase{"TwoCod", Finish(Builder::Begin().Cod({})), Verdict::NonConformance,
                   "COD: a second one in the same header (at byte 68"},
        StreamCase{"TwoQcc", Finish(Builder::Begin().Qcc(0, {}).Qcc(0, {})), Verdict::NonConformance,
                   "QCC: a second one for the same component (at byte 78"},
        StreamCase{"ShortCod",
                   Finish(Builder().Marker(0xFF4F).Siz({}).Segment(0xFF52, {0, 0, 0, 1, 0, 1, 4})),
                   Verdict::Error, "COD: the marker segment is too short (at byte 45"},
        StreamCase{"Anchors", WithCoding({.itsScod = 8}), Verdict::Error,
                   "COD: code-block anchors of ISO/IEC 15444-2 (extensions) are not supported (at byte 45"},
        StreamCase{"UnknownScod", WithCoding({.itsScod = 0x80}), Verdict::NonConformance,
                   "COD: unknown bits in the coding style (at byte 45"},
        StreamCase{"Order", WithCoding({.itsOrder = 5}), Verdict::Error,
                   "COD: unknown progression order 5 (at byte 45"},
        StreamCase{"NoLayers", WithCoding({.itsLayers = 0}), Verdict::Error,
                   "COD: no quality layers (at byte 45"},
        StreamCase{"OtherTransform", WithCoding({.itsTransform = 2}, kThree), Verdict::Error,
                   "COD: component transform 2 is not supported (at byte 51"},
        StreamCase{"TransformOfOne", WithCoding({.itsTransform = 1}), Verdict::NonConformance,
                   "COD: a component transform over fewer than three components (at byte 45"},
        StreamCase{"Levels", WithStyle({.itsLevels = 33}), Verdict::Error,
                   "COD: more than 32 decomposition levels (at byte 45"},
        StreamCase{"WideBlocks", WithStyle({.itsBlockWidth = 9, .itsBlockHeight = 0}), Verdict::Error,
                   "COD: a code-block is wider or higher than 1024 (at byte 45"},
        StreamCase{"LargeBlocks", WithStyle({.itsBlockWidth = 5, .itsBlockHeight = 4}), Verdict::Error,
                   "COD: code-blocks of more than 4096 samples (at byte 45"},
        StreamCase{"HighThroughput", WithStyle({.itsBlockStyle = 0x40}), Verdict::Error,
                   "COD: code-blocks of ISO/IEC 15444-15 (high-throughput JPEG 2000) are not supported (at "
                   "byte 45"},
        StreamCase{"BlockStyle", WithStyle({.itsBlockStyle = 0x80}), Verdict::Error,
                   "COD: unknown code-block style (at byte 45"},
        StreamCase{"Wavelet", WithStyle({.itsTransform = 2}), Verdict::Error,
                   "COD: wavelet transform 2 is not supported (at byte 45"},
        StreamCase{"SmallPrecinct", WithStyle({.itsPrecincts = {0x00, 0x70}}), Verdict::Error,
                   "COD: a precinct above the lowest resolution has the size 1 (at byte 45"},
        StreamCase{"CocOfNone", Finish(Builder::Begin().Coc(7, {})), Verdict::NonConformance,
                   "COC: there is no component 7 (at byte 68"},
        StreamCase{"RgnPart2", Finish(Builder::Begin().Rgn(0, 1, 1)), Verdict::Error,
                   "RGN: regions of interest of ISO/IEC 15444-2 (extensions) are not supported (at byte 68"},
        StreamCase{"PocOrder", Finish(Builder::Begin().Poc({{.itsOrder = 9}})), Verdict::Error,
                   "POC: unknown progression order 9 (at byte 68"},
        StreamCase{"PocEmpty", Finish(Builder::Begin().Poc({{.itsEndResolution = 0}})),
                   Verdict::NonConformance, "POC: a progression without any packet (at byte 68"},
        StreamCase{"QuantizationStyle", WithSteps({.itsStyle = 3}), Verdict::Error,
                   "QCD: quantization style 3 is not supported (at byte 59"},
        StreamCase{"FewSteps", WithSteps({.itsSteps = {64, 64, 64}}), Verdict::Error,
                   "Component 0 has 4 subbands and only 3 step sizes in QCD or QCC (at byte 59"},
        StreamCase{"ReversibleSteps", WithSteps({.itsStyle = 1, .itsSteps = {0x4000}}),
                   Verdict::NonConformance,
                   "Component 0 is quantized in spite of the reversible transform (at byte 59"}),
    GetName);

INSTANTIATE_TEST_SUITE_P(
    Optional, CodestreamReports,
    testing::Values(
        StreamCase{"Comment", WithSegment(0xFF64, {0, 1, 'x'}), Verdict::Fine, ""},
        StreamCase{"BareMarker", Finish(Builder::Begin().Marker(0xFF30)), Verdict::Fine, ""},
        StreamCase{"Lengths", WithSegment(0xFF55, {0, 0x50, 0, 0, 0, 20}), Verdict::NonConformance,
                   "TLM: wrong length of the marker segment (at byte 68"},
        StreamCase{"Offsets", WithSegment(0xFF63, {0, 0, 0}), Verdict::NonConformance,
                   "CRG: wrong length of the marker segment (at byte 68"},
        StreamCase{"Unknown", WithSegment(0xFF44, {1, 2, 3}), Verdict::NonConformance,
                   "Marker 0xFF44: unknown marker (at byte 68"},
        StreamCase{"LengthOfOne", Finish(Builder::Begin().Segment(0xFF64, {}, 1)), Verdict::Error,
                   "COM: the length is below 2 (at byte 68"},
        StreamCase{"NoMarker", Finish(Builder::Begin().Raw({0x12, 0x34})), Verdict::Error,
                   "Marker 0x1234: cannot stand in the main header (at byte 68"},
        StreamCase{"Misplaced", WithSegment(0xFF58, {0, 1}), Verdict::NonConformance,
                   "PLT: does not belong into the main header (at byte 68"},
        StreamCase{"TwoSiz", Finish(Builder::Begin().Siz({})), Verdict::NonConformance,
                   "SIZ: does not belong into the main header (at byte 68"},
        StreamCase{"Cap", WithSegment(0xFF50, {0, 2, 0, 0, 0, 0}), Verdict::Error,
                   "CAP: the codestream needs ISO/IEC 15444-15 (high-throughput JPEG 2000), which is not "
                   "supported (at byte 68"},
        StreamCase{"Mct", WithSegment(0xFF74, {0, 0}), Verdict::Error,
                   "Marker 0xFF74: the codestream needs ISO/IEC 15444-2 (extensions), which is not supported "
                   "(at byte 68"},
        StreamCase{"NoTileParts", Builder::Begin().Eoc().GetBytes(), Verdict::Error,
                   "EOC: the codestream has no tile-part (at byte 68"},
        StreamCase{"LateCod",
                   WithTileParts({{.itsParts = 2},
                                  {.itsPart = 1, .itsParts = 2, .itsHeader = Builder().Cod({}).GetBytes()}}),
                   Verdict::NonConformance, "COD: does not belong into this tile-part's header (at byte 94"},
        StreamCase{"SopInHeader", WithTileHeader(Builder().Segment(0xFF91, {0, 0})), Verdict::Error,
                   "SOP: cannot stand in a tile-part's header (at byte 80"}),
    GetName);

INSTANTIATE_TEST_SUITE_P(
    TileParts, CodestreamReports,
    testing::Values(
        StreamCase{"NoEoc", Builder::Begin().Add(kOnlyPart).GetBytes(), Verdict::NonConformance,
                   "EOC: missing at the end of the codestream (at byte 86"},
        StreamCase{"Numbers", WithTileParts({{.itsPart = 1, .itsParts = 0}}), Verdict::NonConformance,
                   "SOT: tile 0 has a tile-part numbered 1 in the place of 0 (at byte 68"},
        StreamCase{"Conflict", WithTileParts({{.itsParts = 2}, {.itsPart = 1, .itsParts = 3}}),
                   Verdict::NonConformance,
                   "SOT: tile 0 has two different numbers of tile-parts (at byte 82"},
        StreamCase{"OneMore", WithTileParts({{}, {.itsPart = 1}}), Verdict::NonConformance,
                   "SOT: tile 0 has more tile-parts than announced (at byte 82"},
        StreamCase{"OneMoreInTurn",
                   WithTileParts({{.itsParts = 2},
                                  {.itsTile = 1, .itsParts = 2},
                                  {.itsPart = 1, .itsParts = 2},
                                  {.itsTile = 1, .itsPart = 1, .itsParts = 2},
                                  {.itsPart = 2, .itsParts = 2},
                                  {.itsTile = 1, .itsPart = 2, .itsParts = 2}},
                                 kFourTiles),
                   Verdict::NonConformance, "SOT: tile 0 has more tile-parts than announced (at byte 124"},
        StreamCase{"OneFewer", WithTileParts({{.itsParts = 2}}), Verdict::NonConformance,
                   "Tile 0 is not complete (at byte 84"},
        StreamCase{"NoSuchTile", WithTileParts({{.itsTile = 3}, {}}), Verdict::NonConformance,
                   "SOT: there is no tile 3 (at byte 68"},
        StreamCase{"MissingTile", WithTileParts({{}, {.itsTile = 1}, {.itsTile = 3}}, kFourTiles),
                   Verdict::NonConformance, "Tile 2 is not complete (at byte 112"},
        StreamCase{"NoSod",
                   WithTileParts({{.itsParts = 2, .itsHasSOD = false}, {.itsPart = 1, .itsParts = 2}}),
                   Verdict::NonConformance, "SOD: missing in a tile-part's header (at byte 80"},
        StreamCase{"SotLength", Builder::Begin().Segment(0xFF90, Bytes(8), 11).Raw(Bytes(8)).GetBytes(),
                   Verdict::Error, "SOT: the length is not 10 (at byte 68"},
        StreamCase{"CutInBody", Builder::Begin().Add({.itsBody = {1, 2}, .itsLength = 50}).GetBytes(),
                   Verdict::NonConformance, "The codestream ends inside a tile-part (at byte 84"},
        StreamCase{"CutInHeader", Builder::Begin().Add({.itsHasSOD = false}).GetBytes(),
                   Verdict::NonConformance, "The codestream ends inside a tile-part's header (at byte 80"},
        StreamCase{"CutInSot", Builder::Begin().Add(kOnlyPart).Raw({0xFF, 0x90, 0, 10}).GetBytes(),
                   Verdict::NonConformance, "The codestream ends inside SOT (at byte 88"},
        StreamCase{"CutInFirstSot", Builder::Begin().Raw({0xFF, 0x90, 0, 10}).GetBytes(), Verdict::Error,
                   "The codestream ends before its first tile-part (at byte 70"},
        StreamCase{"NoLengthBeforeLast",
                   WithTileParts({{.itsParts = 2, .itsLength = 0}, {.itsPart = 1, .itsParts = 2}}),
                   Verdict::NonConformance,
                   "SOT: a tile-part without a length is not the last one (at byte 68"},
        StreamCase{"LengthInHeader", WithTileParts({{.itsBody = {1}, .itsLength = 13}}),
                   Verdict::NonConformance, "SOT: the length ends inside the tile-part's header (at byte 68"},
        StreamCase{"LengthTooLong", WithTileParts({{.itsBody = {1}, .itsLength = 99}}),
                   Verdict::NonConformance,
                   "SOT: the tile-part does not end where its length says (at byte 68"}),
    GetName);

/// What decoding survives is not only accepted: the data must still be right.
struct RepairCase
{
    const char* itsName;
    std::vector<Builder::TilePart> itsParts;
    bool itsHasEnd = true;
    std::vector<Bytes> itsBodies; ///< for the tiles in turn
    std::vector<bool> itsAreTruncated = {false, false};
};

void PrintTo(const RepairCase& theCase, std::ostream* theStream)
{
    *theStream << theCase.itsName;
}

class CodestreamRepairs : public testing::TestWithParam<RepairCase>
{
};

TEST_P(CodestreamRepairs, KeepTheData)
{
    const EngineReports someReports;
    const RepairCase& aCase = GetParam();
    Builder aBuilder = Builder::Begin({.itsTileWidth = 8});
    for (const Builder::TilePart& aPart : aCase.itsParts)
    {
        aBuilder.Add(aPart);
    }
    if (aCase.itsHasEnd)
    {
        aBuilder.Eoc();
    }
    Reading aReading(aBuilder.GetBytes());
    for (std::uint32_t aTile = 0; aTile < 2; ++aTile)
    {
        const auto aData = aReading.itsReader.TakeTile(aTile);
        EXPECT_EQ(Reading::Join(*aData), aCase.itsBodies[aTile]) << aTile;
        EXPECT_EQ(aData->itsBodyBytes, aCase.itsBodies[aTile].size()) << aTile;
        EXPECT_EQ(aData->itsTruncated, aCase.itsAreTruncated[aTile]) << aTile;
    }
}

const Builder::TilePart kSecondTile{.itsTile = 1, .itsBody = {9, 8}};

/// Tile-parts of two tiles in turn, six each; each announces one fewer.
std::vector<Builder::TilePart> TooFewAnnounced()
{
    std::vector<Builder::TilePart> aParts;
    for (std::uint8_t aPart = 0; aPart < 6; ++aPart)
    {
        for (std::uint16_t aTile = 0; aTile < 2; ++aTile)
        {
            aParts.push_back({.itsTile = aTile,
                              .itsPart = aPart,
                              .itsParts = 5,
                              .itsBody = {static_cast<std::uint8_t>(10 * aTile + aPart)}});
        }
    }
    return aParts;
}

INSTANTIATE_TEST_SUITE_P(
    All, CodestreamRepairs,
    testing::Values(
        RepairCase{"Right", {kOnlyPart, kSecondTile}, true, {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"OtherOrder", {kSecondTile, kOnlyPart}, true, {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{
            "Interleaved",
            {{.itsParts = 2, .itsBody = {1}}, kSecondTile, {.itsPart = 1, .itsParts = 2, .itsBody = {2}}},
            true,
            {{1, 2}, {9, 8}}},
        RepairCase{
            "CountsUnknown",
            {{.itsParts = 0, .itsBody = {1}}, kSecondTile, {.itsPart = 1, .itsParts = 0, .itsBody = {2}}},
            true,
            {{1, 2}, {9, 8}}},
        RepairCase{"CountTooSmall",
                   {{.itsBody = {1}}, {.itsPart = 1, .itsBody = {2}}, kSecondTile},
                   true,
                   {{1, 2}, {9, 8}}},
        RepairCase{
            "CountTooSmallInTurn", TooFewAnnounced(), true, {{0, 1, 2, 3, 4, 5}, {10, 11, 12, 13, 14, 15}}},
        RepairCase{"TooShort",
                   {{.itsBody = {1, 2, 3, 4}, .itsLength = 15}, kSecondTile},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"IntoHeader",
                   {{.itsBody = {1, 2, 3, 4}, .itsLength = 12}, kSecondTile},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"OverNextPart",
                   {{.itsBody = {1, 2, 3, 4}, .itsLength = 25}, kSecondTile},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"OverEverything",
                   {{.itsBody = {1, 2, 3, 4}, .itsLength = 0xFFFFFFFF}, kSecondTile},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"LastWithEoc",
                   {kOnlyPart, {.itsTile = 1, .itsBody = {9, 8}, .itsLength = 18}},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"NoLength",
                   {kOnlyPart, {.itsTile = 1, .itsBody = {9, 0xFF, 0x8F, 0xFF}, .itsLength = 0}},
                   true,
                   {{1, 2, 3, 4}, {9, 0xFF, 0x8F, 0xFF}}},
        RepairCase{"NoLengthNoEoc",
                   {kOnlyPart, {.itsTile = 1, .itsParts = 0, .itsBody = {9, 0xFF}, .itsLength = 0}},
                   false,
                   {{1, 2, 3, 4}, {9, 0xFF}},
                   {false, true}},
        RepairCase{"NoSuchTile",
                   {{.itsTile = 7, .itsBody = {5}}, kOnlyPart, kSecondTile},
                   true,
                   {{1, 2, 3, 4}, {9, 8}}},
        RepairCase{"SecondCut",
                   {kOnlyPart, {.itsTile = 1, .itsBody = {9}, .itsLength = 1000}},
                   false,
                   {{1, 2, 3, 4}, {9}},
                   {false, true}},
        RepairCase{"SecondMissing", {kOnlyPart}, false, {{1, 2, 3, 4}, {}}, {false, true}}),
    [](const testing::TestParamInfo<RepairCase>& theInfo) { return theInfo.param.itsName; });

} // namespace
