// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/InputStreamAdapter.h"

#include <array>

#include <gtest/gtest.h>

#include "codecs/sources/MeteringKDUCompressedSource.h"
#include "support/RecordingInputStream.h"
#include "toolkit/base/StreamIOException.h"

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

template <class Operation>
void ExpectRefusal(const Operation& theOperation, const char* theText)
{
    try
    {
        theOperation();
        ADD_FAILURE() << "nothing thrown, expected " << theText;
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), theText);
        EXPECT_EQ(anException.GetResultCode(), DLRC_GENERAL_FAILURE);
    }
}

TEST(InputStreamAdapter, SourcesRefuseToBeCopied)
{
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream({1}, {}, aRecord);
    InputStreamAdapter anAdapter(aStream);
    MeteringKDUCompressedSource aMeter(anAdapter);
    MeteringKDUCompressedSource anotherMeter(anAdapter);
    InputStreamAdapter anotherAdapter(aStream);
    ExpectRefusal([&] { InputStreamAdapter aCopy(anAdapter); },
                  "InputStreamAdapter::InputStreamAdapter: copy construction not allowed");
    ExpectRefusal([&] { anotherAdapter = anAdapter; },
                  "InputStreamAdapter::operator=: assignment not allowed");
    ExpectRefusal([&] { MeteringKDUCompressedSource aCopy(aMeter); },
                  "MeteringKDUCompressedSource::MeteringKDUCompressedSource: copy construction not allowed");
    ExpectRefusal([&] { anotherMeter = aMeter; },
                  "MeteringKDUCompressedSource::operator=: assignment not allowed");
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
