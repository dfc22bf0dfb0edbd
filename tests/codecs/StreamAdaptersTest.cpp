// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/CompressedSources.h"

#include <array>

#include <gtest/gtest.h>

#include "decoding/FakeDecoder.h"
#include "support/RecordingInputStream.h"

namespace
{
TEST(InputStreamAdapter, GathersPiecesAndIsSequential)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1, 2, 3, 4, 5}, {.itsLargestRead = 1}, aRecord);
    InputStreamAdapter anAdapter(aStream);
    EXPECT_EQ(anAdapter.read(nullptr, 0), 0);
    EXPECT_EQ(anAdapter.read(nullptr, -1), 0);
    EXPECT_EQ(aRecord.itsReads, 0u);
    std::array<kdu_byte, 4> aBuffer{};
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 4);
    EXPECT_EQ(aBuffer, (std::array<kdu_byte, 4>{1, 2, 3, 4}));
    EXPECT_EQ(aRecord.itsBytesRead, 4u); // nothing beyond what was asked for
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 1);
    EXPECT_EQ(aBuffer[0], 5);
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 0);
    EXPECT_EQ(anAdapter.get_capabilities(), 1);
    EXPECT_FALSE(anAdapter.seek(0));
    EXPECT_EQ(anAdapter.get_pos(), -1);
    EXPECT_TRUE(anAdapter.close());
}

TEST(InputStreamAdapter, SourcesRefuseToBeCopied)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1}, {}, aRecord);
    InputStreamAdapter anAdapter(aStream);
    MeteringKDUCompressedSource aMeter(anAdapter);
    MeteringKDUCompressedSource anotherMeter(anAdapter);
    InputStreamAdapter anotherAdapter(aStream);
    ExpectStreamIOException([&] { InputStreamAdapter aCopy(anAdapter); },
                            "InputStreamAdapter::InputStreamAdapter: copy construction not allowed",
                            DLRC_GENERAL_FAILURE);
    ExpectStreamIOException([&] { anotherAdapter = anAdapter; },
                            "InputStreamAdapter::operator=: assignment not allowed", DLRC_GENERAL_FAILURE);
    ExpectStreamIOException(
        [&] { MeteringKDUCompressedSource aCopy(aMeter); },
        "MeteringKDUCompressedSource::MeteringKDUCompressedSource: copy construction not allowed",
        DLRC_GENERAL_FAILURE);
    ExpectStreamIOException([&] { anotherMeter = aMeter; },
                            "MeteringKDUCompressedSource::operator=: assignment not allowed",
                            DLRC_GENERAL_FAILURE);
}

TEST(MeteringKDUCompressedSource, CountsWhatArrivesAndIsSequential)
{
    ByteSource aSource({1, 2, 3, 4, 5});
    aSource.AtEnd([] { return -1; });
    MeteringKDUCompressedSource aMeter(aSource);
    std::array<kdu_byte, 4> aBuffer{};
    EXPECT_EQ(aMeter.GetBytesRead(), 0u);
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), 4);
    EXPECT_EQ(aBuffer[3], 4);
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), 1); // one call of the source for each, never a second one
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), -1);
    EXPECT_EQ(aMeter.GetBytesRead(), 5u);
    EXPECT_EQ(aSource.GetReads(), 3);
    EXPECT_EQ(aMeter.get_capabilities(), 1);
    EXPECT_FALSE(aMeter.seek(0));
    EXPECT_EQ(aMeter.get_pos(), -1);
    EXPECT_TRUE(aMeter.close());
    EXPECT_EQ(aSource.GetCloses(), 1);
}
} // namespace
