// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <array>

#include "support/DataSet.h"

namespace
{
using Tags = std::vector<DICOMTag>;

constexpr std::uint16_t kPaletteElements[] = {0x1101, 0x1102, 0x1103, 0x1201, 0x1202, 0x1203,
                                              0x1221, 0x1222, 0x1223, 0x1199, 0x1111, 0x1112,
                                              0x1113, 0x1211, 0x1212, 0x1213, 0x1214};

/// Every palette attribute there is. theEntries: what the descriptors of red, green and blue declare; the
/// data has two.
void AddPaletteAttributes(DataSet& theSet, const std::array<std::uint16_t, 3>& theEntries)
{
    for (const std::uint16_t anElement : kPaletteElements)
    {
        theSet.SetNumbers({0x0028, anElement}, {1});
    }
    for (std::uint16_t c = 0; c < 3; ++c)
    {
        theSet.SetNumbers({0x0028, static_cast<std::uint16_t>(0x1101 + c)}, {theEntries[c], 0, 16});
        theSet.SetBytes({0x0028, static_cast<std::uint16_t>(0x1201 + c)},
                        Words({256 + 256 * c, 256 + 256 * c}));
    }
}
} // namespace

// A palette that declares more entries than its data has is malformed; the others are kept.
TEST(PaletteCapture, KeepsWhatMakesSenseAndRemovesAllAttributes)
{
    using Entries = std::array<std::uint16_t, 3>;
    for (const Entries& anEntries : {Entries{2, 2, 2}, {9, 2, 2}, {2, 9, 2}, {2, 2, 9}})
    {
        DataSet aSet;
        aSet.SetNumbers(DICOMTags::Rows, {7});
        AddPaletteAttributes(aSet, anEntries);
        ASSERT_EQ(aSet.GetTags().size(), 18u);
        DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(aSet);
        const ColorPalette* const aPalettes[] = {aSet.GetRedColorPalette(), aSet.GetGreenColorPalette(),
                                                 aSet.GetBlueColorPalette()};
        for (std::size_t c = 0; c < 3; ++c)
        {
            ASSERT_EQ(aPalettes[c] != nullptr, anEntries[c] == 2);
            EXPECT_TRUE(aPalettes[c] == nullptr || aPalettes[c]->MapUnsignedPixel(1) == 256 * (c + 1))
                << "channels are mixed up";
        }
        EXPECT_EQ(aSet.GetTags(), Tags{DICOMTags::Rows});
    }
}

TEST(PaletteCapture, WithoutAttributesThePalettesBecomeNullAndNothingElseChanges)
{
    DataSet aSet;
    aSet.SetNumbers(DICOMTags::Rows, {7});
    aSet.SetGreenColorPalette(std::make_unique<ColorPalette>('G', 0, 0, 8));
    DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(aSet);
    EXPECT_EQ(aSet.GetRedColorPalette(), nullptr);
    EXPECT_EQ(aSet.GetGreenColorPalette(), nullptr);
    EXPECT_EQ(aSet.GetBlueColorPalette(), nullptr);
    EXPECT_EQ(aSet.GetTags(), Tags{DICOMTags::Rows});
}

TEST(MarkReconstituted, LeavesOneMarkInPlaceOfAnyOther)
{
    for (const auto anEndian : {DLEndian::LITTLE_ENDIAN_ORDER, DLEndian::BIG_ENDIAN_ORDER})
    {
        DataSet aSet(anEndian);
        aSet.SetPrivate("ReconstImageFlag", 0);
        for (int aTime = 0; aTime < 2; ++aTime)
        {
            DecompressionLibUtils::MarkReconstituted(&aSet);
            EXPECT_EQ(aSet.GetTags().size(), 2u) << "the creator and the mark";
            EXPECT_EQ(aSet.PrivateNumber("ReconstImageFlag"), 1);
        }
    }
}
