// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/JPEGDecoder.h"

namespace
{

using Process = JpegSpec::Process;

struct Image
{
    explicit Image(int theSize, int thePrecision = 8, Process theProcess = Process::LOSSLESS)
    {
        JpegSpec aSpec;
        aSpec.itsProcess = theProcess;
        aSpec.itsPrecision = thePrecision;
        aSpec.itsWidth = aSpec.itsHeight = theSize;
        itsSamples = MakeSamples(aSpec);
        itsJpeg = MakeJpeg(aSpec, itsSamples);
    }
    Bytes Rest(std::size_t theFirst) const
    {
        return {itsJpeg.begin() + static_cast<std::ptrdiff_t>(theFirst), itsJpeg.end()};
    }

    Samples itsSamples;
    Bytes itsJpeg;
};

std::uint8_t* NewBuffer(const Bytes& theBytes, std::size_t theCount, std::size_t theCapacity = 32768)
{
    auto* const aBuffer = new std::uint8_t[theCapacity]();
    std::copy_n(theBytes.begin(), theCount, aBuffer);
    return aBuffer;
}

/// What Decode makes of a codec that has a header.
Bytes DecodeRest(JPEGDecoder& theDecoder)
{
    Bytes aBuffer(theDecoder.GetOutputSize());
    theDecoder.Decode(0, aBuffer.data(), aBuffer.size());
    return aBuffer;
}

// Every order of taking and setting: the leak checker sees a buffer lost, the address sanitizer one freed
// twice or read after its end.
TEST(JPEGDecoderHandOver, EveryBufferHasOneOwner)
{
    const Image anImage(200);
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
    const Image anImage(32, 8, Process::BASELINE);
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
    ByteSource aSource(Image(500, 8, Process::BASELINE).itsJpeg, 500);
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
    const Image anImage(200);
    ByteSource aSource(anImage.itsJpeg, 500);
    const auto aDecoder = MakeDecoder(8);
    aDecoder->SetSource(nullptr, aSource);
    delete[] aDecoder->TakeBuffer();
    try
    {
        DecodeRest(*aDecoder);
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
    const Image anImage(8);
    OverridingDecoder aDecoder;
    aDecoder.SetBuffer(NewBuffer(anImage.itsJpeg, anImage.itsJpeg.size()));
    aDecoder.SetBytesRead(static_cast<int>(anImage.itsJpeg.size()));
    ByteSource aSource({});
    EXPECT_EQ(DecodeError(aDecoder, aSource),
              "JPEGDecoder: error (read 0 bytes so far): Premature end of input file");
}

} // namespace
