// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "codecs/JPEGTestHelpers.h"

namespace
{

using Process = JpegSpec::Process;

constexpr Decoder::ColorModel kNone = Decoder::COLOR_MODEL_UNKNOWN;
constexpr Decoder::ColorModel kRGB = Decoder::COLOR_MODEL_RGB;
constexpr Decoder::ColorModel kYBR422 = Decoder::COLOR_MODEL_YBR_FULL_422;
constexpr Decoder::ColorModel kYBR = Decoder::COLOR_MODEL_YBR_FULL;

using Model = Decoder::ColorModel;

/// Name; whether there is a JFIF marker; the Adobe marker's transform, -1 for none; component identifiers;
/// what the data set says; the colour spaces expected of a lossy codestream and of a lossless one.
using ColorCase = std::tuple<const char*, bool, int, std::vector<int>, Model, Model, Model>;

const Samples kStored = {120, 90, 200};
const Samples kConverted = {221, 82, 53};

/// What becomes of an image that is thePixel all over.
Samples FirstPixel(JPEGDecoder& theDecoder, const JpegSpec& theSpec, const std::vector<int>& thePixel)
{
    const Samples aSamples = DecodeSamples(theDecoder, MakeFlatJpeg(theSpec, thePixel));
    return {aSamples.begin(), aSamples.begin() + 3};
}

void ExpectColorSpace(const ColorCase& theCase, Process theProcess)
{
    const auto& [aName, isJFIF, anAdobeTransform, anIds, aModel, aLossy, aLossless] = theCase;
    const Model anExpected = theProcess == Process::LOSSLESS ? aLossless : aLossy;
    JpegSpec aSpec{8, 8, 3, 8, theProcess, anIds};
    aSpec.itsJFIF = isJFIF;
    aSpec.itsAdobeTransform = anAdobeTransform;
    const auto aDecoder = MakeDecoder(8, aModel);
    EXPECT_EQ(FirstPixel(*aDecoder, aSpec, {120, 90, 200}), anExpected == kYBR422 ? kConverted : kStored)
        << aName;
    EXPECT_EQ(aDecoder->GetCompressedColorspace(), anExpected) << aName;
    EXPECT_EQ(aDecoder->GetDecompressedColorspace(), kRGB);
    EXPECT_EQ(static_cast<Decoder&>(*aDecoder).GetDecompressedColorspace(), kRGB);
    EXPECT_EQ(aDecoder->GetRecommendedDecompressedColorspace(), kRGB);
    EXPECT_EQ(aDecoder->GetSamplesPerPixel(), 3);
    EXPECT_EQ(aDecoder->GetCompressionReversible(),
              theProcess == Process::LOSSLESS ? Decoder::CR_REVERSIBLE : Decoder::CR_IRREVERSIBLE);
}

const std::vector<int> k123 = {1, 2, 3};
const std::vector<int> k012 = {0, 1, 2};
const std::vector<int> kRGBIds = {'R', 'G', 'B'};

// One wrong row, and a whole modality comes out in false colours.
TEST(JPEGDecoderColor, MarkersIdentifiersAndDataSetDecideTogether)
{
    for (const ColorCase& aCase :
         {ColorCase{"JFIF", true, -1, k123, kNone, kYBR422, kRGB},
          ColorCase{"JFIFWithRGBData", true, -1, k123, kRGB, kYBR422, kRGB},
          ColorCase{"JFIFWithYBR422Data", true, -1, k123, kYBR422, kYBR422, kYBR422},
          ColorCase{"JFIFWithYBRFullData", true, -1, k123, kYBR, kYBR422, kRGB},
          ColorCase{"JFIFOutranksRGBIds", true, -1, kRGBIds, kNone, kYBR422, kRGB},
          ColorCase{"JFIFOutranksAdobe", true, 0, k123, kNone, kYBR422, kRGB},
          ColorCase{"Adobe0", false, 0, k123, kYBR422, kRGB, kRGB},
          ColorCase{"Adobe1", false, 1, k123, kRGB, kYBR422, kYBR422},
          ColorCase{"Adobe1OutranksRGBIds", false, 1, kRGBIds, kRGB, kYBR422, kYBR422},
          ColorCase{"Ids123", false, -1, k123, kNone, kYBR422, kYBR422},
          ColorCase{"Ids123WithRGBData", false, -1, k123, kRGB, kRGB, kRGB},
          ColorCase{"Ids123WithYBRFullData", false, -1, k123, kYBR, kYBR422, kYBR422},
          ColorCase{"RGBIds", false, -1, kRGBIds, kNone, kRGB, kRGB},
          ColorCase{"RGBIdsWithYBR422Data", false, -1, kRGBIds, kYBR422, kRGB, kRGB},
          ColorCase{"OtherIds", false, -1, k012, kNone, kYBR422, kRGB},
          ColorCase{"OtherIdsWithRGBData", false, -1, k012, kRGB, kRGB, kRGB},
          ColorCase{"OtherIdsWithYBR422Data", false, -1, k012, kYBR422, kYBR422, kYBR422},
          ColorCase{"OtherIdsWithYBRFullData", false, -1, k012, kYBR, kYBR422, kRGB}})
    {
        ExpectColorSpace(aCase, Process::BASELINE);
        ExpectColorSpace(aCase, Process::PROGRESSIVE);
        ExpectColorSpace(aCase, Process::LOSSLESS);
    }
}

// What has no way to RGB is refused; it must not come out as grey or as misread colour.
TEST(JPEGDecoderColor, TwoAndFourComponentsAreRefused)
{
    for (const auto& [aComponents, anAdobeTransform] : {std::pair{2, -1}, {4, -1}, {4, 0}, {4, 2}})
    {
        const Bytes aJpeg =
            Image({.itsComponents = aComponents, .itsAdobeTransform = anAdobeTransform}).itsJpeg;
        ByteSource aSource(aJpeg);
        const auto aDecoder = MakeDecoder(8);
        EXPECT_EQ(DecodeError(*aDecoder, aSource),
                  "JPEGDecoder: error (read " + std::to_string(aJpeg.size()) +
                      " bytes so far): Unsupported color conversion request");
        EXPECT_EQ(aDecoder->GetCompressedColorspace(), kNone);
        EXPECT_EQ(aDecoder->GetDecompressedColorspace(), kRGB);
    }
}

TEST(JPEGDecoderColor, GreyStaysGreyWhateverTheDataSetSays)
{
    const JpegSpec aSpec{.itsJFIF = true};
    const Samples aSamples = MakeFlatSamples(aSpec, {77});
    const auto aDecoder = MakeDecoder(8, kRGB);
    EXPECT_EQ(DecodeSamples(*aDecoder, MakeJpeg(aSpec, aSamples)), aSamples);
    for (const int aModel : {aDecoder->GetCompressedColorspace(), aDecoder->GetDecompressedColorspace(),
                             aDecoder->GetRecommendedDecompressedColorspace()})
    {
        EXPECT_EQ(aModel, Decoder::COLOR_MODEL_GREY);
    }
    EXPECT_EQ(aDecoder->GetSamplesPerPixel(), 1);
}

// Differences can add up to far more than the declared precision. The library would take such samples as
// indices into its conversion tables and read wild memory.
TEST(JPEGDecoderColor, DeepColourIsConvertedWithinItsPrecision)
{
    JpegSpec aSpec{8, 8, 3, 12, Process::LOSSLESS};
    for (const auto& [aYBR, aRGB] :
         {std::pair<std::vector<int>, Samples>{{1500, 1000, 3000}, {2835, 1181, 0}},
          {{3000, 3500, 1000}, {1531, 3249, 4095}}})
    {
        EXPECT_EQ(FirstPixel(*MakeDecoder(12), aSpec, aYBR), aRGB);
    }
    aSpec.itsPrecision = 16;
    for (const auto& [aYBR, aRGB] :
         {std::pair<std::vector<int>, Samples>{{24000, 16000, 48000}, {45355, 18893, 0}},
          {{30000, 40000, 12000}, {884, 42342, 42815}}, // where the library rounds another way
          {{65535, 0, 65535}, {65535, 53412, 7471}},
          {{65535, 0, 0}, {19595, 65535, 7471}},
          {{0, 65535, 65535}, {45939, 0, 58063}}})
    {
        EXPECT_EQ(FirstPixel(*MakeDecoder(16), aSpec, aYBR), aRGB);
    }
    aSpec.itsDeclaredPrecision = 12;
    const Bytes aJpeg = Image(aSpec).itsJpeg;
    const Samples aDecoded = DecodeSamples(*MakeDecoder(12), aJpeg);
    EXPECT_LE(*std::max_element(aDecoded.begin(), aDecoded.end()), 4095);
    EXPECT_EQ(DecodeSamples(*MakeDecoder(8), aJpeg).size(), aDecoded.size());
    EXPECT_EQ(DecodeSamples(*MakeDecoder(16), aJpeg).size(), aDecoded.size());
}

// A wider output colour space must widen the announced size along with the rows.
TEST(JPEGDecoderColor, OutputColorSpaceCanBeChosenBeforeDecoding)
{
    const Bytes aJpeg = MakeFlatJpeg({.itsComponents = 3, .itsJFIF = true}, {120, 90, 200});
    // What is chosen, what is reported, the pixel, which is empty where it is refused.
    using Choice = std::tuple<Decoder::ColorModel, Decoder::ColorModel, Samples>;
    for (const auto& [aModel, aReported, aPixel] :
         {Choice{Decoder::COLOR_MODEL_GREY, Decoder::COLOR_MODEL_GREY, {120}}, Choice{kRGB, kRGB, kConverted},
          Choice{kYBR422, kYBR422, kStored}, Choice{kYBR, kNone, {}},
          Choice{Decoder::COLOR_MODEL_PALETTE_COLOR, kNone, {}}})
    {
        const auto aDecoder = MakeDecoder(8);
        ByteSource aSource(aJpeg);
        aDecoder->SetSource(nullptr, aSource);
        aDecoder->SetDecompressedColorspace(aModel);
        EXPECT_EQ(aDecoder->GetDecompressedColorspace(), aReported);
        ASSERT_EQ(aDecoder->GetOutputSize(), 64 * (aPixel.empty() ? 3 : aPixel.size()));
        if (aPixel.empty())
        {
            EXPECT_THROW(DecodeRest(*aDecoder), ExceptionBase);
            continue;
        }
        const Bytes aBuffer = DecodeRest(*aDecoder);
        EXPECT_EQ(Samples(aBuffer.end() - static_cast<std::ptrdiff_t>(aPixel.size()), aBuffer.end()), aPixel);
    }
}
} // namespace
