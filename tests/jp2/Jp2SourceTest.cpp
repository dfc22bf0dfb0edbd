// SPDX-License-Identifier: Apache-2.0
#include "jp2/jp2_source.h"

#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "jp2/detail/JP2BoxWalker.h"
#include "jp2/jp2_box_textualizer.h"
#include "support/ByteSource.h"
#include "support/EngineReports.h"
#include "support/Jpeg2000Streams.h"
#include "support/Words.h"

using namespace Jpeg2000Streams;

namespace
{
const Bytes kSignature = Box("jP  ", {0x0d, 0x0a, 0x87, 0x0a});
const Bytes kFileType = Box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' ', 'j', 0, 'x', 'b'});
const Bytes kImageHeader = Box("ihdr", {0, 0, 0, 3, 0, 0, 0, 5, 0, 3, 255, 7, 0, 1});
const Bytes kStream = {0xff, 0x4f, 0xff, 0x51};

Bytes operator+(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

/// A box with the length that is stated, whatever it holds.
Bytes Stated(const Bytes& theLength, const char* theType, const Bytes& theContents)
{
    return theLength + Bytes(theType, theType + 4) + theContents;
}

/// A box whose length stands behind its type.
Bytes LargeBox(std::uint64_t theLength, const char* theType, const Bytes& theContents)
{
    Bytes aLength;
    PutBigEndian(aLength, theLength, 8);
    return Stated({0, 0, 0, 1}, theType, aLength + theContents);
}

Bytes Nested(int theDepth)
{
    Bytes aBox = kImageHeader;
    for (int i = 0; i < theDepth; ++i)
    {
        aBox = Box("res ", aBox);
    }
    return aBox;
}

const Bytes kHead = kSignature + kFileType + Box("jp2h", kImageHeader);

/// What is said of a file when its header is read.
std::string ReportOfHeader(ByteSource& theSource)
{
    jp2_family_src aFamily;
    aFamily.open(&theSource);
    jp2_source aFile;
    aFile.open(&aFamily);
    return ReportOf([&] { aFile.read_header(); });
}

/// A file up to the codestream's first byte, and the codestream's length.
using GoodCase = std::tuple<const char*, Bytes, std::uint64_t>;

/// A file, and what is said of it.
using BadCase = std::tuple<const char*, Bytes, std::string>;

TEST(Jp2Source, LeavesTheFileAtTheCodestream)
{
    const std::uint64_t aHuge = std::uint64_t{1} << 62;
    const GoodCase kGood[] = {
        {"plain", kHead + Stated({0, 0, 0, 12}, "jp2c", {}), 4},
        {"to the end", kHead + Stated({0, 0, 0, 0}, "jp2c", {}), jp2_source::kUnknownLength},
        {"large", kHead + LargeBox(20, "jp2c", {}), 4},
        {"larger than the file", kHead + LargeBox(aHuge, "jp2c", {}), aHuge - 16},
        {"nothing in it", kHead + Stated({0, 0, 0, 8}, "jp2c", {}), 0},
        {"unknown boxes around",
         kHead + Box("xml ", Bytes(40000, 'x')) + LargeBox(18, "\1\2\3\4", {9, 9}) + Box("uuid", {}) +
             Stated({0, 0, 0, 12}, "jp2c", {}),
         4},
        {"a header of boxes that are not interpreted",
         kSignature + kFileType +
             Box("jp2h", kImageHeader + Box("pclr", {0xff, 0xff}) + Box("jp2c", kStream) + Nested(40)) +
             Box("jp2h", {}) + Stated({0, 0, 0, 12}, "jp2c", {}),
         4}};
    for (const auto& [aName, aBytes, aLength] : kGood)
    {
        SCOPED_TRACE(aName);
        ByteSource aSource(aBytes + kStream, 3);
        jp2_family_src aFamily;
        aFamily.open(&aSource);
        jp2_source aFile;
        aFile.open(&aFamily, jp2_locator());
        aFile.read_header();
        EXPECT_EQ(aFile.get_codestream_length(), aLength);
        EXPECT_EQ(aFile.get_width(), 5U);
        EXPECT_EQ(aFile.get_height(), 3U);
        EXPECT_EQ(aFile.get_num_components(), 3);
        RWCString aProblem;
        EXPECT_TRUE(aFile.get_colours().GetChannels(1, aProblem).empty());
        EXPECT_EQ(aProblem.empty(), aName != std::string("a header of boxes that are not interpreted"));
        aFile.close();
        EXPECT_FALSE(aFile.exists());
        EXPECT_EQ(aSource.GetPosition(), aBytes.size());
        EXPECT_EQ(aFamily.get_pos(), aBytes.size());
        EXPECT_EQ(aSource.GetCloses(), 0);
    }
}

TEST(Jp2Source, RefusesDamagedFilesByName)
{
    const EngineReports aReports;
    const std::string kNoSignature = "the file does not begin with a JP2 signature box";
    const std::string kNoImageHeader = "the JP2 header box does not begin with an image header box";
    const std::string at36 = " (at byte 36 of the file)";
    const Bytes kStart = kSignature + kFileType;
    const BadCase kBad[] = {
        {"empty", {}, "the file ends before the signature box"},
        {"no signature", kFileType, kNoSignature},
        {"other signature", Patch(kSignature, 8, {0x0a}), kNoSignature},
        {"long signature", Box("jP  ", {0x0d, 0x0a, 0x87, 0x0a, 0}), kNoSignature},
        {"cut signature", Bytes(kSignature.begin(), kSignature.end() - 2), kNoSignature},
        {"signature only", kSignature, "the file ends before a contiguous codestream box"},
        {"no header", kStart + Box("jp2c", kStream), "there is no JP2 header box before the codestream"},
        {"no file type", kSignature + Box("jp2h", kImageHeader) + Box("jp2c", kStream),
         "there is no file type box before the codestream"},
        {"no codestream", kHead, "the file ends before a contiguous codestream box"},
        {"cut box header", kStart + Bytes{0, 0, 0}, "the file ends inside a box header" + at36},
        {"cut length", kStart + Bytes{0, 0, 0, 1, 'x', 'm', 'l', ' ', 0}, "a box header is cut off" + at36},
        {"cut box", kStart + Stated({0, 0, 1, 0}, "xml ", {1, 2}), "the file ends inside a box" + at36},
        {"length 7", kStart + Stated({0, 0, 0, 7}, "xml ", {}),
         "the length 7 of a box is shorter than its header" + at36},
        {"large length 15", kStart + LargeBox(15, "xml ", {}),
         "the length 15 of a box is shorter than its header" + at36},
        {"a length that wraps", kStart + LargeBox(UINT64_MAX, "xml ", {}),
         "the length 18446744073709551615 of a box goes beyond the box around it" + at36},
        {"empty header", kStart + Box("jp2h", {}) + Box("jp2c", kStream), kNoImageHeader},
        {"header without image header", kStart + Box("jp2h", Box("colr", Bytes(14))), kNoImageHeader},
        {"short image header", kStart + Box("jp2h", Box("ihdr", Bytes(13))), kNoImageHeader},
        {"cut image header",
         kStart + Bytes{0, 0, 0, 30, 'j', 'p', '2', 'h'} +
             Bytes(kImageHeader.begin(), kImageHeader.begin() + 12),
         kNoImageHeader},
        {"header to the end", kStart + Stated({0, 0, 0, 0}, "jp2h", kImageHeader),
         "the JP2 header box has no length"},
        {"too little inside", kStart + Box("jp2h", {0, 0, 0, 8}),
         "a box has no room for the box inside it (at byte 44 of the file)"},
        {"inner box too long", kStart + Box("jp2h", kImageHeader + Stated({0, 0, 0, 9}, "colr", {})),
         "the length 9 of a box goes beyond the box around it (at byte 66 of the file)"},
        {"inner box to the end", kStart + Box("jp2h", kImageHeader + Stated({0, 0, 0, 0}, "colr", {})),
         "a box inside another has no length (at byte 66 of the file)"}};
    for (const auto& [aName, aBytes, aText] : kBad)
    {
        SCOPED_TRACE(aName);
        ByteSource aSource(aBytes);
        EXPECT_EQ(ReportOfHeader(aSource), "error: Error in Kakadu File Format Support: " + aText);
    }
}

TEST(Jp2Source, AnErrorOfTheSourceIsNotTheEndOfTheFile)
{
    const EngineReports aReports;
    for (const std::size_t aLength : {std::size_t{0}, kSignature.size(), kHead.size() - 3})
    {
        ByteSource aSource(Bytes(kHead.data(), kHead.data() + aLength));
        aSource.AtEnd([] { return -7; });
        EXPECT_EQ(ReportOfHeader(aSource),
                  "error: Error in Kakadu File Format Support: the source answered a read with -7");
    }
}

TEST(Jp2Source, WantsAnOpenFileAtItsStart)
{
    const EngineReports aReports;
    jp2_family_src aFamily;
    jp2_source aFile;
    EXPECT_THROW(aFile.open(nullptr), EngineReport);
    EXPECT_THROW(aFile.open(&aFamily), EngineReport);
    EXPECT_THROW(aFile.read_header(), EngineReport);
    ByteSource aSource(kHead);
    aFamily.open(&aSource);
    EXPECT_THROW(aFile.open(&aFamily, {36}), EngineReport);
    EXPECT_EQ(aSource.GetReads(), 0);
}

/// The header boxes of a codestream, and its colours: component, entries and their bits.
struct ColourCase
{
    std::size_t itsComponents;
    Bytes itsPalette;
    Bytes itsMapping;
    Bytes itsDefinition;
    std::string itsColours; ///< or why there are none, or empty where the boxes change nothing
};

std::string Describe(const ColourCase& theCase)
{
    JP2Colours aColours;
    const Bytes aSecond = theCase.itsPalette.empty() ? Bytes() : Bytes{9, 9}; // is put aside
    for (const auto& [aType, aContents] :
         {std::pair(JP2BoxTypes::ComponentMapping, theCase.itsMapping),
          std::pair(JP2BoxTypes::Palette, theCase.itsPalette), std::pair(JP2BoxTypes::Palette, aSecond),
          std::pair(JP2BoxTypes::ChannelDefinition, theCase.itsDefinition)})
    {
        if (!aContents.empty())
        {
            aColours.Add(aType, aContents);
        }
    }
    RWCString aText;
    for (const JP2Channel& aChannel : aColours.GetChannels(theCase.itsComponents, aText))
    {
        aText += " " + std::to_string(aChannel.itsComponent);
        for (const std::uint16_t anEntry : aChannel.itsEntries)
        {
            aText += "," + std::to_string(anEntry);
        }
        aText += aChannel.itsBits == 0 ? "" : "/" + std::to_string(aChannel.itsBits);
    }
    return aText;
}

TEST(Jp2Source, ColoursAreWhatTheBoxesSayOrAFaultIsNamed)
{
    // Two entries of 8, 12 and 4 bits.
    const Bytes aPalette = {0, 2, 3, 7, 11, 3, 1, 0x0f, 0xed, 15, 2, 0, 0x30, 0x25};
    const Bytes aMapping = {0, 0, 1, 2, 0, 0, 1, 0, 0, 0, 1, 1};
    const Bytes aGrey = {0, 2, 1, 11, 0x0f, 0xed, 0xff, 0xff};
    const Bytes aReversal = {0, 3, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1};
    const Bytes anOpacity = {0, 4, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 2, 0, 0, 0, 2, 0, 3, 0, 0, 0, 3};
    const Bytes aGreyAndOpacity = {0, 2, 0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0};
    const Bytes aGap = {0, 6, 0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0, 0, 2, 0, 1, 0,
                        0, 0, 3, 0, 0, 0, 1, 0, 4, 0, 0, 0, 2, 0, 5, 0, 0, 0, 3};
    const std::string kSize = "the palette is not as long as its entries";
    const std::string kDepth = "the palette has entries that are signed or of more than 16 bits";
    const std::string kPair = "a palette and a mapping of components must be there together";
    const std::string kMapping = "the mapping ";
    const std::string kDefinition = "the definition of channels ";
    for (const ColourCase& aCase : std::initializer_list<ColourCase>{
             {3, {}, {}, {}, ""},
             {1, aPalette, aMapping, {}, " 0,255,255/8 0,1,2/8 0,254,3/8"},
             {1, aPalette, aMapping, aReversal, " 0,254,3/8 0,1,2/8 0,255,255/8"},
             {1, aGrey, {0, 0, 1, 0}, {}, " 0,4077,4095/12"},
             {2, aGrey, {0, 1, 1, 0, 0, 0, 0, 0}, aGreyAndOpacity, " 1,4077,4095/12"},
             {3, {}, {}, aReversal, " 2 1 0"},
             {4, {}, {}, anOpacity, " 1 2 3"},
             {2, {}, {}, {0, 2, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 1}, " 1"},
             {2, {}, {}, {0, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0}, " 0"},
             {1, {}, {}, {0, 1, 0, 0, 0, 0, 0, 1}, ""},
             {1, aPalette, {}, {}, kPair},
             {1, {}, aMapping, {}, kPair},
             {1, {0xff}, aMapping, {}, "the palette is too short"},
             {1, {0, 2, 3, 7, 7}, aMapping, {}, "the palette is too short"},
             {1, {0, 0, 1, 7}, aMapping, {}, "the palette has no valid size"},
             {1, {4, 1, 1, 7}, aMapping, {}, "the palette has no valid size"},
             {1, {0, 1, 0}, aMapping, {}, "the palette has no valid size"},
             {1, {0, 1, 1, 16, 0, 0, 0}, aMapping, {}, kDepth},
             {1, {0, 1, 1, 0x87, 0}, aMapping, {}, kDepth},
             {1, {0, 2, 1, 7, 0}, aMapping, {}, kSize},
             {1, {0, 2, 1, 7, 0, 0, 0}, aMapping, {}, kSize},
             {1, aPalette, {0, 0, 1}, {}, kMapping + "of components has no valid size"},
             {1, aPalette, Bytes(36), {}, kMapping + "of components has too many channels"},
             {1, aPalette, {0, 1, 1, 0}, {}, kMapping + "names a component that is not there"},
             {1, aPalette, {0, 0, 1, 3}, {}, kMapping + "names a column that is not there"},
             {1, aPalette, {0, 0, 2, 0}, {}, kMapping + "has an unknown type"},
             {1, aPalette, {0, 0, 1, 0, 0, 0, 1, 1}, {}, "there are neither one nor three colours"},
             {3, {}, {}, {0}, kDefinition + "is not as long as there are channels"},
             {3, {}, {}, {0, 1, 0, 0, 0, 0, 0, 1}, kDefinition + "is not as long as there are channels"},
             {3, {}, {}, Patch(aReversal, 3, {9}), kDefinition + "does not name each channel once"},
             {3, {}, {}, Patch(aReversal, 3, {1}), kDefinition + "does not name each channel once"},
             {3, {}, {}, Patch(aReversal, 7, {9}), kDefinition + "does not name each colour once"},
             {3, {}, {}, Patch(aReversal, 7, {0}), kDefinition + "does not name each colour once"},
             {3, {}, {}, Patch(aReversal, 7, {1}), kDefinition + "does not name each colour once"},
             {3, {}, {}, Patch(aReversal, 11, {1}), kDefinition + "leaves out a colour"},
             {3, {}, {}, Patch(Patch(aReversal, 5, {1}), 11, {1}), "one colour of three or more components"},
             {6, {}, {}, aGap, "a colour is in a component beyond the fourth"}})
    {
        EXPECT_EQ(Describe(aCase), aCase.itsColours);
    }
}

TEST(Jp2BoxTextualizer, PrintsTheTree)
{
    const Bytes aHeader =
        Box("jp2h", kImageHeader + Box("bpcc", {7, 0x8b}) + Box("colr", {1, 0, 0, 0, 0, 0, 18}) +
                        Box("colr", {2, 0, 0, 0, 0, 2, 1}) + Box("colr", {5, 0, 0, 0, 1, 0, 13, 0, 6, 0x80}) +
                        Box("pclr", {1, 0, 2, 7, 0x87, 1, 2}) + Box("cmap", {0, 0, 1, 2, 0, 1, 0, 0}) +
                        Box("cdef", {0, 1, 0, 2, 0, 1, 0, 3}) +
                        Box("res ", Box("resd", {0, 150, 0, 1, 0, 150, 0, 2, 2, 0xfe})));
    ByteSource aSource(
        kSignature + kFileType + Box("a\x1b\x80z", {1}) + aHeader + Stated({0, 0, 0, 0}, "jp2c", kStream), 5);
    const std::vector<std::string> anExpected = {
        "jP  : signature, 12 bytes at 0",
        "ftyp: file type, 24 bytes at 12: brand \"jp2 \", version 0, compatible with \"jp2 \" \"j.xb\"",
        "a..z: 9 bytes at 36",
        "jp2h: JP2 header, 161 bytes at 45",
        "  ihdr: image header, 22 bytes at 53: 5 x 3, 3 components, varying depth, compression 7, colour "
        "space "
        "known, with property rights",
        "  bpcc: bits per component, 10 bytes at 75: 8 bits unsigned, 12 bits signed",
        "  colr: colour specification, 15 bytes at 85: enumerated colour space 18 (sYCC)",
        "  colr: colour specification, 15 bytes at 100: restricted ICC profile of 513 bytes",
        "  colr: colour specification, 18 bytes at 115: parameters of ITU-T H.273: primaries 1, transfer 13, "
        "matrix 6, full range",
        "  pclr: palette, 15 bytes at 133: 256 entries, 2 columns: 8 bits unsigned, 8 bits signed",
        "  cmap: component mapping, 16 bytes at 148: component 0 by palette column 2, component 1 directly",
        "  cdef: channel definition, 16 bytes at 164: channel 2 of type 1 for 3",
        "  res : resolution, 26 bytes at 180",
        "    resd: display resolution, 18 bytes at 188: vertically 150/1 x 10^2, horizontally 150/2 x 10^-2 "
        "a metre",
        "jp2c: contiguous codestream, to the end of the file at 206"};
    EXPECT_EQ(jp2_box_textualizer::Textualize(aSource), anExpected);
}

TEST(Jp2BoxTextualizer, EndsWhereTheFileIsDamagedOrTooLong)
{
    using Case = std::tuple<const char*, Bytes, std::size_t, std::string>; // lines, and the last one
    Bytes aManyBoxes;
    for (int i = 0; i < 20; ++i)
    {
        aManyBoxes = aManyBoxes + Box("free", {});
    }
    for (const auto& [aName, aBytes, aCount, aLast] :
         {Case{"empty boxes", kSignature + Box("ihdr", {}) + Box("pclr", {}) + Box("cdef", {}), 4,
               "cdef: channel definition, 8 bytes at 28: "},
          Case{"cut", Bytes(kHead.begin(), kHead.end() - 1), 5,
               "damaged: the file ends inside a box (at byte 44 of the file)"},
          Case{"nested deeper than is looked at", Nested(9), 5, "        res : resolution, 62 bytes at 32"},
          Case{"too many", aManyBoxes, 11, "more boxes follow"}, Case{"nothing", {}, 0, ""}})
    {
        SCOPED_TRACE(aName);
        ByteSource aSource(aBytes);
        const std::vector<std::string> aLines = jp2_box_textualizer::Textualize(aSource, 10);
        ASSERT_EQ(aLines.size(), aCount);
        EXPECT_EQ(aLines.empty() ? "" : aLines.back(), aLast);
    }
}
} // namespace
