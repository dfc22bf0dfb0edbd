// SPDX-License-Identifier: Apache-2.0
// What the engine says of headers that are bent, and that what it survives keeps its pixels.

#include <gtest/gtest.h>

#include <string>

#include "support/EngineDecode.h"
#include "support/EngineReports.h"
#include "support/Jpeg2000Streams.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

// Where the marker segments of Jpeg2000Streams::Grey12 stand: four tiles of one tile-part each.
constexpr std::size_t kCod = 45, kQcd = 59, kSot0 = 74, kSot1 = 157, kSot2 = 262, kSot3 = 328, kEoc = 411,
                      kEnd = 413;

// And CAP of Jpeg2000Streams::HighThroughput, which has one tile.
constexpr std::size_t kCap = 45;

/// So many bytes replaced by others.
struct Edit
{
    std::size_t itsAt;
    std::size_t itsErased;
    std::string itsHex;
};

constexpr int kNowhere = -1;

enum class Verdict
{
    Fine, ///< no report, the same pixels
    Odd,  ///< a warning in fussy mode, the same pixels in the others
    Loss, ///< a warning in fussy mode, any pixels in the others
    Error ///< in every mode
};

using enum Verdict;

/// Name and verdict; the edits in the order of their places; the report, and where it says that it is wrong;
/// the stream that is edited.
using StreamCase = std::tuple<const char*, Verdict, std::vector<Edit>, std::string, int, Bytes (*)()>;

StreamCase Make(const char* theName, Verdict theVerdict, const std::vector<Edit>& theEdits,
                const std::string& theText = "", int theAt = kNowhere,
                Bytes (*theBase)() = Jpeg2000Streams::Grey12)
{
    return {theName, theVerdict, theEdits, theText, theAt, theBase};
}

Bytes Bend(Bytes theBytes, const std::vector<Edit>& theEdits)
{
    for (auto anEdit = theEdits.rbegin(); anEdit != theEdits.rend(); ++anEdit)
    {
        const Bytes aMore = Jpeg2000Streams::FromHex(anEdit->itsHex);
        const auto aPlace = theBytes.begin() + static_cast<std::ptrdiff_t>(anEdit->itsAt);
        theBytes.insert(theBytes.erase(aPlace, aPlace + static_cast<std::ptrdiff_t>(anEdit->itsErased)),
                        aMore.begin(), aMore.end());
    }
    return theBytes;
}

constexpr const char* kNoCount = "SIZ: the number of components is not between 1 and 16384";
constexpr const char* kNoFirstTile = "SIZ: the first tile does not meet the image area";
constexpr const char* kOtherBlocks = "Tile 0 has code-blocks of a kind that CAP does not announce";
constexpr const char* kManyTiles = "SIZ: more than 65535 tiles";
constexpr const char* kNoEoc = "EOC: missing at the end of the codestream";
constexpr const char* kWrongLength = "SOT: the tile-part does not end where its length says";
const std::string kLong = ": the marker segment is longer than its contents",
                  kShort = ": the marker segment is too short", kSecond = ": a second one in the same header",
                  kSecondOne = ": a second one for the same component",
                  kExtension = " of ISO/IEC 15444-2 (extensions) are not supported",
                  kMissing = ": missing in the main header",
                  kElsewhere = ": does not belong into the main header", kUnsupported = " is not supported";

const StreamCase kCases[] = {
    Make("Right", Fine, {}),
    Make("NoSoc", Error, {{0, 2, ""}}, "SOC: the codestream does not begin with it", 0),
    Make("ComFirst", Error, {{2, 0, "ff6400040001"}}, "SIZ: the marker does not follow SOC", 2),
    Make("Empty", Error, {{8, 4, "00000003"}}, "SIZ: the image area is empty", 2),
    Make("Far", Error, {{8, 4, "80000000"}, {24, 4, "ffffffff"}},
         "SIZ: positions of 2147483648 and above on the reference grid are not supported", 2),
    Make("NoTileSize", Error, {{28, 4, "00000000"}}, "SIZ: the tile size is 0", 2),
    Make("TileBehindOrigin", Error, {{32, 4, "00000004"}}, kNoFirstTile, 2),
    Make("TileBeforeImage", Error, {{24, 4, "00000003"}}, kNoFirstTile, 2),
    Make("ManyTiles", Error, {{8, 32, "0001000300000002000000030000000100000001000000010000000300000001"}},
         kManyTiles, 2),
    // 2^32 tiles: a product in 32 bits would be 0.
    Make("TilesWrap", Error, {{8, 24, "000100000001000000000000000000000000000100000001"}}, kManyTiles, 2),
    Make("NoComponents", Error, {{40, 2, "0000"}}, kNoCount, 2),
    Make("TooManyComponents", Error, {{40, 2, "4001"}}, kNoCount, 2),
    Make("FewerEntries", Error, {{40, 2, "0002"}}, "SIZ" + kShort, 2),
    Make("MoreEntries", Odd, {{4, 2, "002c"}, {45, 0, "8b0101"}}, "SIZ" + kLong, 2),
    Make("TooDeep", Error, {{42, 1, "26"}}, "SIZ: a component has more than 38 bits", 2),
    Make("DeeperThanLines", Error, {{42, 1, "9c"}},
         "Component 0 of tile 0 has 29 bits per sample; reversibly coded ones of more than 28 are not "
         "supported",
         kNowhere),
    Make("NoSampling", Error, {{44, 1, "00"}}, "SIZ: a component has a sampling factor of 0", 2),
    Make("Part2", Odd, {{6, 2, "8000"}}, "SIZ: the codestream announces extensions of ISO/IEC 15444-2", 2),
    Make("Part15", Odd, {{6, 2, "4000"}}, "CAP" + kMissing, 74),
    Make("NoCod", Error, {{kCod, 14, ""}}, "COD" + kMissing, 60),
    Make("NoQcd", Error, {{kQcd, 15, ""}}, "QCD" + kMissing, 59),
    Make("TwoCod", Odd, {{kSot0, 0, "ff52000c00000001000304040001"}}, "COD" + kSecond, 74),
    Make("TwoQcd", Odd, {{kSot0, 0, "ff5c000d4060686870686870686870"}}, "QCD" + kSecond, 74),
    Make("TwoCoc", Odd, {{kSot0, 0, "ff53000900000304040001ff53000900000304040001"}}, "COC" + kSecondOne, 85),
    Make("TwoQcc", Odd, {{kSot0, 0, "ff5d000e004060686870686870686870ff5d000e004060686870686870686870"}},
         "QCC" + kSecondOne, 90),
    Make("TwoRgn", Odd, {{kSot0, 0, "ff5e0005000000ff5e0005000000"}}, "RGN" + kSecondOne, 81),
    Make("ShortCod", Error, {{47, 12, "000900000001000104"}}, "COD" + kShort, 45),
    Make("LongCod", Odd, {{47, 2, "000d"}, {kQcd, 0, "00"}}, "COD" + kLong, kCod),
    Make("LongCoc", Odd, {{kSot0, 0, "ff53000a0000030404000100"}}, "COC" + kLong, 74),
    Make("LongQcc", Loss, {{kSot0, 0, "ff5d00070041680000"}}, "QCC" + kLong, 74),
    Make("LongRgn", Odd, {{kSot0, 0, "ff5e000600000000"}}, "RGN" + kLong, 74),
    Make("LongPoc", Odd, {{kSot0, 0, "ff5f000a0000000121010000"}}, "POC" + kLong, 74),
    Make("Anchors", Error, {{49, 1, "08"}}, "COD: code-block anchors" + kExtension, 45),
    Make("UnknownScod", Odd, {{49, 1, "80"}}, "COD: unknown bits in the coding style", 45),
    Make("Order", Error, {{50, 1, "05"}}, "COD: unknown progression order 5", 45),
    Make("NoLayers", Error, {{51, 2, "0000"}}, "COD: no quality layers", 45),
    Make("OtherTransform", Error, {{53, 1, "02"}}, "COD: component transform 2" + kUnsupported, 45),
    Make("TransformOfOne", Odd, {{53, 1, "01"}},
         "COD: a component transform over fewer than three components", 45),
    Make("TransformOfOthers", Loss, {{46, 1, "02"}},
         "Tile 0 has a component transform over components that do not match", 91, Jpeg2000Streams::Colour),
    Make("Levels", Error, {{54, 1, "21"}}, "COD: more than 32 decomposition levels", 45),
    Make("WideBlocks", Error, {{55, 2, "0900"}}, "COD: a code-block is wider or higher than 1024", 45),
    Make("LargeBlocks", Error, {{55, 2, "0504"}}, "COD: code-blocks of more than 4096 samples", 45),
    Make("HighThroughput", Loss, {{57, 1, "40"}}, kOtherBlocks, 169),
    Make("BlockStyle", Error, {{57, 1, "80"}}, "COD: unknown code-block style", 45),
    Make("SegmentationSymbols", Loss, {{57, 1, "20"}},
         "Code-block 0, 0 of subband LH at resolution 3 in tile 0: wrong segmentation symbol", 134),
    Make("MissingPasses", Loss, {{64, 10, "58585858585858585858"}},
         "Code-block 0, 0 of subband LH at resolution 3 in tile 0: more coding passes than its bit-planes "
         "have",
         134),
    Make("Wavelet", Error, {{58, 1, "02"}}, "COD: wavelet transform 2" + kUnsupported, 45),
    Make("SmallPrecinct", Error, {{47, 12, "001001000001000304040001ff700000"}},
         "COD: a precinct above the lowest resolution has the size 1", 45),
    Make("CocOfNone", Odd, {{kSot0, 0, "ff53000907000304040001"}}, "COC: there is no component 7", 74),
    Make("CocAnchors", Error, {{kSot0, 0, "ff53000900080304040001"}}, "COC: code-block anchors" + kExtension,
         74),
    Make("CocStyle", Odd, {{kSot0, 0, "ff53000900020304040001"}}, "COC: unknown bits in the coding style",
         74),
    Make("RgnPart2", Error, {{kSot0, 0, "ff5e0005000101"}}, "RGN: regions of interest" + kExtension, 74),
    Make("Poc", Fine, {{kSot0, 0, "ff5f00100000000101010000000001210104"}}),
    Make("PocOfTile", Fine,
         {{68, 0, "ff5f000900000001210100"}, {74, 4, "0000003f"}, {80, 0, "ff5f000900000001210200"}}, "", 0,
         Jpeg2000Streams::Pair),
    Make("PocGoesOn", Fine,
         {{74, 6, "000000190002"},
          {80, 0, "ff5f000900000001210100"},
          {82, 0, "ff90000a00000000003f0102ff5f000900000001210200ff93"}},
         "", 0, Jpeg2000Streams::Pair),
    Make("PocOrder", Error, {{kSot0, 0, "ff5f000900000001210109"}}, "POC: unknown progression order 9", 74),
    Make("PocEnd", Odd, {{kSot0, 0, "ff5f000900000001220100"}},
         "POC: a progression ends behind resolution 33", 74),
    Make("PocEmpty", Odd, {{kSot0, 0, "ff5f000900000001000100"}}, "POC: a progression without any packet",
         74),
    Make("QuantizationStyle", Error, {{63, 1, "43"}}, "QCD: quantization style 3" + kUnsupported, 59),
    Make("FewSteps", Error, {{61, 13, "000a4060686870686870"}},
         "Component 0 has 10 subbands and only 7 step sizes in QCD or QCC", 59),
    Make("NoSteps", Error, {{61, 12, "000341"}}, "QCD" + kShort, 59),
    Make("ReversibleSteps", Loss, {{61, 13, "0005416800"}},
         "Component 0 is quantized in spite of the reversible transform", 59),
    Make("ManyBitPlanes", Error, {{63, 11, "e0f8f8f8f8f8f8f8f8f8f8"}},
         "Code-block needs more than 30 magnitude bit-planes", 109),
    Make("Comment", Fine, {{kSot0, 0, "ff640005000178"}}),
    Make("BareMarker", Fine, {{kSot0, 0, "ff30"}}),
    Make("LengthsInMainHeader", Fine, {{kSot0, 0, "ff5500070010000053"}}),
    Make("Lengths", Odd, {{kSot0, 0, "ff550008005000000014"}}, "TLM: wrong length of the marker segment", 74),
    Make("Offsets", Odd, {{kSot0, 0, "ff630005000000"}}, "CRG: wrong length of the marker segment", 74),
    Make("Unknown", Odd, {{kSot0, 0, "ff440005010203"}}, "Marker 0xFF44: unknown marker", 74),
    Make("LengthOfOne", Error, {{kSot0, 0, "ff640001"}}, "COM: the length is below 2", 74),
    Make("NoMarker", Error, {{kSot0, 0, "1234"}}, "Marker 0x1234: cannot stand in the main header", 74),
    Make("Misplaced", Odd, {{kSot0, 0, "ff5800040001"}}, "PLT" + kElsewhere, 74),
    Make("TwoSiz", Odd, {{kSot0, 0, "ff5100040001"}}, "SIZ" + kElsewhere, 74),
    Make("Cap", Odd, {{kSot0, 0, "ff500008000200000000"}}, "CAP: not announced by SIZ", 84),
    Make("CapOfOthers", Odd, {{6, 2, "4000"}, {kSot0, 0, "ff500008000200000000"}}, kOtherBlocks, 179),
    Make("CapOfBoth", Fine, {{6, 2, "4000"}, {kSot0, 0, "ff50000800020000c000"}}),
    Make("CapMissing", Odd, {{kCap, 10, ""}}, "CAP" + kMissing, 98, Jpeg2000Streams::HighThroughput),
    Make("CapTwice", Odd, {{kCap, 0, "ff500008000200000000"}}, "CAP" + kSecond, 55,
         Jpeg2000Streams::HighThroughput),
    Make("CapOfPart2", Error, {{kCap, 10, "ff50000a4002000000000000"}},
         "CAP: the codestream needs ISO/IEC 15444-2, which" + kUnsupported, kCap,
         Jpeg2000Streams::HighThroughput),
    Make("CapReserved", Odd, {{kCap + 8, 1, "40"}}, "CAP: reserved values for high-throughput code-blocks",
         kCap, Jpeg2000Streams::HighThroughput),
    Make("CapShort", Error, {{kCap + 2, 8, "000600020000"}}, "CAP" + kShort, kCap,
         Jpeg2000Streams::HighThroughput),
    Make("Profile", Fine, {{kCap, 0, "ff5900040001"}}, "", 0, Jpeg2000Streams::HighThroughput),
    Make("HalfProfile", Odd, {{kCap, 0, "ff590005000100"}}, "CPF: wrong length of the marker segment", kCap,
         Jpeg2000Streams::HighThroughput),
    Make("ArithmeticAfterAll", Loss, {{kCap + 22, 1, "00"}}, kOtherBlocks, 496,
         Jpeg2000Streams::HighThroughput),
    // Every way to tell the same block: six passes of coarser planes left out, half of them in a layer
    // before, and a length that says which kind of block it is.
    Make("PassesLeftOut", Fine, {{113, 3, "c0f857"}}, "", 0, Jpeg2000Streams::HighThroughputBlock),
    Make("LayerLeftOut", Fine, {{61, 2, "0002"}, {105, 4, "0000002a"}, {113, 3, "c07000dae0"}}, "", 0,
         Jpeg2000Streams::HighThroughputBlock),
    Make("MixedHighThroughput", Fine, {{53, 1, "c0"}, {67, 1, "c0"}, {113, 3, "c02e5c"}}, "", 0,
         Jpeg2000Streams::HighThroughputBlock),
    Make("MixedArithmetic", Fine, {{6, 2, "4000"}, {57, 1, "c0"}, {kSot0, 0, "ff50000800020000c000"}}),
    Make("LengthOfOne", Loss, {{113, 3, "c02c10"}}, "Packet header contradicts itself or the data in tile 0",
         116, Jpeg2000Streams::HighThroughputBlock),
    Make("SixBitsTooMany", Error, {{74, 1, "f8"}}, "Code-block needs more than 30 magnitude bit-planes", 116,
         Jpeg2000Streams::HighThroughputBlock),
    Make("Suffix", Loss, {{493, 1, "ff"}},
         "Code-block 0, 0 of subband HH at resolution 3 in tile 0: its clean-up pass is too short for the "
         "parts that it names",
         426, Jpeg2000Streams::HighThroughput),
    Make("Mct", Error, {{kSot0, 0, "ff7400040000"}},
         "Marker 0xFF74: the codestream needs ISO/IEC 15444-2 (extensions), which" + kUnsupported, 74),
    Make("NoTileParts", Error, {{kSot0, kEoc - kSot0, ""}}, "EOC: the codestream has no tile-part", 74),
    Make("CutMainHeader", Error, {{kQcd, kEnd - kQcd, ""}}, "The codestream ends inside the main header", 59),
    Make("CutSegment", Error, {{kQcd + 9, kEnd - kQcd - 9, ""}},
         "QCD: the codestream ends inside the marker segment", 59),
    Make("LateCod", Odd,
         {{85, 1, "02"}, {kSot1, 0, "ff90000a00000000001c0102ff52000c00000001000304040001ff93"}},
         "COD: does not belong into this tile-part's header", 169),
    Make("SopInHeader", Error, {{86, 0, "ff9100040000"}}, "SOP: cannot stand in a tile-part's header", 86),
    Make("PpmMissing", Loss, {{kSot0, 0, "ff60000300"}}, "PPM: no packet headers for a tile-part", 79),
    Make("PpmCut", Loss, {{kSot0, 0, "ff60000800ffffffff05"}},
         "PPM: the packet headers of a tile-part are cut short", 84),
    Make("PpmTwice", Loss, {{kSot0, 0, "ff60000300ff60000300"}},
         "Packed packet headers: the index 0 is used twice", 79),
    Make("NoEoc", Odd, {{kEoc, 2, ""}}, kNoEoc, 411),
    Make("Numbers", Odd, {{84, 2, "0100"}}, "SOT: tile 0 has a tile-part numbered 1 in the place of 0", 74),
    Make("Conflict", Odd, {{85, 1, "02"}, {kSot1, 0, "ff90000a00000000000e0103ff93"}},
         "SOT: tile 0 has two different numbers of tile-parts", 157),
    Make("OneMore", Odd, {{kSot1, 0, "ff90000a00000000000e0101ff93"}},
         "SOT: tile 0 has more tile-parts than announced", 157),
    Make("OneMoreLater", Odd, {{kSot2, 0, "ff90000a00000000000e0101ff93"}}, "SOT: tile 0 was complete before",
         262),
    Make("OneFewer", Odd, {{85, 1, "02"}}, "Tile 0 is not complete", 413),
    Make("CountUnknown", Fine, {{85, 1, "00"}}),
    Make("NoSuchTile", Odd, {{kSot1, 0, "ff90000a00090000000f0001ff9305"}}, "SOT: there is no tile 9", 157),
    Make("MissingTile", Loss, {{kSot2, kSot3 - kSot2, ""}}, "Tile 2 is not complete", 347),
    Make("TilesInTurn", Fine, {{kSot0, 0, "ff90000a00030000000e0002ff93"}, {338, 2, "0102"}}),
    Make("NoSod", Odd, {{85, 1, "02"}, {kSot1, 0, "ff90000a00000000000c0102"}},
         "SOD: missing in a tile-part's header", 169),
    Make("SotLength", Error, {{76, 2, "000b"}}, "SOT: the length is not 10", 74),
    Make("CutInBody", Loss, {{400, kEnd - 400, ""}}, "The codestream ends inside a tile-part", 400),
    Make("CutInHeader", Loss, {{kSot3 + 12, kEnd - kSot3 - 12, ""}},
         "The codestream ends inside a tile-part's header", 340),
    Make("CutInSot", Loss, {{kSot3 + 4, kEnd - kSot3 - 4, ""}}, "The codestream ends inside SOT", 330),
    Make("CutInFirstSot", Error, {{kSot0 + 4, kEnd - kSot0 - 4, ""}},
         "The codestream ends before its first tile-part", 76),
    Make("NoLength", Fine, {{kSot3 + 6, 4, "00000000"}}),
    Make("NoLengthNoEoc", Odd, {{kSot3 + 6, 4, "00000000"}, {kEoc, 2, ""}}, kNoEoc, 411),
    Make("NoLengthBeforeLast", Odd, {{80, 4, "00000000"}},
         "SOT: a tile-part without a length is not the last one", 74),
    Make("LengthInHeader", Odd, {{80, 4, "0000000d"}}, "SOT: the length ends inside the tile-part's header",
         74),
    Make("LengthTooShort", Odd, {{80, 4, "00000050"}}, kWrongLength, 74),
    Make("LengthOverNextPart", Odd, {{80, 4, "00000080"}}, kWrongLength, 74),
    Make("LengthOverEverything", Odd, {{80, 4, "ffffffff"}}, kWrongLength, 74),
    Make("LengthWithEoc", Odd, {{kSot3 + 6, 4, "00000055"}}, kWrongLength, 328),
};

TEST(CodestreamReports, DependOnTheTolerance)
{
    for (const auto& [aName, aVerdict, anEdits, aText, anOffset, aBase] : kCases)
    {
        SCOPED_TRACE(aName);
        const Bytes aBytes = Bend(aBase(), anEdits);
        const std::string aPlace =
            anOffset == kNowhere ? "" : " (at byte " + std::to_string(anOffset) + " of the codestream)";
        for (const EngineMode aMode : kEngineModes)
        {
            PlanarImage anImage;
            const std::string aReport = ReportOf([&] { anImage = EngineDecode(aBytes, {.itsMode = aMode}); });
            const bool isExpected = aVerdict == Error || (aVerdict != Fine && aMode == EngineMode::Fussy);
            const std::string aKind = aVerdict == Error ? "error: " : "warning: ";
            ASSERT_EQ(aReport, isExpected ? aKind + aText + aPlace : "");
            if (!isExpected && aVerdict != Loss)
            {
                EXPECT_EQ(DescribeDifference(anImage, EngineDecode(aBase()), 0), "");
            }
        }
    }
}
} // namespace
