// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "decoding/FakeDecoder.h"

namespace
{
using Model = Decoder::ColorModel;

/// Attributes as a compressed image has them before anything is decoded.
void Fill(DICOMDataObject& theDataSet, const char* theInterpretation, int theSamples)
{
    Put(theDataSet, DICOMTags::SOPInstanceUID, "1.2.3.4");
    Put(theDataSet, DICOMTags::PhotometricInterpretation, theInterpretation);
    Put(theDataSet, DICOMTags::SamplesPerPixel, theSamples);
    Put(theDataSet, DICOMTags::Rows, 7);
    Put(theDataSet, DICOMTags::Columns, 8);
    Put(theDataSet, DICOMTags::BitsAllocated, 32);
}

TEST(DecoderHeaderUpdate, InterpretationDescribesTheOutput)
{
    constexpr struct
    {
        Model itsModel;
        bool itsConvertsToRGB;
        const char* itsOriginal;
        const char* itsExpected;
    } kCases[] = {
        {Decoder::COLOR_MODEL_GREY, false, "MONOCHROME1", "MONOCHROME1"},
        {Decoder::COLOR_MODEL_GREY, true, "MONOCHROME2", "MONOCHROME2"},
        {Decoder::COLOR_MODEL_GREY, true, "YBR_FULL", "MONOCHROME2"},
        {Decoder::COLOR_MODEL_GREY, true, "PALETTE COLOR", "MONOCHROME2"},
        {Decoder::COLOR_MODEL_RGB, true, "YBR_FULL_422", "RGB"},
        {Decoder::COLOR_MODEL_RGB, false, "YBR_FULL_422", "YBR_FULL_422"},
        {Decoder::COLOR_MODEL_RGB, false, "PALETTE COLOR", "PALETTE COLOR"},
        {Decoder::COLOR_MODEL_YBR_FULL_422, true, "YBR_FULL_422", "YBR_FULL_422"},
        {Decoder::COLOR_MODEL_YBR_FULL, true, "YBR_FULL", "YBR_FULL"},
        {Decoder::COLOR_MODEL_YBR_RCT, true, "YBR_RCT", "YBR_RCT"},
        {Decoder::COLOR_MODEL_YBR_ICT, false, "HSV", "HSV"},
    };
    for (const auto& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsModel << " " << aCase.itsOriginal);
        DICOMDataObject aDataSet;
        Fill(aDataSet, aCase.itsOriginal, 3);
        // A second decode of the same data set must find the same originals and give the same result.
        for (int aDecode = 0; aDecode < 2; ++aDecode)
        {
            FakeDecoder aDecoder(aCase.itsModel, 3, 16, aCase.itsConvertsToRGB);
            aDecoder.Open(&aDataSet);
            EXPECT_EQ(TextOf(aDataSet, DICOMTags::PhotometricInterpretation), aCase.itsExpected);
            EXPECT_EQ(ScratchOf(aDataSet, "DecompOrigPhotoInterp"), aCase.itsOriginal);
            EXPECT_EQ(NumberOf(aDataSet, DICOMTags::Rows), 3);
            EXPECT_EQ(NumberOf(aDataSet, DICOMTags::Columns), 4);
            EXPECT_EQ(NumberOf(aDataSet, DICOMTags::BitsAllocated), 16);
        }
    }
}

TEST(DecoderHeaderUpdate, MissingInterpretationIsRememberedAsMissing)
{
    DICOMDataObject aDataSet;
    for (int aDecode = 0; aDecode < 2; ++aDecode)
    {
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, 3, 8, true);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(TextOf(aDataSet, DICOMTags::PhotometricInterpretation), "RGB");
        EXPECT_EQ(aDecoder.GetOriginalPhotometricInterpretation(), Decoder::COLOR_MODEL_UNKNOWN);
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::SamplesPerPixel), 3) << "absent counts as 0, not as too few";
    }
    FakeDecoder aDecoder(Decoder::COLOR_MODEL_UNKNOWN);
    EXPECT_NO_THROW(aDecoder.Open(nullptr)) << "without a data set there is nothing to describe";
}

TEST(DecoderHeaderUpdate, ColourModelsThatNoCodecMayDeliver)
{
    for (const Model aModel : {Decoder::COLOR_MODEL_UNKNOWN, Decoder::COLOR_MODEL_YBR_PARTIAL_422,
                               Decoder::COLOR_MODEL_YBR_PARTIAL_420, Decoder::COLOR_MODEL_PALETTE_COLOR,
                               static_cast<Model>(10), static_cast<Model>(-1)})
    {
        DICOMDataObject aDataSet;
        Fill(aDataSet, "RGB", 3);
        FakeDecoder aDecoder(aModel, 3);
        ExpectStreamIOException([&] { aDecoder.Open(&aDataSet); },
                                "Decoder::UpdateDICOMHeader(): decompressed color space not "
                                "COLOR_MODEL_GREY or COLOR_MODEL_RGB",
                                6);
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::Rows), 7) << "nothing after the failure";
    }
}

TEST(DecoderHeaderUpdate, LossyFlagOnlyForIrreversible)
{
    constexpr std::pair<Decoder::CompressionReversible, const char*> kCases[] = {
        {Decoder::CR_UNSPECIFIED, "00"}, {Decoder::CR_REVERSIBLE, "00"}, {Decoder::CR_IRREVERSIBLE, "01"}};
    for (const auto& [aValue, anExpected] : kCases)
    {
        DICOMDataObject aDataSet;
        Fill(aDataSet, "MONOCHROME2", 1);
        Put(aDataSet, DICOMTags::LossyImageCompression, "00");
        FakeDecoder aDecoder;
        aDecoder.SetReversible(aValue);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(TextOf(aDataSet, DICOMTags::LossyImageCompression), anExpected) << aValue;
    }
}

TEST(DecoderHeaderUpdate, PaletteGoesOnlyUnderItsOddName)
{
    constexpr struct
    {
        const char* itsInterpretation;
        bool itsConvertsToRGB;
        bool itsHasBlue;
        bool itsRedStays;
        bool itsGreenStays;
    } kCases[] = {
        {"COLOR PALETTE", true, true, false, false}, // complete: captured and removed
        {"COLOR PALETTE", true, false, false, true}, // incomplete: the red descriptor alone goes
        {"COLOR PALETTE", false, true, true, true},
        {"PALETTE COLOR", true, true, true, true},
    };
    for (const auto& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsInterpretation << aCase.itsConvertsToRGB);
        DICOMDataObject aDataSet;
        Fill(aDataSet, aCase.itsInterpretation, 3);
        using namespace DICOMTags;
        for (const DICOMTag aTag :
             {RedPaletteColorLookupTableDescriptor, GreenPaletteColorLookupTableDescriptor,
              BluePaletteColorLookupTableDescriptor})
        {
            aDataSet.ReplaceVR(FactoryFor(aDataSet).CreateUnsignedShorts(aTag, {4, 0, 8}));
        }
        if (!aCase.itsHasBlue)
        {
            aDataSet.RemoveVR(BluePaletteColorLookupTableDescriptor);
        }
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, 3, 8, aCase.itsConvertsToRGB);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(aDataSet.Contains(RedPaletteColorLookupTableDescriptor), aCase.itsRedStays);
        EXPECT_EQ(aDataSet.Contains(GreenPaletteColorLookupTableDescriptor), aCase.itsGreenStays);
    }
}

TEST(DecoderHeaderUpdate, SamplesPerPixel)
{
    constexpr struct
    {
        int itsInDataSet; ///< -1: absent
        int itsInCodec;
        const char* itsRecorded;
        bool itsAccepted;
    } kCases[] = {
        {1, 1, "1", true},  {3, 3, "3", true},        {3, 1, "3", true},
        {4, 3, "4", true},  {0, 3, "(absent)", true}, {-1, 3, "(absent)", true},
        {1, 3, "1", false}, {2, 3, "2", false},       {5, 3, "(absent)", true},
    };
    for (const auto& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsInDataSet << " " << aCase.itsInCodec);
        DICOMDataObject aDataSet;
        Fill(aDataSet, "RGB", aCase.itsInDataSet);
        if (aCase.itsInDataSet < 0)
        {
            aDataSet.RemoveVR(DICOMTags::SamplesPerPixel);
        }
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, aCase.itsInCodec);
        if (aCase.itsAccepted)
        {
            aDecoder.Open(&aDataSet);
        }
        else
        {
            ExpectStreamIOException(
                [&] { aDecoder.Open(&aDataSet); },
                "Decoder::UpdateDICOMHeader(): SamplesPerPixel value exists in DICOM header is lesser than "
                "JP2 header for the SOP:1.2.3.4. SamplesPerPixel in DICOM Header = " +
                    std::to_string(aCase.itsInDataSet) + " , SamplesPerPixel in JP2 Header = 3 ",
                6);
        }
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::SamplesPerPixel),
                  aCase.itsAccepted ? aCase.itsInCodec : aCase.itsInDataSet);
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::BitsAllocated), aCase.itsAccepted ? 8 : 32);
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::Rows), 3) << "what was replaced before stays replaced";
        EXPECT_EQ(ScratchOf(aDataSet, "DecompOrigSamplesPerPixel"), aCase.itsRecorded);
    }
    DICOMDataObject aDataSet;
    Fill(aDataSet, "MONOCHROME2", 3);
    aDataSet.SetScratchpadValue("DecompOrigSamplesPerPixel", "1");
    FakeDecoder aDecoder;
    aDecoder.Open(&aDataSet);
    EXPECT_EQ(ScratchOf(aDataSet, "DecompOrigSamplesPerPixel"), "1") << "the first record counts";
}

TEST(DecoderHeaderUpdate, PixelRepresentation)
{
    constexpr struct
    {
        int itsInDataSet; ///< -1: absent
        int itsConvertsSign;
        int itsSigned;
        int itsExpected;
    } kCases[] = {
        {1, 0, 0, 1}, {0, 0, 1, 0}, {-1, 0, 0, 0}, {-1, 0, 1, 1},
        {1, 1, 0, 0}, {0, 1, 1, 1}, {0, 1, 7, 1},  {-1, 1, 0, 0},
    };
    for (const auto& aCase : kCases)
    {
        DICOMDataObject aDataSet;
        Fill(aDataSet, "MONOCHROME2", 1);
        if (aCase.itsInDataSet >= 0)
        {
            Put(aDataSet, DICOMTags::PixelRepresentation, aCase.itsInDataSet);
        }
        FakeDecoder aDecoder;
        aDecoder.itsConvertsSign = aCase.itsConvertsSign;
        aDecoder.SetSigned(aCase.itsSigned);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(NumberOf(aDataSet, DICOMTags::PixelRepresentation), aCase.itsExpected)
            << aCase.itsInDataSet << " " << aCase.itsConvertsSign << " " << aCase.itsSigned;
    }
}

TEST(DecoderHeaderUpdate, PlanarConfigurationOnlyForThreeSamples)
{
    struct Case
    {
        int itsInDataSet; ///< -1: absent
        int itsSamples;
        const char* itsRecorded;
        int itsExpected;
    };
    constexpr Case kCases[] = {{1, 3, "1", 0},       {0, 3, "0", 0},        {-1, 3, "0", 0},
                               {9, 3, "1", 0},       {1, 1, "(absent)", 1}, {-1, 1, "(absent)", -1},
                               {1, 4, "(absent)", 1}};
    for (const Case& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsInDataSet << " " << aCase.itsSamples);
        DICOMDataObject aDataSet;
        Fill(aDataSet, "RGB", aCase.itsSamples);
        if (aCase.itsInDataSet >= 0)
        {
            Put(aDataSet, DICOMTags::PlanarConfiguration, aCase.itsInDataSet);
        }
        for (int aDecode = 0; aDecode < 2; ++aDecode)
        {
            FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, aCase.itsSamples);
            aDecoder.Open(&aDataSet);
            EXPECT_EQ(ScratchOf(aDataSet, "DecompOrigPlanarConfig"), aCase.itsRecorded);
            EXPECT_EQ(NumberOf(aDataSet, DICOMTags::PlanarConfiguration), aCase.itsExpected);
        }
    }
}
} // namespace
