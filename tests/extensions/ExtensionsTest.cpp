// SPDX-License-Identifier: Apache-2.0
// Transfer syntaxes that are extensions, from files made here: refused by contract as ever, decoded by
// meaning or with the switch, and what is wrong with a frame told.
#include <algorithm>
#include <string>
#include <vector>

#include <charls/charls.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include "decoding/DecoderFactory.h"
#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/Jpeg2000Streams.h"

namespace
{
const std::string kUncompressed = "1.2.840.10008.1.2.1.98", kDeflated = "1.2.840.10008.1.2.8.1",
                  kJPEGLS = "1.2.840.10008.1.2.4.81";
constexpr Wish kByMeaning{.itsReading = Reading::BY_MEANING};

/// 5 x 3 pixels of colour.
constexpr JpegSpec kColour{.itsWidth = 5, .itsHeight = 3, .itsComponents = 3};
const Bytes kPixels = Part10Files::Counting(45);
/// They by OpenJPH 0.9.0.
const Bytes kHighThroughput = Jpeg2000Streams::FromHex(
    "ff4fff51002f400000000005000000030000000000000000000000050000000300000000000000000003070101070101"
    "070101ff500008000200000002ff52000c00020001010004044001ff5c00042050ff90000a0000000000400001ff93c0"
    "16c8fdeffb6c7cba6e968fc1bbda6bea01027fb9881f000031bb00c015000080559d7cadb600c01500ff7f559d7cadb6"
    "00ffd9");

Bytes Concatenate(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

Bytes Deflate(Bytes theBytes)
{
    z_stream aStream{};
    EXPECT_EQ(deflateInit2(&aStream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY), Z_OK);
    Bytes aDeflated(theBytes.size() + 64);
    aStream.next_in = theBytes.data();
    aStream.avail_in = static_cast<uInt>(theBytes.size());
    aStream.next_out = aDeflated.data();
    aStream.avail_out = static_cast<uInt>(aDeflated.size());
    EXPECT_EQ(deflate(&aStream, Z_FINISH), Z_STREAM_END);
    aDeflated.resize(aStream.total_out);
    deflateEnd(&aStream);
    return aDeflated;
}

Bytes EncodeJPEGLS(const Bytes& thePixels, charls::interleave_mode theMode)
{
    charls::jpegls_encoder anEncoder;
    anEncoder.frame_info({5, 3, 8, 3}).interleave_mode(theMode);
    Bytes aStream(anEncoder.estimated_destination_size());
    anEncoder.destination(aStream);
    aStream.resize(anEncoder.encode(thePixels));
    return aStream;
}

/// With bytes put in, or in place of others, at the last occurrence of a marker.
Bytes AtMarker(const Bytes& theStream, std::uint8_t theMarker, std::size_t theReplaced, const Bytes& theBytes)
{
    const Bytes aMarker = {0xff, theMarker};
    const auto aPlace = std::find_end(theStream.begin(), theStream.end(), aMarker.begin(), aMarker.end());
    const Bytes aHead = Concatenate({theStream.begin(), aPlace}, theBytes);
    return Concatenate(aHead, {aPlace + static_cast<std::ptrdiff_t>(theReplaced), theStream.end()});
}

Bytes Planes(const Bytes& thePixels)
{
    Bytes aPlanes;
    for (std::size_t i = 0; i < thePixels.size(); ++i)
    {
        aPlanes.push_back(thePixels[i % 15 * 3 + i / 15]);
    }
    return aPlanes;
}

Bytes File(const std::string& theUID, const std::vector<Bytes>& theFrames)
{
    return Part10Files::Encapsulated(theUID, kColour, "RGB", theFrames);
}

TEST(Extensions, AreThereByMeaningAndWithTheSwitchOnly)
{
    const Bytes aStream = EncodeJPEGLS(kPixels, charls::interleave_mode::sample);
    for (const Bytes& aFile : {File(kUncompressed, {kPixels, kPixels}), File(kDeflated, {Deflate(kPixels)}),
                               File(kJPEGLS, {aStream}), File("1.2.840.10008.1.2.4.80", {aStream}),
                               File("1.2.840.10008.1.2.4.201", {kHighThroughput}),
                               File("1.2.840.10008.1.2.4.202", {kHighThroughput}),
                               File("1.2.840.10008.1.2.4.203", {kHighThroughput})})
    {
        ExpectFailure(
            RunPart10(aFile), 48,
            "CompressedStreamDecoder::Decode: Unable to create Decoder for transfer syntax with UID = *");
        EXPECT_EQ(RunPart10(aFile, kByMeaning).Pixels(), kPixels);
        DecoderFactory::EnableExtensions(true);
        EXPECT_EQ(RunPart10(aFile).Pixels(), kPixels);
        DecoderFactory::EnableExtensions(false);
    }
    ExpectFailure(RunPart10(File("1.2.840.10008.1.2.4.201", {aStream})), 48,
                  "CompressedStreamDecoder::Decode: Unable to create Decoder for transfer syntax with UID = "
                  "1.2.840.10008.1.2.4.201");
    ExpectFailure(RunBareImage(aStream, kJPEGLS, nullptr), 62, " (no Renderable at end)");
    EXPECT_NE(RunBareImage(aStream, "1.2.840.10008.1.2.4.50", nullptr).Code(), 0); // by contract no JPEG
}

TEST(Extensions, FramesThatAreNotWhatTheDataSetSaysAreRefused)
{
    const Bytes kShort(kPixels.begin(), kPixels.end() - 3), kLong = Concatenate(kPixels, {0, 0, 0});
    Bytes aDamaged = Deflate(kPixels);
    aDamaged[0] = 0x07; // a block type that there is not
    const std::tuple<std::string, Bytes, int, const char*> kCases[] = {
        {kUncompressed, kShort, 37,
         "CompressedStreamDecoder::Decode: 3 rows of 5 pixels cannot come from 42 bytes"},
        {kUncompressed, kLong, 62,
         "UncompressedFrameDecoder::Decode: more than one byte follows the 45 bytes of the frame"},
        {kDeflated, Deflate(kShort), 37, "DeflatedFrameDecoder::Decode: the frame has 42 bytes of 45"},
        {kDeflated, Deflate(kLong), 62,
         "DeflatedFrameDecoder::Decode: the deflated frame has more than 45 bytes"},
        {kDeflated, Concatenate(Deflate(kPixels), {0, 0, 0}), 62,
         "DeflatedFrameDecoder::Decode: more than one byte follows the 45 bytes of the frame"},
        {kDeflated, aDamaged, 62,
         "DeflatedFrameDecoder::Decode: the deflated frame is damaged behind byte 0 of 45"},
    };
    for (const auto& [aUID, aFrame, aCode, aText] : kCases)
    {
        ExpectFailure(RunPart10(File(aUID, {aFrame}), kByMeaning), aCode, aText);
    }
}

TEST(Extensions, ColourByPlaneBecomesColourByPixelInEveryFrame)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, kUncompressed);
    aBuilder.AddImageAttributes(3, "RGB", 3, 5, 8, 8, 0, 2);
    aBuilder.AddUS(DICOMTags::PlanarConfiguration, {1}); // the later one counts
    const Bytes aFile = aBuilder
                            .AddEncapsulatedPixelData(
                                {Part10Files::Even(Planes(kPixels)), Part10Files::Even(Planes(kPixels))})
                            .Build();
    DICOMDataObject aDataSet; // which the first frame changes
    for (const int aFrame : {0, 1})
    {
        EXPECT_EQ(RunPart10(aFile, &aDataSet, {.itsFrameIndex = aFrame, .itsReading = Reading::BY_MEANING})
                      .Pixels(),
                  kPixels);
    }
}

TEST(Extensions, JPEGLSStreamsAreMendedOrRefused)
{
    const Bytes aPlanar = EncodeJPEGLS(Planes(kPixels), charls::interleave_mode::none);
    const Bytes aStream = EncodeJPEGLS(kPixels, charls::interleave_mode::line);
    const std::string kScans = "JPEGLSDecoder::Decode: the scans are not all of one kind";
    const std::string kBeyond = "JPEGLSDecoder::SetSource: mapping tables, and images beyond 65535 rows or "
                                "columns, are not supported";
    const std::tuple<const char*, Bytes, std::string> kCases[] = {
        {"as it is", aStream, ""},
        {"three scans", aPlanar, ""},
        {"a zero before the end", AtMarker(aStream, 0xd9, 0, {0}), ""},
        {"zeros before the end", AtMarker(aStream, 0xd9, 0, {0, 0, 0, 0}), ""},
        {"without an end", AtMarker(aStream, 0xd9, 2, {}), ""},
        {"a comment and fill bytes", AtMarker(aStream, 0xf7, 0, {0xff, 0xfe, 0, 3, 7, 0xff, 0xff}), ""},
        {"rows and columns of 32 bits", AtMarker(aStream, 0xda, 0, {0xff, 0xf8, 0, 6, 4, 1, 1, 1}), kBeyond},
        {"a RESET of 31, by pixels",
         AtMarker(EncodeJPEGLS(kPixels, charls::interleave_mode::sample), 0xda, 0,
                  {0xff, 0xf8, 0, 13, 1, 0, 255, 0, 3, 0, 7, 0, 21, 0, 31}),
         "JPEGLSDecoder::SetSource: interleave mode 2 with a RESET other than 64 is not supported"},
        {"the last scan by pixels", AtMarker(aPlanar, 0xda, 10, {0xff, 0xda, 0, 8, 1, 3, 0, 0, 2, 0}),
         kScans},
        {"the last scan of all components",
         AtMarker(aPlanar, 0xda, 10, {0xff, 0xda, 0, 12, 3, 1, 0, 2, 0, 3, 0, 0, 2, 0}), kScans},
        {"rows and columns of 32 bits for the last scan",
         AtMarker(aPlanar, 0xda, 0, {0xff, 0xf8, 0, 6, 4, 1, 1, 1}),
         "JPEGLSDecoder::Decode: parameters between scans that are not supported"},
    };
    for (const auto& [aName, aBytes, aText] : kCases)
    {
        SCOPED_TRACE(aName);
        const Outcome anOutcome = RunPart10(File(kJPEGLS, {aBytes}), kByMeaning);
        EXPECT_EQ(anOutcome.Message(), aText.empty() ? "Completed successfully" : aText);
        EXPECT_EQ(anOutcome.Pixels(), aText.empty() ? kPixels : Bytes());
    }
}

TEST(Extensions, EveryCutOfAJPEGLSStreamEndsInAnErrorOrInWholeRows)
{
    for (const auto aMode : {charls::interleave_mode::none, charls::interleave_mode::line})
    {
        const bool isPlanar = aMode == charls::interleave_mode::none;
        const Bytes aStream = EncodeJPEGLS(isPlanar ? Planes(kPixels) : kPixels, aMode);
        int aPartCount = 0;
        for (std::size_t aLength = 0; aLength + 2 < aStream.size(); ++aLength)
        {
            const Bytes aCut(aStream.begin(), aStream.begin() + static_cast<std::ptrdiff_t>(aLength));
            const Outcome anOutcome = RunBareImage(aCut, "1.2.840.10008.1.2.4.50", nullptr, kByMeaning);
            ExpectErrorOrPixels(anOutcome, std::to_string(aLength));
            const Bytes aPixels = anOutcome.Pixels();
            const auto aDifference = std::mismatch(aPixels.begin(), aPixels.end(), kPixels.begin()).first;
            EXPECT_TRUE(std::all_of(aDifference, aPixels.end(), [](auto theByte) { return theByte == 0; }))
                << aLength;
            aPartCount += anOutcome.Code() == 0 ? 1 : 0;
            EXPECT_EQ(anOutcome.itsResult.getWarnings().empty(), anOutcome.Code() != 0) << aLength;
        }
        EXPECT_GT(aPartCount, 0);
    }
}
} // namespace
