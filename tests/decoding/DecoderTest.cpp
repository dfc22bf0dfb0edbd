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
} // namespace
