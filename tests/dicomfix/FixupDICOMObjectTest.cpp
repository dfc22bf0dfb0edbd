// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <tuple>

#include "support/DataSet.h"
#include "support/ImageMaker.h"

namespace
{
constexpr int NONE = DataSet::kNone;
constexpr const char* ABSENT = "(absent)";
constexpr DICOMTag kSources = DICOMTags::SourceImageSequence;
constexpr std::uint16_t kPrivateGroup = 0x1021;
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

    /// A lossy image marked as ours, in this reading.
    void RunMarked(DataSet& theSet, Reading theReading)
    {
        MVRFactory aFactory = theSet.Factory();
        EXPECT_TRUE(DecompressionLibUtils::FixupDICOMObjectFromRenderable(&theSet, itsImage.get(), aFactory,
                                                                          nullptr, "JPG", true, theReading));
    }

    CountingAllocator itsAllocator;
    std::unique_ptr<Renderable> itsImage;
};
} // namespace

TEST(FixupDICOMObject, PhotometricInterpretationIsReplacedAndTheFirstOneKept)
{
    // What was decoded; the term before and after, and the one that is kept.
    const std::tuple<Renderable::PhotometricInterpretation, const char*, const char*, const char*> kRows[] = {
        {Renderable::MONOCHROME1, "MONOCHROME1", "MONOCHROME1", "MONOCHROME1"},
        {Renderable::MONOCHROME2, "PALETTE COLOR", "MONOCHROME2", "PALETTE COLOR"},
        {Renderable::RGB, "YBR_FULL_422", "RGB", "YBR_FULL_422"},
        {Renderable::YBR_ICT, "YBR_ICT", "RGB", "YBR_ICT"},
        {Renderable::INVALID, ABSENT, "RGB", "RGB"},
        {Renderable::MONOCHROME1, ABSENT, "MONOCHROME1", "MONOCHROME1"}};
    for (const auto& [aDecoded, aBefore, anAfter, aKept] : kRows)
    {
        DataSet aSet;
        aSet.SetText(DICOMTags::PhotometricInterpretation, aBefore);
        Fixup aFixup({aDecoded, 1, 8, 1, 2});
        for (const char* const anExpected : {anAfter, "MONOCHROME2"})
        {
            aFixup.Run(aSet);
            EXPECT_EQ(aSet.Text(DICOMTags::PhotometricInterpretation), anExpected);
            EXPECT_EQ(aSet.Scratch("DecompOrigPhotoInterp"), aKept);
            aFixup.itsImage->setPhotometricInterpretation(Renderable::MONOCHROME2);
        }
    }
}

TEST(FixupDICOMObject, LayoutIsDescribedAndTheFirstOneKept)
{
    // Samples of the image; samples and planes before and after; what is kept of them.
    const std::tuple<const char*, int, int, int, int, int, const char*, const char*> kRows[] = {
        {"palette to RGB", 3, 1, NONE, 3, 0, "1", "0"},
        {"planes to pixels", 3, 3, 1, 3, 0, ABSENT, "1"},
        {"any other planar value counts as planes", 3, 3, 7, 3, 0, ABSENT, "1"},
        {"grey leaves planar configuration alone", 1, 1, 1, 1, 1, ABSENT, ABSENT},
        {"samples absent stay absent", 3, NONE, 0, NONE, 0, ABSENT, "0"},
        {"four samples", 3, 4, 0, 3, 0, "4", "0"},
        {"five samples are not kept", 3, 5, 0, 3, 0, ABSENT, "0"},
        {"no samples are not kept", 1, 0, NONE, 1, NONE, ABSENT, ABSENT},
    };
    for (const auto& [aName, aSamples, aSamplesBefore, aPlanarBefore, aSamplesAfter, aPlanarAfter,
                      aKeptSamples, aKeptPlanar] : kRows)
    {
        SCOPED_TRACE(aName);
        DataSet aSet;
        aSet.SetNumber(DICOMTags::SamplesPerPixel, aSamplesBefore);
        aSet.SetNumber(DICOMTags::PlanarConfiguration, aPlanarBefore);
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup({Renderable::RGB, aSamples, 8, 1, 2}).Run(aSet);
            EXPECT_EQ(aSet.Number(DICOMTags::SamplesPerPixel), aSamplesAfter);
            EXPECT_EQ(aSet.Number(DICOMTags::PlanarConfiguration), aPlanarAfter);
            EXPECT_EQ(aSet.Scratch("DecompOrigSamplesPerPixel"), aKeptSamples);
            EXPECT_EQ(aSet.Scratch("DecompOrigPlanarConfig"), aKeptPlanar);
        }
    }
}

TEST(FixupDICOMObject, BitsComeFromTheImageAndMarksAreSet)
{
    for (const bool isToBeMarked : {true, false})
    {
        DataSet aSet;
        aSet.SetNumber(DICOMTags::BitsStored, 12);
        aSet.SetNumber(DICOMTags::SmallestImagePixelValue, 3);
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
    // Bits, the order of the pixels, that of the data set, whether there is an element, its order; turned?
    const std::tuple<const char*, int, bool, DLEndian::Endian, bool, DLEndian::Endian, bool> kRows[] = {
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
    for (const auto& [aName, aBits, isLittle, aSetOrder, hasElement, anOrder, isTurned] : kRows)
    {
        SCOPED_TRACE(aName);
        DataSet aSet(aSetOrder);
        Fixup aFixup({Renderable::MONOCHROME2, 1, aBits, 1, 2, false, false, isLittle});
        auto* const aBytes = static_cast<std::uint8_t*>(aFixup.itsImage->getPixelData());
        aBytes[0] = 0x12;
        aBytes[1] = 0x34;
        const auto aVR = aSet.Factory().CreatePixelData(aBytes, 4, VR::TYPE_UN, anOrder);
        aFixup.Run(aSet, "", false, hasElement ? aVR.get() : nullptr);
        EXPECT_EQ(aBytes[1], isTurned ? 0x12 : 0x34);
        EXPECT_EQ(aFixup.itsImage->isPixelDataLittleEndian(), isLittle != isTurned);
        EXPECT_EQ(aVR->GetTypeCode(), !hasElement ? VR::TYPE_UN : aBits == 8 ? VR::TYPE_OB : VR::TYPE_OW);
    }
}

// ---- Lossy history -------------------------------------------------------------------------------

TEST(FixupDICOMObject, ImageTypeBecomesDerivedAndNamesTheCompression)
{
    // Before, the compression, and after.
    const std::tuple<const char*, const char*, const char*> kRows[] = {
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
    for (const auto& [aBefore, aCompression, anAfter] : kRows)
    {
        DataSet aSet;
        aSet.SetText(DICOMTags::ImageType, aBefore);
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup().Run(aSet, aCompression);
            EXPECT_EQ(aSet.Text(DICOMTags::ImageType), anAfter);
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
    // Compression and ratio of the image; method and ratio before; then method, description before
    // " (QUORIX)", and ratio.
    const std::tuple<const char*, int, const char*, const char*, const char*, std::string, const char*>
        kRows[] = {
            {"JPG", 10, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION 10:1", "10"},
            {"jp2", 7, ABSENT, ABSENT, "ISO_15444_1", "LOSSY JPEG 2000 COMPRESSION 7:1", "7"},
            {"JPG", 9, "ISO_1", "5.5", "ISO_1\\ISO_10918_1", "LOSSY JPEG COMPRESSION 9:1", "5.5\\9"},
            {"JPG", 1, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION 1:1", "1"},
            {"JPG", 0, ABSENT, "5.5", "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1", "5.5"},
            {"JPG", -3, ABSENT, ABSENT, "ISO_10918_1", "LOSSY JPEG COMPRESSION ?:1", ABSENT},
            {"XYZ", 10, "ISO_15444_1", ABSENT, "ISO_15444_1", "LOSSY  COMPRESSION 10:1", "10"},
            {"XYZ", 10, ABSENT, ABSENT, ABSENT, "LOSSY  COMPRESSION 10:1", "10"},
        };
    for (const auto& [aCompression, aRatio, aMethodBefore, aRatioBefore, aMethod, aDescription, aRatioAfter] :
         kRows)
    {
        SCOPED_TRACE(aDescription);
        DataSet aSet;
        aSet.SetText(DICOMTags::DerivationDescription, "what was there before");
        aSet.SetText(DICOMTags::LossyImageCompressionMethod, aMethodBefore);
        aSet.SetText(DICOMTags::LossyImageCompressionRatio, aRatioBefore);
        for (const std::uint16_t anElement : kValueRangeElements)
        {
            aSet.SetNumber({0x0028, anElement}, 1);
        }
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup aFixup;
            aFixup.itsImage->setCompressionRatio(aPass == 0 ? aRatio : 99);
            aFixup.Run(aSet, aCompression);
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompression), "01");
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionMethod), aMethod);
            EXPECT_EQ(aSet.Text(DICOMTags::DerivationDescription), aDescription + " (QUORIX)");
            EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionRatio), aRatioAfter);
        }
        for (const std::uint16_t anElement : kValueRangeElements)
        {
            EXPECT_FALSE(aSet.Contains({0x0028, anElement})) << anElement;
        }
    }
}

/// A data set of that class and instance.
struct Instance : DataSet
{
    explicit Instance(const char* theClass = kClass, const char* theInstance = "1.2.3")
    {
        SetText(DICOMTags::SOPClassUID, theClass).SetText(DICOMTags::SOPInstanceUID, theInstance);
    }
    RWCString Source(std::size_t theItem) const
    {
        return ItemText(kSources, theItem, DICOMTags::SOPClassUID) + ' ' +
               ItemText(kSources, theItem, DICOMTags::SOPInstanceUID);
    }
};

TEST(FixupDICOMObject, SourceImageIsTheOriginalInstanceElseThisOne)
{
    for (const bool hasOriginal : {true, false})
    {
        Instance aSet;
        aSet.ReplaceVR(aSet.Factory().CreatePrivateString(aSet, "QUORIX0", "OrigSOPInstUID",
                                                          hasOriginal ? "9.8.7" : ""));
        for (int aPass = 0; aPass < 2; ++aPass)
        {
            Fixup().Run(aSet, "JPG");
            ASSERT_EQ(aSet.GetSequenceItemCount(kSources), 1u);
            EXPECT_EQ(aSet.Source(0), std::string(kClass) + (hasOriginal ? " 9.8.7" : " 1.2.3"));
        }
    }
}

TEST(FixupDICOMObject, SourceImageJoinsThoseThatAreThereAndReplacesWhatIsNoSequence)
{
    Instance aSet;
    aSet.ReplaceVR(aSet.Factory().CreateSequence(kSources));
    DataSet anItem;
    aSet.AddSequenceItem(kSources, anItem.SetText(DICOMTags::SOPInstanceUID, "5.5"));
    Fixup().Run(aSet, "JPG");
    ASSERT_EQ(aSet.GetSequenceItemCount(kSources), 2u);
    EXPECT_EQ(aSet.Source(0), "(absent) 5.5");
    EXPECT_EQ(aSet.Source(1), std::string(kClass) + " 1.2.3");
    Instance another;
    another.ReplaceVR(another.Factory().CreateString(kSources, VR::MakeTypeCode('L', 'O'), "text"));
    Fixup().Run(another, "JPG");
    EXPECT_EQ(another.GetSequenceItemCount(kSources), 1u);
}

TEST(FixupDICOMObject, WhatIsToldAlreadyIsToldOnceByMeaning)
{
    for (const Reading aReading : {Reading::BY_CONTRACT, Reading::BY_MEANING})
    {
        const bool isTwice = aReading == Reading::BY_CONTRACT;
        SCOPED_TRACE(isTwice);
        Instance aSet;
        Fixup().RunMarked(aSet, aReading);
        // What the next file brings into the data set: a description of its own, and a block of ours
        // elsewhere.
        aSet.SetText(DICOMTags::DerivationDescription, "cropped");
        aSet.ReplaceVR(
            aSet.Factory().CreateString({kPrivateGroup, 0x10}, VR::MakeTypeCode('L', 'O'), "QUORIX0"));
        Fixup().RunMarked(aSet, aReading);
        const auto aTwice = [&](const std::string& theText, const std::string& theMore)
        { return isTwice ? theText + "\\" + theMore : theText; };
        EXPECT_EQ(aSet.Text(DICOMTags::ImageType), aTwice("DERIVED\\PRIMARY\\\\JPEG LOSSY", "JPEG LOSSY"));
        EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionMethod), aTwice("ISO_10918_1", "ISO_10918_1"));
        EXPECT_EQ(aSet.Text(DICOMTags::LossyImageCompressionRatio), aTwice("10", "10"));
        EXPECT_EQ(aSet.GetSequenceItemCount(kSources), isTwice ? 2u : 1u);
        EXPECT_EQ(aSet.PrivateNumber("ReconstImageFlag"), 1);
        aSet.RemovePrivateVR("QUORIX0", "ReconstImageFlag");
        EXPECT_EQ(aSet.PrivateNumber("ReconstImageFlag"), isTwice ? 1 : NONE);
    }
}

TEST(FixupDICOMObject, SourceImageNeedsBothUIDs)
{
    for (const auto& [aClassUID, anInstanceUID] : {std::pair{"", "1.2.3"}, {kClass, ""}, {"", ""}})
    {
        Instance aSet(aClassUID, anInstanceUID);
        Fixup().Run(aSet, "JPG");
        EXPECT_FALSE(aSet.Contains(kSources));
        EXPECT_EQ(aSet.Text(DICOMTags::DerivationDescription), "LOSSY JPEG COMPRESSION 10:1 (QUORIX)");
    }
}

namespace
{
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
        EXPECT_EQ(aSet.GetTags(), std::vector{DICOMTags::Rows});
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
    EXPECT_EQ(aSet.GetTags(), std::vector{DICOMTags::Rows});
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
