// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <string>

#include "support/DataSet.h"
#include "support/FailureOf.h"
#include "support/ImageMaker.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// The attributes of one channel's palette: number of entries, first mapped value, bits and the data.
void AddPalette(DataSet& theSet, std::size_t theChannel, const std::vector<std::uint16_t>& theDescriptor,
                const Bytes& theData)
{
    const auto aChannel = static_cast<std::uint16_t>(theChannel);
    theSet.SetNumbers({0x0028, static_cast<std::uint16_t>(0x1101 + aChannel)}, theDescriptor);
    theSet.SetBytes({0x0028, static_cast<std::uint16_t>(0x1201 + aChannel)}, theData);
}

std::string FailureOfConversion(DataSet& theSet, Renderable& theImage)
{
    return FailureOf<DLRuntimeException>(
        [&] { DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(theSet, theImage); });
}

const std::vector<Bytes> kRising = {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}),
                                    Words({0x0700, 0x0800, 0x0900})};

/// theDescriptor: of all three channels. theData: of red, green and blue.
void ExpectPixels(const char* theName, const ImageSpec& theSpec, const Bytes& theIndices,
                  const std::vector<std::uint16_t>& theDescriptor, const Bytes& theExpected,
                  const std::vector<Bytes>& theData = kRising)
{
    SCOPED_TRACE(theName);
    DataSet aSet;
    aSet.SetNumbers(DICOMTags::PixelRepresentation, {static_cast<std::uint16_t>(theSpec.itsSigned)});
    for (std::size_t aChannel = 0; aChannel < 3; ++aChannel)
    {
        AddPalette(aSet, aChannel, theDescriptor, theData[aChannel]);
    }
    // The second frame takes the palettes from memory.
    for (int aFrame = 0; aFrame < 2; ++aFrame)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, theSpec, theIndices);
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aSet, *anImage);
        EXPECT_EQ(GetPixels(*anImage), theExpected);
        EXPECT_EQ(Describe(*anImage), "RGB 1 x " + std::to_string(theSpec.itsColumns) + " x 3, 8/8/7" +
                                          (theSpec.itsLittleEndian ? "" : " big-endian") +
                                          ", scale 1, ratio 1");
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
        EXPECT_FALSE(aSet.Contains(DICOMTags::RedPaletteColorLookupTableDescriptor));
    }
}

constexpr auto k = Renderable::PALETTE_COLOR;
} // namespace

TEST(PaletteConversion, MapsIndicesThroughThePalettes)
{
    ExpectPixels(
        "high bytes of 16-bit entries; indices past either end take the nearest entry", {k, 1, 8, 1, 4},
        {9, 10, 12, 255}, {3, 10, 16}, {0x11, 1, 0xff, 0x11, 1, 0xff, 0x55, 3, 0xfd, 0x55, 3, 0xfd},
        {Words({0x1122, 0x3344, 0x5566}), Words({0x0180, 0x0280, 0x0380}), Words({0xff00, 0xfe00, 0xfd00})});
    ExpectPixels("8-bit entries in bytes", {k, 1, 8, 1, 3}, {0, 1, 3}, {4, 0, 8},
                 {10, 20, 30, 11, 21, 31, 13, 23, 33},
                 {{10, 11, 12, 13}, {20, 21, 22, 23}, {30, 31, 32, 33}});
    ExpectPixels("8-bit entries in words", {k, 1, 8, 1, 3}, {2, 1, 0}, {3, 0, 8},
                 {3, 6, 255, 2, 5, 8, 1, 4, 7}, {Words({1, 2, 3}), Words({4, 5, 6}), Words({7, 8, 255})});
    ExpectPixels("16-bit indices", {k, 1, 16, 1, 3}, Words({300, 301, 65535}), {3, 300, 16},
                 {1, 4, 7, 2, 5, 8, 3, 6, 9});
    ExpectPixels("a first value past 32767", {k, 1, 16, 1, 3}, Words({0, 0xfffe, 0xffff}), {3, 0xfffe, 16},
                 {1, 4, 7, 1, 4, 7, 2, 5, 8});
    ExpectPixels("big-endian indices", {k, 1, 16, 1, 2, false, false, false}, Words({300, 302}, false),
                 {3, 300, 16}, {1, 4, 7, 3, 6, 9});
    ExpectPixels("signed 8-bit indices", {k, 1, 8, 1, 4, false, true}, {0x80, 0xff, 0, 1}, {3, 0xffff, 16},
                 {1, 4, 7, 1, 4, 7, 2, 5, 8, 3, 6, 9});
    ExpectPixels("signed 16-bit indices", {k, 1, 16, 1, 3, false, true}, Words({-2000, -999, 32767}),
                 {3, 0xfc18, 16}, {1, 4, 7, 2, 5, 8, 3, 6, 9});
}

// The first channel at fault is named; the image is described as RGB by then, and nothing of what its
// new buffer held before comes out.
TEST(PaletteConversion, FaultyPalettesAreNamedAndNothingLeaks)
{
    // Of each channel: a right palette, one that is not valid, or none.
    const std::pair<std::string, const char*> kFaults[] = {
        {"-++", "Red palette is null (unavailable)"},  {"+-+", "Green palette is null (unavailable)"},
        {"++-", "Blue palette is null (unavailable)"}, {"---", "Red palette is null (unavailable)"},
        {"x++", "Red palette is not valid"},           {"+xx", "Green palette is not valid"},
        {"++x", "Blue palette is not valid"},          {"+x-", "Green palette is not valid"}};
    for (const auto& [aChannels, aText] : kFaults)
    {
        DataSet aSet;
        std::unique_ptr<ColorPalette> aPalettes[3];
        for (std::size_t c = 0; c < 3; ++c)
        {
            AddPalette(aSet, c, {std::uint16_t(aChannels[c] == 'x' ? 9 : 2), 0, 16}, Words({1, 2}));
            if (aChannels[c] != '-')
            {
                aPalettes[c] = std::make_unique<ColorPalette>("RGB"[c], 0, 0, 8);
                aPalettes[c]->Init(aSet);
            }
        }
        aSet.SetRedColorPalette(std::move(aPalettes[0]));
        aSet.SetGreenColorPalette(std::move(aPalettes[1]));
        aSet.SetBlueColorPalette(std::move(aPalettes[2]));
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {k, 1, 16, 1, 2}, Words({0, 1}));
        EXPECT_EQ(FailureOfConversion(aSet, *anImage),
                  std::string("DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB: ") + aText);
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
        DataSet aSet;
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {k, 1, aBits, 1, 2}, Bytes(8));
        EXPECT_NE(FailureOfConversion(aSet, *anImage), "(nothing)");
        EXPECT_EQ(anImage->getPixelData(), nullptr);
        EXPECT_EQ(anImage->getPixelDataSize(), 0u);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), k);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u);
    }
}
