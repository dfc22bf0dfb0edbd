// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "codecs/JPEGTestHelpers.h"
#include "image/ProcessHeapMemoryAllocator.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{

using Process = JpegSpec::Process;

constexpr Decoder::ColorModel kNone = Decoder::COLOR_MODEL_UNKNOWN;
constexpr Decoder::ColorModel kRGB = Decoder::COLOR_MODEL_RGB;
constexpr Decoder::ColorModel kYBR422 = Decoder::COLOR_MODEL_YBR_FULL_422;
constexpr Decoder::ColorModel kYBR = Decoder::COLOR_MODEL_YBR_FULL;

struct ColorCase
{
    const char* itsName;
    bool itsJFIF;
    int itsAdobeTransform; ///< -1: no marker
    std::vector<int> itsIds;
    Decoder::ColorModel itsDataSetModel;
    Decoder::ColorModel itsLossy;    ///< expected colour space of a lossy codestream
    Decoder::ColorModel itsLossless; ///< and of a lossless one
};

std::ostream& operator<<(std::ostream& theStream, const ColorCase& theCase)
{
    return theStream << theCase.itsName;
}

class JPEGDecoderColor : public testing::TestWithParam<ColorCase>
{
};

Samples ToRGB(int theY, int theCb, int theCr)
{
    const auto aClamp = [](double theValue)
    { return static_cast<std::uint16_t>(std::clamp(std::lround(theValue), 0L, 255L)); };
    return {aClamp(theY + 1.402 * (theCr - 128)),
            aClamp(theY - 0.344136286 * (theCb - 128) - 0.714136286 * (theCr - 128)),
            aClamp(theY + 1.772 * (theCb - 128))};
}

void ExpectColorSpace(const ColorCase& theCase, Process theProcess, Decoder::ColorModel theExpected)
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    aSpec.itsComponents = 3;
    aSpec.itsComponentIds = theCase.itsIds;
    aSpec.itsJFIF = theCase.itsJFIF;
    aSpec.itsAdobeTransform = theCase.itsAdobeTransform;
    const auto aDecoder = MakeDecoder(8, theCase.itsDataSetModel);
    const Samples aDecoded =
        DecodeSamples(*aDecoder, MakeJpeg(aSpec, MakeFlatSamples(aSpec, {120, 90, 200})));
    const bool aConverted = theExpected == kYBR422;
    EXPECT_EQ(Samples(aDecoded.begin(), aDecoded.begin() + 3),
              aConverted ? ToRGB(120, 90, 200) : (Samples{120, 90, 200}));
    EXPECT_EQ(aDecoder->GetCompressedColorspace(), theExpected);
    EXPECT_EQ(aDecoder->GetDecompressedColorspace(), kRGB);
    EXPECT_EQ(static_cast<Decoder&>(*aDecoder).GetDecompressedColorspace(), kRGB);
    EXPECT_EQ(aDecoder->GetRecommendedDecompressedColorspace(), kRGB);
    EXPECT_EQ(aDecoder->GetSamplesPerPixel(), 3);
    EXPECT_EQ(aDecoder->GetCompressionReversible(),
              theProcess == Process::LOSSLESS ? Decoder::CR_REVERSIBLE : Decoder::CR_IRREVERSIBLE);
}

// One wrong row, and a whole modality comes out in false colours.
TEST_P(JPEGDecoderColor, MarkersIdentifiersAndDataSetDecideTogether)
{
    ExpectColorSpace(GetParam(), Process::BASELINE, GetParam().itsLossy);
    ExpectColorSpace(GetParam(), Process::PROGRESSIVE, GetParam().itsLossy);
    ExpectColorSpace(GetParam(), Process::LOSSLESS, GetParam().itsLossless);
}

const std::vector<int> the123 = {1, 2, 3};
const std::vector<int> the012 = {0, 1, 2};
const std::vector<int> kRGBIds = {'R', 'G', 'B'};

INSTANTIATE_TEST_SUITE_P(
    Rows, JPEGDecoderColor,
    testing::Values(ColorCase{"JFIF", true, -1, the123, kNone, kYBR422, kRGB},
                    ColorCase{"JFIFWithRGBData", true, -1, the123, kRGB, kYBR422, kRGB},
                    ColorCase{"JFIFWithYBR422Data", true, -1, the123, kYBR422, kYBR422, kYBR422},
                    ColorCase{"JFIFWithYBRFullData", true, -1, the123, kYBR, kYBR422, kRGB},
                    ColorCase{"JFIFOutranksRGBIds", true, -1, kRGBIds, kNone, kYBR422, kRGB},
                    ColorCase{"JFIFOutranksAdobe", true, 0, the123, kNone, kYBR422, kRGB},
                    ColorCase{"Adobe0", false, 0, the123, kYBR422, kRGB, kRGB},
                    ColorCase{"Adobe1", false, 1, the123, kRGB, kYBR422, kYBR422},
                    ColorCase{"Adobe1OutranksRGBIds", false, 1, kRGBIds, kRGB, kYBR422, kYBR422},
                    ColorCase{"Ids123", false, -1, the123, kNone, kYBR422, kYBR422},
                    ColorCase{"Ids123WithRGBData", false, -1, the123, kRGB, kRGB, kRGB},
                    ColorCase{"Ids123WithYBRFullData", false, -1, the123, kYBR, kYBR422, kYBR422},
                    ColorCase{"RGBIds", false, -1, kRGBIds, kNone, kRGB, kRGB},
                    ColorCase{"RGBIdsWithYBR422Data", false, -1, kRGBIds, kYBR422, kRGB, kRGB},
                    ColorCase{"OtherIds", false, -1, the012, kNone, kYBR422, kRGB},
                    ColorCase{"OtherIdsWithRGBData", false, -1, the012, kRGB, kRGB, kRGB},
                    ColorCase{"OtherIdsWithYBR422Data", false, -1, the012, kYBR422, kYBR422, kYBR422},
                    ColorCase{"OtherIdsWithYBRFullData", false, -1, the012, kYBR, kYBR422, kRGB}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsName); });

struct ComponentCase
{
    int itsComponents;
    int itsAdobeTransform;
    const char* itsError;
};

// What has no way to RGB is refused; it must not come out as grey or as misread colour.
TEST(JPEGDecoderColor, TwoAndFourComponentsAreRefused)
{
    for (const ComponentCase& aCase : {ComponentCase{2, -1, "Unsupported color conversion request"},
                                       ComponentCase{4, -1, "Unsupported color conversion request"},
                                       ComponentCase{4, 0, "Unsupported color conversion request"},
                                       ComponentCase{4, 2, "Unsupported color conversion request"}})
    {
        JpegSpec aSpec;
        aSpec.itsComponents = aCase.itsComponents;
        aSpec.itsAdobeTransform = aCase.itsAdobeTransform;
        const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
        ByteSource aSource(aJpeg);
        const auto aDecoder = MakeDecoder(8);
        EXPECT_EQ(DecodeError(*aDecoder, aSource), "JPEGDecoder: error (read " +
                                                       std::to_string(aJpeg.size()) +
                                                       " bytes so far): " + aCase.itsError);
        EXPECT_EQ(aDecoder->GetCompressedColorspace(), kNone);
        EXPECT_EQ(aDecoder->GetDecompressedColorspace(), kRGB);
    }
}

// The same through a real data set, which describes the decoded pixels afterwards and still remembers its
// own colour model, so that a second decode gives the same pixels.
TEST(JPEGDecoderColor, DataSetDecidesBeforeAndAfterItIsRewritten)
{
    JpegSpec aSpec;
    aSpec.itsComponents = 3;
    aSpec.itsWidth = 9;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeFlatSamples(aSpec, {120, 90, 200}));
    for (const char* anInterpretation : {"RGB", "YBR_FULL_422", "YBR_FULL"})
    {
        DICOMDataObject aDataSet;
        const MVRFactory aFactory(aDataSet.GetDataDictionary(), aDataSet.GetEndian(),
                                  ProcessHeapMemoryAllocator::GetDefaultInstance());
        aDataSet.ReplaceVR(aFactory.CreateString(DICOMTags::PhotometricInterpretation, anInterpretation));
        for (int aRound = 0; aRound < 2; ++aRound)
        {
            JPEG8BitDecoder aDecoder;
            ByteSource aSource(aJpeg);
            aDecoder.SetSource(&aDataSet, aSource);
            Bytes aBuffer(aDecoder.GetOutputSize());
            aDecoder.Decode(0, aBuffer.data(), aBuffer.size());
            EXPECT_EQ(Samples(aBuffer.begin(), aBuffer.begin() + 3),
                      anInterpretation == std::string("RGB") ? (Samples{120, 90, 200}) : ToRGB(120, 90, 200));
            RWCString aText;
            EXPECT_TRUE(aDataSet.GetString(DICOMTags::PhotometricInterpretation, aText));
            EXPECT_EQ(aText, "RGB");
            std::int32_t aColumns = 0;
            EXPECT_TRUE(aDataSet.GetInteger(DICOMTags::Columns, aColumns));
            EXPECT_EQ(aColumns, 9);
        }
    }
}

TEST(JPEGDecoderColor, GreyStaysGreyWhateverTheDataSetSays)
{
    JpegSpec aSpec;
    aSpec.itsJFIF = true;
    const Samples aSamples = MakeFlatSamples(aSpec, {77});
    const auto aDecoder = MakeDecoder(8, kRGB);
    EXPECT_EQ(DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples)), aSamples);
    EXPECT_EQ(aDecoder->GetCompressedColorspace(), Decoder::COLOR_MODEL_GREY);
    EXPECT_EQ(aDecoder->GetDecompressedColorspace(), Decoder::COLOR_MODEL_GREY);
    EXPECT_EQ(aDecoder->GetRecommendedDecompressedColorspace(), Decoder::COLOR_MODEL_GREY);
    EXPECT_EQ(aDecoder->GetSamplesPerPixel(), 1);
}

JpegSpec LosslessYCbCr(int thePrecision)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::LOSSLESS;
    aSpec.itsComponents = 3;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsWidth = 64;
    aSpec.itsHeight = 64;
    return aSpec;
}

TEST(JPEGDecoderColor, TwelveBitLosslessIsConvertedByTheFormula)
{
    const JpegSpec aSpec = LosslessYCbCr(12);
    const Samples aStored = MakeSamples(aSpec);
    const Samples aDecoded = DecodeSamples(*MakeDecoder(12), MakeJpeg(aSpec, aStored));
    ASSERT_EQ(aDecoded.size(), aStored.size());
    for (std::size_t i = 0; i < aStored.size(); i += 3)
    {
        const double aCb = aStored[i + 1] - 2048.0;
        const double aCr = aStored[i + 2] - 2048.0;
        const double aRGB[3] = {aStored[i] + 1.402 * aCr, aStored[i] - 0.344136286 * aCb - 0.714136286 * aCr,
                                aStored[i] + 1.772 * aCb};
        for (std::size_t k = 0; k < 3; ++k)
        {
            ASSERT_NEAR(aDecoded[i + k], std::clamp(aRGB[k], 0.0, 4095.0), 0.6) << "sample " << i + k;
        }
    }
}

// Differences can add up to far more than the declared precision. The library would take such samples as
// indices into its conversion tables and read wild memory.
TEST(JPEGDecoderColor, SamplesAboveTheDeclaredPrecisionAreHarmless)
{
    JpegSpec aSpec = LosslessYCbCr(16);
    aSpec.itsDeclaredPrecision = 12;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
    const Samples aDecoded = DecodeSamples(*MakeDecoder(12), aJpeg);
    EXPECT_LE(*std::max_element(aDecoded.begin(), aDecoded.end()), 4095);
    EXPECT_EQ(DecodeSamples(*MakeDecoder(8), aJpeg).size(), aDecoded.size());
    EXPECT_EQ(DecodeSamples(*MakeDecoder(16), aJpeg).size(), aDecoded.size());
}

// A wider output colour space must widen the announced size along with the rows.
TEST(JPEGDecoderColor, OutputColorSpaceCanBeChosenBeforeDecoding)
{
    JpegSpec aSpec;
    aSpec.itsComponents = 3;
    aSpec.itsJFIF = true;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeFlatSamples(aSpec, {120, 90, 200}));
    struct Choice
    {
        Decoder::ColorModel itsModel;
        Decoder::ColorModel itsReported;
        Samples itsPixel; ///< empty: refused
        std::size_t itsComponents;
    };
    const std::vector<Choice> aChoices = {{Decoder::COLOR_MODEL_GREY, Decoder::COLOR_MODEL_GREY, {120}, 1},
                                          {kRGB, kRGB, ToRGB(120, 90, 200), 3},
                                          {kYBR422, kYBR422, {120, 90, 200}, 3},
                                          {kYBR, kNone, {}, 3},
                                          {Decoder::COLOR_MODEL_PALETTE_COLOR, kNone, {}, 3}};
    for (const Choice& aChoice : aChoices)
    {
        const auto aDecoder = MakeDecoder(8);
        ByteSource aSource(aJpeg);
        aDecoder->SetSource(nullptr, aSource);
        aDecoder->SetDecompressedColorspace(aChoice.itsModel);
        EXPECT_EQ(aDecoder->GetDecompressedColorspace(), aChoice.itsReported);
        ASSERT_EQ(aDecoder->GetOutputSize(), 64 * aChoice.itsComponents);
        Bytes aBuffer(aDecoder->GetOutputSize());
        if (aChoice.itsPixel.empty())
        {
            EXPECT_THROW(aDecoder->Decode(0, aBuffer.data(), aBuffer.size()), ExceptionBase);
            continue;
        }
        aDecoder->Decode(0, aBuffer.data(), aBuffer.size());
        for (std::size_t i = 0; i < aBuffer.size(); ++i)
        {
            ASSERT_EQ(aBuffer[i], aChoice.itsPixel[i % aChoice.itsComponents]);
        }
    }
}

} // namespace
