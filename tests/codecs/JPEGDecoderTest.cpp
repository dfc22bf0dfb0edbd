// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoderException.h"
#include "toolkit/base/DecodingInterruptedException.h"
#include "toolkit/base/StreamIOException.h"

namespace
{

using Process = JpegSpec::Process;

Bytes SmallJpeg(int thePrecision = 8, Process theProcess = Process::LOSSLESS)
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsWidth = 20;
    aSpec.itsHeight = 10;
    return MakeJpeg(aSpec, MakeSamples(aSpec));
}

std::string Error(std::size_t theBytesRead, const std::string& theText)
{
    return "JPEGDecoder: error (read " + std::to_string(theBytesRead) + " bytes so far): " + theText;
}

struct BuildCase
{
    int itsBuild;
    int itsAllocated;
    int itsMaxValue;
};

TEST(JPEGDecoder, EachBuildDescribesItself)
{
    for (const BuildCase& aCase : {BuildCase{8, 8, 255}, BuildCase{12, 16, 4095}, BuildCase{16, 16, 4095}})
    {
        const auto aDecoder = MakeDecoder(aCase.itsBuild);
        EXPECT_EQ(aDecoder->GetBitsAllocatedPerSample(), aCase.itsAllocated);
        EXPECT_EQ(aDecoder->GetBitsStoredPerSample(), aCase.itsBuild);
        EXPECT_EQ(aDecoder->GetRecommendedBitsStoredPerSample(), aCase.itsBuild);
        EXPECT_EQ(aDecoder->GetHighBit(), aCase.itsBuild - 1);
        EXPECT_EQ(aDecoder->GetMaxValue(), aCase.itsMaxValue);
        EXPECT_EQ(JPEGDecoder::GetDefaultInputBufferSize(), 0u);
        EXPECT_EQ(aDecoder->IsSigned(), 0);
        EXPECT_EQ(aDecoder->GetScaleFactor(), 1);
        EXPECT_TRUE(aDecoder->IsDecoderConvertsColorToRGB());
        EXPECT_EQ(aDecoder->GetScanMode(), 1);
        EXPECT_EQ(aDecoder->GetOutputSize(), 0u);
        EXPECT_EQ(aDecoder->GetDecompressedBufferSize(), -1);
    }
}

TEST(JPEGDecoder, HeaderTellsGeometryAndPrecision)
{
    for (const int aBuild : {8, 12, 16})
    {
        const auto aDecoder = MakeDecoder(aBuild);
        ByteSource aSource(SmallJpeg(7));
        aDecoder->SetSource(nullptr, aSource);
        EXPECT_EQ(aDecoder->GetImageWidth(), 20u);
        EXPECT_EQ(aDecoder->GetImageHeight(), 10u);
        EXPECT_EQ(aDecoder->GetPrecision(), 7);
        EXPECT_EQ(aDecoder->GetOutputSize(), aBuild == 8 ? 200u : 400u);
        EXPECT_EQ(aDecoder->GetDecompressedBufferSize(), aBuild == 8 ? 200 : 400);
        EXPECT_EQ(aSource.GetCloses(), 0);
        Bytes aBuffer(aDecoder->GetOutputSize());
        aDecoder->Decode(0, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aSource.GetCloses(), 1);
        EXPECT_EQ(aDecoder->GetTotalBytesRead(), aSource.GetPosition());
    }
}

struct ErrorCase
{
    const char* itsName;
    int itsBuild;
    Bytes itsBytes;
    const char* itsText;
};

// The driver looks for "Unsupported JPEG data precision" and the figure in these very texts.
TEST(JPEGDecoder, LibraryErrorsCarryItsTextAndTheBytesRead)
{
    const Bytes aLossless = SmallJpeg();
    const Bytes aCutHeader(aLossless.begin(), aLossless.begin() + 30);
    const Bytes aCutData(aLossless.begin(), aLossless.end() - 40);
    const Bytes aNoEnd(aLossless.begin(), aLossless.end() - 2);
    const std::vector<ErrorCase> aCases = {
        {"nothing", 8, {}, "Premature end of input file"},
        {"no JPEG", 8, {'B', 'M', 0, 0}, "Not a JPEG file: starts with 0x42 0x4d"},
        {"cut header", 8, aCutHeader, "Premature end of input file"},
        {"cut data", 8, aCutData, "Premature end of input file"},
        {"no end marker", 8, aNoEnd, "Premature end of input file"},
        {"12 in 8", 8, SmallJpeg(12, Process::EXTENDED), "Unsupported JPEG data precision 12"},
        {"8 in 12", 12, SmallJpeg(8, Process::EXTENDED), "Unsupported JPEG data precision 8"},
        {"8 in 16", 16, SmallJpeg(8, Process::BASELINE), "Unsupported JPEG data precision 8"},
        {"12 in 16", 16, SmallJpeg(12, Process::PROGRESSIVE), "Unsupported JPEG data precision 12"},
        {"no image", 8, {0xff, 0xd8, 0xff, 0xd9}, "JPEG datastream contains no image"}};
    for (const ErrorCase& aCase : aCases)
    {
        const auto aDecoder = MakeDecoder(aCase.itsBuild);
        ByteSource aSource(aCase.itsBytes);
        EXPECT_EQ(DecodeError(*aDecoder, aSource), Error(aCase.itsBytes.size(), aCase.itsText))
            << aCase.itsName;
    }
}

TEST(JPEGDecoder, LibraryErrorsAreJPEGDecoderExceptions)
{
    ByteSource aSource({});
    try
    {
        MakeDecoder(8)->SetSource(nullptr, aSource);
        FAIL();
    }
    catch (const JPEGDecoderException& anException)
    {
        EXPECT_EQ(anException.GetCode(), 0);
        EXPECT_TRUE(anException.IsError());
        EXPECT_EQ(anException.ToString(),
                  "JPEGDecoderException: Error: " + Error(0, "Premature end of input file"));
        EXPECT_EQ(anException.Clone()->ToString(), anException.ToString());
    }
    EXPECT_EQ(JPEGDecoderException("odd", 3).ToString(), "JPEGDecoderException: Warning: odd");
    EXPECT_FALSE(JPEGDecoderException("odd", 3).IsError());
}

// A source that fails or lies about its count must neither be trusted nor end as a truncated image.
TEST(JPEGDecoder, SourceErrorsAreReadErrors)
{
    const Bytes aJpeg = SmallJpeg();
    for (const std::size_t aCut : {std::size_t{0}, std::size_t{30}, aJpeg.size() - 5})
    {
        for (const int anAnswer : {-1, -2147483647, 32769, 2147483647})
        {
            ByteSource aSource(Bytes(aJpeg.begin(), aJpeg.begin() + static_cast<std::ptrdiff_t>(aCut)));
            aSource.AtEnd([anAnswer] { return anAnswer; });
            const auto aDecoder = MakeDecoder(16);
            EXPECT_EQ(DecodeError(*aDecoder, aSource), Error(aCut, "Input file read error"));
            EXPECT_EQ(aDecoder->GetBytesRead(), anAnswer);
        }
    }
}

TEST(JPEGDecoder, ExceptionsOfTheSourcePassThroughTheLibrary)
{
    const Bytes aJpeg = SmallJpeg(8, Process::PROGRESSIVE);
    for (const std::size_t aCut : {std::size_t{0}, std::size_t{30}, aJpeg.size() - 5})
    {
        ByteSource aSource(Bytes(aJpeg.begin(), aJpeg.begin() + static_cast<std::ptrdiff_t>(aCut)));
        aSource.AtEnd([]() -> int { throw DecodingInterruptedException("stop", 1); });
        const auto aDecoder = MakeDecoder(8);
        EXPECT_THROW(DecodeBytes(*aDecoder, aSource), DecodingInterruptedException);
    }
}

// Small reads put every marker across a buffer boundary; a long comment is skipped over several fills.
TEST(JPEGDecoder, ReadsOfAnySizeGiveTheSamePixels)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::LOSSLESS;
    aSpec.itsPrecision = 16;
    aSpec.itsCommentLengths = {0, 1, 65533, 32768};
    const Samples aSamples = MakeSamples(aSpec);
    const Bytes aJpeg = MakeJpeg(aSpec, aSamples);
    for (const int aRead : {1, 2, 3, 1000, 32767, 32768, 1000000})
    {
        ByteSource aSource(aJpeg, aRead);
        EXPECT_EQ(ToSamples(DecodeBytes(*MakeDecoder(16), aSource), 16), aSamples)
            << aRead << " bytes a read";
    }
    for (std::size_t aCut = 10; aCut < aJpeg.size(); aCut += 9973)
    {
        ByteSource aSource(Bytes(aJpeg.begin(), aJpeg.begin() + static_cast<std::ptrdiff_t>(aCut)), 700);
        EXPECT_EQ(DecodeError(*MakeDecoder(16), aSource), Error(aCut, "Premature end of input file"));
    }
}

// The frame header rules over the caller's idea of the size; nothing is written, nothing is allocated.
TEST(JPEGDecoder, TooSmallABufferIsRefused)
{
    for (const std::uint64_t aSize : {std::uint64_t{1}, std::uint64_t{199}})
    {
        const auto aDecoder = MakeDecoder(8);
        ByteSource aSource(SmallJpeg());
        aDecoder->SetSource(nullptr, aSource);
        Bytes aBuffer(200, 0xa5);
        try
        {
            aDecoder->Decode(0, aBuffer.data(), aSize);
            FAIL();
        }
        catch (const StreamIOException& anException)
        {
            EXPECT_EQ(anException.GetResultCode(), 62);
            EXPECT_EQ(anException.GetMessageText(),
                      "JPEGDecoder::Decode: the decoded image has 200 bytes, the "
                      "output buffer " +
                          std::to_string(aSize));
        }
        EXPECT_EQ(aBuffer, Bytes(200, 0xa5));
        EXPECT_THROW(aDecoder->Decode(0, nullptr, 200), StreamIOException);
        EXPECT_THROW(aDecoder->Decode(0, nullptr, 0), StreamIOException);
        aDecoder->Decode(0, aBuffer.data(), aBuffer.size());
    }
}

TEST(JPEGDecoder, NeitherLengthNorSizeNeedBePassed)
{
    const auto aDecoder = MakeDecoder(8);
    ByteSource aSource(SmallJpeg());
    aDecoder->SetSource(nullptr, aSource);
    Bytes aBuffer(200, 0xa5);
    aDecoder->Decode(0, aBuffer.data(), 0);
    EXPECT_EQ(ToSamples(aBuffer, 8), DecodeSamples(*MakeDecoder(8), SmallJpeg()));
}

// A header that claims 12 GB of pixels: refused before the library allocates for it.
TEST(JPEGDecoder, HugeProgressiveFrameCostsNothing)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::PROGRESSIVE;
    aSpec.itsComponents = 3;
    Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
    const Bytes aFrameHeader = {0xff, 0xc2, 0, 17, 8};
    const auto aFrame = std::search(aJpeg.begin(), aJpeg.end(), aFrameHeader.begin(), aFrameHeader.end());
    const Bytes aSides = {0xff, 0xdc, 0xff, 0xdc};
    std::copy(aSides.begin(), aSides.end(), aFrame + 5);
    const auto aDecoder = MakeDecoder(8);
    ByteSource aSource(aJpeg);
    aDecoder->SetSource(nullptr, aSource);
    EXPECT_EQ(aDecoder->GetOutputSize(), 65500ull * 65500ull * 3);
    Bytes aBuffer(64);
    EXPECT_THROW(aDecoder->Decode(0, aBuffer.data(), aBuffer.size()), StreamIOException);
}

TEST(JPEGDecoder, CallsOutOfOrderAreErrors)
{
    const auto aDecoder = MakeDecoder(8);
    Bytes aBuffer(200);
    EXPECT_THROW(aDecoder->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
    const auto anOther = MakeDecoder(8);
    ByteSource aSource(SmallJpeg());
    DecodeBytes(*anOther, aSource);
    EXPECT_THROW(anOther->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
}

// After a failure half-way the library object holds half-made state; entering it again must stay an error.
TEST(JPEGDecoder, FailedCodecStaysFailed)
{
    const Bytes aJpeg = SmallJpeg(8, Process::PROGRESSIVE);
    for (std::size_t aCut = 0; aCut < aJpeg.size(); aCut += 7)
    {
        const auto aDecoder = MakeDecoder(8);
        ByteSource aCutSource(Bytes(aJpeg.begin(), aJpeg.begin() + static_cast<std::ptrdiff_t>(aCut)));
        EXPECT_NE(DecodeError(*aDecoder, aCutSource), "");
        ByteSource aSource(aJpeg);
        EXPECT_NE(DecodeError(*aDecoder, aSource).find("Improper call to JPEG library"), std::string::npos);
        Bytes aBuffer(200);
        EXPECT_THROW(aDecoder->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
    }
}

TEST(JPEGDecoder, ErrorHandlerCanBeSetAgain)
{
    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetJpegErrorHandler();
    ByteSource aSource({});
    EXPECT_EQ(DecodeError(*aDecoder, aSource), Error(0, "Premature end of input file"));
}

// A copy shares the library object; whoever is destroyed first must not take it away from the other.
TEST(JPEGDecoder, CopiesShareTheImage)
{
    const Bytes aJpeg = SmallJpeg();
    ByteSource aSource(aJpeg, 50);
    auto anOriginal = std::make_unique<JPEG8BitDecoder>();
    anOriginal->SetSource(nullptr, aSource);
    JPEG8BitDecoder aCopy(*anOriginal);
    JPEG8BitDecoder anAssigned;
    anAssigned = aCopy;
    anOriginal.reset();
    EXPECT_EQ(aCopy.GetImageWidth(), 20u);
    Bytes aBuffer(200);
    anAssigned.Decode(0, aBuffer.data(), aBuffer.size());
    EXPECT_EQ(ToSamples(aBuffer, 8), DecodeSamples(*MakeDecoder(8), aJpeg));
}

} // namespace
