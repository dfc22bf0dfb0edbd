// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoder.h"

namespace
{

using Process = JpegSpec::Process;

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
