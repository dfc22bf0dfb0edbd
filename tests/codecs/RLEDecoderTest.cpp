// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/RLEDecoder.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "RLETestHelpers.h"
#include "support/RleEncoder.h"

namespace
{
using RLETest::Bytes;
using RLETest::Describe;

const Bytes kGreyFrame = RleEncoder::Frame({{3, 1, 2, 3, 4}}); // 2 x 2, 8 bits

/// A codec with all that it borrows, over a data set that describes kGreyFrame.
struct Bench
{
    explicit Bench(const Bytes& theBytes) : itsSource(theBytes)
    {
        Describe(itsSet, 2, 2, 1, 8, "MONOCHROME2");
    }

    /// What FailureOf says; failures are of code 37.
    std::string SetSource(DICOMDataObject* theSet)
    {
        return FailureOf<DICOMLibException>([&] { itsDecoder.SetSource(theSet, itsSource); });
    }
    std::string SetSource() { return SetSource(&itsSet); }

    /// Decodes with standard output caught. Returns what FailureOf says and what was printed.
    std::pair<std::string, std::string> Decode(std::uint64_t theSize)
    {
        Bytes aBuffer(16);
        testing::internal::CaptureStdout();
        const std::string aFailure =
            FailureOf<std::exception>([&] { itsDecoder.Decode(1000, aBuffer.data(), theSize); });
        std::fflush(stdout);
        return {aFailure, testing::internal::GetCapturedStdout()};
    }

    DataSet itsSet;
    ByteSource itsSource;
    RLEDecoder itsDecoder;
};

TEST(RLEDecoder, NamesTheAttributeThatIsMissing)
{
    constexpr std::pair<DICOMTag, const char*> kAttributes[] = {
        {DICOMTags::Rows, "Rows"},
        {DICOMTags::Columns, "Columns"},
        {DICOMTags::SamplesPerPixel, "SamplesPerPixel"},
        {DICOMTags::BitsAllocated, "BitsAllocated"},
        {DICOMTags::BitsStored, "BitsStored"},
        {DICOMTags::HighBit, "HighBit"},
        {DICOMTags::PixelRepresentation, "PixelRepresentation"},
        {DICOMTags::PhotometricInterpretation, "PhotometricInterpretation"},
    };
    // Backwards, so that each time all attributes from there on are missing: the first one is named.
    Bench aBench(kGreyFrame);
    for (std::size_t i = std::size(kAttributes); i-- > 0;)
    {
        aBench.itsSet.RemoveVR(kAttributes[i].first);
        EXPECT_EQ(aBench.SetSource(), std::string("RLEDecoder::SetSource: unable to get ") +
                                          kAttributes[i].second + " from dicom header [37, 0]");
        EXPECT_EQ(aBench.itsSource.GetPosition(), 0u);
    }
    EXPECT_EQ(aBench.SetSource(nullptr),
              "RLEDecoder::SetSource: unable to get Rows from dicom header [37, 0]");
}

TEST(RLEDecoder, ChecksTheHeader)
{
    Bytes aShort = RleEncoder::Header(1, {64});
    aShort.pop_back();
    const std::string aBroken = "RLEDecoder::SetSource: unable to read RLE header fully [37, 0]";
    const std::string anEmpty = "RLEDecoder::SetSource: found no components in RLE codestream [37, 0]";
    const std::pair<Bytes, std::string> kCases[] = {
        {{}, aBroken},
        {aShort, aBroken},
        {RleEncoder::Header(1, {66}), aBroken},
        {RleEncoder::Header(1, {0}), aBroken},
        {RleEncoder::Header(16, {64}), aBroken},
        {RleEncoder::Header(0x7fffffff, {64}), aBroken},
        {RleEncoder::Header(0, {66}), anEmpty},
        {RleEncoder::Header(0xffffffff, {64}), anEmpty},
        {RleEncoder::Header(1, {64}), "(nothing)"},
        {RleEncoder::Header(15, {64}), "(nothing)"},
    };
    for (const auto& [aHeader, aText] : kCases)
    {
        Bench aBench(aHeader);
        EXPECT_EQ(aBench.SetSource(), aText);
        // Whatever the header declared, nothing outside the table is reported, nor decoded by.
        for (const int anIndex : {-1, 16, 17, 1000, 0x7fffffff})
        {
            EXPECT_EQ(aBench.itsDecoder.GetComponentOffset(anIndex), 0u);
            EXPECT_EQ(aBench.itsDecoder.GetComponentSize(anIndex), 4294967295u);
        }
        EXPECT_NE(aBench.Decode(4).first, "(nothing)");
    }
}

TEST(RLEDecoder, ReportsTheSegments)
{
    Bytes aFrame = RleEncoder::Frame({{1, 1, 2}, {1, 3, 4, 9, 9, 9}, {0xff, 5}});
    aFrame[4 * 4] = 77; // an offset behind the count
    Bench aBench(aFrame);
    Describe(aBench.itsSet, 1, 2, 3, 8, "RGB");
    EXPECT_EQ(aBench.SetSource(), "(nothing)");
    RLEDecoder& aDecoder = aBench.itsDecoder;
    EXPECT_EQ(aDecoder.GetComponentCount(), 3);
    constexpr std::uint32_t kNone = 4294967295u;
    constexpr std::pair<std::uint32_t, std::uint32_t> kOffsetsAndSizes[] = {
        {3, kNone}, {64, 4}, {68, 6}, {74, kNone}, {0, kNone}};
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(aDecoder.GetComponentOffset(i), kOffsetsAndSizes[i].first) << i;
        EXPECT_EQ(aDecoder.GetComponentSize(i), kOffsetsAndSizes[i].second) << i;
    }
    Bytes aBuffer(6);
    aDecoder.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
    EXPECT_EQ(aBuffer, (Bytes{1, 3, 5, 2, 4, 5}));
    EXPECT_EQ(aDecoder.GetComponentOffset(4), aFrame.size());
    EXPECT_EQ(aDecoder.GetTotalBytesRead(), aFrame.size());
}

TEST(RLEDecoder, ColourModels)
{
    const std::tuple<const char*, int, int> kCases[] = {
        {"MONOCHROME1", 0, 1},   {"MONOCHROME2", 0, 1}, {"MONOCHROME", 0, 2}, {"MONOCHROME12", 0, 2},
        {"RGB", 2, 2},           {"YBR_FULL", 6, 2},    {"YBR_RCT", 6, 2},    {"YBR_FULL_422", 6, 2},
        {"YBR_X", 0, 2},         {"YBR_XY", 6, 2},      {"YBRFULL", 0, 2},    {"PALETTE COLOR", 9, 2},
        {"COLOR PALETTE", 0, 2}, {"ARGB", 0, 2},        {"", 0, 2},
    };
    for (const auto& [aText, aCompressed, aDecompressed] : kCases)
    {
        // In the data set, and in the scratch pad of one that was rewritten by a decode before.
        for (const bool isRewritten : {false, true})
        {
            Bench aBench(kGreyFrame);
            Describe(aBench.itsSet, 2, 2, 1, 8, isRewritten ? "OTHER" : aText);
            if (isRewritten)
            {
                aBench.itsSet.SetScratchpadValue("DecompOrigPhotoInterp", aText);
            }
            aBench.SetSource();
            const RLEDecoder& aDecoder = aBench.itsDecoder;
            EXPECT_EQ(aDecoder.GetCompressedColorspace(), aCompressed) << aText;
            EXPECT_EQ(aDecoder.GetDecompressedColorspace(), aDecompressed) << aText;
            EXPECT_EQ(aDecoder.GetRecommendedDecompressedColorspace(), aDecompressed);
        }
    }
}

TEST(RLEDecoder, BitsAllocatedFollowBitsStored)
{
    for (const auto& [aStored, anAllocated] : std::vector<std::pair<int, int>>{
             {0, 0}, {1, 8}, {8, 8}, {9, 16}, {12, 16}, {16, 16}, {17, 24}, {32, 32}})
    {
        Bench aBench(kGreyFrame);
        Describe(aBench.itsSet, 2, 3, 1, aStored, "MONOCHROME2");
        aBench.itsSet.SetNumber(DICOMTags::BitsAllocated, 64);
        aBench.itsSet.SetNumber(DICOMTags::HighBit, 5);
        aBench.itsSet.SetNumber(DICOMTags::PixelRepresentation, aStored == 12 ? 1 : 2);
        aBench.SetSource();
        const RLEDecoder& aDecoder = aBench.itsDecoder;
        EXPECT_EQ(aDecoder.GetBitsAllocatedPerSample(), anAllocated);
        EXPECT_EQ(aDecoder.GetBitsStoredPerSample(), aStored);
        EXPECT_EQ(aDecoder.GetRecommendedBitsStoredPerSample(), aStored);
        EXPECT_EQ(aDecoder.GetHighBit(), 5);
        EXPECT_EQ(aDecoder.IsSigned(), aStored == 12 ? 1 : 0);
        EXPECT_EQ(aDecoder.GetImageHeight(), 2u);
        EXPECT_EQ(aDecoder.GetImageWidth(), 3u);
        EXPECT_EQ(aDecoder.GetScanMode(), 0);
        EXPECT_EQ(aDecoder.GetVersion(), 1);
        EXPECT_EQ(aDecoder.GetCompressionReversible(), Decoder::CR_REVERSIBLE);
    }
}

// A palette image that an earlier decode turned into three samples is one sample in its codestream still.
TEST(RLEDecoder, OriginalSamplesPerPixel)
{
    for (const auto& [aText, aCount] : std::vector<std::pair<const char*, int>>{{"1", 1}, {"3", 3}, {"4", 3}})
    {
        Bench aBench(kGreyFrame);
        aBench.itsSet.SetNumber(DICOMTags::SamplesPerPixel, 3);
        aBench.itsSet.SetScratchpadValue("DecompOrigSamplesPerPixel", aText);
        aBench.SetSource();
        EXPECT_EQ(aBench.itsDecoder.GetSamplesPerPixel(), aCount);
    }
}

TEST(RLEDecoder, ChecksBeforeDecoding)
{
    constexpr const char* kSegments = "RLEDecoder::Decode: number of segments != bytes per pixel";
    constexpr const char* kSize = "RLEDecoder::Decode: destination buffer size < ";
    const std::tuple<const char*, int, int, int, int, std::size_t, std::uint64_t, const char*> kCases[] = {
        {"two segments for RGB", 2, 2, 3, 8, 2, 12, kSegments},
        {"four segments for RGB", 2, 2, 3, 8, 4, 16, kSegments},
        {"no bits", 2, 2, 1, 0, 1, 4, kSegments},
        {"the count comes before the size", 2, 2, 1, 16, 1, 1, kSegments},
        {"a byte too few", 2, 2, 1, 16, 2, 7, kSize},
        {"no buffer", 2, 2, 1, 8, 1, 0, kSize},
        {"in 32 bits this would wrap around and pass", 65535, 65535, 1, 16, 2, 0xffffffff, kSize},
    };
    for (const auto& [aName, aRows, aColumns, aSamples, aBits, aSegments, aSize, aRefusal] : kCases)
    {
        SCOPED_TRACE(aName);
        Bench aBench(RleEncoder::Frame(std::vector<Bytes>(aSegments, {0xfd, 1})));
        Describe(aBench.itsSet, aRows, aColumns, aSamples, aBits, "MONOCHROME2");
        aBench.SetSource();
        EXPECT_EQ(aBench.itsDecoder.GetOutputSize(), 0u); // or a driver's own check would hide these texts
        const auto [aText, aPrinted] = aBench.Decode(aSize);
        EXPECT_EQ(aText, aRefusal);
        EXPECT_EQ(aPrinted, aRefusal);
    }
    EXPECT_EQ(Bench({}).Decode(0).first, "RLEDecoder::Decode: input contains no compressed data segments");
}

TEST(RLEDecoder, PrintsTheTextsOfItsOwnFamilyOnly)
{
    for (const bool isOwn : {true, false})
    {
        Bench aBench(RleEncoder::Header(1, {64}));
        aBench.itsSource.AtEnd(
            [isOwn]() -> int
            { isOwn ? throw ExceptionBase("100%s of %n") : throw std::runtime_error("100%s of %n"); });
        aBench.SetSource();
        const auto [aText, aPrinted] = aBench.Decode(4);
        EXPECT_EQ(aText, "100%s of %n");
        EXPECT_EQ(aPrinted, isOwn ? "100%s of %n" : "");
    }
}

// Larger than what takes the exact path, through the public door and by a copy of the codec.
TEST(RLEDecoder, DecodesWhatAnEncoderWrites)
{
    for (const auto& [aSamples, aBits] :
         std::vector<std::pair<int, int>>{{1, 8}, {1, 12}, {3, 8}, {3, 16}, {3, 32}})
    {
        const auto aBytes = static_cast<std::size_t>((aBits + 7) / 8);
        Bytes aPixels(61 * 83 * static_cast<std::size_t>(aSamples) * aBytes);
        for (std::size_t i = 0; i < aPixels.size(); ++i)
        {
            aPixels[i] = static_cast<std::uint8_t>(i % 1000 < 400 ? 5 : i * i / 7);
        }
        const Bytes aFrame = RleEncoder::Encode(aPixels, aBytes, static_cast<std::size_t>(aSamples), 83);
        Bench aBench(aFrame);
        Describe(aBench.itsSet, 61, 83, aSamples, aBits, aSamples == 3 ? "RGB" : "MONOCHROME2");
        aBench.SetSource();
        RLEDecoder aDecoder;
        aDecoder = RLEDecoder(aBench.itsDecoder);
        Bytes aBuffer(aPixels.size());
        aDecoder.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aBuffer, aPixels) << aSamples << " samples of " << aBits << " bits";
        EXPECT_EQ(aDecoder.GetTotalBytesRead(), aFrame.size());
        EXPECT_LT(aBench.itsSource.GetReads(), 200) << "a packet at a time, a slow source pays for thousands";
    }
}
} // namespace
