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
using RLETest::SetNumber;

Bytes GreyFrame()
{
    return RleEncoder::Frame({{3, 1, 2, 3, 4}}); // 2 x 2, 8 bits
}

struct Failure
{
    std::string itsText;
    int itsCode = 0;
    int itsSystemErrorCode = 0;
};

Failure SetSource(RLEDecoder& theDecoder, DICOMDataObject* theSet, ByteSource& theSource)
{
    try
    {
        theDecoder.SetSource(theSet, theSource);
    }
    catch (const DICOMLibException& anException)
    {
        return {anException.GetMessageText(), anException.GetResultCode(), anException.GetSystemErrorCode()};
    }
    return {};
}

void ExpectFailure(const Failure& theFailure, const std::string& theText, int theCode)
{
    EXPECT_EQ(theFailure.itsText, theText);
    EXPECT_EQ(theFailure.itsCode, theCode);
    EXPECT_EQ(theFailure.itsSystemErrorCode, 0);
}

/// Decodes with standard output caught. Returns the failure's text and what was printed.
std::pair<std::string, std::string> DecodeCaught(RLEDecoder& theDecoder, void* theBuffer,
                                                 std::uint64_t theSize)
{
    std::string aText;
    ::testing::internal::CaptureStdout();
    try
    {
        theDecoder.Decode(1000, theBuffer, theSize);
    }
    catch (const std::exception& anException)
    {
        aText = anException.what();
    }
    std::fflush(stdout);
    return {aText, ::testing::internal::GetCapturedStdout()};
}

TEST(RLEDecoder, NamesTheAttributeThatIsMissing)
{
    const struct
    {
        DICOMTag itsTag;
        const char* itsName;
    } theAttributes[] = {
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
    DICOMDataObject aSet;
    Describe(aSet, 2, 2, 1, 8, "MONOCHROME2");
    for (std::size_t i = std::size(theAttributes); i-- > 0;)
    {
        aSet.RemoveVR(theAttributes[i].itsTag);
        RLEDecoder aDecoder;
        ByteSource aSource(GreyFrame());
        ExpectFailure(SetSource(aDecoder, &aSet, aSource),
                      std::string("RLEDecoder::SetSource: unable to get ") + theAttributes[i].itsName +
                          " from dicom header",
                      37);
        EXPECT_EQ(aSource.GetPosition(), 0u);
    }
    RLEDecoder aDecoder;
    ByteSource aSource(GreyFrame());
    ExpectFailure(SetSource(aDecoder, nullptr, aSource),
                  "RLEDecoder::SetSource: unable to get Rows from dicom header", 37);
}

TEST(RLEDecoder, ChecksTheHeader)
{
    Bytes aShort = RleEncoder::Header(1, {64});
    aShort.pop_back();
    const std::string aBroken = "RLEDecoder::SetSource: unable to read RLE header fully";
    const std::string anEmpty = "RLEDecoder::SetSource: found no components in RLE codestream";
    const struct
    {
        Bytes itsHeader;
        std::string itsText;
    } theCases[] = {
        {{}, aBroken},
        {aShort, aBroken},
        {RleEncoder::Header(1, {66}), aBroken},
        {RleEncoder::Header(1, {0}), aBroken},
        {RleEncoder::Header(16, {64}), aBroken},
        {RleEncoder::Header(0x7fffffff, {64}), aBroken},
        {RleEncoder::Header(0, {64}), anEmpty},
        {RleEncoder::Header(0, {66}), anEmpty},
        {RleEncoder::Header(0xffffffff, {64}), anEmpty},
        {RleEncoder::Header(1, {64}), ""},
        {RleEncoder::Header(15, {64}), ""},
    };
    for (const auto& aCase : theCases)
    {
        DICOMDataObject aSet;
        Describe(aSet, 2, 2, 1, 8, "MONOCHROME2");
        RLEDecoder aDecoder;
        ByteSource aSource(aCase.itsHeader);
        ExpectFailure(SetSource(aDecoder, &aSet, aSource), aCase.itsText, aCase.itsText.empty() ? 0 : 37);
        // Whatever the header declared, nothing outside the table is reported, nor decoded by.
        for (const int anIndex : {-1, 16, 17, 1000, 0x7fffffff})
        {
            EXPECT_EQ(aDecoder.GetComponentOffset(anIndex), 0u);
            EXPECT_EQ(aDecoder.GetComponentSize(anIndex), 4294967295u);
        }
        Bytes aBuffer(4);
        EXPECT_NE(DecodeCaught(aDecoder, aBuffer.data(), aBuffer.size()).first, "");
    }
}

TEST(RLEDecoder, ReportsTheSegments)
{
    DICOMDataObject aSet;
    Describe(aSet, 1, 2, 3, 8, "RGB");
    Bytes aFrame = RleEncoder::Frame({{1, 1, 2}, {1, 3, 4, 9, 9, 9}, {0xff, 5}});
    aFrame[4 * 4] = 77; // an offset behind the count
    ByteSource aSource(aFrame);
    RLEDecoder aDecoder;
    aDecoder.SetSource(&aSet, aSource);
    EXPECT_EQ(aDecoder.GetComponentCount(), 3);
    const std::uint32_t anOffsets[] = {3, 64, 68, 74, 0, 0};
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_EQ(aDecoder.GetComponentOffset(i), anOffsets[i]) << i;
    }
    EXPECT_EQ(aDecoder.GetComponentSize(0), 4294967295u);
    EXPECT_EQ(aDecoder.GetComponentSize(1), 4u);
    EXPECT_EQ(aDecoder.GetComponentSize(2), 6u);
    EXPECT_EQ(aDecoder.GetComponentSize(3), 4294967295u);

    Bytes aBuffer(6);
    aDecoder.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
    EXPECT_EQ(aBuffer, (Bytes{1, 3, 5, 2, 4, 5}));
    EXPECT_EQ(aDecoder.GetComponentOffset(4), aFrame.size());
    EXPECT_EQ(aDecoder.GetTotalBytesRead(), aFrame.size());
}

TEST(RLEDecoder, ColourModels)
{
    const struct
    {
        const char* itsInterpretation;
        int itsCompressed;
        int itsDecompressed;
    } theCases[] = {
        {"MONOCHROME1", 0, 1},   {"MONOCHROME2", 0, 1}, {"MONOCHROME", 0, 2}, {"MONOCHROME12", 0, 2},
        {"RGB", 2, 2},           {"YBR_FULL", 6, 2},    {"YBR_RCT", 6, 2},    {"YBR_FULL_422", 6, 2},
        {"YBR_X", 0, 2},         {"YBR_XY", 6, 2},      {"YBRFULL", 0, 2},    {"PALETTE COLOR", 9, 2},
        {"COLOR PALETTE", 0, 2}, {"ARGB", 0, 2},        {"", 0, 2},
    };
    for (const auto& aCase : theCases)
    {
        // In the data set, and in the scratch pad of one that was rewritten by a decode before.
        for (const bool isRewritten : {false, true})
        {
            DICOMDataObject aSet;
            Describe(aSet, 2, 2, 1, 8, isRewritten ? "OTHER" : aCase.itsInterpretation);
            if (isRewritten)
            {
                aSet.SetScratchpadValue("DecompOrigPhotoInterp", aCase.itsInterpretation);
            }
            RLEDecoder aDecoder;
            ByteSource aSource(GreyFrame());
            aDecoder.SetSource(&aSet, aSource);
            EXPECT_EQ(aDecoder.GetCompressedColorspace(), aCase.itsCompressed) << aCase.itsInterpretation;
            EXPECT_EQ(aDecoder.GetDecompressedColorspace(), aCase.itsDecompressed) << aCase.itsInterpretation;
            EXPECT_EQ(aDecoder.GetRecommendedDecompressedColorspace(), aCase.itsDecompressed);
        }
    }
}

TEST(RLEDecoder, BitsAllocatedFollowBitsStored)
{
    for (const auto& [aStored, anAllocated] : std::vector<std::pair<int, int>>{
             {0, 0}, {1, 8}, {8, 8}, {9, 16}, {12, 16}, {16, 16}, {17, 24}, {32, 32}})
    {
        DICOMDataObject aSet;
        Describe(aSet, 2, 3, 1, 8, "MONOCHROME2");
        SetNumber(aSet, DICOMTags::BitsAllocated, 64);
        SetNumber(aSet, DICOMTags::BitsStored, static_cast<std::uint16_t>(aStored));
        SetNumber(aSet, DICOMTags::HighBit, 5);
        SetNumber(aSet, DICOMTags::PixelRepresentation, aStored == 12 ? 1 : 2);
        RLEDecoder aDecoder;
        ByteSource aSource(GreyFrame());
        aDecoder.SetSource(&aSet, aSource);
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
        DICOMDataObject aSet;
        Describe(aSet, 2, 2, 3, 8, "RGB");
        aSet.SetScratchpadValue("DecompOrigSamplesPerPixel", aText);
        RLEDecoder aDecoder;
        ByteSource aSource(GreyFrame());
        aDecoder.SetSource(&aSet, aSource);
        EXPECT_EQ(aDecoder.GetSamplesPerPixel(), aCount);
    }
}

TEST(RLEDecoder, ChecksBeforeDecoding)
{
    const struct
    {
        const char* itsName;
        std::uint16_t itsRows, itsColumns, itsSamples, itsBits;
        std::vector<Bytes> itsSegments;
        std::uint64_t itsSize;
        const char* itsText;
    } theCases[] = {
        {"two segments for RGB",
         2,
         2,
         3,
         8,
         {{0xfd, 1}, {0xfd, 1}},
         12,
         "RLEDecoder::Decode: number of segments != bytes per pixel"},
        {"four segments for RGB",
         2,
         2,
         3,
         8,
         {{0xfd, 1}, {0xfd, 1}, {0xfd, 1}, {0xfd, 1}},
         16,
         "RLEDecoder::Decode: number of segments != bytes per pixel"},
        {"no bits", 2, 2, 1, 0, {{0xfd, 1}}, 4, "RLEDecoder::Decode: number of segments != bytes per pixel"},
        {"the count comes before the size",
         2,
         2,
         1,
         16,
         {{0xfd, 1}},
         1,
         "RLEDecoder::Decode: number of segments != bytes per pixel"},
        {"a byte too few",
         2,
         2,
         1,
         16,
         {{0xfd, 1}, {0xfd, 1}},
         7,
         "RLEDecoder::Decode: destination buffer size < "},
        {"no buffer", 2, 2, 1, 8, {{0xfd, 1}}, 0, "RLEDecoder::Decode: destination buffer size < "},
        // In 32 bits this would wrap around and pass.
        {"more than 32 bits",
         65535,
         65535,
         1,
         16,
         {{0xfd, 1}, {0xfd, 1}},
         0xffffffff,
         "RLEDecoder::Decode: destination buffer size < "},
    };
    for (const auto& aCase : theCases)
    {
        SCOPED_TRACE(aCase.itsName);
        DICOMDataObject aSet;
        Describe(aSet, aCase.itsRows, aCase.itsColumns, aCase.itsSamples, aCase.itsBits, "MONOCHROME2");
        RLEDecoder aDecoder;
        ByteSource aSource(RleEncoder::Frame(aCase.itsSegments));
        aDecoder.SetSource(&aSet, aSource);
        EXPECT_EQ(aDecoder.GetOutputSize(), 0u); // or a driver's own check would hide these texts
        Bytes aBuffer(16);
        const auto [aText, aPrinted] = DecodeCaught(aDecoder, aBuffer.data(), aCase.itsSize);
        EXPECT_EQ(aText, aCase.itsText);
        EXPECT_EQ(aPrinted, aCase.itsText);
    }
    RLEDecoder aFresh;
    EXPECT_EQ(DecodeCaught(aFresh, nullptr, 0).first,
              "RLEDecoder::Decode: input contains no compressed data segments");
}

TEST(RLEDecoder, PrintsTheTextsOfItsOwnFamilyOnly)
{
    for (const bool isOwn : {true, false})
    {
        DICOMDataObject aSet;
        Describe(aSet, 2, 2, 1, 8, "MONOCHROME2");
        ByteSource aSource(RleEncoder::Header(1, {64}));
        aSource.AtEnd(
            [isOwn]() -> int
            {
                if (isOwn)
                {
                    throw ExceptionBase("100%s of %n");
                }
                throw std::runtime_error("100%s of %n");
            });
        RLEDecoder aDecoder;
        aDecoder.SetSource(&aSet, aSource);
        Bytes aBuffer(4);
        const auto [aText, aPrinted] = DecodeCaught(aDecoder, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aText, "100%s of %n");
        EXPECT_EQ(aPrinted, isOwn ? "100%s of %n" : "");
    }
}

TEST(RLEDecoder, CopiesCarryEverything)
{
    DICOMDataObject aSet;
    Describe(aSet, 1, 2, 1, 12, "YBR_FULL");
    const Bytes aFrame = RleEncoder::Encode({1, 2, 3, 4}, 2, 1, 2);
    ByteSource aSource(aFrame);
    RLEDecoder aDecoder;
    aDecoder.SetSource(&aSet, aSource);
    const RLEDecoder aCopy(aDecoder);
    RLEDecoder anAssigned;
    anAssigned = aCopy;
    EXPECT_EQ(anAssigned.GetComponentCount(), 2);
    EXPECT_EQ(anAssigned.GetComponentOffset(2), 68u);
    EXPECT_EQ(anAssigned.GetHighBit(), 11);
    EXPECT_EQ(anAssigned.GetCompressedColorspace(), Decoder::COLOR_MODEL_YBR_FULL);
    Bytes aBuffer(4);
    anAssigned.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
    EXPECT_EQ(aBuffer, (Bytes{1, 2, 3, 4}));
}

// Larger than what takes the exact path, through the public door.
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
        DICOMDataObject aSet;
        Describe(aSet, 61, 83, static_cast<std::uint16_t>(aSamples), static_cast<std::uint16_t>(aBits),
                 aSamples == 3 ? "RGB" : "MONOCHROME2");
        const Bytes aFrame = RleEncoder::Encode(aPixels, aBytes, static_cast<std::size_t>(aSamples), 83);
        ByteSource aSource(aFrame);
        RLEDecoder aDecoder;
        aDecoder.SetSource(&aSet, aSource);
        Bytes aBuffer(aPixels.size());
        aDecoder.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aBuffer, aPixels) << aSamples << " samples of " << aBits << " bits";
        EXPECT_EQ(aDecoder.GetTotalBytesRead(), aFrame.size());
    }
}
} // namespace
