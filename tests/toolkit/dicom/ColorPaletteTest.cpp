// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ColorPalette.h"

#include <gtest/gtest.h>

#include "support/DataSet.h"

namespace
{
using Bytes = DataSet::Bytes;
using Entries = std::vector<std::uint16_t>;

constexpr DICOMTag kDescriptor = DICOMTags::RedPaletteColorLookupTableDescriptor;
constexpr DICOMTag kTable = DICOMTags::RedPaletteColorLookupTableData;
constexpr DICOMTag kSegments = DICOMTags::SegmentedRedPaletteColorLookupTableData;

ColorPalette Read(const DataSet& theSet, char theChannel = 'R')
{
    ColorPalette aPalette(theChannel, 0, 0, 8);
    aPalette.Init(theSet);
    return aPalette;
}

/// Name, place, descriptor and data of a table; its entries from the pixel value 0 on, none for a palette
/// that must not be valid.
using TableCase = std::tuple<const char*, DICOMTag, Entries, Bytes, Entries>;

const TableCase kCases[] = {
    {"words", kTable, {3, 0, 16}, Words({0x1234, 0, 0xfedc}), {0x1234, 0, 0xfedc, 0xfedc}},
    {"words and more", kTable, {2, 0, 16}, Words({1, 2, 3, 4}), {1, 2, 2}},
    {"word missing", kTable, {4, 0, 16}, Words({1, 2, 3}), {}},
    {"packed bytes", kTable, {4, 0, 8}, {0, 1, 0x80, 0xff}, {0, 0x101, 0x8080, 0xffff, 0xffff}},
    {"packed bytes with pad", kTable, {3, 0, 8}, {5, 6, 7, 0}, {0x505, 0x606, 0x707, 0x707}},
    {"packed byte missing", kTable, {5, 0, 8}, {1, 2, 3, 4}, {}},
    {"packed bytes too many", kTable, {4, 0, 8}, {1, 2, 3, 4, 5, 6}, {}},
    {"packed though 16 bits", kTable, {4, 0, 16}, {1, 2, 3, 4}, {0x101, 0x202, 0x303, 0x404}},
    {"8 bits in words", kTable, {3, 0, 8}, Words({0, 0x80, 0xff}), {0, 0x80, 0xff, 0xff}},
    {"8 bits in high bytes", kTable, {2, 0, 8}, Words({0x8000, 0xff00}), {0x8000, 0xff00, 0xff00}},
    {"12 bits", kTable, {2, 0, 12}, Words({1, 2}), {}},
    {"short descriptor", kTable, {2, 0}, Words({1, 2}), {}},
    {"no data", kTable, {2, 0, 16}, {}, {}},
    {"discrete", kSegments, {3, 0, 16}, Words({0, 2, 10, 20, 0, 1, 30}), {10, 20, 30, 30}},
    TableCase("linear up and down", kSegments, {9, 0, 16}, Words({0, 1, 100, 1, 4, 200, 1, 4, 0}),
              {100, 125, 150, 175, 200, 150, 100, 50, 0}),
    {"whole range", kSegments, {4, 0, 16}, Words({0, 1, 0, 1, 3, 0xffff}), {0, 21845, 43690, 65535}},
    {"linear rounds", kSegments, {4, 0, 16}, Words({0, 1, 0, 1, 3, 2}), {0, 1, 1, 2}},
    // The second pass of the copied line starts from where the first ended.
    {"indirect", kSegments, {8, 0, 16}, Words({0, 2, 7, 8, 1, 2, 0, 2, 2, 0, 0}), {7, 8, 4, 0, 7, 8, 4, 0}},
    {"indirect with high offset", kSegments, {3, 0, 16}, Words({0, 1, 7, 2, 1, 0, 1}), {}},
    {"indirect to odd offset", kSegments, {3, 0, 16}, Words({0, 2, 7, 7, 2, 1, 1, 0}), {}},
    {"indirect to itself", kSegments, {3, 0, 16}, Words({0, 1, 7, 2, 1, 6, 0}), {}},
    {"indirect of nothing", kSegments, {4, 0, 16}, Words({0, 1, 7, 2, 0, 0, 0, 0, 3, 1, 2, 3}), {}},
    TableCase("8 bits", kSegments, {6, 0, 8}, {0, 2, 0, 10, 1, 2, 20, 2, 1, 0, 0, 0, 0},
              {0, 0xa0a, 0xf0f, 0x1414, 0, 0xa0a}),
    {"8 bits with pad", kSegments, {2, 0, 8}, {0, 2, 3, 4, 0}, {0x303, 0x404, 0x404}},
    {"more than declared", kSegments, {2, 0, 16}, Words({0, 3, 1, 2, 3, 1, 60000, 4}), {1, 2, 2}},
    {"less than declared", kSegments, {4, 0, 16}, Words({0, 3, 1, 2, 3}), {}},
    {"discrete past the end", kSegments, {9, 0, 16}, Words({0, 9, 1, 2}), {}},
    {"linear first", kSegments, {4, 0, 16}, Words({1, 4, 100}), {}},
    {"no length", kSegments, {4, 0, 16}, Words({0, 0, 1, 0, 5, 0, 4, 1, 2, 3, 4}), {}},
    {"unknown opcode", kSegments, {2, 0, 16}, Words({3, 1, 5, 0, 2, 1, 2}), {}},
};

TEST(ColorPalette, EveryChannelReadsItsOwnTableOrSegments)
{
    for (const auto& [aName, aPlace, aDescription, aData, anExpected] : kCases)
    {
        for (std::uint16_t aChannel = 0; aChannel < 3; ++aChannel)
        {
            SCOPED_TRACE(aName);
            DICOMTag aDescriptor = kDescriptor, aTag = aPlace;
            aDescriptor.itsElement = static_cast<std::uint16_t>(aDescriptor.itsElement + aChannel);
            aTag.itsElement = static_cast<std::uint16_t>(aTag.itsElement + aChannel);
            DataSet aSet;
            aSet.SetNumbers(aDescriptor, aDescription).SetBytes(aTag, aData);
            const ColorPalette aPalette = Read(aSet, "RGB"[aChannel]);
            EXPECT_FALSE(Read(aSet, "GBR"[aChannel]).IsValid());
            EXPECT_EQ(aPalette.IsValid(), !anExpected.empty());
            EXPECT_EQ(aPalette.isBitsEncodedBitsDiffers(), aName == std::string("8 bits in words"));
            Entries anEntries;
            while (anEntries.size() < anExpected.size())
            {
                anEntries.push_back(aPalette.MapUnsignedPixel(static_cast<std::uint16_t>(anEntries.size())));
            }
            EXPECT_EQ(anEntries, anExpected);
            EXPECT_TRUE(aPalette.IsValid() || aPalette.MapUnsignedPixel(0) == 0);
        }
    }
}

TEST(ColorPalette, ZeroEntriesAre65536)
{
    Bytes aTable(2 * 65536);
    aTable[2 * 65535] = 77;
    DataSet aSet;
    EXPECT_EQ(Read(aSet.SetNumbers(kDescriptor, {0, 0, 16}).SetBytes(kTable, aTable)).MapUnsignedPixel(65535),
              77);
    aTable.resize(2 * 65535);
    EXPECT_FALSE(Read(aSet.SetBytes(kTable, aTable)).IsValid());
}

// 65535 copies of a segment by a few bytes: work and memory end with the declared entries.
TEST(ColorPalette, IndirectSegmentsCannotGrowATableWithoutEnd)
{
    std::vector<int> aSegments = {0, 1, 5};
    for (int aCopy = 0; aCopy < 30000; ++aCopy)
    {
        aSegments.insert(aSegments.end(), {2, 0xffff, 0, 0});
    }
    DataSet aSet;
    aSet.SetNumbers(kDescriptor, {0, 0, 16}).SetBytes(kSegments, Words(aSegments));
    EXPECT_FALSE(Read(aSet).IsValid()) << "the second copied segment is indirect";
}
} // namespace
