// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/DataSet.h"
#include "support/ImageMaker.h"

namespace
{
constexpr int NONE = DataSet::kNone;
constexpr const char* ABSENT = "(absent)";
constexpr DICOMTag kSources = DICOMTags::SourceImageSequence;
constexpr const char* kClass = "1.2.840.10008.5.1.4.1.1.2";
constexpr std::uint16_t kValueRangeElements[] = {0x0106, 0x0107, 0x0108, 0x0109, 0x0110, 0x0111};

/// A decoded image and the call over it. The result argument is never looked at and belongs to a room
/// above, so a reference to some storage stands for it.
struct Fixup
{
    explicit Fixup(const ImageSpec& theSpec = {Renderable::MONOCHROME2, 1, 8, 1, 2})
        : itsImage(MakeImage(itsAllocator, theSpec, Bytes(12, 1)))
    {
        itsImage->setCompressionRatio(10);
    }

    void Run(DataSet& theSet, const RWCString& theCompression = "", bool theMark = false,
             VR* thePixelVR = nullptr)
    {
        char aStorage = 0;
        MVRFactory aFactory = theSet.Factory();
        EXPECT_TRUE(DecompressionLibUtils::FixupDICOMObjectFromRenderable(
            &theSet, itsImage.get(), aFactory, thePixelVR, theCompression, theMark,
            reinterpret_cast<DecompressionResult&>(aStorage)));
    }

    CountingAllocator itsAllocator;
    std::unique_ptr<Renderable> itsImage;
};

/// Nothing for "(absent)".
void SetText(DataSet& theSet, DICOMTag theTag, const std::string& theText)
{
    if (theText != ABSENT)
    {
        theSet.SetText(theTag, theText);
    }
}

/// Nothing for NONE.
void SetNumber(DataSet& theSet, DICOMTag theTag, int theNumber)
{
    if (theNumber != NONE)
    {
        theSet.SetNumbers(theTag, {static_cast<std::uint16_t>(theNumber)});
    }
}
} // namespace

TEST(FixupDICOMObject, PhotometricInterpretationIsReplacedAndTheFirstOneKept)
{
    struct Row
    {
        Renderable::PhotometricInterpretation itsDecoded;
        const char* itsBefore;
        const char* itsAfter;
        const char* itsKept;
    };
    const Row kRows[] = {{Renderable::MONOCHROME1, "MONOCHROME1", "MONOCHROME1", "MONOCHROME1"},
                         {Renderable::MONOCHROME2, "PALETTE COLOR", "MONOCHROME2", "PALETTE COLOR"},
                         {Renderable::RGB, "YBR_FULL_422", "RGB", "YBR_FULL_422"},
                         {Renderable::YBR_ICT, "YBR_ICT", "RGB", "YBR_ICT"},
                         {Renderable::INVALID, ABSENT, "RGB", "RGB"},
                         {Renderable::MONOCHROME1, ABSENT, "MONOCHROME1", "MONOCHROME1"}};
    for (const Row& aRow : kRows)
    {
        DataSet aSet;
        SetText(aSet, DICOMTags::PhotometricInterpretation, aRow.itsBefore);
        Fixup aFixup({aRow.itsDecoded, 1, 8, 1, 2});
        aFixup.Run(aSet);
        EXPECT_EQ(aSet.Text(DICOMTags::PhotometricInterpretation), aRow.itsAfter);
        EXPECT_EQ(aSet.Scratch("DecompOrigPhotoInterp"), aRow.itsKept);
        aFixup.itsImage->setPhotometricInterpretation(Renderable::MONOCHROME2);
        aFixup.Run(aSet);
        EXPECT_EQ(aSet.Text(DICOMTags::PhotometricInterpretation), "MONOCHROME2");
        EXPECT_EQ(aSet.Scratch("DecompOrigPhotoInterp"), aRow.itsKept) << "second pass";
    }
}

TEST(FixupDICOMObject, LayoutIsDescribedAndTheFirstOneKept)
{
    struct Row
    {
        const char* itsName;
        int itsImageSamples;
        int itsSamplesBefore, itsPlanarBefore;
        int itsSamplesAfter, itsPlanarAfter;
        const char* itsKeptSamples;
        const char* itsKeptPlanar;
    };
    const Row kRows[] = {
        {"palette to RGB", 3, 1, NONE, 3, 0, "1", "0"},
        {"planes to pixels", 3, 3, 1, 3, 0, ABSENT, "1"},
        {"any other planar value counts as planes", 3, 3, 7, 3, 0, ABSENT, "1"},
        {"grey leaves planar configuration alone", 1, 1, 1, 1, 1, ABSENT, ABSENT},
        {"samples absent stay absent", 3, NONE, 0, NONE, 0, ABSENT, "0"},
        {"four samples", 3, 4, 0, 3, 0, "4", "0"},
        {"five samples are not kept", 3, 5, 0, 3, 0, ABSENT, "0"},
        {"no samples are not kept", 1, 0, NONE, 1, NONE, ABSENT, ABSENT},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        DataSet aSet;
        SetNumber(aSet, DICOMTags::SamplesPerPixel, aRow.itsSamplesBefore);
        SetNumber(aSet, DICOMTags::PlanarConfiguration, aRow.itsPlanarBefore);
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup({Renderable::RGB, aRow.itsImageSamples, 8, 1, 2}).Run(aSet);
            EXPECT_EQ(aSet.Number(DICOMTags::SamplesPerPixel), aRow.itsSamplesAfter);
            EXPECT_EQ(aSet.Number(DICOMTags::PlanarConfiguration), aRow.itsPlanarAfter);
            EXPECT_EQ(aSet.Scratch("DecompOrigSamplesPerPixel"), aRow.itsKeptSamples);
            EXPECT_EQ(aSet.Scratch("DecompOrigPlanarConfig"), aRow.itsKeptPlanar);
        }
    }
}

TEST(FixupDICOMObject, BitsComeFromTheImageAndMarksAreSet)
{
    for (const bool isToBeMarked : {true, false})
    {
        DataSet aSet;
        SetNumber(aSet, DICOMTags::BitsStored, 12);
        SetNumber(aSet, DICOMTags::SmallestImagePixelValue, 3);
        aSet.SetPrivate("LosslessCmpFlag", 1);
        Fixup aFixup({Renderable::MONOCHROME2, 1, 16, 1, 2});
        aFixup.itsImage->setBitsStored(10);
        aFixup.itsImage->setHighBit(9);
        aFixup.Run(aSet, "", isToBeMarked);
        EXPECT_EQ(aSet.Number(DICOMTags::BitsStored), 10);
        EXPECT_EQ(aSet.Number(DICOMTags::HighBit), 9);
        EXPECT_EQ(aSet.Number(DICOMTags::SmallestImagePixelValue), 3) << "goes with lossy input only";
        EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompression), ABSENT);
        EXPECT_EQ(aSet.Text(DICOMTags::ImageType), ABSENT);
        EXPECT_EQ(aSet.PrivateNumber("LosslessCmpFlag"), NONE);
        EXPECT_EQ(aSet.PrivateNumber("ReconstImageFlag"), isToBeMarked ? 1 : NONE);
    }
}

// "COLOR PALETTE" is not the standard's term; only it triggers the capture, only on the first pass, and only
// where palettes are not in memory.
TEST(FixupDICOMObject, PalettesAreCapturedForTheOneTermOnly)
{
    constexpr DICOMTag kData = DICOMTags::RedPaletteColorLookupTableData;
    for (const bool isToBeCaptured : {true, false})
    {
        DataSet aSet;
        aSet.SetText(DICOMTags::PhotometricInterpretation,
                     isToBeCaptured ? "COLOR PALETTE" : "PALETTE COLOR");
        aSet.SetNumbers(DICOMTags::RedPaletteColorLookupTableDescriptor, {2, 0, 16});
        aSet.SetBytes(kData, {1, 2, 3, 4});
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup().Run(aSet);
            EXPECT_EQ(aSet.GetRedColorPalette() != nullptr, isToBeCaptured);
            EXPECT_EQ(aSet.Contains(kData), !isToBeCaptured);
        }
    }
    DataSet aSet;
    aSet.SetText(DICOMTags::PhotometricInterpretation, "COLOR PALETTE").SetBytes(kData, {1, 2, 3, 4});
    aSet.SetRedColorPalette(std::make_unique<ColorPalette>('R', 0, 0, 8));
    aSet.SetGreenColorPalette(std::make_unique<ColorPalette>('G', 0, 0, 8));
    aSet.SetBlueColorPalette(std::make_unique<ColorPalette>('B', 0, 0, 8));
    Fixup().Run(aSet);
    EXPECT_TRUE(aSet.Contains(kData));
    EXPECT_NE(aSet.GetRedColorPalette(), nullptr);
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
        DataSet aSet(aRow.itsDataSet);
        Fixup aFixup({Renderable::MONOCHROME2, 1, aRow.itsBits, 1, 2, false, false, aRow.itsPixelsLittle});
        auto* const aBytes = static_cast<std::uint8_t*>(aFixup.itsImage->getPixelData());
        aBytes[0] = 0x12;
        aBytes[1] = 0x34;
        const auto aVR = aSet.Factory().CreatePixelData(aBytes, 4, VR::TYPE_UN, aRow.itsElement);
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
        const char* itsBefore;
        const char* itsCompression;
        const char* itsAfter;
    };
    const Row kRows[] = {
        {ABSENT, "JPG", "DERIVED\\PRIMARY\\\\JPEG LOSSY"},
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
        DataSet aSet;
        SetText(aSet, DICOMTags::ImageType, aRow.itsBefore);
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup().Run(aSet, aRow.itsCompression);
            EXPECT_EQ(aSet.Text(DICOMTags::ImageType), aRow.itsAfter);
        }
    }
}

TEST(FixupDICOMObject, OurDescriptionLeavesAllButImageTypeAlone)
{
    DataSet aSet;
    aSet.SetText(DICOMTags::ImageType, "ORIGINAL\\PRIMARY");
    aSet.SetText(DICOMTags::DerivationDescription, "any (QUORIX) text");
    Fixup().Run(aSet, "JPG");
    EXPECT_EQ(aSet.Text(DICOMTags::ImageType), "DERIVED\\PRIMARY") << "without the compression's name";
    EXPECT_EQ(aSet.Text(DICOMTags::DerivationDescription), "any (QUORIX) text");
    EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompression), "01");
    EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionMethod), ABSENT);
    EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionRatio), ABSENT);
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
        const char* itsDescription; ///< before " (QUORIX)"
        const char* itsRatioAfter;
    };
    const Row kRows[] = {
        {"JPG", 10, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION 10:1", "10"},
        {"jp2", 7, ABSENT, ABSENT, "ISO_15444_1", "LOSSY JPEG 2000 COMPRESSION 7:1", "7"},
        {"JPG", 9, "ISO_1", "5.5", "ISO_1\\ISO_10918_1", "LOSSY JPEG COMPRESSION 9:1", "5.5\\9"},
        {"JPG", 1, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION 1:1", "1"},
        {"JPG", 0, ABSENT, "5.5", "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1", "5.5"},
        {"JPG", -3, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1", ABSENT},
        {"XYZ", 10, "ISO_15444_1", ABSENT, "ISO_15444_1", "LOSSY  COMPRESSION 10:1", "10"},
        {"XYZ", 10, ABSENT, ABSENT, ABSENT, "LOSSY  COMPRESSION 10:1", "10"},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsDescription);
        DataSet aSet;
        aSet.SetText(DICOMTags::DerivationDescription, "what was there before");
        SetText(aSet, DICOMTags::LossyImageCompressionMethod, aRow.itsMethodBefore);
        SetText(aSet, DICOMTags::LossyImageCompressionRatio, aRow.itsRatioBefore);
        for (const std::uint16_t anElement : kValueRangeElements)
        {
            SetNumber(aSet, {0x0028, anElement}, 1);
        }
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup aFixup;
            aFixup.itsImage->setCompressionRatio(aPass == 0 ? aRow.itsRatio : 99);
            aFixup.Run(aSet, aRow.itsCompression);
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompression), "01");
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionMethod), aRow.itsMethod);
            EXPECT_EQ(aSet.Text(DICOMTags::DerivationDescription),
                      std::string(aRow.itsDescription) + " (QUORIX)");
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionRatio), aRow.itsRatioAfter);
        }
        for (const std::uint16_t anElement : kValueRangeElements)
        {
            EXPECT_FALSE(aSet.Contains({0x0028, anElement})) << anElement;
        }
    }
}

TEST(FixupDICOMObject, SourceImageIsTheOriginalInstanceElseThisOne)
{
    for (const bool hasOriginal : {true, false})
    {
        DataSet aSet;
        aSet.SetText(DICOMTags::SOPClassUID, kClass).SetText(DICOMTags::SOPInstanceUID, "1.2.3");
        aSet.ReplaceVR(aSet.Factory().CreatePrivateString(aSet, "QUORIX0", "OrigSOPInstUID",
                                                          hasOriginal ? "9.8.7" : ""));
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup().Run(aSet, "JPG");
            ASSERT_EQ(aSet.GetSequenceItemCount(kSources), 1u);
            EXPECT_EQ(aSet.ItemText(kSources, 0, DICOMTags::SOPClassUID), kClass);
            EXPECT_EQ(aSet.ItemText(kSources, 0, DICOMTags::SOPInstanceUID), hasOriginal ? "9.8.7" : "1.2.3");
        }
    }
}

TEST(FixupDICOMObject, SourceImageJoinsThoseThatAreThereAndReplacesWhatIsNoSequence)
{
    DataSet aSet;
    aSet.SetText(DICOMTags::SOPClassUID, kClass).SetText(DICOMTags::SOPInstanceUID, "1.2.3");
    aSet.ReplaceVR(aSet.Factory().CreateSequence(kSources));
    DataSet anItem;
    aSet.AddSequenceItem(kSources, anItem.SetText(DICOMTags::SOPInstanceUID, "5.5"));
    Fixup().Run(aSet, "JPG");
    ASSERT_EQ(aSet.GetSequenceItemCount(kSources), 2u);
    EXPECT_EQ(aSet.ItemText(kSources, 0, DICOMTags::SOPInstanceUID), "5.5");
    EXPECT_EQ(aSet.ItemText(kSources, 1, DICOMTags::SOPInstanceUID), "1.2.3");
    DataSet another;
    another.SetText(DICOMTags::SOPClassUID, kClass).SetText(DICOMTags::SOPInstanceUID, "1.2.3");
    another.ReplaceVR(another.Factory().CreateString(kSources, VR::MakeTypeCode('L', 'O'), "text"));
    Fixup().Run(another, "JPG");
    EXPECT_EQ(another.GetSequenceItemCount(kSources), 1u);
}

TEST(FixupDICOMObject, SourceImageNeedsBothUIDs)
{
    const std::pair<const char*, const char*> kCases[] = {{"", "1.2.3"}, {kClass, ""}, {"", ""}};
    for (const auto& [aClassUID, anInstanceUID] : kCases)
    {
        DataSet aSet;
        aSet.SetText(DICOMTags::SOPClassUID, aClassUID).SetText(DICOMTags::SOPInstanceUID, anInstanceUID);
        Fixup().Run(aSet, "JPG");
        EXPECT_FALSE(aSet.Contains(kSources));
        EXPECT_EQ(aSet.Text(DICOMTags::DerivationDescription), "LOSSY JPEG COMPRESSION 10:1 (QUORIX)");
    }
}
