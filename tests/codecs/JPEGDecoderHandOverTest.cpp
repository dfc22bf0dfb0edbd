// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoderException.h"
#include "codecs/jpeg/detail/JPEGPath.h"

namespace
{

using Process = JpegSpec::Process;

struct Image
{
    Samples itsSamples;
    Bytes itsJpeg;
};

Image MakeImage(int thePrecision, int theWidth, int theHeight)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::LOSSLESS;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsWidth = theWidth;
    aSpec.itsHeight = theHeight;
    Image anImage;
    anImage.itsSamples = MakeSamples(aSpec);
    anImage.itsJpeg = MakeJpeg(aSpec, anImage.itsSamples);
    return anImage;
}

std::uint8_t* NewBuffer(const Bytes& theBytes, std::size_t theCount, std::size_t theCapacity = 32768)
{
    auto* const aBuffer = new std::uint8_t[theCapacity]();
    std::copy_n(theBytes.begin(), theCount, aBuffer);
    return aBuffer;
}

// The stream cannot be read twice: what one codec pulled, its successor must see first, and no byte more.
TEST(JPEGDecoderHandOver, SuccessorGoesOnWhereTheFirstCodecStopped)
{
    for (const int aSize : {8, 300})
    {
        const Image anImage = MakeImage(16, aSize, aSize);
        ByteSource aSource(anImage.itsJpeg);
        const auto aFirst = MakeDecoder(8);
        aFirst->SetSource(nullptr, aSource);
        const int aCount = aFirst->GetBytesRead();
        EXPECT_EQ(static_cast<std::size_t>(aCount), std::min<std::size_t>(32768, anImage.itsJpeg.size()));

        const auto aSecond = MakeDecoder(16);
        aSecond->SetBuffer(aFirst->TakeBuffer());
        aSecond->SetBytesRead(aCount);
        const int aReads = aSource.GetReads();
        aSecond->SetSource(nullptr, aSource);
        EXPECT_EQ(aSource.GetReads(), aReads);
        Bytes aBuffer(aSecond->GetOutputSize());
        aSecond->Decode(0, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(ToSamples(aBuffer, 16), anImage.itsSamples);
    }
}

TEST(JPEGDecoderHandOver, AfterAPrecisionErrorToo)
{
    JpegSpec aSpec;
    aSpec.itsProcess = Process::EXTENDED;
    aSpec.itsPrecision = 12;
    const Samples aSamples = MakeFlatSamples(aSpec, {3210});
    ByteSource aSource(MakeJpeg(aSpec, aSamples));
    auto aFirst = MakeDecoder(8);
    EXPECT_THROW(aFirst->SetSource(nullptr, aSource), JPEGDecoderException);
    const auto aSecond = MakeDecoder(12);
    const int aCount = aFirst->GetBytesRead();
    aSecond->SetBuffer(aFirst->TakeBuffer());
    aSecond->SetBytesRead(aCount);
    aFirst.reset();
    EXPECT_EQ(ToSamples(DecodeBytes(*aSecond, aSource), 12), aSamples);
}

// A supplied buffer may be no longer than its bytes: later fills must not be read into it.
TEST(JPEGDecoderHandOver, SuppliedBytesComeFirstAndAreOnlyRead)
{
    const Image anImage = MakeImage(12, 30, 30);
    for (const std::size_t aSplit :
         {std::size_t{1}, std::size_t{2}, std::size_t{100}, anImage.itsJpeg.size()})
    {
        ByteSource aRest(
            Bytes(anImage.itsJpeg.begin() + static_cast<std::ptrdiff_t>(aSplit), anImage.itsJpeg.end()));
        const auto aDecoder = MakeDecoder(12);
        aDecoder->SetBuffer(NewBuffer(anImage.itsJpeg, aSplit, aSplit));
        aDecoder->SetBytesRead(static_cast<int>(aSplit));
        EXPECT_EQ(ToSamples(DecodeBytes(*aDecoder, aRest), 12), anImage.itsSamples)
            << aSplit << " bytes first";
        EXPECT_EQ(aRest.GetReads(), aSplit == anImage.itsJpeg.size() ? 0 : 1);
    }
}

// The count is checked like any other fill.
TEST(JPEGDecoderHandOver, CountsThatLieAreErrors)
{
    struct Case
    {
        bool itsWithBuffer;
        int itsCount;
        const char* itsText;
    };
    for (const Case& aCase :
         {Case{true, -1, "Input file read error"}, Case{true, 32769, "Input file read error"},
          Case{true, 0, "Premature end of input file"}, Case{false, 5, "Input file read error"}})
    {
        ByteSource aSource(MakeImage(8, 8, 8).itsJpeg);
        const auto aDecoder = MakeDecoder(8);
        aDecoder->SetBuffer(aCase.itsWithBuffer ? new std::uint8_t[32768]() : nullptr);
        aDecoder->SetBytesRead(aCase.itsCount);
        EXPECT_EQ(DecodeError(*aDecoder, aSource),
                  std::string("JPEGDecoder: error (read 0 bytes so far): ") + aCase.itsText);
    }
}

// Every order of taking and setting: the leak checker sees a buffer lost, the address sanitizer one freed
// twice or read after its end.
TEST(JPEGDecoderHandOver, EveryBufferHasOneOwner)
{
    const Image anImage = MakeImage(8, 200, 200);
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
    ByteSource aRest(Bytes(anImage.itsJpeg.begin() + 30, anImage.itsJpeg.end()), 500);
    EXPECT_EQ(ToSamples(DecodeBytes(*aDecoder, aRest), 8), anImage.itsSamples);
}

Bytes MakeBaselineJpeg(int theSize)
{
    JpegSpec aSpec;
    aSpec.itsWidth = theSize;
    aSpec.itsHeight = theSize;
    return MakeJpeg(aSpec, MakeSamples(aSpec));
}

// The decoder that begins the image anew must not take the header's count for that of the supplied bytes.
TEST(JPEGDecoderHandOver, BufferSuppliedBetweenHeaderAndDecode)
{
    const Bytes aJpeg = MakeBaselineJpeg(32);
    const std::size_t aHeader = aJpeg.size() * 2 / 3;
    ByteSource aWhole(aJpeg);
    const Bytes anExpected = DecodeBytes(*MakeDecoder(8), aWhole);
    for (const JPEGPath aPath : {JPEGPath::LIBRARY, JPEGPath::AUTOMATIC})
    {
        ByteSource aSource(Bytes(aJpeg.begin(), aJpeg.begin() + static_cast<std::ptrdiff_t>(aHeader)));
        const Bytes aRest(aJpeg.begin() + static_cast<std::ptrdiff_t>(aHeader), aJpeg.end());
        const auto aDecoder = MakeDecoder(8);
        aDecoder->SetPath(aPath);
        aDecoder->SetSource(nullptr, aSource);
        aDecoder->SetBuffer(NewBuffer(aRest, aRest.size(), aRest.size()));
        aDecoder->SetBytesRead(static_cast<int>(aRest.size()));
        Bytes aBuffer(aDecoder->GetOutputSize());
        aDecoder->Decode(0, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aBuffer, anExpected);
        EXPECT_EQ(aDecoder->GetBytesRead(), static_cast<int>(aRest.size()));
    }
}

// The bytes of the image before are gone by then, for the address sanitizer to see.
TEST(JPEGDecoderHandOver, BufferTakenAfterAReadThatThrew)
{
    ByteSource aSource(MakeBaselineJpeg(500), 500);
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
    const Image anImage = MakeImage(8, 200, 200);
    ByteSource aSource(anImage.itsJpeg, 500);
    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetSource(nullptr, aSource);
    delete[] aDecoder->TakeBuffer();
    Bytes aBuffer(aDecoder->GetOutputSize());
    try
    {
        aDecoder->Decode(0, aBuffer.data(), aBuffer.size());
    }
    catch (const JPEGDecoderException&)
    {
        // Garbage or an error are both fine here.
    }
}

// The count that matters is the one the virtual accessor gives.
class OverridingDecoder final : public JPEG8BitDecoder
{
public:
    int GetBytesRead() override { return 0; }
};

TEST(JPEGDecoderHandOver, SuppliedCountIsAskedThroughTheVirtualCall)
{
    const Image anImage = MakeImage(8, 8, 8);
    OverridingDecoder aDecoder;
    aDecoder.SetBuffer(NewBuffer(anImage.itsJpeg, anImage.itsJpeg.size()));
    aDecoder.SetBytesRead(static_cast<int>(anImage.itsJpeg.size()));
    ByteSource aSource({});
    EXPECT_EQ(DecodeError(aDecoder, aSource),
              "JPEGDecoder: error (read 0 bytes so far): Premature end of input file");
}

} // namespace
