// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <memory>

#include "dicomfix/DataSetMaker.h"
#include "pixels/ImageMaker.h"

namespace
{
const DICOMTag kValueRangeTags[] = {{0x0028, 0x0106}, {0x0028, 0x0107}, {0x0028, 0x0108},
                                    {0x0028, 0x0109}, {0x0028, 0x0110}, {0x0028, 0x0111}};

/// A decoded image and the call over it. The result argument is never looked at and belongs to a room
/// above, so a reference to some storage stands for it.
struct Fixup
{
    explicit Fixup(const ImageSpec& theSpec = {Renderable::MONOCHROME2, 1, 8, 1, 2})
        : itsImage(MakeImage(itsAllocator, theSpec, Bytes(12, 1)))
    {
        itsImage->setCompressionRatio(10);
    }

    bool Run(DataSetMaker& theSet, const RWCString& theCompression = "", bool theMark = false,
             VR* thePixelVR = nullptr)
    {
        char aStorage = 0;
        return DecompressionLibUtils::FixupDICOMObjectFromRenderable(
            &*theSet, itsImage.get(), theSet.GetFactory(), thePixelVR, theCompression, theMark,
            reinterpret_cast<DecompressionResult&>(aStorage));
    }

    CountingAllocator itsAllocator;
    std::unique_ptr<Renderable> itsImage;
};
} // namespace

TEST(FixupDICOMObject, PhotometricInterpretationIsReplacedAndTheFirstOneKept)
{
    struct Row
    {
        Renderable::PhotometricInterpretation itsDecoded;
        const char* itsBefore; ///< null: absent
        const char* itsAfter;
        const char* itsKept;
    };
    const Row kRows[] = {{Renderable::MONOCHROME1, "MONOCHROME1", "MONOCHROME1", "MONOCHROME1"},
                         {Renderable::MONOCHROME2, "PALETTE COLOR", "MONOCHROME2", "PALETTE COLOR"},
                         {Renderable::RGB, "YBR_FULL_422", "RGB", "YBR_FULL_422"},
                         {Renderable::YBR_ICT, "YBR_ICT", "RGB", "YBR_ICT"},
                         {Renderable::INVALID, nullptr, "RGB", "RGB"},
                         {Renderable::MONOCHROME1, nullptr, "MONOCHROME1", "MONOCHROME1"}};
    for (const Row& aRow : kRows)
    {
        DataSetMaker aSet;
        if (aRow.itsBefore != nullptr)
        {
            aSet.SetText(DICOMTags::PhotometricInterpretation, aRow.itsBefore);
        }
        Fixup aFixup({aRow.itsDecoded, 1, 8, 1, 2});
        EXPECT_TRUE(aFixup.Run(aSet));
        EXPECT_EQ(aSet.GetText(DICOMTags::PhotometricInterpretation), aRow.itsAfter);
        EXPECT_EQ(aSet.GetScratch("DecompOrigPhotoInterp"), aRow.itsKept);
        aFixup.itsImage->setPhotometricInterpretation(Renderable::MONOCHROME2);
        aFixup.Run(aSet);
        EXPECT_EQ(aSet.GetText(DICOMTags::PhotometricInterpretation), "MONOCHROME2");
        EXPECT_EQ(aSet.GetScratch("DecompOrigPhotoInterp"), aRow.itsKept) << "second pass";
    }
}

TEST(FixupDICOMObject, LayoutIsDescribedAndTheFirstOneKept)
{
    struct Row
    {
        const char* itsName;
        int itsImageSamples;
        int itsSamplesBefore; ///< below 0: absent
        int itsPlanarBefore;  ///< below 0: absent
        int itsSamplesAfter;
        int itsPlanarAfter;
        const char* itsKeptSamples;
        const char* itsKeptPlanar;
    };
    const Row kRows[] = {
        {"palette to RGB", 3, 1, -1, 3, 0, "1", "0"},
        {"planes to pixels", 3, 3, 1, 3, 0, "(absent)", "1"},
        {"any other planar value counts as planes", 3, 3, 7, 3, 0, "(absent)", "1"},
        {"grey leaves planar configuration alone", 1, 1, 1, 1, 1, "(absent)", "(absent)"},
        {"samples absent stay absent", 3, -1, 0, -1, 0, "(absent)", "0"},
        {"four samples", 3, 4, 0, 3, 0, "4", "0"},
        {"five samples are not kept", 3, 5, 0, 3, 0, "(absent)", "0"},
        {"no samples are not kept", 1, 0, -1, 1, -1, "(absent)", "(absent)"},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        DataSetMaker aSet;
        if (aRow.itsSamplesBefore >= 0)
        {
            aSet.SetNumber(DICOMTags::SamplesPerPixel, static_cast<std::uint16_t>(aRow.itsSamplesBefore));
        }
        if (aRow.itsPlanarBefore >= 0)
        {
            aSet.SetNumber(DICOMTags::PlanarConfiguration, static_cast<std::uint16_t>(aRow.itsPlanarBefore));
        }
        Fixup aFixup({Renderable::RGB, aRow.itsImageSamples, 8, 1, 2});
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            aFixup.Run(aSet);
            EXPECT_EQ(aSet.GetNumber(DICOMTags::SamplesPerPixel), aRow.itsSamplesAfter);
            EXPECT_EQ(aSet.GetNumber(DICOMTags::PlanarConfiguration), aRow.itsPlanarAfter);
            EXPECT_EQ(aSet.GetScratch("DecompOrigSamplesPerPixel"), aRow.itsKeptSamples);
            EXPECT_EQ(aSet.GetScratch("DecompOrigPlanarConfig"), aRow.itsKeptPlanar);
        }
    }
}

TEST(FixupDICOMObject, BitsComeFromTheImage)
{
    DataSetMaker aSet;
    aSet.SetNumber(DICOMTags::BitsStored, 12);
    aSet.SetNumber(DICOMTags::SmallestImagePixelValue, 3);
    Fixup aFixup({Renderable::MONOCHROME2, 1, 16, 1, 2});
    aFixup.itsImage->setBitsStored(10);
    aFixup.itsImage->setHighBit(9);
    aFixup.Run(aSet);
    EXPECT_EQ(aSet.GetNumber(DICOMTags::BitsStored), 10);
    EXPECT_EQ(aSet.GetNumber(DICOMTags::HighBit), 9);
    EXPECT_EQ(aSet.GetNumber(DICOMTags::SmallestImagePixelValue), 3) << "goes with lossy input only";
    EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompression), "(absent)");
    EXPECT_EQ(aSet.GetText(DICOMTags::ImageType), "(absent)");
}

// "COLOR PALETTE" is not the standard's term; only it triggers the capture, and only on the first pass.
TEST(FixupDICOMObject, PalettesAreCapturedForTheOneTermOnly)
{
    for (const bool aCaptures : {true, false})
    {
        DataSetMaker aSet;
        aSet.SetText(DICOMTags::PhotometricInterpretation, aCaptures ? "COLOR PALETTE" : "PALETTE COLOR");
        aSet->ReplaceVR(aSet.GetFactory().CreateUnsignedShorts(
            DICOMTags::RedPaletteColorLookupTableDescriptor, {2, 0, 16}));
        aSet->ReplaceVR(aSet.GetFactory().CreateBytes(DICOMTags::RedPaletteColorLookupTableData, VR::TYPE_OW,
                                                      {1, 2, 3, 4}));
        Fixup().Run(aSet);
        EXPECT_EQ(aSet->GetRedColorPalette() != nullptr, aCaptures);
        EXPECT_EQ(aSet->Contains(DICOMTags::RedPaletteColorLookupTableData), !aCaptures);
        Fixup().Run(aSet);
        EXPECT_EQ(aSet->GetRedColorPalette() != nullptr, aCaptures) << "second pass";
    }
}

TEST(FixupDICOMObject, PaletteAttributesStayWhenAllPalettesAreInMemory)
{
    DataSetMaker aSet;
    aSet.SetText(DICOMTags::PhotometricInterpretation, "COLOR PALETTE");
    aSet->ReplaceVR(aSet.GetFactory().CreateUID(DICOMTags::PaletteColorLookupTableUID, "1.2"));
    aSet->SetRedColorPalette(std::make_unique<ColorPalette>('R', 0, 0, 8));
    aSet->SetGreenColorPalette(std::make_unique<ColorPalette>('G', 0, 0, 8));
    aSet->SetBlueColorPalette(std::make_unique<ColorPalette>('B', 0, 0, 8));
    Fixup().Run(aSet);
    EXPECT_TRUE(aSet->Contains(DICOMTags::PaletteColorLookupTableUID));
    EXPECT_NE(aSet->GetRedColorPalette(), nullptr);
}

// Bytes are turned (in the library's own way, a copy) exactly when the two orders differ, once.
TEST(FixupDICOMObject, PixelOrderFollowsTheElementElseTheDataSet)
{
    constexpr auto kLittle = DLEndian::LITTLE_ENDIAN_ORDER;
    constexpr auto kBig = DLEndian::BIG_ENDIAN_ORDER;
    struct Row
    {
        const char* itsName;
        int itsBits;
        bool itsPixelsLittle;
        DLEndian::Endian itsDataSet;
        bool itsWithElement;
        DLEndian::Endian itsElement;
        bool itsTurned;
    };
    const Row kRows[] = {
        {"alike", 16, true, kBig, true, kLittle, false},
        {"big pixels, little element", 16, false, kBig, true, kLittle, true},
        {"little pixels, big element", 16, true, kLittle, true, kBig, true},
        {"big alike", 16, false, kLittle, true, kBig, false},
        {"8 bits never", 8, false, kLittle, true, kLittle, false},
        {"no element, little set", 16, false, kLittle, false, kLittle, true},
        {"no element, big set", 16, true, kBig, false, kLittle, true},
        {"no element, alike", 16, true, kLittle, false, kLittle, false},
        {"no element, 8 bits", 8, true, kBig, false, kLittle, false},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        DataSetMaker aSet(aRow.itsDataSet);
        Fixup aFixup({Renderable::MONOCHROME2, 1, aRow.itsBits, 1, 2, false, false, aRow.itsPixelsLittle});
        auto* const aBytes = static_cast<std::uint8_t*>(aFixup.itsImage->getPixelData());
        aBytes[0] = 0x12;
        aBytes[1] = 0x34;
        const auto aVR = aSet.GetFactory().CreatePixelData(aBytes, 4, VR::TYPE_UN, aRow.itsElement);
        aFixup.Run(aSet, "", false, aRow.itsWithElement ? aVR.get() : nullptr);
        EXPECT_EQ(aBytes[1], aRow.itsTurned ? 0x12 : 0x34);
        EXPECT_EQ(aFixup.itsImage->isPixelDataLittleEndian(), aRow.itsPixelsLittle != aRow.itsTurned);
        EXPECT_EQ(aVR->GetTypeCode(), !aRow.itsWithElement ? VR::TYPE_UN
                                      : aRow.itsBits == 8  ? VR::TYPE_OB
                                                           : VR::TYPE_OW);
    }
}

// ---- Lossy history -------------------------------------------------------------------------------

TEST(FixupDICOMObject, ImageTypeBecomesDerivedAndNamesTheCompression)
{
    struct Row
    {
        const char* itsBefore; ///< null: absent
        const char* itsCompression;
        const char* itsAfter;
    };
    const Row kRows[] = {
        {nullptr, "JPG", "DERIVED\\PRIMARY\\\\JPEG LOSSY"},
        {"", "JPG", "DERIVED\\PRIMARY\\\\JPEG LOSSY"},
        {"ORIGINAL", "JPG", "DERIVED\\PRIMARY\\\\JPEG LOSSY"},
        {"ORIGINAL\\SECONDARY", "jpg", "DERIVED\\SECONDARY\\\\JPEG LOSSY"},
        {"ORIGINAL\\PRIMARY\\AXIAL", "Jpg", "DERIVED\\PRIMARY\\AXIAL\\JPEG LOSSY"},
        {"ORIGINAL\\PRIMARY\\AXIAL\\X", "JP2", "DERIVED\\PRIMARY\\AXIAL\\X\\JP2K LOSSY"},
        {"ORIGINAL\\PRIMARY\\\\X", "jP2", "DERIVED\\PRIMARY\\\\X\\JP2K LOSSY"},
        {"\\PRIMARY", "JP2", "DERIVED\\PRIMARY\\\\JP2K LOSSY"},
        {"ORIGINAL\\PRIMARY", "RLE", "DERIVED\\PRIMARY\\\\LOSSY"},
    };
    for (const Row& aRow : kRows)
    {
        DataSetMaker aSet;
        if (aRow.itsBefore != nullptr)
        {
            aSet.SetText(DICOMTags::ImageType, aRow.itsBefore);
        }
        Fixup().Run(aSet, aRow.itsCompression);
        EXPECT_EQ(aSet.GetText(DICOMTags::ImageType), aRow.itsAfter);
        Fixup().Run(aSet, aRow.itsCompression);
        EXPECT_EQ(aSet.GetText(DICOMTags::ImageType), aRow.itsAfter) << "second pass";
    }
}

TEST(FixupDICOMObject, OurDescriptionLeavesAllButImageTypeAlone)
{
    DataSetMaker aSet;
    aSet.SetText(DICOMTags::ImageType, "ORIGINAL\\PRIMARY");
    aSet.SetText(DICOMTags::DerivationDescription, "any (QUORIX) text");
    Fixup().Run(aSet, "JPG");
    EXPECT_EQ(aSet.GetText(DICOMTags::ImageType), "DERIVED\\PRIMARY") << "without the compression's name";
    EXPECT_EQ(aSet.GetText(DICOMTags::DerivationDescription), "any (QUORIX) text");
    EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompression), "01");
    EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompressionMethod), "(absent)");
    EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompressionRatio), "(absent)");
}

TEST(FixupDICOMObject, MethodDescriptionAndRatio)
{
    struct Row
    {
        const char* itsCompression;
        int itsRatio;
        const char* itsMethodBefore;
        const char* itsRatioBefore;
        const char* itsMethod;
        const char* itsDescription;
        const char* itsRatioAfter;
    };
    const Row kRows[] = {
        {"JPG", 10, nullptr, nullptr, "ISO_10918_1", "LOSSY JPEG COMPRESSION 10:1 (QUORIX)", "10"},
        {"jp2", 7, nullptr, nullptr, "ISO_15444_1", "LOSSY JPEG 2000 COMPRESSION 7:1 (QUORIX)", "7"},
        {"JPG", 10, "ISO_15444_1", "5.5", "ISO_15444_1\\ISO_10918_1", "LOSSY JPEG COMPRESSION 10:1 (QUORIX)",
         "5.5\\10"},
        {"JPG", 1, nullptr, nullptr, "ISO_10918_1", "LOSSY JPEG COMPRESSION 1:1 (QUORIX)", "1"},
        {"JPG", 0, nullptr, "5.5", "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1 (QUORIX)", "5.5"},
        {"JPG", -3, nullptr, nullptr, "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1 (QUORIX)", "(absent)"},
        {"XYZ", 10, "ISO_15444_1", nullptr, "ISO_15444_1", "LOSSY  COMPRESSION 10:1 (QUORIX)", "10"},
        {"XYZ", 10, nullptr, nullptr, "(absent)", "LOSSY  COMPRESSION 10:1 (QUORIX)", "10"},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsDescription);
        DataSetMaker aSet;
        aSet.SetText(DICOMTags::DerivationDescription, "what was there before");
        if (aRow.itsMethodBefore != nullptr)
        {
            aSet.SetText(DICOMTags::LossyImageCompressionMethod, aRow.itsMethodBefore);
        }
        if (aRow.itsRatioBefore != nullptr)
        {
            aSet.SetText(DICOMTags::LossyImageCompressionRatio, aRow.itsRatioBefore);
        }
        for (const DICOMTag aTag : kValueRangeTags)
        {
            aSet.SetNumber(aTag, 1);
        }
        Fixup aFixup;
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            aFixup.itsImage->setCompressionRatio(aPass == 0 ? aRow.itsRatio : 99);
            aFixup.Run(aSet, aRow.itsCompression);
            EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompression), "01");
            EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompressionMethod), aRow.itsMethod);
            EXPECT_EQ(aSet.GetText(DICOMTags::DerivationDescription), aRow.itsDescription);
            EXPECT_EQ(aSet.GetText(DICOMTags::LossyImageCompressionRatio), aRow.itsRatioAfter);
        }
        for (const DICOMTag aTag : kValueRangeTags)
        {
            EXPECT_FALSE(aSet->Contains(aTag)) << aTag.itsElement;
        }
    }
}

namespace
{
constexpr const char* kClass = "1.2.840.10008.5.1.4.1.1.2";

void SetUIDs(DataSetMaker& theSet, const char* theClassUID, const char* theInstanceUID)
{
    theSet->ReplaceVR(theSet.GetFactory().CreateUID(DICOMTags::SOPClassUID, theClassUID));
    theSet->ReplaceVR(theSet.GetFactory().CreateUID(DICOMTags::SOPInstanceUID, theInstanceUID));
}

RWCString GetSource(DataSetMaker& theSet, std::size_t theItem, DICOMTag theTag)
{
    RWCString aText = "(absent)";
    theSet->GetSequenceItemString(DICOMTags::SourceImageSequence, theItem, theTag, aText);
    return aText;
}
} // namespace

TEST(FixupDICOMObject, SourceImageIsTheOriginalInstanceElseThisOne)
{
    for (const bool aHasOriginal : {true, false})
    {
        DataSetMaker aSet;
        SetUIDs(aSet, kClass, "1.2.3");
        aSet->ReplaceVR(aSet.GetFactory().CreatePrivateString(*aSet, "QUORIX0", "OrigSOPInstUID",
                                                              aHasOriginal ? "9.8.7" : ""));
        Fixup().Run(aSet, "JPG");
        Fixup().Run(aSet, "JPG");
        ASSERT_EQ(aSet->GetSequenceItemCount(DICOMTags::SourceImageSequence), 1u) << "once for two passes";
        EXPECT_EQ(GetSource(aSet, 0, DICOMTags::SOPClassUID), kClass);
        EXPECT_EQ(GetSource(aSet, 0, DICOMTags::SOPInstanceUID), aHasOriginal ? "9.8.7" : "1.2.3");
    }
}

TEST(FixupDICOMObject, SourceImageJoinsThoseThatAreThere)
{
    DataSetMaker aSet;
    SetUIDs(aSet, kClass, "1.2.3");
    aSet->ReplaceVR(aSet.GetFactory().CreateSequence(DICOMTags::SourceImageSequence));
    DICOMDataObject anItem;
    anItem.ReplaceVR(aSet.GetFactory().CreateUID(DICOMTags::SOPInstanceUID, "5.5"));
    aSet->AddSequenceItem(DICOMTags::SourceImageSequence, anItem);
    Fixup().Run(aSet, "JPG");
    ASSERT_EQ(aSet->GetSequenceItemCount(DICOMTags::SourceImageSequence), 2u);
    EXPECT_EQ(GetSource(aSet, 0, DICOMTags::SOPInstanceUID), "5.5");
    EXPECT_EQ(GetSource(aSet, 1, DICOMTags::SOPInstanceUID), "1.2.3");
}

TEST(FixupDICOMObject, SomethingElseInPlaceOfTheSequenceIsReplaced)
{
    DataSetMaker aSet;
    SetUIDs(aSet, kClass, "1.2.3");
    aSet->ReplaceVR(
        aSet.GetFactory().CreateString(DICOMTags::SourceImageSequence, VR::MakeTypeCode('L', 'O'), "text"));
    Fixup().Run(aSet, "JPG");
    EXPECT_EQ(aSet->GetSequenceItemCount(DICOMTags::SourceImageSequence), 1u);
}

TEST(FixupDICOMObject, SourceImageNeedsBothUIDs)
{
    const std::pair<const char*, const char*> kCases[] = {{"", "1.2.3"}, {kClass, ""}, {"", ""}};
    for (const auto& [aClassUID, anInstanceUID] : kCases)
    {
        DataSetMaker aSet;
        SetUIDs(aSet, aClassUID, anInstanceUID);
        Fixup().Run(aSet, "JPG");
        EXPECT_FALSE(aSet->Contains(DICOMTags::SourceImageSequence));
        EXPECT_EQ(aSet.GetText(DICOMTags::DerivationDescription), "LOSSY JPEG COMPRESSION 10:1 (QUORIX)");
    }
}

TEST(FixupDICOMObject, PrivateMarks)
{
    for (const bool aMark : {true, false})
    {
        DataSetMaker aSet;
        aSet.SetPrivateNumber("LosslessCmpFlag", 1);
        EXPECT_TRUE(Fixup().Run(aSet, "", aMark));
        EXPECT_EQ(aSet.GetPrivateNumber("LosslessCmpFlag"), -1);
        EXPECT_EQ(aSet.GetPrivateNumber("ReconstImageFlag"), aMark ? 1 : -1);
    }
}
