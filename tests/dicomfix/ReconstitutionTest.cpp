// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "dicomfix/DataSetMaker.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

const DICOMTag kPaletteTags[] = {{0x0028, 0x1101}, {0x0028, 0x1102}, {0x0028, 0x1103}, {0x0028, 0x1201},
                                 {0x0028, 0x1202}, {0x0028, 0x1203}, {0x0028, 0x1221}, {0x0028, 0x1222},
                                 {0x0028, 0x1223}, {0x0028, 0x1199}, {0x0028, 0x1111}, {0x0028, 0x1112},
                                 {0x0028, 0x1113}, {0x0028, 0x1211}, {0x0028, 0x1212}, {0x0028, 0x1213},
                                 {0x0028, 0x1214}};

/// Every palette attribute there is. theEntries: what the descriptors of red, green and blue declare; the
/// data has two.
void AddPaletteAttributes(DataSetMaker& theSet, const std::uint16_t (&theEntries)[3])
{
    for (const DICOMTag aTag : kPaletteTags)
    {
        const int aKind = aTag.itsElement & 0xfff0;
        const std::uint16_t aChannel = static_cast<std::uint16_t>((aTag.itsElement & 0xf) - 1);
        if (aTag.itsElement == 0x1199 || aTag.itsElement == 0x1214)
        {
            theSet->ReplaceVR(theSet.GetFactory().CreateUID(aTag, "1.2.3"));
        }
        else if (aKind == 0x1100 || aKind == 0x1110)
        {
            theSet->ReplaceVR(theSet.GetFactory().CreateUnsignedShorts(
                aTag, {aKind == 0x1100 ? theEntries[aChannel] : std::uint16_t{2}, 0, 16}));
        }
        else
        {
            const auto aByte = static_cast<std::uint8_t>(aChannel + 1);
            theSet->ReplaceVR(theSet.GetFactory().CreateBytes(aTag, VR::TYPE_OW, {0, aByte, 0, aByte}));
        }
    }
}

struct CaptureRow
{
    const char* itsName;
    std::uint16_t itsEntries[3];
    bool itsValid[3];
};
} // namespace

// A palette that declares more entries than its data has is malformed; the others are kept.
TEST(PaletteCapture, KeepsWhatMakesSenseAndRemovesAllAttributes)
{
    const CaptureRow kRows[] = {{"all good", {2, 2, 2}, {true, true, true}},
                                {"malformed red", {9, 2, 2}, {false, true, true}},
                                {"malformed green", {2, 9, 2}, {true, false, true}},
                                {"malformed blue", {2, 2, 9}, {true, true, false}}};
    for (const CaptureRow& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        DataSetMaker aSet;
        aSet.SetNumber(DICOMTags::Rows, 7);
        AddPaletteAttributes(aSet, aRow.itsEntries);
        ASSERT_EQ(aSet->GetTags().size(), 18u);
        DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(*aSet);
        const ColorPalette* const aPalettes[] = {aSet->GetRedColorPalette(), aSet->GetGreenColorPalette(),
                                                 aSet->GetBlueColorPalette()};
        for (int c = 0; c < 3; ++c)
        {
            ASSERT_EQ(aPalettes[c] != nullptr, aRow.itsValid[c]);
            if (aRow.itsValid[c])
            {
                EXPECT_EQ(aPalettes[c]->MapUnsignedPixel(1), 0x100 * (c + 1)) << "channels are not mixed up";
            }
        }
        EXPECT_EQ(aSet->GetTags(), std::vector<DICOMTag>{DICOMTags::Rows});
    }
}

TEST(PaletteCapture, WithoutAttributesThePalettesBecomeNullAndNothingElseChanges)
{
    DataSetMaker aSet;
    aSet.SetNumber(DICOMTags::Rows, 7);
    aSet->SetGreenColorPalette(std::make_unique<ColorPalette>('G', 0, 0, 8));
    DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(*aSet);
    EXPECT_EQ(aSet->GetRedColorPalette(), nullptr);
    EXPECT_EQ(aSet->GetGreenColorPalette(), nullptr);
    EXPECT_EQ(aSet->GetBlueColorPalette(), nullptr);
    EXPECT_EQ(aSet->GetTags(), std::vector<DICOMTag>{DICOMTags::Rows});
}

TEST(MarkReconstituted, TwiceLeavesOneMark)
{
    DataSetMaker aSet;
    aSet.SetNumber(DICOMTags::Rows, 7);
    DecompressionLibUtils::MarkReconstituted(&*aSet);
    const std::vector<DICOMTag> aTags = aSet->GetTags();
    DecompressionLibUtils::MarkReconstituted(&*aSet);
    EXPECT_EQ(aSet->GetTags(), aTags);
    EXPECT_EQ(aTags.size(), 3u) << "Rows, the creator and the mark";
    EXPECT_EQ(aSet.GetPrivateNumber("ReconstImageFlag"), 1);
}

TEST(MarkReconstituted, ReplacesAnotherValueAndWorksInBigEndianSets)
{
    DataSetMaker aSet(DLEndian::BIG_ENDIAN_ORDER);
    aSet.SetPrivateNumber("ReconstImageFlag", 0);
    DecompressionLibUtils::MarkReconstituted(&*aSet);
    EXPECT_EQ(aSet.GetPrivateNumber("ReconstImageFlag"), 1);
}
