// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <string>

#include "pixels/ImageMaker.h"
#include "toolkit/base/DLRuntimeException.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
constexpr int kRed = 0, kGreen = 1, kBlue = 2;

DICOMTag GetChannelTag(DICOMTag theRedTag, int theChannel)
{
    return {theRedTag.itsGroup, static_cast<std::uint16_t>(theRedTag.itsElement + theChannel)};
}

/// The attributes of one channel's palette: number of entries, first mapped value, bits and the data.
void AddPalette(DICOMDataObject& theDataSet, int theChannel, std::uint16_t theEntries, std::uint16_t theFirst,
                std::uint16_t theBits, const Bytes& theData)
{
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theDataSet.ReplaceVR(aFactory.CreateUnsignedShorts(
        GetChannelTag(DICOMTags::RedPaletteColorLookupTableDescriptor, theChannel),
        {theEntries, theFirst, theBits}));
    theDataSet.ReplaceVR(aFactory.CreateBytes(
        GetChannelTag(DICOMTags::RedPaletteColorLookupTableData, theChannel), VR::TYPE_OW, theData));
}

void SetPixelRepresentation(DICOMDataObject& theDataSet, bool theSigned)
{
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theDataSet.ReplaceVR(aFactory.CreateUnsignedShort(DICOMTags::PixelRepresentation, theSigned ? 1 : 0));
}

struct PaletteRow
{
    const char* itsName;
    ImageSpec itsSpec;
    Bytes itsIndices;
    int itsFirst;
    int itsBits;
    Bytes itsData[3];
    Bytes itsExpected;
};

const PaletteRow kRows[] = {
    {"16-bit entries give their high byte, indices past either end the nearest entry",
     {Renderable::PALETTE_COLOR, 1, 8, 1, 4},
     {9, 10, 12, 255},
     10,
     16,
     {Words({0x1122, 0x3344, 0x5566}), Words({0x0180, 0x0280, 0x0380}), Words({0xff00, 0xfe00, 0xfd00})},
     {0x11, 1, 0xff, 0x11, 1, 0xff, 0x55, 3, 0xfd, 0x55, 3, 0xfd}},
    {"8-bit entries in bytes",
     {Renderable::PALETTE_COLOR, 1, 8, 1, 3},
     {0, 1, 3},
     0,
     8,
     {{10, 11, 12, 13}, {20, 21, 22, 23}, {30, 31, 32, 33}},
     {10, 20, 30, 11, 21, 31, 13, 23, 33}},
    {"8-bit entries in words",
     {Renderable::PALETTE_COLOR, 1, 8, 1, 3},
     {2, 1, 0},
     0,
     8,
     {Words({1, 2, 3}), Words({4, 5, 6}), Words({7, 8, 255})},
     {3, 6, 255, 2, 5, 8, 1, 4, 7}},
    {"16-bit indices",
     {Renderable::PALETTE_COLOR, 1, 16, 1, 3},
     Words({300, 301, 65535}),
     300,
     16,
     {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}), Words({0x0700, 0x0800, 0x0900})},
     {1, 4, 7, 2, 5, 8, 3, 6, 9}},
    {"16-bit indices, big-endian",
     {Renderable::PALETTE_COLOR, 1, 16, 1, 2, false, false, false},
     Words({300, 302}, false),
     300,
     16,
     {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}), Words({0x0700, 0x0800, 0x0900})},
     {1, 4, 7, 3, 6, 9}},
    {"signed 8-bit indices",
     {Renderable::PALETTE_COLOR, 1, 8, 1, 4, false, true},
     {0x80, 0xff, 0, 1},
     -1,
     16,
     {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}), Words({0x0700, 0x0800, 0x0900})},
     {1, 4, 7, 1, 4, 7, 2, 5, 8, 3, 6, 9}},
    {"signed 16-bit indices",
     {Renderable::PALETTE_COLOR, 1, 16, 1, 3, false, true},
     Words({-2000, -999, 32767}),
     -1000,
     16,
     {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}), Words({0x0700, 0x0800, 0x0900})},
     {1, 4, 7, 2, 5, 8, 3, 6, 9}},
};
} // namespace

TEST(PaletteConversion, MapsIndicesThroughThePalettes)
{
    for (const PaletteRow& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        DICOMDataObject aDataSet;
        SetPixelRepresentation(aDataSet, aRow.itsSpec.itsSigned);
        for (int aChannel : {kRed, kGreen, kBlue})
        {
            const std::size_t aWidth = aRow.itsName == std::string("8-bit entries in bytes") ? 1 : 2;
            AddPalette(aDataSet, aChannel, static_cast<std::uint16_t>(aRow.itsData[aChannel].size() / aWidth),
                       static_cast<std::uint16_t>(aRow.itsFirst), static_cast<std::uint16_t>(aRow.itsBits),
                       aRow.itsData[aChannel]);
        }
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aRow.itsSpec, aRow.itsIndices);
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aDataSet, *anImage);
        EXPECT_EQ(GetPixels(*anImage), aRow.itsExpected);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_EQ(anImage->getSamplesPerPixel(), 3);
        EXPECT_EQ(anImage->getBitsAllocated(), 8);
        EXPECT_EQ(anImage->getBitsStored(), 8);
        EXPECT_EQ(anImage->getHighBit(), 7);
        EXPECT_FALSE(anImage->isSigned());
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

TEST(PaletteConversion, PalettesInMemoryServeTheNextFrame)
{
    DICOMDataObject aDataSet;
    for (int aChannel : {kRed, kGreen, kBlue})
    {
        AddPalette(aDataSet, aChannel, 2, 0, 16, Words({0x0100 * (aChannel + 1), 0x1000 * (aChannel + 1)}));
    }
    for (int aFrame = 0; aFrame < 2; ++aFrame)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {Renderable::PALETTE_COLOR, 1, 8, 1, 2}, {1, 0});
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aDataSet, *anImage);
        EXPECT_EQ(GetPixels(*anImage), (Bytes{0x10, 0x20, 0x30, 1, 2, 3}));
    }
    EXPECT_FALSE(aDataSet.Contains(DICOMTags::RedPaletteColorLookupTableDescriptor));
}

// The first channel at fault is named; the image is described as RGB by then, and nothing of what its
// new buffer held before comes out.
TEST(PaletteConversion, FaultyPalettesAreNamedAndNothingLeaks)
{
    struct Row
    {
        bool itsPresent[3];
        bool itsValid[3];
        const char* itsText;
    };
    const Row kFaults[] = {
        {{false, true, true}, {true, true, true}, "Red palette is null (unavailable)"},
        {{true, false, true}, {true, true, true}, "Green palette is null (unavailable)"},
        {{true, true, false}, {true, true, true}, "Blue palette is null (unavailable)"},
        {{false, false, false}, {true, true, true}, "Red palette is null (unavailable)"},
        {{true, true, true}, {false, true, true}, "Red palette is not valid"},
        {{true, true, true}, {true, false, false}, "Green palette is not valid"},
        {{true, true, true}, {true, true, false}, "Blue palette is not valid"},
        {{true, true, false}, {true, false, true}, "Green palette is not valid"},
    };
    for (const Row& aRow : kFaults)
    {
        SCOPED_TRACE(aRow.itsText);
        DICOMDataObject aDataSet;
        std::unique_ptr<ColorPalette> aPalettes[3];
        for (int c = 0; c < 3; ++c)
        {
            if (aRow.itsValid[c])
            {
                AddPalette(aDataSet, c, 2, 0, 16, Words({1, 2}));
            }
            aPalettes[c] = std::make_unique<ColorPalette>("RGB"[c], 0, 0, 8);
            aPalettes[c]->Init(aDataSet);
            ASSERT_EQ(aPalettes[c]->IsValid(), aRow.itsValid[c]);
        }
        aDataSet.SetRedColorPalette(aRow.itsPresent[0] ? std::move(aPalettes[0]) : nullptr);
        aDataSet.SetGreenColorPalette(aRow.itsPresent[1] ? std::move(aPalettes[1]) : nullptr);
        aDataSet.SetBlueColorPalette(aRow.itsPresent[2] ? std::move(aPalettes[2]) : nullptr);

        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {Renderable::PALETTE_COLOR, 1, 16, 1, 2}, Words({0, 1}));
        try
        {
            DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(aDataSet, *anImage);
            ADD_FAILURE() << "no exception";
        }
        catch (const DLRuntimeException& anException)
        {
            EXPECT_EQ(anException.GetMessageText(),
                      std::string("DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB: ") +
                          aRow.itsText);
        }
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_EQ(GetPixels(*anImage), Bytes(6, 0));
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

// Palettes of an image that is none are not asked for: the fault is the width, and the indices are gone.
TEST(PaletteConversion, UnsupportedWidthsReleaseTheIndices)
{
    for (const int aBits : {12, 32})
    {
        DICOMDataObject aDataSet;
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {Renderable::PALETTE_COLOR, 1, aBits, 1, 2}, Bytes(8));
        EXPECT_THROW(DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(aDataSet, *anImage),
                     DLRuntimeException);
        EXPECT_EQ(anImage->getPixelData(), nullptr);
        EXPECT_EQ(anImage->getPixelDataSize(), 0u);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::PALETTE_COLOR);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u);
    }
}
