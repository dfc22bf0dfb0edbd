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
