// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ColorPalette.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
using Words = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;

Bytes AsBytes(const Words& theWords)
{
    Bytes aBytes;
    for (const std::uint16_t aWord : theWords)
    {
        aBytes.push_back(static_cast<std::uint8_t>(aWord));
        aBytes.push_back(static_cast<std::uint8_t>(aWord >> 8));
    }
    return aBytes;
}

class PaletteSource
{
public:
    PaletteSource& AddWords(DICOMTag theTag, const Words& theWords)
    {
        itsDataSet.ReplaceVR(itsFactory.CreateUnsignedShorts(theTag, theWords));
        return *this;
    }
    PaletteSource& AddBytes(DICOMTag theTag, const Bytes& theBytes)
    {
        itsDataSet.ReplaceVR(itsFactory.CreateBytes(theTag, VR::TYPE_OW, theBytes));
        return *this;
    }
    ColorPalette Read(char theChannel = 'R') const
    {
        ColorPalette aPalette(theChannel, 0, 0, 8);
        aPalette.Init(itsDataSet);
        return aPalette;
    }

private:
    DICOMDataObject itsDataSet;
    MVRFactory itsFactory{itsDataSet.GetDataDictionary(), itsDataSet.GetEndian(),
                          VR::GetDefaultMemoryAllocater()};
};

Words Entries(const ColorPalette& thePalette, std::size_t theCount)
{
    Words anEntries;
    for (std::size_t anIndex = 0; anIndex < theCount; ++anIndex)
    {
        anEntries.push_back(thePalette.MapUnsignedPixel(static_cast<std::uint16_t>(anIndex)));
    }
    return anEntries;
}

struct TableCase
{
    const char* itsName;
    Words itsDescriptor;
    Bytes itsData;
    Words itsEntries; ///< from the pixel value 0 on; empty for a palette that must not be valid
    bool itsDiffers = false;
};

class ColorPaletteTables : public testing::TestWithParam<TableCase>
{
};

class ColorPaletteSegments : public testing::TestWithParam<TableCase>
{
};

void ExpectTable(const TableCase& theCase, DICOMTag theDataTag)
{
    PaletteSource aSource;
    aSource.AddWords(DICOMTags::RedPaletteColorLookupTableDescriptor, theCase.itsDescriptor)
        .AddBytes(theDataTag, theCase.itsData);
    const ColorPalette aPalette = aSource.Read();
    EXPECT_EQ(aPalette.IsValid(), !theCase.itsEntries.empty());
    EXPECT_EQ(aPalette.isBitsEncodedBitsDiffers(), theCase.itsDiffers);
    EXPECT_EQ(Entries(aPalette, theCase.itsEntries.size()), theCase.itsEntries);
    if (theCase.itsEntries.empty())
    {
        EXPECT_EQ(aPalette.MapUnsignedPixel(0), 0);
    }
}

TEST_P(ColorPaletteTables, AreToldApartByTheirLength)
{
    ExpectTable(GetParam(), DICOMTags::RedPaletteColorLookupTableData);
}

INSTANTIATE_TEST_SUITE_P(
    Widths, ColorPaletteTables,
    testing::Values(
        TableCase{"Words", {3, 0, 16}, AsBytes({0x1234, 0, 0xfedc}), {0x1234, 0, 0xfedc, 0xfedc}},
        TableCase{"WordsAndMore", {2, 0, 16}, AsBytes({1, 2, 3, 4}), {1, 2, 2}},
        TableCase{"WordMissing", {4, 0, 16}, AsBytes({1, 2, 3}), {}},
        TableCase{"PackedBytes", {4, 0, 8}, {0, 1, 0x80, 0xff}, {0, 0x101, 0x8080, 0xffff, 0xffff}},
        TableCase{"PackedBytesWithPad", {3, 0, 8}, {5, 6, 7, 0}, {0x505, 0x606, 0x707, 0x707}},
        TableCase{"PackedByteMissing", {5, 0, 8}, {1, 2, 3, 4}, {}},
        TableCase{"PackedBytesTooMany", {4, 0, 8}, {1, 2, 3, 4, 5, 6}, {}},
        TableCase{"PackedThoughSixteenBits", {4, 0, 16}, {1, 2, 3, 4}, {0x101, 0x202, 0x303, 0x404}},
        TableCase{"EightBitsInWords", {3, 0, 8}, AsBytes({0, 0x80, 0xff}), {0, 0x80, 0xff, 0xff}, true},
        TableCase{
            "EightBitsInHighBytes", {3, 0, 8}, AsBytes({0, 0x8000, 0xff00}), {0, 0x8000, 0xff00, 0xff00}},
        TableCase{"TwelveBits", {2, 0, 12}, AsBytes({1, 2}), {}},
        TableCase{"ShortDescriptor", {2, 0}, AsBytes({1, 2}), {}}, TableCase{"NoData", {2, 0, 16}, {}, {}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST_P(ColorPaletteSegments, AreExpanded)
{
    ExpectTable(GetParam(), DICOMTags::SegmentedRedPaletteColorLookupTableData);
}

INSTANTIATE_TEST_SUITE_P(
    Segments, ColorPaletteSegments,
    testing::Values(
        TableCase{"Discrete", {3, 0, 16}, AsBytes({0, 2, 10, 20, 0, 1, 30}), {10, 20, 30, 30}},
        TableCase{"LinearUpAndDown",
                  {9, 0, 16},
                  AsBytes({0, 1, 100, 1, 4, 200, 1, 4, 0}),
                  {100, 125, 150, 175, 200, 150, 100, 50, 0}},
        TableCase{"LinearOverTheWholeRange",
                  {5, 0, 16},
                  AsBytes({0, 1, 0, 1, 4, 0xffff}),
                  {0, 16384, 32768, 49151, 65535}},
        TableCase{"LinearRounds", {4, 0, 16}, AsBytes({0, 1, 0, 1, 3, 2}), {0, 1, 1, 2}},
        // The second pass of the copied line starts from where the first ended.
        TableCase{
            "Indirect", {8, 0, 16}, AsBytes({0, 2, 7, 8, 1, 2, 0, 2, 2, 0, 0}), {7, 8, 4, 0, 7, 8, 4, 0}},
        TableCase{"IndirectWithHighOffset", {3, 0, 16}, AsBytes({0, 1, 7, 2, 1, 0, 1}), {}},
        TableCase{"IndirectToOddOffset", {3, 0, 16}, AsBytes({0, 2, 7, 7, 2, 1, 1, 0}), {}},
        TableCase{"IndirectToItself", {3, 0, 16}, AsBytes({0, 1, 7, 2, 1, 6, 0}), {}},
        TableCase{"EightBits",
                  {6, 0, 8},
                  {0, 2, 0, 10, 1, 2, 20, 2, 1, 0, 0, 0, 0},
                  {0, 0xa0a, 0xf0f, 0x1414, 0, 0xa0a}},
        TableCase{"EightBitsWithPad", {2, 0, 8}, {0, 2, 3, 4, 0}, {0x303, 0x404, 0x404}},
        TableCase{"MoreThanDeclared", {2, 0, 16}, AsBytes({0, 3, 1, 2, 3, 1, 60000, 4}), {1, 2, 2}},
        TableCase{"LessThanDeclared", {4, 0, 16}, AsBytes({0, 3, 1, 2, 3}), {}},
        TableCase{"DiscretePastTheEnd", {9, 0, 16}, AsBytes({0, 9, 1, 2}), {}},
        TableCase{"LinearFirst", {4, 0, 16}, AsBytes({1, 4, 100}), {}},
        TableCase{"NoLength", {4, 0, 16}, AsBytes({0, 0, 1, 0, 5, 0, 4, 1, 2, 3, 4}), {}},
        TableCase{"IndirectOfNothing", {4, 0, 16}, AsBytes({0, 1, 7, 2, 0, 0, 0, 0, 3, 1, 2, 3}), {}},
        TableCase{"UnknownOpcode", {2, 0, 16}, AsBytes({3, 1, 5, 0, 2, 1, 2}), {}}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

TEST(ColorPalette, ZeroEntriesAre65536)
{
    Words aTable(65536);
    aTable[65535] = 77;
    PaletteSource aSource;
    aSource.AddWords(DICOMTags::RedPaletteColorLookupTableDescriptor, {0, 0, 16})
        .AddBytes(DICOMTags::RedPaletteColorLookupTableData, AsBytes(aTable));
    EXPECT_EQ(aSource.Read().MapUnsignedPixel(65535), 77);
    aTable.pop_back();
    EXPECT_FALSE(
        aSource.AddBytes(DICOMTags::RedPaletteColorLookupTableData, AsBytes(aTable)).Read().IsValid());
}

// The first mapped value has the sign of the pixels; a value past either end gets that end's entry.
TEST(ColorPalette, ClampsToTheTableFromASignedOrUnsignedFirstValue)
{
    PaletteSource aSource;
    aSource.AddWords(DICOMTags::RedPaletteColorLookupTableDescriptor, {2, 0xfffe, 16})
        .AddBytes(DICOMTags::RedPaletteColorLookupTableData, AsBytes({11, 22}));
    const ColorPalette anUnsigned = aSource.Read();
    EXPECT_EQ(anUnsigned.MapUnsignedPixel(0), 11);
    EXPECT_EQ(anUnsigned.MapUnsignedPixel(0xfffe), 11);
    EXPECT_EQ(anUnsigned.MapUnsignedPixel(0xffff), 22);
    const ColorPalette aSigned = aSource.AddWords(DICOMTags::PixelRepresentation, Words{1}).Read();
    EXPECT_EQ(aSigned.MapSignedPixel(-32768), 11);
    EXPECT_EQ(aSigned.MapSignedPixel(-2), 11);
    EXPECT_EQ(aSigned.MapSignedPixel(-1), 22);
    EXPECT_EQ(aSigned.MapSignedPixel(32767), 22);
}

TEST(ColorPalette, EveryChannelReadsItsOwnTable)
{
    PaletteSource aSource;
    aSource.AddWords(DICOMTags::RedPaletteColorLookupTableDescriptor, {1, 0, 16})
        .AddBytes(DICOMTags::RedPaletteColorLookupTableData, AsBytes({1}))
        .AddWords(DICOMTags::GreenPaletteColorLookupTableDescriptor, {1, 0, 16})
        .AddBytes(DICOMTags::SegmentedGreenPaletteColorLookupTableData, AsBytes({0, 1, 2}))
        .AddBytes(DICOMTags::BluePaletteColorLookupTableData, AsBytes({3}));
    EXPECT_EQ(aSource.Read('R').MapUnsignedPixel(0), 1);
    EXPECT_EQ(aSource.Read('G').MapUnsignedPixel(0), 2);
    EXPECT_FALSE(aSource.Read('B').IsValid()) << "there is no descriptor";
}

// 65535 copies of a segment by a few bytes: work and memory end with the declared entries.
TEST(ColorPalette, IndirectSegmentsCannotGrowATableWithoutEnd)
{
    Words aSegments = {0, 1, 5};
    for (int aCopy = 0; aCopy < 30000; ++aCopy)
    {
        aSegments.insert(aSegments.end(), {2, 0xffff, 0, 0});
    }
    PaletteSource aSource;
    aSource.AddWords(DICOMTags::RedPaletteColorLookupTableDescriptor, {0, 0, 16})
        .AddBytes(DICOMTags::SegmentedRedPaletteColorLookupTableData, AsBytes(aSegments));
    EXPECT_FALSE(aSource.Read().IsValid()) << "the second copied segment is indirect";
}

TEST(ColorPalette, ReadsRealTables)
{
    const std::filesystem::path aFolder = std::filesystem::path(QUORIX_SAMPLES_DIR) / "dicom";
    if (!std::filesystem::exists(aFolder))
    {
        GTEST_SKIP() << "no sample images at " << aFolder;
    }
    for (const char* aName : {"examples_palette.dcm", "gdcm-US-ALOKA-16_big.dcm", "OT-PAL-8-face.dcm",
                              "OBXXXX1A_rle_2frame.dcm", "gen_be_8bit_ow_mono.dcm"})
    {
        DICOMDataObject aDataSet;
        DLResultCode aResultCode = DLRC_SUCCESS;
        int aSystemErrorCode = 0;
        ASSERT_TRUE(aDataSet.LoadFromFile((aFolder / aName).string(), aResultCode, aSystemErrorCode,
                                          DICOMTags::PixelData));
        for (const char aChannel : {'R', 'G', 'B'})
        {
            ColorPalette aPalette(aChannel, 0, 0, 8);
            aPalette.Init(aDataSet);
            EXPECT_TRUE(aPalette.IsValid()) << aName << ' ' << aChannel;
            EXPECT_FALSE(aPalette.isBitsEncodedBitsDiffers()) << aName << ' ' << aChannel;
        }
    }
}
} // namespace
