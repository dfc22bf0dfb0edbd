// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <algorithm>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoder.h"
#include "codecs/jpeg2000/KDUMessages.h"
#include "decoding/FakeDecoder.h"
#include "support/Jpeg2000Streams.h"
#include "support/SideBySide.h"
#include "toolkit/base/Exceptions.h"

using namespace Jpeg2000Streams;

namespace
{
const RWCString kHeaderPrefix = "JPEG2000Decoder::JPEG2000Decoder: ";
const RWCString kTilePrefix = "JPEG2000Decoder::DecompressCurrentTile: ";

Bytes DecodeAll(Decoder& theCodec)
{
    const int aSize = theCodec.GetDecompressedBufferSize();
    Bytes aBuffer(static_cast<std::size_t>(aSize < 0 ? 0 : aSize) + 1, 0xa5);
    theCodec.Decode(0, aBuffer.data(), aBuffer.size() - 1);
    EXPECT_EQ(aBuffer.back(), 0xa5);
    aBuffer.pop_back();
    return aBuffer;
}

/// Code and beginning of the text of the JPEGDecoderException that theAction throws.
void ExpectReport(const std::function<void()>& theAction, const RWCString& thePrefix, int theCode)
{
    try
    {
        theAction();
        ADD_FAILURE() << "expected: " << thePrefix;
    }
    catch (const JPEGDecoderException& anException)
    {
        EXPECT_EQ(anException.GetMessageText().substr(0, thePrefix.size()), thePrefix);
        EXPECT_EQ(anException.GetCode(), theCode);
    }
}

/// A codec that has its source.
struct Open
{
    explicit Open(Bytes theStream, Decoder::ParsingErrorTolerance theTolerance = Decoder::PET_FAST,
                  int theScale = 1, DICOMDataObject* theDataSet = nullptr)
        : itsSource(std::move(theStream)), itsCodec(theScale, theTolerance)
    {
        itsCodec.SetSource(theDataSet, itsSource);
    }

    ByteSource itsSource;
    JPEG2000Decoder itsCodec;
};

/// Decodes by either codec, and tells where the source stands then.
std::pair<Bytes, std::size_t> DecodeBy(bool theFileStream, const Bytes& theInput,
                                       int theLargestRead = 1 << 20)
{
    const std::unique_ptr<JPEG2000Decoder> aCodec(theFileStream
                                                      ? new JPEG2000FileStreamDecoder(1, Decoder::PET_FAST)
                                                      : new JPEG2000Decoder(1, Decoder::PET_FAST));
    ByteSource aSource(theInput, theLargestRead);
    aCodec->SetSource(nullptr, aSource);
    const Bytes aBuffer = DecodeAll(*aCodec);
    // The first bytes are looked at, and count once.
    EXPECT_EQ(aCodec->GetTotalBytesRead(), aSource.GetPosition());
    EXPECT_EQ(aSource.GetCloses(), 0);
    return {aBuffer, aSource.GetPosition()};
}
} // namespace

TEST(JPEG2000Decoder, AnnouncesWhatTheCodestreamHas)
{
    EXPECT_EQ(JPEG2000Decoder(1, Decoder::PET_FAST).GetCompressedColorspace(), Decoder::COLOR_MODEL_UNKNOWN);
    Open anOpen(Grey12());
    JPEG2000Decoder& aCodec = anOpen.itsCodec;
    EXPECT_EQ(aCodec.GetImageWidth(), static_cast<std::uint64_t>(kGreyWidth));
    EXPECT_EQ(aCodec.GetImageHeight(), static_cast<std::uint64_t>(kGreyHeight));
    EXPECT_EQ(aCodec.GetSamplesPerPixel(), 1);
    EXPECT_EQ(aCodec.GetBitsAllocatedPerSample(), 16);
    EXPECT_EQ(aCodec.GetBitsStoredPerSample(), 12);
    EXPECT_EQ(aCodec.GetRecommendedBitsStoredPerSample(), 12);
    EXPECT_EQ(aCodec.GetHighBit(), 11);
    EXPECT_EQ(aCodec.IsSigned(), 1);
    EXPECT_EQ(aCodec.GetScanMode(), 0);
    EXPECT_EQ(aCodec.IsSupportsOutputPixelSignConversion(), 1);
    EXPECT_TRUE(aCodec.IsDecoderConvertsColorToRGB());
    EXPECT_EQ(aCodec.GetCompressionReversible(), Decoder::CR_UNSPECIFIED);
}

/// That the pixels are the image's is held elsewhere, where regions of codecs that ignore them are cut out.
TEST(JPEG2000Decoder, DecodesNoMoreThanARegion)
{
    for (const auto& [aScale, aPart] :
         {std::pair{1, PixelRegion{6, 1, 3, 2}}, {2, {3, 0, 2, 2}}, {9, {0, 0, 1, 1}}})
    {
        ByteSource aSource(Grey12());
        JPEG2000Decoder aCodec(aScale, Decoder::PET_FAST);
        aCodec.SetRegion({6, 1, 3, 2});
        aCodec.SetSource(nullptr, aSource);
        EXPECT_EQ(aCodec.GetDecodedRegion(), aPart) << aScale;
        EXPECT_EQ(aCodec.GetImageWidth(), aPart.itsWidth);
        EXPECT_EQ(aCodec.GetImageHeight(), aPart.itsHeight);
        EXPECT_EQ(DecodeAll(aCodec).size(), 2 * aPart.itsWidth * aPart.itsHeight);
    }
    ByteSource aSource(Grey12());
    JPEG2000Decoder aCodec(2, Decoder::PET_FAST);
    aCodec.SetRegion({6, 1, kGreyWidth - 5, 2});
    EXPECT_THROW(aCodec.SetSource(nullptr, aSource), StreamIOException);
}

TEST(JPEG2000Decoder, ReachesTheBitsThatTheDataSetReports)
{
    // Readers extend the sign from the highest bit stored: with 14 reported, bit 13 must be right.
    constexpr int kCases[][2] = {{10, 0xfff}, {14, 0x3fff}, {40, 0xffff}}; // bits reported, bits written
    for (const auto& [aReported, aMask] : kCases)
    {
        DataSet aDataSet;
        aDataSet.SetNumber(DICOMTags::BitsStored, aReported);
        Open anOpen(Grey12(), Decoder::PET_FAST, 1, &aDataSet);
        JPEG2000Decoder& aCodec = anOpen.itsCodec;
        EXPECT_EQ(DecodeAll(aCodec), GreyWords([aBits = aMask](int theValue) { return theValue & aBits; }))
            << aReported;
    }
}

TEST(JPEG2000Decoder, DecodesColourWithAndWithoutComponentTransform)
{
    constexpr auto kRGB = Decoder::COLOR_MODEL_RGB;
    constexpr auto kYBR = Decoder::COLOR_MODEL_YBR_FULL;
    for (const auto& [aStream, anInterpretation, aCompressed, aDecompressed] :
         {std::tuple(Colour(), "", Decoder::COLOR_MODEL_YBR_RCT, kRGB),
          {Colour(), "YBR_FULL", Decoder::COLOR_MODEL_YBR_RCT, kRGB},
          {PlainColour(), "", kRGB, kRGB},
          {PlainColour(), "YBR_FULL_422", kRGB, kRGB},
          {PlainColour(), "YBR_FULL", kYBR, kYBR}})
    {
        DataSet aDataSet;
        aDataSet.SetText(DICOMTags::PhotometricInterpretation, anInterpretation);
        Open anOpen(aStream, Decoder::PET_FAST, 1, &aDataSet);
        EXPECT_EQ(anOpen.itsCodec.GetCompressedColorspace(), aCompressed);
        EXPECT_EQ(anOpen.itsCodec.GetDecompressedColorspace(), aDecompressed);
        EXPECT_EQ(anOpen.itsCodec.GetRecommendedDecompressedColorspace(), aDecompressed);
        EXPECT_EQ(DecodeAll(anOpen.itsCodec), ColourPixels());
    }
}

TEST(JPEG2000Decoder, DecodesTheIrreversibleTransform)
{
    Open anOpen(Lossy());
    JPEG2000Decoder& aCodec = anOpen.itsCodec;
    EXPECT_EQ(aCodec.GetCompressedColorspace(), Decoder::COLOR_MODEL_YBR_ICT);
    EXPECT_EQ(aCodec.GetCompressionReversible(), Decoder::CR_IRREVERSIBLE);
    const Bytes aPixels = DecodeAll(aCodec);
    for (int i = 0; i < kLossySize * kLossySize * 3; ++i)
    {
        EXPECT_NEAR(aPixels[static_cast<std::size_t>(i)],
                    LossyValue(i % 3, i / 3 % kLossySize, i / 3 / kLossySize), 2)
            << i;
    }
}

TEST(JPEG2000Decoder, RefusesScaleFactorsBelow1AndLayoutsThatDicomDoesNotHave)
{
    // Scale factors are looked at before the stream; the last two change the sampling factors of components 1
    // and 2.
    const char* const kScale = "Invalid output scale request (theScaleFactor < 1)";
    const std::tuple<Bytes, int, const char*> kCases[] = {
        {{}, 0, kScale},
        {{}, -1, kScale},
        {{}, std::numeric_limits<int>::min(), kScale},
        {Pair(), 1, "Image component count not in (1, 3) as required by DICOM"},
        {Patch(PlainColour(), kDepthOfComponent0 + 4, {2, 1}), 1,
         "Component 1 dimensions != Component 0 dimensions"},
        {Patch(PlainColour(), kDepthOfComponent0 + 7, {1, 2}), 1,
         "Component 2 dimensions != Component 0 dimensions"}};
    for (const auto& [aStream, aScale, aText] : kCases)
    {
        ExpectStreamIOException([&aBytes = aStream, aFactor = aScale]
                                { Open anOpen(aBytes, Decoder::PET_FAST, aFactor); },
                                kHeaderPrefix + aText, 37);
    }
}

TEST(JPEG2000Decoder, RefusesSamplesThatDicomDoesNotHave)
{
    Open anOpen(DeepColour());
    JPEG2000Decoder& aCodec = anOpen.itsCodec;
    ExpectStreamIOException([&] { DecodeAll(aCodec); },
                            kTilePrefix +
                                "bytes per output sample not 1 (DICOM only allows 1 bytes per sample for "
                                "3-component image)",
                            62);
    Open aDeep(Patch(Grey12(), kDepthOfComponent0, {0x80 + 19}));
    EXPECT_EQ(aDeep.itsCodec.GetBitsStoredPerSample(), 20);
    ExpectStreamIOException(
        [&] { DecodeAll(aDeep.itsCodec); },
        "JPEG2000Decoder::ConvertIntsToOutputSamples: theBitsStoredPerOutputSample > (8 * "
        "theBytesPerOutputSample)",
        62);
}

TEST(JPEG2000Decoder, ComponentsOfDifferentDepthKeepTheirValues)
{
    // The stream's own second component, taken for one of 4 bits: what does not fit is clamped to them.
    Open anOpen(Patch(PlainColour(), kDepthOfComponent0 + 3, {3}));
    JPEG2000Decoder& aCodec = anOpen.itsCodec;
    EXPECT_EQ(aCodec.GetBitsStoredPerSample(), 8);
    Bytes anExpected = ColourPixels();
    for (std::size_t i = 1; i < anExpected.size(); i += 3)
    {
        const int aCentred = anExpected[i] - 128;
        anExpected[i] = static_cast<std::uint8_t>(std::min(std::max(aCentred, -8), 7) + 8);
    }
    EXPECT_EQ(DecodeAll(aCodec), anExpected);
}

TEST(JPEG2000Decoder, ChecksTheBufferBeforeAnythingIsDecoded)
{
    const RWCString kSmall = "JPEG2000Decoder::Decode Output buffer too small";
    const RWCString kNoTile = kTilePrefix + "itsCurrentlyOpenTile does not exist";
    Open anOpen(Colour());
    JPEG2000Decoder& aCodec = anOpen.itsCodec;
    Bytes aBuffer(ColourPixels().size(), 0x77);
    for (const auto& [aData, aSize] :
         {std::pair{aBuffer.data(), aBuffer.size() - 1}, {aBuffer.data(), 0}, {nullptr, aBuffer.size()}})
    {
        ExpectStreamIOException([&, d = aData, s = aSize] { aCodec.Decode(0, d, s); }, kSmall, 62);
    }
    EXPECT_EQ(aBuffer, Bytes(aBuffer.size(), 0x77));
    aCodec.Decode(0, aBuffer.data(), aBuffer.size());
    EXPECT_EQ(aBuffer, ColourPixels());
    ExpectStreamIOException([&] { aCodec.DecompressCurrentTile(aBuffer.data()); }, kNoTile, 62);
    aCodec.FinishDecoding();
    JPEG2000Decoder aFresh(1, Decoder::PET_FAST);
    for (JPEG2000Decoder* const aDone : {&aCodec, &aFresh})
    {
        ExpectStreamIOException([&] { aDone->Decode(0, aBuffer.data(), aBuffer.size()); }, kNoTile, 62);
    }
}

TEST(JPEG2000Decoder, RaisesWarningsOnlyWhereTheToleranceIsFussy)
{
    const Bytes anOddStream = Patch(Grey12(), kCapabilities, {0x80, 0x01});
    for (const int aTolerance : {0, 1, 2, 7, -3})
    {
        Open anOpen(anOddStream, static_cast<Decoder::ParsingErrorTolerance>(aTolerance));
        EXPECT_EQ(DecodeAll(anOpen.itsCodec).size(), 2u * kGreyWidth * kGreyHeight) << aTolerance;
    }
    ExpectReport([&] { Open anOpen(anOddStream, Decoder::PET_FUSSY); },
                 "JPEG2000Decoder::JPEG2000Decoder()[create codestream]: ", 1);
    Open aSound(Grey12(), Decoder::PET_FUSSY);
}

TEST(JPEG2000Decoder, NamesThePhaseOfAReport)
{
    const Bytes aStream = Grey12();
    const auto aTileAt = [&aStream](int theTile)
    {
        const Bytes kStart = {0xff, 0x90, 0, 10, 0, static_cast<std::uint8_t>(theTile)};
        return static_cast<std::size_t>(
            std::search(aStream.begin(), aStream.end(), kStart.begin(), kStart.end()) - aStream.begin());
    };
    const RWCString kPrefix = "JPEG2000Decoder::JPEG2000Decoder()[";
    const auto anOpening = [](Bytes theStream, int theScale = 1)
    { return [=] { Open(theStream, Decoder::PET_FUSSY, theScale); }; };
    ExpectReport(anOpening({}), kPrefix + "create codestream]: ", 0);
    ExpectReport(anOpening(Bytes(aStream.begin(), aStream.begin() + 30)),
                 kPrefix + "create codestream]: ", 0);
    // A tile that the image does not have.
    const Bytes kNoTile = {0, 99};
    const Bytes aNoFirst = Patch(aStream, aTileAt(0) + 4, kNoTile);
    ExpectReport(anOpening(aNoFirst), kPrefix + "itsCodestream.open_tile()]: ", 1);
    ExpectReport(anOpening(aNoFirst, 2), kPrefix + "itsCodestream.apply_input_restrictions()]: ", 1);
    // Boxes of a file that are wrong, cut off, or of another length.
    const Bytes aFile = MakeJp2(aStream);
    for (const Bytes& aBroken : {Patch(aFile, 4, {'j', 'p', '2', 'x'}),
                                 Bytes(aFile.begin(), aFile.begin() + 40), Patch(aFile, 15, {3})})
    {
        ExpectReport(anOpening(aBroken), kPrefix + "start]: Error in Kakadu File Format Support: ", 0);
    }
    Open aNoThird(Patch(aStream, aTileAt(2) + 4, kNoTile), Decoder::PET_FUSSY);
    ExpectReport([&] { DecodeAll(aNoThird.itsCodec); }, "JPEG2000Decoder::Decode: ", 1);
}

TEST(JPEG2000Decoder, ThreadsThatReportAtOnceGetTheirOwnText)
{
    const Bytes anOddStream = Patch(Grey12(), kCapabilities, {0x80, 0x01});
    const Bytes aCutStream(anOddStream.begin(), anOddStream.begin() + 20);
    const RWCString kPrefix = "JPEG2000Decoder::JPEG2000Decoder()[create codestream]: SIZ: the codestream ";
    RunSideBySide(
        [&](int theThread)
        {
            const bool isWarning = theThread % 2 == 0;
            for (int aRound = 0; aRound < 3000; ++aRound)
            {
                ExpectReport([&] { Open anOpen(isWarning ? anOddStream : aCutStream, Decoder::PET_FUSSY); },
                             kPrefix + (isWarning ? "announces" : "ends inside"), isWarning ? 1 : 0);
            }
        });
}

TEST(JPEG2000Decoder, LetsWhatTheSourceThrowsPass)
{
    const Bytes aStream = Grey12();
    for (const std::size_t aLength : {0U, 2U, 50U, 100U, 200U, 400U})
    {
        ByteSource aSource(Bytes(aStream.begin(), aStream.begin() + static_cast<std::ptrdiff_t>(aLength)));
        aSource.AtEnd([]() -> int { throw DecodingInterruptedException("stopped", 1); });
        JPEG2000Decoder aCodec(1, Decoder::PET_FAST);
        EXPECT_THROW((aCodec.SetSource(nullptr, aSource), DecodeAll(aCodec)), DecodingInterruptedException)
            << aLength;
    }
}

TEST(JPEG2000Decoder, CopiesShareTheCodestream)
{
    ByteSource aSource(Colour());
    JPEG2000Decoder aCopy(5, Decoder::PET_FUSSY);
    {
        JPEG2000Decoder aCodec(1, Decoder::PET_FAST);
        aCodec.SetSource(nullptr, aSource);
        const JPEG2000Decoder anotherCopy(aCodec);
        aCopy = aCodec;
    }
    EXPECT_EQ(DecodeAll(aCopy), ColourPixels());
}

TEST(JPEG2000Decoder, ASecondSourceEndsTheFirst)
{
    JPEG2000Decoder aPlain(30, Decoder::PET_FAST);
    JPEG2000FileStreamDecoder aFile(30, Decoder::PET_FAST);
    for (JPEG2000Decoder* const aCodec : std::initializer_list<JPEG2000Decoder*>{&aPlain, &aFile})
    {
        const auto aFirst = std::make_unique<ByteSource>(Lossy());
        aCodec->SetSource(nullptr, *aFirst);
        EXPECT_EQ(aCodec->GetCompressionReversible(), Decoder::CR_IRREVERSIBLE);
        ByteSource aSecond(Grey12());
        aCodec->SetSource(nullptr, aSecond);
        Open aFresh(Grey12(), Decoder::PET_FAST, 30);
        EXPECT_EQ(aCodec->GetCompressionReversible(), Decoder::CR_UNSPECIFIED);
        EXPECT_EQ(aCodec->GetScaleFactor(), aFresh.itsCodec.GetScaleFactor());
        EXPECT_EQ(DecodeAll(*aCodec), DecodeAll(aFresh.itsCodec));
    }
}

TEST(JPEG2000Decoder, TurnsReportsIntoDecoderExceptions)
{
    const KDUWarningMessageCallbackException aWarning("it is odd"), aSilentWarning("");
    const KDUErrorMessageCallbackException anError("it is wrong"), aSilentError("");
    const KDUMessageCallbackException aPlainReport("neither");
    const char* const aSilence = "Unknown message callback from decompression engine";
    const std::tuple<const KDUMessageCallbackException*, int, const char*> kCases[] = {
        {&aWarning, 1, "it is odd"},  {&anError, 0, "it is wrong"},   {&aPlainReport, 0, "neither"},
        {&aSilentError, 0, aSilence}, {&aSilentWarning, 1, aSilence}, {nullptr, 0, aSilence}};
    for (const auto& [aReport, aCode, aText] : kCases)
    {
        ExpectReport([aThrown = aReport] { JPEG2000Decoder::ThrowDecoderException("Here: ", aThrown); },
                     RWCString("Here: ") + aText, aCode);
    }
}

TEST(JPEG2000FileStreamDecoder, FilesAndBareStreamsDecodeAlikeByBothCodecs)
{
    const Bytes aStream = Grey12();
    const Bytes aFile = MakeJp2(aStream);
    const Bytes anExpected = DecodeBy(false, aStream).first;
    // What the box cuts off is missing, and decodes as such; the box behind it is not taken for it.
    const Bytes aCutFile = MakeJp2(Bytes(aStream.begin(), aStream.end() - 60));
    for (const bool isFileStream : {false, true})
    {
        for (const int aLargestRead : {1, 7, 1 << 20})
        {
            // The last one does not say how long it is.
            for (const Bytes& anInput : {aStream, Join({aStream, Bytes(100, 0xff)}),
                                         Patch(Join({aStream, Bytes(100, 0xff)}), 334, {0, 0, 0, 0})})
            {
                EXPECT_EQ(DecodeBy(isFileStream, anInput, aLargestRead),
                          std::pair(anExpected, aStream.size()));
            }
            for (const Bytes& anInput : {aFile, Join({aFile, Box("xml ", Bytes(300, ' '))})})
            {
                EXPECT_EQ(DecodeBy(isFileStream, anInput, aLargestRead), std::pair(anExpected, aFile.size()));
            }
        }
        EXPECT_EQ(DecodeBy(isFileStream, aCutFile),
                  DecodeBy(isFileStream, Join({aCutFile, Box("xml ", Bytes(500, 0x31))})));
    }
}
