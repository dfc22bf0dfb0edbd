// SPDX-License-Identifier: Apache-2.0
// Decodes the samples of the newer codecs by meaning and holds every frame against the table of expected
// results, bit for bit. What cannot be delivered is listed here with its failure.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
constexpr const char* kTwoComponents = "images of 2 components are not supported";
constexpr const char* kFourComponents = "images of 4 components are not supported";
constexpr const char* kSubsampled = "components of different size are not supported";

/// Images that no record here can hold, by how the JPEG-LS codec refuses them; damaged ones by their whole
/// text.
const std::map<std::string, std::string> kRefused = {
    {"jpegls/gen_2comp_ilv0.jls", kTwoComponents},
    {"jpegls/gen_4comp_ilv2.jls", kFourComponents},
    {"jpegls/rgba.u1.jls", kFourComponents},
    {"jpegls/t8sse0.jls", kSubsampled},
    {"jpegls/t8sse3.jls", kSubsampled},
};

const std::string kLibrary =
    "Decoder exception: StreamIOException: StreamIOException: JPEGLSDecoder::Decode: ";
const std::map<std::string, std::string> kDamaged = {
    {"charls_fuzzy-input-bad-run-mode-golomb-code.jls",
     kLibrary +
         "The JPEG-LS stream is encoded with a parameter value that is not supported by the CharLS decoder"},
    {"charls_no_start_byte_after_encoded_scan.jls",
     kLibrary + "Invalid JPEG-LS stream, the decoding process is ready but the source buffer still contains "
                "encoded data"},
    {"gen_defl_truncated.dcm", ""}, // the first frame is whole
    {"gen_ht_bits1.j2c",
     "damaged: Packet header contradicts itself or the data in tile 0 (at byte 254 of the "
     "codestream)"},
    {"gen_ht_truncated.jph",
     "truncated: the data end early in 29 of 48 tiles: 59.6 % of the data missing, and with "
     "it detail or all of the picture there"},
    {"oht_security_ht_segments_overflow.j2k",
     "truncated: the data end early in 1 of 1 tiles: an unknown share of the "
     "data missing, and with it detail or all of the picture there"},
    {"oht_security_marker_com_underflow.j2k",
     "Decoder exception: JPEGDecoderException: JPEGDecoderException: Error: "
     "JPEG2000Decoder::JPEG2000Decoder()[create "
     "codestream]: Marker 0x014F: cannot stand in the main header (at byte 99 of the codestream)"},
    {"oht_security_multitilepart_cblk_length.j2k",
     ""}, // nothing is wrong with it for those who trust no length
    {"oxide_fuzz_ht_emb_shift.j2c",
     "damaged: Code-block 0, 0 of subband HH at resolution 3 in tile 0: a magnitude "
     "has more bits than its bit-planes (at byte 3100 of the codestream)"},
    {"gen_jls_bits0.jls",
     kLibrary + "Invalid JPEG-LS stream, the encoded bit stream contains a general structural problem"},
    {"gen_t16e0_65535.jls", "Decoder exception: StreamIOException: StreamIOException: The image is too "
                            "large: 65535 rows of 65535 pixels, "
                            "more than the limit of 2147483648 in all"},
    {"gen_t8c1e0_truncated.jls", "truncated: the data end early: 49.6 % of the picture is missing"},
    {"pwnlab_TC0957_jpegls_huge_near.dcm", "JPEGLSDecoder::SetSource: the frame header is damaged"},
    {"pwnlab_TC0961_jpegls_truncated.dcm", "JPEGLSDecoder::SetSource: a header ends early"},
};

/// By meaning. Bare streams are said to be JPEG, as their first bytes say: the frame header tells.
Outcome Decode(const std::string& theName, int theFrame)
{
    const Bytes aFile = SampleTable::ReadFile(theName, SampleSet::NewCodecs);
    const Wish aWish{.itsFrameIndex = theFrame, .itsReading = Reading::BY_MEANING};
    const bool isJPEGLS = theName.ends_with(".jls");
    const char* const aUID = isJPEGLS ? TransferSyntaxType::TSJPEG50UID : TransferSyntaxType::TSJPEG2KUID;
    return theName.ends_with(".dcm") ? RunPart10(aFile, aWish) : RunBareImage(aFile, aUID, nullptr, aWish);
}

void CheckFrame(const Outcome& theOutcome, const std::vector<SampleRow>& theRows)
{
    ASSERT_EQ(theOutcome.Code(), 0) << theOutcome.Message();
    EXPECT_EQ(theOutcome.Image()->getColumns(), static_cast<int>(theRows[0].itsWidth));
    EXPECT_EQ(theOutcome.Image()->getRows(), static_cast<int>(theRows[0].itsHeight));
    EXPECT_EQ(theOutcome.Image()->getSamplesPerPixel(), theRows[0].itsComponents);
    const Bytes aPixels = theOutcome.UnpackedPixels();
    const bool isExact =
        theRows[0].itsExact == "yes"; // else the 9/7 transform, of which the limits are elsewhere
    EXPECT_TRUE(!isExact || Sha256(aPixels.data(), aPixels.size()) == theRows[0].itsSHA256);
    const bool isNearLossless = theRows[0].itsColourSpace.find("NEAR") != std::string::npos;
    EXPECT_TRUE(theOutcome.Image()->isLossyImageCompression() || !(isNearLossless || !isExact));
}

class CodecSamples : public testing::Test
{
protected:
    void SetUp() override
    {
        if (SampleTable::GetFolder(SampleSet::NewCodecs).empty())
        {
            GTEST_SKIP() << "no samples of the newer codecs beside " << QUORIX_SAMPLES_DIR;
        }
    }
};

TEST_F(CodecSamples, EveryFrameMatchesOrIsRefusedAsListed)
{
    int aFrameCount = 0;
    const SampleTable aTable = SampleTable::Load(0, SampleSet::NewCodecs);
    for (const auto& [aName, aFrames] : aTable.GetFiles())
    {
        for (const auto& [aFrame, aRows] : aFrames)
        {
            SCOPED_TRACE(aName + " frame " + std::to_string(aFrame));
            if (aName.starts_with("htj2k/"))
            {
                continue; // codestreams: the engine's tests have them, which can hold any
            }
            ++aFrameCount;
            const Outcome anOutcome = Decode(aName, aFrame);
            if (const auto aRefused = kRefused.find(aName); aRefused != kRefused.end())
            {
                ExpectFailure(anOutcome, 62,
                              "Decoder exception: StreamIOException: StreamIOException: "
                              "JPEGLSDecoder::SetSource: " +
                                  aRefused->second);
                continue;
            }
            CheckFrame(anOutcome, aRows);
        }
    }
    EXPECT_GE(aFrameCount, 121);
}

TEST_F(CodecSamples, DamagedOnesEndAsListed)
{
    std::size_t aListedCount = 0;
    for (const std::string& aName : SampleTable::ListFolder("damaged", SampleSet::NewCodecs))
    {
        SCOPED_TRACE(aName);
        const Outcome anOutcome = Decode(aName, 0);
        ExpectErrorOrPixels(anOutcome, aName);
        const std::vector<DecodeWarning>& aWarnings = anOutcome.itsResult.getWarnings();
        const RWCString aDelivered =
            aWarnings.empty() ? "" : aWarnings[0].itsIdentifier + ": " + aWarnings[0].itsText;
        const auto aListed = kDamaged.find(aName.substr(aName.find('/') + 1));
        if (aListed != kDamaged.end())
        {
            EXPECT_EQ(anOutcome.Code() != 0 ? anOutcome.Message() : aDelivered, aListed->second);
            ++aListedCount;
        }
    }
    EXPECT_EQ(aListedCount, kDamaged.size());
}
} // namespace
