// SPDX-License-Identifier: Apache-2.0
#include "decoding/Decoder.h"

#include <limits>
#include <tuple>

#include <gtest/gtest.h>

#include "decoding/FakeDecoder.h"
#include "toolkit/base/Exceptions.h"

namespace
{
TEST(Decoder, BitsAreBroughtIntoRange)
{
    FakeDecoder aDecoder;
    constexpr std::pair<std::int16_t, int> kAllocated[] = {{1, 8},   {8, 8},   {9, 16},
                                                           {12, 16}, {32, 16}, {-5, 8}};
    for (const auto& [aBits, anExpected] : kAllocated)
    {
        aDecoder.SetBitsAllocatedPerSample(aBits);
        EXPECT_EQ(aDecoder.GetBitsAllocatedPerSample(), anExpected) << aBits;
    }
    aDecoder.SetBitsAllocatedPerSample(16);
    constexpr std::pair<int, int> kStored[] = {{20, 16}, {16, 16}, {12, 12}, {1, 1}, {0, 1}, {-7, 1}};
    for (const auto& [aBits, anExpected] : kStored)
    {
        aDecoder.SetBitsStoredPerSample(aBits);
        EXPECT_EQ(aDecoder.GetBitsStoredPerSample(), anExpected) << aBits;
        EXPECT_EQ(aDecoder.GetHighBit(), anExpected - 1) << aBits;
    }
}

TEST(Decoder, PlainDefaults)
{
    FakeDecoder aDecoder;
    EXPECT_EQ(aDecoder.GetScaleFactor(), 1);
    EXPECT_EQ(aDecoder.GetInputBufferSize(), 0u);
    EXPECT_EQ(aDecoder.GetDefaultInputBufferSize(), 4096u);
    EXPECT_EQ(aDecoder.GetTotalBytesRead(), 0u) << "before there is a source";
    aDecoder.SetCompressionReversible(Decoder::CR_REVERSIBLE);
    EXPECT_EQ(aDecoder.GetCompressionReversible(), Decoder::CR_UNSPECIFIED);
    EXPECT_THROW(aDecoder.ReadOne(), DLRuntimeException) << "reading before SetSource must not crash";
}

TEST(Decoder, SizesInBothWidths)
{
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    // Width, height, samples, bits and scale factor; the sizes of either accessor.
    constexpr std::tuple<std::uint64_t, std::uint64_t, int, int, int, int, std::uint64_t> kCases[] = {
        {4, 3, 1, 8, 1, 12, 12},
        {4, 3, 3, 16, 5, 72, 72},
        {4, 3, 3, 12, 1, 36, 36},
        {0, 3, 3, 16, 1, 0, 0},
        {4, 3, 0, 8, 1, -1, 0},
        {4, 3, 1, 0, 1, -1, 0},
        {4, 3, 1, 8, 0, -1, 0},
        {65535, 65535, 3, 16, 1, -786426, 25769017350},
        {65536, 65536, 1, 8, 1, 0, 4294967296},
        {std::uint64_t{1} << 32, std::uint64_t{1} << 32, 1, 8, 1, 0, kLargest},
        {std::uint64_t{1} << 31, std::uint64_t{1} << 31, 4, 16, 1, 0, kLargest},
    };
    for (const auto& [aWidth, aHeight, aSamples, aBits, aScaleFactor, aBufferSize, anOutputSize] : kCases)
    {
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_GREY, aSamples, aBits);
        aDecoder.itsWidth = aWidth;
        aDecoder.itsHeight = aHeight;
        aDecoder.SetScaleFactor(aScaleFactor);
        EXPECT_EQ(aDecoder.GetDecompressedBufferSize(), aBufferSize) << aWidth;
        EXPECT_EQ(aDecoder.GetOutputSize(), anOutputSize) << aWidth;
    }
}

TEST(Decoder, OriginalInterpretationIsTheRecordedOne)
{
    // Each where its model is; what has none stands behind them.
    constexpr const char* kTerms[] = {"",
                                      "MONOCHROME1",
                                      "RGB",
                                      "YBR_FULL_422",
                                      "YBR_PARTIAL_422",
                                      "YBR_PARTIAL_420",
                                      "YBR_FULL",
                                      "YBR_RCT",
                                      "YBR_ICT",
                                      "PALETTE COLOR",
                                      "MONOCHROME2",
                                      "rgb",
                                      "COLOR PALETTE",
                                      "MONOCHROME3"};
    for (int i = 0; i < static_cast<int>(std::size(kTerms)); ++i)
    {
        const char* const aText = kTerms[i];
        const int aModel = i == 10 ? 1 : i < 10 ? i : 0;
        // In the attribute, and in the scratch pad whatever the attribute says.
        for (const bool aRecorded : {false, true})
        {
            DataSet aDataSet;
            aDataSet.SetText(DICOMTags::PhotometricInterpretation, aRecorded ? "HSV" : aText);
            if (aRecorded)
            {
                aDataSet.SetScratchpadValue("DecompOrigPhotoInterp", aText);
            }
            FakeDecoder aDecoder;
            EXPECT_EQ(aDecoder.GetOriginalPhotometricInterpretation(), 0) << "without a data set";
            aDecoder.Open(&aDataSet);
            EXPECT_EQ(aDecoder.GetTotalBytesRead(), 1u);
            EXPECT_EQ(aDecoder.GetOriginalPhotometricInterpretation(), aModel) << aText;
        }
    }
}

// ---- What a data set says after a decode ---------------------------------------------------------

using Model = Decoder::ColorModel;

/// Attributes as a compressed image has them before anything is decoded.
struct Compressed : DataSet
{
    Compressed(const char* theInterpretation, int theSamples)
    {
        SetGrey(7, 8, 32, 32);
        RemoveVR(DICOMTags::PixelRepresentation);
        SetNumber(DICOMTags::SamplesPerPixel, theSamples);
        SetText(DICOMTags::PhotometricInterpretation, theInterpretation);
        SetText(DICOMTags::SOPInstanceUID, "1.2.3.4");
    }
};

constexpr int kAbsent = DataSet::kNone;

TEST(DecoderHeaderUpdate, InterpretationDescribesTheOutput)
{
    const std::tuple<Model, bool, const char*, const char*> kCases[] = {
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
        // Models that no codec may deliver.
        {Decoder::COLOR_MODEL_UNKNOWN, true, "RGB", nullptr},
        {Decoder::COLOR_MODEL_YBR_PARTIAL_422, true, "RGB", nullptr},
        {Decoder::COLOR_MODEL_YBR_PARTIAL_420, true, "RGB", nullptr},
        {Decoder::COLOR_MODEL_PALETTE_COLOR, true, "RGB", nullptr},
        {static_cast<Model>(10), true, "RGB", nullptr},
        {static_cast<Model>(-1), true, "RGB", nullptr}};
    for (const auto& [aModel, isConverted, anOriginal, anExpected] : kCases)
    {
        SCOPED_TRACE(testing::Message() << aModel << " " << anOriginal);
        Compressed aDataSet(anOriginal, 3);
        // A second decode of the same data set must find the same originals and give the same result.
        for (int aDecode = 0; aDecode < 2; ++aDecode)
        {
            FakeDecoder aDecoder(aModel, 3, 16, isConverted);
            const std::string aFailure = FailureOf([&] { aDecoder.Open(&aDataSet); });
            if (anExpected == nullptr)
            {
                EXPECT_EQ(aFailure, "Decoder::UpdateDICOMHeader(): decompressed color space not "
                                    "COLOR_MODEL_GREY or COLOR_MODEL_RGB [6, 0]");
                EXPECT_EQ(aDataSet.Number(DICOMTags::Rows), 7) << "nothing after the failure";
                continue;
            }
            EXPECT_EQ(aDataSet.Text(DICOMTags::PhotometricInterpretation), anExpected);
            EXPECT_EQ(aDataSet.Scratch("DecompOrigPhotoInterp"), anOriginal);
            EXPECT_EQ(aDataSet.Number(DICOMTags::Rows), 3);
            EXPECT_EQ(aDataSet.Number(DICOMTags::Columns), 4);
            EXPECT_EQ(aDataSet.Number(DICOMTags::BitsAllocated), 16);
        }
    }
}

TEST(DecoderHeaderUpdate, MissingInterpretationIsRememberedAsMissing)
{
    DataSet aDataSet;
    for (int aDecode = 0; aDecode < 2; ++aDecode)
    {
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, 3, 8, true);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(aDataSet.Text(DICOMTags::PhotometricInterpretation), "RGB");
        EXPECT_EQ(aDecoder.GetOriginalPhotometricInterpretation(), Decoder::COLOR_MODEL_UNKNOWN);
        EXPECT_EQ(aDataSet.Number(DICOMTags::SamplesPerPixel), 3) << "absent counts as 0, not as too few";
    }
    FakeDecoder aDecoder(Decoder::COLOR_MODEL_UNKNOWN);
    EXPECT_NO_THROW(aDecoder.Open(nullptr)) << "without a data set there is nothing to describe";
}

TEST(DecoderHeaderUpdate, PaletteGoesOnlyUnderItsOddName)
{
    // The interpretation, whether the codec converts, whether there is blue; whether red and green stay.
    constexpr std::tuple<const char*, bool, bool, bool, bool> kCases[] = {
        {"COLOR PALETTE", true, true, false, false}, // complete: captured and removed
        {"COLOR PALETTE", true, false, false, true}, // incomplete: the red descriptor alone goes
        {"COLOR PALETTE", false, true, true, true},
        {"PALETTE COLOR", true, true, true, true},
    };
    for (const auto& [aText, isConverted, hasBlue, isRedLeft, isGreenLeft] : kCases)
    {
        SCOPED_TRACE(testing::Message() << aText << isConverted << hasBlue);
        Compressed aDataSet(aText, 3);
        using namespace DICOMTags;
        for (const DICOMTag aTag :
             {RedPaletteColorLookupTableDescriptor, GreenPaletteColorLookupTableDescriptor,
              BluePaletteColorLookupTableDescriptor})
        {
            aDataSet.SetNumbers(aTag, {4, 0, 8});
        }
        if (!hasBlue)
        {
            aDataSet.RemoveVR(BluePaletteColorLookupTableDescriptor);
        }
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, 3, 8, isConverted);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(aDataSet.Contains(RedPaletteColorLookupTableDescriptor), isRedLeft);
        EXPECT_EQ(aDataSet.Contains(GreenPaletteColorLookupTableDescriptor), isGreenLeft);
    }
}

TEST(DecoderHeaderUpdate, SamplesPerPixel)
{
    // In the data set, in the codec, in the scratch pad afterwards; and whether it is accepted.
    constexpr std::tuple<int, int, const char*, bool> kCases[] = {
        {1, 1, "1", true},  {3, 3, "3", true},        {3, 1, "3", true},
        {4, 3, "4", true},  {0, 3, "(absent)", true}, {kAbsent, 3, "(absent)", true},
        {1, 3, "1", false}, {2, 3, "2", false},       {5, 3, "(absent)", true},
    };
    for (const auto& [anOriginal, aSamples, aRecord, isAccepted] : kCases)
    {
        SCOPED_TRACE(testing::Message() << anOriginal << " " << aSamples);
        Compressed aDataSet("RGB", 3);
        aDataSet.SetNumber(DICOMTags::SamplesPerPixel, anOriginal);
        FakeDecoder aDecoder(Decoder::COLOR_MODEL_RGB, aSamples);
        const std::string aFailure = FailureOf([&] { aDecoder.Open(&aDataSet); });
        EXPECT_EQ(
            aFailure,
            isAccepted
                ? "(nothing)"
                : "Decoder::UpdateDICOMHeader(): SamplesPerPixel value exists in DICOM header is lesser than "
                  "JP2 header for the SOP:1.2.3.4. SamplesPerPixel in DICOM Header = " +
                      std::to_string(anOriginal) + " , SamplesPerPixel in JP2 Header = 3  [6, 0]");
        EXPECT_EQ(aDataSet.Number(DICOMTags::SamplesPerPixel), isAccepted ? aSamples : anOriginal);
        EXPECT_EQ(aDataSet.Number(DICOMTags::BitsAllocated), isAccepted ? 8 : 32);
        EXPECT_EQ(aDataSet.Number(DICOMTags::Rows), 3) << "what was replaced before stays replaced";
        EXPECT_EQ(aDataSet.Scratch("DecompOrigSamplesPerPixel"), aRecord);
    }
    Compressed aDataSet("MONOCHROME2", 3);
    aDataSet.SetScratchpadValue("DecompOrigSamplesPerPixel", "1");
    FakeDecoder aDecoder;
    aDecoder.Open(&aDataSet);
    EXPECT_EQ(aDataSet.Scratch("DecompOrigSamplesPerPixel"), "1") << "the first record counts";
}

TEST(DecoderHeaderUpdate, PixelRepresentation)
{
    // In the data set, whether the codec converts signs, its sign; and the representation afterwards.
    constexpr std::tuple<int, int, int, int> kCases[] = {
        {1, 0, 0, 1}, {0, 0, 1, 0}, {kAbsent, 0, 0, 0}, {kAbsent, 0, 1, 1},
        {1, 1, 0, 0}, {0, 1, 1, 1}, {0, 1, 7, 1},       {kAbsent, 1, 0, 0}};
    for (const auto& [anOriginal, aConverts, aSign, anExpected] : kCases)
    {
        Compressed aDataSet("MONOCHROME2", 1);
        aDataSet.SetNumber(DICOMTags::PixelRepresentation, anOriginal);
        FakeDecoder aDecoder;
        aDecoder.itsConvertsSign = aConverts;
        aDecoder.SetSigned(aSign);
        aDecoder.Open(&aDataSet);
        EXPECT_EQ(aDataSet.Number(DICOMTags::PixelRepresentation), anExpected)
            << anOriginal << aConverts << aSign;
    }
}

TEST(DecoderHeaderUpdate, PlanarConfigurationOnlyForThreeSamples)
{
    // In the data set, samples, in the scratch pad afterwards, and in the data set then.
    constexpr std::tuple<int, int, const char*, int> kCases[] = {
        {1, 3, "1", 0},       {0, 3, "0", 0},        {kAbsent, 3, "0", 0},
        {9, 3, "1", 0},       {1, 1, "(absent)", 1}, {kAbsent, 1, "(absent)", kAbsent},
        {1, 4, "(absent)", 1}};
    for (const auto& [anOriginal, aSamples, aRecord, anExpected] : kCases)
    {
        SCOPED_TRACE(testing::Message() << anOriginal << " " << aSamples);
        Compressed aDataSet("RGB", aSamples);
        aDataSet.SetNumber(DICOMTags::PlanarConfiguration, anOriginal);
        for (int aDecode = 0; aDecode < 2; ++aDecode)
        {
            FakeDecoder(Decoder::COLOR_MODEL_RGB, aSamples).Open(&aDataSet);
            EXPECT_EQ(aDataSet.Scratch("DecompOrigPlanarConfig"), aRecord);
            EXPECT_EQ(aDataSet.Number(DICOMTags::PlanarConfiguration), anExpected);
        }
    }
}
} // namespace
