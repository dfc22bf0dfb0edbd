// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFStream.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include "support/LockHolder.h"
#include "support/TemporaryFile.h"

namespace
{
using Bytes = std::vector<unsigned char>;

constexpr auto kReading = LFStream::LOCK_FOR_READING;
constexpr auto kWriting = LFStream::LOCK_FOR_WRITING;

// The wait ends with the lock that was waited for, or with the time.
TEST(LFStream, WaitsForALockAsLongAsAsked)
{
    const TemporaryFile aFile;
    LockHolder aHolder(aFile.GetName(), kWriting);
    ASSERT_TRUE(aHolder.IsLocked());
    LFStream aStream(LFStream::UNBUFFERED);
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    EXPECT_EQ(aStream.Lock(0.03, kWriting), 0);
    std::thread aRelease([&] { aHolder.Release(); });
    EXPECT_NE(aStream.Lock(5.0, kWriting), 0);
    aRelease.join();
}

// With process-owned locks, closing any descriptor of the file would drop the lock, and two streams of one
// process would never exclude each other.
TEST(LFStream, LockBelongsToTheStreamNotToTheProcess)
{
    const TemporaryFile aFile;
    LFStream aFirst(LFStream::UNBUFFERED);
    LFStream aSecond(LFStream::UNBUFFERED);
    ASSERT_TRUE(aFirst.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    ASSERT_NE(aFirst.Lock(0.0, kWriting), 0);
    for (int aRound = 0; aRound < 2; ++aRound)
    {
        ASSERT_TRUE(aSecond.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
        EXPECT_EQ(aSecond.Lock(0.0, kReading), 0);
        EXPECT_TRUE(aSecond.close());
    }
    ASSERT_TRUE(aSecond.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
    aFirst.Unlock();
    aFirst.Unlock();
    EXPECT_NE(aSecond.Lock(0.0, kReading), 0);
}

TEST(LFStream, ModesKeepTruncateAndRefuse)
{
    EXPECT_EQ(LFStream::MODE_READ_BINARY, 33);
    EXPECT_EQ(LFStream::MODE_WRITE_BINARY, 50);
    const TemporaryFile aFile({1, 2, 3, 4});
    LFStream aStream(LFStream::UNBUFFERED);
    EXPECT_EQ(aStream.Lock(0.0, kReading), 0);
    EXPECT_EQ(errno, EBADF);
    unsigned char aByte = 0;
    EXPECT_EQ(aStream.Read(&aByte, 1), -1);
    EXPECT_FALSE(aStream.Seek(0));
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_TRUE(aStream.close());
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
    EXPECT_EQ(aStream.Length(), 4);
    EXPECT_EQ(aStream.Write("x", 1), -1) << "opened for reading only";
    // Opening again closes what was open.
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    ASSERT_TRUE(aStream.Seek(2));
    EXPECT_EQ(aStream.Write("x", 1), 1);
    EXPECT_EQ(aFile.GetContent(), (Bytes{1, 2, 'x', 4}));
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_WRITE_BINARY, 64));
    EXPECT_EQ(aStream.Read(&aByte, 1), -1) << "opened for writing only";
}
} // namespace
