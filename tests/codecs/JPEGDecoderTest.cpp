// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoder.h"
#include "decoding/FakeDecoder.h"
#include "toolkit/base/Exceptions.h"

namespace
{

using Process = JpegSpec::Process;

Bytes SmallJpeg(int thePrecision = 8, Process theProcess = Process::LOSSLESS)
{
    return Image({20, 10, 1, thePrecision, theProcess}).itsJpeg;
}

std::string Error(std::size_t theBytesRead, const std::string& theText)
{
    return "JPEGDecoder: error (read " + std::to_string(theBytesRead) + " bytes so far): " + theText;
}

TEST(JPEGDecoder, EachBuildDescribesItselfAndTheImage)
{
    for (const auto& [aBuild, anAllocated, aMaxValue] :
         {std::tuple{8, 8, 255}, {12, 16, 4095}, {16, 16, 4095}})
    {
        const auto aDecoder = MakeDecoder(aBuild);
        EXPECT_EQ(aDecoder->GetBitsAllocatedPerSample(), anAllocated);
        EXPECT_EQ(aDecoder->GetBitsStoredPerSample(), aBuild);
        EXPECT_EQ(aDecoder->GetRecommendedBitsStoredPerSample(), aBuild);
        EXPECT_EQ(aDecoder->GetHighBit(), aBuild - 1);
        EXPECT_EQ(aDecoder->GetMaxValue(), aMaxValue);
        EXPECT_EQ(JPEGDecoder::GetDefaultInputBufferSize(), 0u);
        EXPECT_TRUE(aDecoder->IsDecoderConvertsColorToRGB());
        EXPECT_EQ(aDecoder->GetScanMode(), 1);
        EXPECT_EQ(aDecoder->GetOutputSize(), 0u);
        EXPECT_EQ(aDecoder->GetDecompressedBufferSize(), -1);
        ByteSource aSource(SmallJpeg(7));
        aDecoder->SetSource(nullptr, aSource);
        EXPECT_EQ(aDecoder->GetImageWidth(), 20u);
        EXPECT_EQ(aDecoder->GetImageHeight(), 10u);
        EXPECT_EQ(aDecoder->GetPrecision(), 7);
        EXPECT_EQ(aDecoder->GetOutputSize(), 25u * static_cast<unsigned int>(anAllocated));
        EXPECT_EQ(aDecoder->GetDecompressedBufferSize(), 25 * anAllocated);
        EXPECT_EQ(aSource.GetCloses(), 0);
        DecodeRest(*aDecoder);
        EXPECT_EQ(aSource.GetCloses(), 1);
        EXPECT_EQ(aDecoder->GetTotalBytesRead(), aSource.GetPosition());
    }
    ByteSource aProgressive(SmallJpeg(8, Process::PROGRESSIVE));
    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetSource(nullptr, aProgressive);
    EXPECT_EQ(aDecoder->GetScanMode(), 0);
}

// The driver looks for "Unsupported JPEG data precision" and the figure in these very texts.
TEST(JPEGDecoder, LibraryErrorsCarryItsTextAndTheBytesRead)
{
    const Bytes aLossless = SmallJpeg();
    const std::tuple<int, Bytes, const char*> kCases[] = {
        {8, {}, "Premature end of input file"},
        {8, {'B', 'M', 0, 0}, "Not a JPEG file: starts with 0x42 0x4d"},
        {8, Cut(aLossless, 30), "Premature end of input file"},
        {8, Cut(aLossless, aLossless.size() - 40), "Premature end of input file"},
        {8, Cut(aLossless, aLossless.size() - 2), "Premature end of input file"},
        {8, SmallJpeg(12, Process::EXTENDED), "Unsupported JPEG data precision 12"},
        {12, SmallJpeg(8, Process::EXTENDED), "Unsupported JPEG data precision 8"},
        {16, SmallJpeg(8, Process::BASELINE), "Unsupported JPEG data precision 8"},
        {16, SmallJpeg(12, Process::PROGRESSIVE), "Unsupported JPEG data precision 12"},
        {8, {0xff, 0xd8, 0xff, 0xd9}, "JPEG datastream contains no image"}};
    for (const auto& [aBuild, aJpeg, aText] : kCases)
    {
        const auto aDecoder = MakeDecoder(aBuild);
        aDecoder->SetJpegErrorHandler(); // once more
        ByteSource aSource(aJpeg);
        EXPECT_EQ(DecodeError(*aDecoder, aSource), Error(aJpeg.size(), aText));
    }
}

TEST(JPEGDecoder, LibraryErrorsAreJPEGDecoderExceptions)
{
    ByteSource aSource({});
    EXPECT_THROW(MakeDecoder(8)->SetSource(nullptr, aSource), JPEGDecoderException);
    for (const auto& [aCode, aText] : {std::pair{0, "Error: odd"}, {3, "Warning: odd"}})
    {
        const JPEGDecoderException anException("odd", aCode);
        EXPECT_EQ(anException.GetCode(), aCode);
        EXPECT_EQ(anException.IsError(), aCode == 0);
        EXPECT_EQ(anException.Clone()->ToString(), RWCString("JPEGDecoderException: ") + aText);
    }
}

// A source that fails or lies about its count must neither be trusted nor end as a truncated image; what it
// throws passes through the library.
TEST(JPEGDecoder, SourceErrorsAreReadErrors)
{
    const Bytes aJpeg = SmallJpeg();
    for (const std::size_t aCut : {std::size_t{0}, std::size_t{30}, aJpeg.size() - 5})
    {
        for (const int anAnswer : {-1, -2147483647, 32769, 2147483647})
        {
            ByteSource aSource(Cut(aJpeg, aCut));
            aSource.AtEnd([anAnswer] { return anAnswer; });
            const auto aDecoder = MakeDecoder(16);
            EXPECT_EQ(DecodeError(*aDecoder, aSource), Error(aCut, "Input file read error"));
            EXPECT_EQ(aDecoder->GetBytesRead(), anAnswer);
        }
        ByteSource aSource(Cut(aJpeg, aCut));
        aSource.AtEnd([]() -> int { throw DecodingInterruptedException("stop", 1); });
        const auto aDecoder = MakeDecoder(8);
        EXPECT_THROW(DecodeBytes(*aDecoder, aSource), DecodingInterruptedException);
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
        ExpectStreamIOException([&] { aDecoder->Decode(0, aBuffer.data(), aSize); },
                                "JPEGDecoder::Decode: the decoded image has 200 bytes, the output buffer " +
                                    std::to_string(aSize),
                                62);
        EXPECT_EQ(aBuffer, Bytes(200, 0xa5));
        EXPECT_THROW(aDecoder->Decode(0, nullptr, 200), StreamIOException);
        EXPECT_THROW(aDecoder->Decode(0, nullptr, 0), StreamIOException);
        aDecoder->Decode(0, aBuffer.data(), aSize == 1 ? 0 : aBuffer.size()); // no size need be passed
        EXPECT_EQ(ToSamples(aBuffer, 8), DecodeSamples(*MakeDecoder(8), SmallJpeg()));
    }
}

TEST(JPEGDecoder, CallsOutOfOrderAreErrors)
{
    const auto aDecoder = MakeDecoder(8);
    Bytes aBuffer(200);
    EXPECT_THROW(aDecoder->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
    const auto anOther = MakeDecoder(8);
    DecodeSamples(*anOther, SmallJpeg());
    EXPECT_THROW(anOther->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
    // After a failure half-way the library object holds half-made state; entering it must stay an error.
    const Bytes aJpeg = SmallJpeg(8, Process::PROGRESSIVE);
    for (std::size_t aCut = 0; aCut < aJpeg.size(); aCut += 7)
    {
        const auto aFailed = MakeDecoder(8);
        ByteSource aCutSource(Cut(aJpeg, aCut));
        EXPECT_NE(DecodeError(*aFailed, aCutSource), "");
        ByteSource aSource(aJpeg);
        EXPECT_NE(DecodeError(*aFailed, aSource).find("Improper call to JPEG library"), std::string::npos);
        EXPECT_THROW(aFailed->Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException);
    }
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
    EXPECT_EQ(ToSamples(DecodeRest(anAssigned), 8), DecodeSamples(*MakeDecoder(8), aJpeg));
}

/// Grey, of 8 bits.
Image Square(int theSide, Process theProcess = Process::LOSSLESS)
{
    return Image({theSide, theSide, 1, 8, theProcess});
}

// Every order of taking and setting: the leak checker sees a buffer lost, the address sanitizer one freed
// twice or read after its end.
TEST(JPEGDecoderHandOver, EveryBufferHasOneOwner)
{
    const Image anImage = Square(200);
    ASSERT_GT(anImage.itsJpeg.size(), 1000u);
    const auto aUntouched = MakeDecoder(8);
    const std::unique_ptr<std::uint8_t[]> aTaken(aUntouched->TakeBuffer());
    EXPECT_NE(aTaken, nullptr);
    EXPECT_EQ(aUntouched->TakeBuffer(), nullptr);

    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetBuffer(NewBuffer(anImage.itsJpeg, 10));
    aDecoder->SetBuffer(NewBuffer(anImage.itsJpeg, 20));
    auto* const aBuffer = NewBuffer(anImage.itsJpeg, 30);
    aDecoder->SetBuffer(aBuffer);
    aDecoder->SetBuffer(aBuffer);
    aDecoder->SetBuffer(NewBuffer(anImage.itsJpeg, 40));
    aDecoder->SetBuffer(aBuffer);
    EXPECT_EQ(aDecoder->TakeBuffer(), aBuffer);
    aDecoder->SetBuffer(aBuffer);
    aDecoder->SetBytesRead(30);
    ByteSource aRest(anImage.Rest(30), 500);
    EXPECT_EQ(ToSamples(DecodeBytes(*aDecoder, aRest), 8), anImage.itsSamples);
}

// The decoder that begins the image anew must not take the header's count for that of the supplied bytes.
TEST(JPEGDecoderHandOver, BufferSuppliedBetweenHeaderAndDecode)
{
    const Image anImage = Square(32, Process::BASELINE);
    const std::size_t aHeader = anImage.itsJpeg.size() * 2 / 3;
    const Bytes aRest = anImage.Rest(aHeader);
    for (const JPEGPath aPath : {JPEGPath::LIBRARY, JPEGPath::AUTOMATIC})
    {
        ByteSource aSource(Cut(anImage.itsJpeg, aHeader));
        const auto aDecoder = MakeDecoder(8);
        aDecoder->SetPath(aPath);
        aDecoder->SetSource(nullptr, aSource);
        aDecoder->SetBuffer(NewBuffer(aRest, aRest.size(), aRest.size()));
        aDecoder->SetBytesRead(static_cast<int>(aRest.size()));
        EXPECT_EQ(DecodeRest(*aDecoder), DecodeOn(JPEGPath::LIBRARY, {}, anImage.itsJpeg).itsPixels);
        EXPECT_EQ(aDecoder->GetBytesRead(), static_cast<int>(aRest.size()));
    }
}

// The bytes of the image before are gone by then, for the address sanitizer to see.
TEST(JPEGDecoderHandOver, BufferTakenAfterAReadThatThrew)
{
    ByteSource aSource(Square(500, Process::BASELINE).itsJpeg, 500);
    const auto aDecoder = MakeDecoder(8);
    DecodeBytes(*aDecoder, aSource);
    ASSERT_GT(aSource.GetPosition(), 70000u);
    ByteSource aThrowing(Bytes{});
    aThrowing.AtEnd([]() -> int { throw std::logic_error("broken"); });
    EXPECT_THROW(aDecoder->SetSource(nullptr, aThrowing), std::logic_error);
    const std::unique_ptr<std::uint8_t[]> aTaken(aDecoder->TakeBuffer());
    EXPECT_NE(aTaken, nullptr);
}

// Taking the buffer away in the middle of an image: what was in it is lost, but nobody reads it any more.
TEST(JPEGDecoderHandOver, BufferTakenBetweenHeaderAndDecode)
{
    const Image anImage = Square(200);
    ByteSource aSource(anImage.itsJpeg, 500);
    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetSource(nullptr, aSource);
    delete[] aDecoder->TakeBuffer();
    // Garbage or an error are both fine here.
    static_cast<void>(DecodeErrorOf([&] { DecodeRest(*aDecoder); }));
}

// The count that matters is the one the virtual accessor gives.
class OverridingDecoder final : public JPEG8BitDecoder
{
public:
    int GetBytesRead() override { return 0; }
};

TEST(JPEGDecoderHandOver, SuppliedCountIsAskedThroughTheVirtualCall)
{
    const Image anImage = Square(8);
    OverridingDecoder aDecoder;
    aDecoder.SetBuffer(NewBuffer(anImage.itsJpeg, anImage.itsJpeg.size()));
    aDecoder.SetBytesRead(static_cast<int>(anImage.itsJpeg.size()));
    ByteSource aSource({});
    EXPECT_EQ(DecodeError(aDecoder, aSource),
              "JPEGDecoder: error (read 0 bytes so far): Premature end of input file");
}

} // namespace
