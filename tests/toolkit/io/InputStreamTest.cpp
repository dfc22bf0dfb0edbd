// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/InputStream.h"

#include <numeric>

#include <gtest/gtest.h>

#include "support/RecordingInputStream.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/io/EndianHandlingReader.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
using Bytes = std::vector<unsigned char>;

template <class Operation>
void ExpectFailure(Operation theOperation, const char* theText, DLResultCode theCode)
{
    try
    {
        theOperation();
        ADD_FAILURE() << "nothing thrown, expected " << theText;
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), theText);
        EXPECT_EQ(anException.GetResultCode(), theCode);
    }
}

/// The least a stream can do; everything else comes from the base.
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
    ExpectFailure([&] { aStream.Seek(1); }, "InputStream does not support Seek(size_t)", DLRC_NOT_SUPPORTED);
    ExpectFailure([&] { aStream.Pushback(&aByte, 1); },
                  "InputStream does not support Pushback(uchar_t*, size_t)", DLRC_NOT_SUPPORTED);
    EXPECT_EQ(aStream.CanSeek(), 0);
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_EQ(aStream.GetPushbackLimit(), 0u);
    EXPECT_TRUE(aStream.HasMoreData()) << "where the length is unknown there may be more";
    EXPECT_EQ(aStream.SkipFully(9000), 9000u);
    EXPECT_EQ(aStream.GetStreamPosition(), 9000u);
    EXPECT_EQ(aStream.SkipFully(9000), 1000u);
    EXPECT_EQ(aStream.Skip(1), 0u);
}

TEST(InputStream, FullReadsAndSkipsSurviveShortOnes)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1, 2, 3, 4, 5, 6, 7}, {false, false, 2}, aRecord);
    Bytes aBuffer(10);
    EXPECT_EQ(aStream.ReadFully(aBuffer.data(), 3), 3u);
    EXPECT_EQ(aStream.SkipFully(1), 1u);
    EXPECT_EQ(aStream.ReadFully(aBuffer.data() + 3, 7), 3u);
    EXPECT_EQ(aBuffer, (Bytes{1, 2, 3, 5, 6, 7, 0, 0, 0, 0}));
}

TEST(MemoryInputStream, MovesWithinItsBytes)
{
    const Bytes aSource = {1, 2, 3, 4, 5};
    MemoryInputStream aStream(aSource.data(), aSource.size());
    Bytes aBuffer(5);
    EXPECT_EQ(aStream.Length(), 5);
    EXPECT_EQ(aStream.CanSeek(), 1);
    EXPECT_EQ(aStream.Skip(2), 2u);
    EXPECT_EQ(aStream.Read(aBuffer.data(), 1), 1u);
    EXPECT_EQ(aBuffer[0], 3);
    EXPECT_EQ(aStream.GetBytesAvailable(), 2u);
    EXPECT_EQ(aStream.Skip(0xffffffffffffffff), 2u);
    EXPECT_FALSE(aStream.HasMoreData());
    EXPECT_EQ(aStream.Read(aBuffer.data(), 5), 0u);
    aStream.Seek(4);
    EXPECT_EQ(aStream.Read(aBuffer.data(), 5), 1u);
    EXPECT_EQ(aBuffer[0], 5);
    aStream.Seek(5);
    ExpectFailure([&] { aStream.Seek(6); }, "MemoryInputStream::Seek: position 6 is past the end (5)",
                  DLRC_IO_ERROR);
    EXPECT_EQ(aStream.GetStreamPosition(), 5u);
    ExpectFailure([&] { MemoryInputStream aCopy(aStream); },
                  "MemoryInputStream::MemoryInputStream: copy construction not allowed",
                  DLRC_GENERAL_FAILURE);
    MemoryInputStream anEmpty(nullptr, 0);
    ExpectFailure([&] { anEmpty = aStream; }, "MemoryInputStream::operator=: assignment not allowed",
                  DLRC_GENERAL_FAILURE);
    EXPECT_EQ(anEmpty.Read(aBuffer.data(), 5), 0u);
    EXPECT_TRUE(anEmpty.IsEmpty());
}

struct EndianCase
{
    DLEndian::Endian itsEndian;
    std::uint16_t its16;
    std::uint32_t its32;
    std::uint64_t its64;
};

class EndianOrders : public testing::TestWithParam<EndianCase>
{
};

TEST_P(EndianOrders, AreReadAndHalfAnIntegerIsNone)
{
    Bytes aSource(14 + 7);
    std::iota(aSource.begin(), aSource.end(), static_cast<unsigned char>(0x81));
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream(aSource, {false, false, 1}, aRecord);
    EndianHandlingReader aReader(aStream, GetParam().itsEndian);
    std::uint16_t a16 = 0;
    std::uint32_t a32 = 0;
    std::uint64_t a64 = 0;
    EXPECT_TRUE(aReader.Read(a16) && aReader.Read(a32) && aReader.Read(a64));
    EXPECT_EQ(a16, GetParam().its16);
    EXPECT_EQ(a32, GetParam().its32);
    EXPECT_EQ(a64, GetParam().its64);
    EXPECT_FALSE(aReader.Read(a64));
    EXPECT_EQ(a64, GetParam().its64);
}

INSTANTIATE_TEST_SUITE_P(
    Both, EndianOrders,
    testing::Values(EndianCase{DLEndian::LITTLE_ENDIAN_ORDER, 0x8281, 0x86858483, 0x8e8d8c8b8a898887},
                    EndianCase{DLEndian::BIG_ENDIAN_ORDER, 0x8182, 0x83848586, 0x8788898a8b8c8d8e}));
} // namespace
