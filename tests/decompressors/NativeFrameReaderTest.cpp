// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/detail/NativeFrameReader.h"
#include "support/RecordingInputStream.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

Bytes ReadFrame(NativeFrameReader& theReader, int theFrame, std::uint64_t theSize)
{
    Bytes aFrame(theSize, 0xee);
    EXPECT_EQ(theReader.ReadFrame(theFrame, aFrame.data()), theSize);
    return aFrame;
}

/// Bit theIndex of the value, lowest bit of a byte first.
int Bit(const Bytes& theBytes, std::size_t theIndex)
{
    return (theBytes[theIndex / 8] >> (theIndex % 8)) & 1;
}
} // namespace

class NativeFrameReaderManners : public testing::TestWithParam<RecordingInputStream::Manner>
{
};

TEST_P(NativeFrameReaderManners, GoesToWholeByteFrames)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, GetParam(), aRecord);
    NativeFrameReader aReader(aStream, 24);
    EXPECT_EQ(ReadFrame(aReader, 0, 3), (Bytes{0, 1, 2}));
    EXPECT_EQ(ReadFrame(aReader, 2, 3), (Bytes{6, 7, 8}));
    Bytes aFrame(3);
    EXPECT_THROW(aReader.ReadFrame(3, aFrame.data()), StreamIOException) << "two bytes are no frame";
}

TEST_P(NativeFrameReaderManners, FindsFramesThatBeginInsideAByte)
{
    constexpr std::size_t kFrameBits = 13;
    constexpr int kFrames = 7;
    const Bytes aValue{0x4d, 0xa3, 0x17, 0xf0, 0x9b, 0x62, 0xc5, 0x3e, 0x81, 0x5a, 0xd7, 0x0c}; // 91 bits
    const std::vector<std::vector<int>> kWalks{{0, 1, 2, 3, 4, 5, 6}, {6}, {1, 3, 4}, {0, 5}};
    for (const std::vector<int>& aWalk : kWalks)
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aValue, GetParam(), aRecord);
        NativeFrameReader aReader(aStream, kFrameBits);
        for (const int aFrameIndex : aWalk)
        {
            ASSERT_LT(aFrameIndex, kFrames);
            const Bytes aFrame = ReadFrame(aReader, aFrameIndex, 2);
            for (std::size_t i = 0; i < kFrameBits; ++i)
            {
                EXPECT_EQ(Bit(aFrame, i), Bit(aValue, kFrameBits * static_cast<std::size_t>(aFrameIndex) + i))
                    << "frame " << aFrameIndex << " bit " << i;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, NativeFrameReaderManners,
                         testing::Values(RecordingInputStream::Manner{true, true, 1000},
                                         RecordingInputStream::Manner{false, false, 1},
                                         RecordingInputStream::Manner{false, true, 2}));

TEST(NativeFrameReader, RefusesWhatIsNotThere)
{
    struct Case
    {
        std::uint64_t itsFrameBits;
        int itsFrameIndex;
    };
    // Four bytes; the last row's offset does not fit into 64 bits.
    for (const Case& aCase : {Case{16, -1}, Case{16, -2}, Case{16, 2}, Case{16, 2147483647},
                              Case{std::uint64_t{1} << 60, 2147483647}})
    {
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(Bytes(4), {}, aRecord);
        Bytes aFrame(4);
        try
        {
            NativeFrameReader(aStream, aCase.itsFrameBits).ReadFrame(aCase.itsFrameIndex, aFrame.data());
            ADD_FAILURE() << "frame " << aCase.itsFrameIndex;
        }
        catch (const StreamIOException& anException)
        {
            EXPECT_EQ(anException.GetMessageText(), "Failed to read the pixel data");
            EXPECT_EQ(anException.GetResultCode(), DLRC_PIXEL_DATA_TOO_SHORT);
        }
    }
}
