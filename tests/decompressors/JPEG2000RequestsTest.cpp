// SPDX-License-Identifier: Apache-2.0
// Requests for JPEG 2000 images: what comes out, and how image and data set describe it.
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "support/DicomBuilder.h"
#include "support/Jpeg2000Streams.h"
#include "support/PlainColour.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/TransferSyntaxType.h"

using namespace Jpeg2000Streams;

namespace
{
const RWCString& kLossless = TransferSyntaxType::TSJPEG2KLosslessUID;
const RWCString& kAny = TransferSyntaxType::TSJPEG2KUID;

/// What a data set says of the grey image.
struct GreySet
{
    std::uint16_t itsBitsAllocated = 16;
    std::uint16_t itsBitsStored = 12;
    std::uint16_t itsPixelRepresentation = 1;
};

Bytes GreyFile(const Bytes& theFrame, const GreySet& theSet = {})
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, kLossless);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", kGreyHeight, kGreyWidth, theSet.itsBitsAllocated,
                                theSet.itsBitsStored, theSet.itsPixelRepresentation);
    Bytes aFragment = theFrame;
    aFragment.resize((aFragment.size() + 1) / 2 * 2);
    return aBuilder.AddEncapsulatedPixelData({aFragment}).Build();
}

Bytes ColourFile(const Bytes& theFrame, int theWidth, int theHeight, const std::string& theInterpretation,
                 const RWCString& theUID, int theSamples = 3)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, theUID);
    aBuilder.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2.3");
    aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theSamples), theInterpretation,
                                static_cast<std::uint16_t>(theHeight), static_cast<std::uint16_t>(theWidth),
                                8, 8);
    Bytes aFragment = theFrame;
    aFragment.resize((aFragment.size() + 1) / 2 * 2);
    return aBuilder.AddEncapsulatedPixelData({aFragment}).Build();
}

Bytes ColourPixels()
{
    Bytes anImage;
    for (int i = 0; i < kColourWidth * kColourHeight * 3; ++i)
    {
        anImage.push_back(
            static_cast<std::uint8_t>(ColourValue(i % 3, i / 3 % kColourWidth, i / 3 / kColourWidth)));
    }
    return anImage;
}

/// Every word of the grey image, as theCode makes it of the value.
void ExpectGrey(const Outcome& theOutcome, const std::function<int(int)>& theCode)
{
    const Bytes aPixels = theOutcome.Pixels();
    ASSERT_EQ(aPixels.size(), 2u * kGreyWidth * kGreyHeight);
    for (int i = 0; i < kGreyWidth * kGreyHeight; ++i)
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, aPixels.data() + 2 * i, 2);
        EXPECT_EQ(aWord, theCode(GreyValue(i % kGreyWidth, i / kGreyWidth))) << i;
    }
}

int Attribute(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aValue = -1;
    theDataSet.GetInteger(theTag, aValue);
    return aValue;
}

RWCString Text(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    RWCString aText = "none";
    theDataSet.GetString(theTag, aText);
    return aText;
}

int RoundedRatio(double theSize, double theBytes)
{
    return static_cast<int>(theSize / theBytes + 0.5);
}
} // namespace

TEST(JPEG2000Requests, TheCodestreamTellsTheSignAndTheDataSetTheBits)
{
    struct Case
    {
        GreySet itsSet;
        int itsMask; ///< what is left of two's complement
    };
    for (const Case& aCase : {Case{{16, 12, 1}, 0xfff}, Case{{16, 12, 0}, 0xfff}, Case{{16, 16, 1}, 0xffff},
                              Case{{16, 14, 0}, 0x3fff}, Case{{16, 10, 1}, 0xfff}})
    {
        for (const bool isFile : {false, true})
        {
            DICOMDataObject aDataSet;
            const Outcome anOutcome =
                RunPart10(GreyFile(isFile ? MakeJp2(Grey12()) : Grey12(), aCase.itsSet), &aDataSet);
            ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
            ExpectGrey(anOutcome, [&](int theValue) { return theValue & aCase.itsMask; });
            EXPECT_TRUE(anOutcome.Image()->isSigned());
            EXPECT_EQ(anOutcome.Image()->getBitsAllocated(), 16);
            EXPECT_EQ(anOutcome.Image()->getBitsStored(), aCase.itsSet.itsBitsStored);
            EXPECT_EQ(Attribute(aDataSet, DICOMTags::PixelRepresentation), 1);
        }
    }
}

TEST(JPEG2000Requests, UnsignedPixelsAreCalledUnsigned)
{
    DICOMDataObject aDataSet;
    const Outcome anOutcome = RunPart10(GreyFile(Grey12()), &aDataSet, {0, 1, true});
    ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
    ExpectGrey(anOutcome, [](int theValue) { return theValue + 2048; });
    EXPECT_FALSE(anOutcome.Image()->isSigned());

    const Outcome aBare = RunBareImage(Grey12(), kLossless, &aDataSet, {0, 1, true});
    ASSERT_EQ(aBare.Code(), 0) << aBare.Message();
    ExpectGrey(aBare, [](int theValue) { return theValue + 2048; });
    EXPECT_FALSE(aBare.Image()->isSigned());
}

TEST(JPEG2000Requests, ReducedImagesAreDescribedAsTheyAre)
{
    struct Case
    {
        int itsRequested;
        int itsApplied;
        int itsColumns;
        int itsRows;
    };
    for (const Case& aCase : {Case{2, 2, 6, 5}, Case{3, 3, 3, 2}, Case{9, 4, 1, 1}})
    {
        DICOMDataObject aDataSet;
        const Outcome aPart10 = RunPart10(GreyFile(Grey12()), &aDataSet, {0, aCase.itsRequested});
        const Outcome aBare = RunBareImage(Grey12(), kLossless, nullptr, {0, aCase.itsRequested});
        for (const Outcome* const anOutcome : {&aPart10, &aBare})
        {
            ASSERT_EQ(anOutcome->Code(), 0) << anOutcome->Message();
            const Renderable& anImage = *anOutcome->Image();
            EXPECT_EQ(anImage.getScaleFactor(), aCase.itsApplied);
            EXPECT_EQ(anImage.getColumns(), aCase.itsColumns);
            EXPECT_EQ(anImage.getRows(), aCase.itsRows);
            EXPECT_EQ(anImage.getPixelDataSize(),
                      2u * static_cast<unsigned>(aCase.itsColumns * aCase.itsRows));
            // The compressed bytes cover the whole image, so its full size counts.
            const double aFullSize = static_cast<double>(anImage.getPixelDataSize()) *
                                     static_cast<double>(1 << (2 * (aCase.itsApplied - 1)));
            EXPECT_EQ(anImage.getCompressionRatio(),
                      RoundedRatio(aFullSize, static_cast<double>(Grey12().size())));
        }
        EXPECT_EQ(Attribute(aDataSet, DICOMTags::Columns), aCase.itsColumns);
        EXPECT_EQ(Attribute(aDataSet, DICOMTags::Rows), aCase.itsRows);
    }
}

TEST(JPEG2000Requests, ReportsEveryFailure)
{
    struct Case
    {
        const char* itsName;
        Bytes itsFile;
        int itsScaleFactor;
        int itsCode;
        std::string itsText; ///< the beginning
    };
    const std::string kHeader = "JPEG2000Decoder::JPEG2000Decoder: ";
    // 66000 wide and 15 high, image and tile; 1000 × 1000 pixels have bytes enough for that.
    const Bytes aWide =
        Patch(Patch(Lossy(), 8, {0, 1, 1, 0xd0, 0, 0, 0, 15}), 24, {0, 1, 1, 0xd0, 0, 0, 0, 15});
    for (const Case& aCase :
         {Case{"a buffer for bytes", GreyFile(Grey12(), {8, 8, 1}), 1, 62,
               "JPEG2000Decoder::Decode Output buffer too small"},
          Case{"scale factor 0", GreyFile(Grey12()), 0, 37, kHeader + "Invalid output scale request"},
          Case{"two components", GreyFile(Pair()), 1, 37, kHeader + "Image component count not in (1, 3)"},
          Case{"no codestream", GreyFile(Bytes(40, 1)), 1, 38,
               "A logic error occurred in the Decompressor: "
               "JPEG2000Decoder::JPEG2000Decoder()[create codestream]: "},
          Case{"wider than Columns can say", ColourFile(aWide, 1000, 1000, "RGB", kAny), 1, 62,
               "DICOMPart10StreamDecompressor::Decode: a data set cannot describe 15 rows of 66000 pixels"},
          Case{
              "more samples than the data set has",
              ColourFile(Colour(), kColourWidth, kColourHeight, "MONOCHROME2", kLossless, 1), 1, 6,
              "Decoder::UpdateDICOMHeader(): SamplesPerPixel value exists in DICOM header is lesser than JP2 "
              "header for the SOP:1.2.3."}})
    {
        SCOPED_TRACE(aCase.itsName);
        DICOMDataObject aDataSet;
        const Outcome anOutcome = RunPart10(aCase.itsFile, &aDataSet, {0, aCase.itsScaleFactor});
        EXPECT_EQ(anOutcome.Code(), aCase.itsCode);
        EXPECT_EQ(anOutcome.Message().substr(0, aCase.itsText.size()), aCase.itsText);
        EXPECT_EQ(anOutcome.Image(), nullptr);
        EXPECT_EQ(anOutcome.itsAllocator->GetLiveBlocks(), 0u);
    }
    const Outcome aBare = RunBareImage(Pair(), kAny, nullptr);
    EXPECT_EQ(aBare.Code(), 62);
    EXPECT_EQ(aBare.Message(), "Decoder exception: StreamIOException: StreamIOException: " + kHeader +
                                   "Image component count not in (1, 3) as required by DICOM");
}

TEST(JPEG2000Requests, ColourComesAsRGB)
{
    struct Case
    {
        Bytes itsStream;
        const char* itsInterpretation;
        bool itsConverted; ///< the samples are YBR_FULL
    };
    for (const Case& aCase : {Case{Colour(), "YBR_RCT", false}, Case{Colour(), "RGB", false},
                              Case{PlainColour(), "RGB", false}, Case{PlainColour(), "YBR_FULL", true}})
    {
        SCOPED_TRACE(aCase.itsInterpretation);
        const Bytes anExpected = aCase.itsConverted ? PlainYBRToRGB(ColourPixels()) : ColourPixels();
        DICOMDataObject aDataSet;
        const Outcome aPart10 = RunPart10(
            ColourFile(aCase.itsStream, kColourWidth, kColourHeight, aCase.itsInterpretation, kLossless),
            &aDataSet);
        DICOMDataObject aBareSet;
        const MVRFactory aFactory(aBareSet.GetDataDictionary(), aBareSet.GetEndian(),
                                  VR::GetDefaultMemoryAllocater());
        aBareSet.ReplaceVR(
            aFactory.CreateString(DICOMTags::PhotometricInterpretation, aCase.itsInterpretation));
        const Outcome aBare = RunBareImage(MakeJp2(aCase.itsStream), kAny, &aBareSet);
        for (const Outcome* const anOutcome : {&aPart10, &aBare})
        {
            ASSERT_EQ(anOutcome->Code(), 0) << anOutcome->Message();
            EXPECT_EQ(anOutcome->Pixels(), anExpected);
            EXPECT_EQ(anOutcome->Image()->getPhotometricInterpretation(), Renderable::RGB);
        }
        EXPECT_EQ(Text(aDataSet, DICOMTags::PhotometricInterpretation), "RGB");
    }
}

TEST(JPEG2000Requests, LossIsWrittenDownWhereItIsCertain)
{
    struct Case
    {
        Bytes itsStream;
        int itsSize;
        const RWCString& itsUID;
        const char* itsFlag;
    };
    for (const Case& aCase : {Case{Lossy(), kLossySize, kAny, "01"},
                              Case{Lossy(), kLossySize, kLossless, "none"}, Case{Colour(), 0, kAny, "none"}})
    {
        const int aWidth = aCase.itsSize > 0 ? aCase.itsSize : kColourWidth;
        const int aHeight = aCase.itsSize > 0 ? aCase.itsSize : kColourHeight;
        DICOMDataObject aDataSet;
        const Outcome anOutcome =
            RunPart10(ColourFile(aCase.itsStream, aWidth, aHeight, "YBR_ICT", aCase.itsUID), &aDataSet);
        ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
        EXPECT_EQ(Text(aDataSet, DICOMTags::LossyImageCompression), aCase.itsFlag);
    }
    for (const RWCString& aUID : {kLossless, kAny})
    {
        const Outcome aBare = RunBareImage(Colour(), aUID, nullptr);
        ASSERT_EQ(aBare.Code(), 0) << aBare.Message();
        EXPECT_EQ(aBare.Image()->isLossyImageCompression(), aUID == kAny);
        EXPECT_EQ(
            aBare.Image()->getCompressionRatio(),
            RoundedRatio(static_cast<double>(ColourPixels().size()), static_cast<double>(Colour().size())));
    }
}
