// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/InputStream.h"

#include <gtest/gtest.h>

#include "support/FailureOf.h"
#include "support/RecordingInputStream.h"

namespace
{
using Bytes = std::vector<unsigned char>;

/// The least a stream can do, 10000 bytes in steps of 7; everything else comes from the base.
class PlainStream final : public InputStream
{
public:
    std::size_t Read(unsigned char*, std::size_t theLength) override
    {
        const std::size_t aCount = std::min<std::size_t>({theLength, 7, 10000 - itsPosition});
        itsPosition += aCount;
        return aCount;
    }
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    std::size_t itsPosition = 0;
};

TEST(InputStream, DefaultsRefuseAndStillSkip)
{
    PlainStream aStream;
    const unsigned char aByte = 0;
    EXPECT_EQ(FailureOf([&] { aStream.Seek(1); }), "InputStream does not support Seek(size_t) [12, 0]");
    EXPECT_EQ(FailureOf([&] { aStream.Pushback(&aByte, 1); }),
              "InputStream does not support Pushback(uchar_t*, size_t) [12, 0]");
    EXPECT_EQ(aStream.CanSeek(), 0);
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_EQ(aStream.GetPushbackLimit(), 0u);
    EXPECT_TRUE(aStream.HasMoreData()) << "where the length is unknown there may be more";
    EXPECT_EQ(aStream.SkipFully(9000), 9000u);
    EXPECT_EQ(aStream.SkipFully(9000), 1000u);
    EXPECT_EQ(aStream.Skip(1), 0u);
}

TEST(MemoryInputStream, MovesWithinItsBytes)
{
    const Bytes aSource = {1, 2, 3, 4, 5};
    MemoryInputStream aStream(aSource.data(), aSource.size());
    Bytes aBuffer(2);
    EXPECT_EQ(aStream.Length(), 5);
    EXPECT_EQ(aStream.CanSeek(), 1);
    EXPECT_EQ(aStream.Skip(2), 2u);
    EXPECT_EQ(aStream.Read(aBuffer.data(), 1), 1u);
    EXPECT_EQ(aStream.GetBytesAvailable(), 2u);
    EXPECT_EQ(aStream.Skip(0xffffffffffffffff), 2u);
    EXPECT_FALSE(aStream.HasMoreData());
    aStream.Seek(4);
    EXPECT_EQ(aStream.Read(aBuffer.data() + 1, 5), 1u);
    EXPECT_EQ(aBuffer, (Bytes{3, 5}));
    EXPECT_EQ(FailureOf([&] { aStream.Seek(6); }),
              "MemoryInputStream::Seek: position 6 is past the end (5) [67, 0]");
    EXPECT_EQ(aStream.GetStreamPosition(), 5u);
    EXPECT_EQ(FailureOf([&] { MemoryInputStream aCopy(aStream); }),
              "MemoryInputStream::MemoryInputStream: copy construction not allowed [6, 0]");
    MemoryInputStream anEmpty(nullptr, 0);
    EXPECT_EQ(FailureOf([&] { anEmpty = aStream; }),
              "MemoryInputStream::operator=: assignment not allowed [6, 0]");
    EXPECT_TRUE(anEmpty.IsEmpty());
}

// A byte at a time; half an integer is none and changes nothing.
TEST(EndianHandlingReader, ReadsBothOrdersFromShortReads)
{
    for (const bool isBig : {false, true})
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream({2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0x85, 0xff},
                                     {false, false, 1}, aRecord);
        EndianHandlingReader aReader(aStream,
                                     isBig ? DLEndian::BIG_ENDIAN_ORDER : DLEndian::LITTLE_ENDIAN_ORDER);
        std::uint16_t a16 = 0;
        std::uint32_t a32 = 0;
        std::uint64_t a64 = 0;
        EXPECT_TRUE(aReader.Read(a16) && aReader.Read(a32) && aReader.Read(a64));
        EXPECT_FALSE(aReader.Read(a32));
        EXPECT_EQ(a16, isBig ? 0x0203 : 0x0302);
        EXPECT_EQ(a32, isBig ? 0x04050607u : 0x07060504u);
        EXPECT_EQ(a64, isBig ? 0x08090a0b0c0d0e0fu : 0x0f0e0d0c0b0a0908u);
    }
}
} // namespace
