// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/InputStreamAdapter.h"

#include <array>

#include <gtest/gtest.h>

#include "support/RecordingInputStream.h"

namespace
{
TEST(InputStreamAdapter, GathersPieces)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream::Manner aManner;
    aManner.itsLargestRead = 1;
    RecordingInputStream aStream({1, 2, 3, 4, 5}, aManner, aRecord);
    InputStreamAdapter anAdapter(aStream);
    std::array<kdu_byte, 4> aBuffer{};
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 4);
    EXPECT_EQ(aBuffer, (std::array<kdu_byte, 4>{1, 2, 3, 4}));
    EXPECT_EQ(aRecord.itsBytesRead, 4u); // nothing beyond what was asked for
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 1);
    EXPECT_EQ(aBuffer[0], 5);
    EXPECT_EQ(anAdapter.read(aBuffer.data(), 4), 0);
}

TEST(InputStreamAdapter, ReadsNothingWhenNothingIsAskedFor)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1}, {}, aRecord);
    InputStreamAdapter anAdapter(aStream);
    EXPECT_EQ(anAdapter.read(nullptr, 0), 0);
    EXPECT_EQ(anAdapter.read(nullptr, -1), 0);
    EXPECT_EQ(aRecord.itsReads, 0u);
}

TEST(InputStreamAdapter, IsSequential)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1}, {}, aRecord);
    InputStreamAdapter anAdapter(aStream);
    EXPECT_EQ(anAdapter.get_capabilities(), 1);
    EXPECT_FALSE(anAdapter.seek(0));
    EXPECT_EQ(anAdapter.get_pos(), -1);
    EXPECT_TRUE(anAdapter.close());
}

/// Fails on every read.
class FailingStream final : public InputStream
{
public:
    std::size_t Read(unsigned char*, std::size_t) override
    {
        throw StreamIOException("the disk is gone", DLRC_IO_ERROR, 5);
    }
    std::size_t GetStreamPosition() const override { return 0; }
};

TEST(InputStreamAdapter, LetsFailuresPass)
{
    FailingStream aStream;
    InputStreamAdapter anAdapter(aStream);
    kdu_byte aByte = 0;
    EXPECT_THROW(anAdapter.read(&aByte, 1), StreamIOException);
}
} // namespace
