// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFStream.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "support/LockHolder.h"
#include "support/TemporaryFile.h"

namespace
{
using Bytes = std::vector<unsigned char>;

struct LockCase
{
    LFStream::LockMode itsHeld;
    LFStream::LockMode itsWanted;
    bool itsIsGranted;
};

class LockBetweenProcesses : public testing::TestWithParam<LockCase>
{
};

TEST_P(LockBetweenProcesses, SharesReadingOnly)
{
    const TemporaryFile aFile;
    LockHolder aHolder(aFile.GetName(), GetParam().itsHeld);
    ASSERT_TRUE(aHolder.IsLocked());
    LFStream aStream(LFStream::UNBUFFERED);
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    errno = 0;
    EXPECT_EQ(aStream.Lock(0.03, GetParam().itsWanted) != 0, GetParam().itsIsGranted);
    if (!GetParam().itsIsGranted)
    {
        EXPECT_TRUE(errno == EAGAIN || errno == EACCES) << errno;
    }
    aHolder.Release();
    EXPECT_NE(aStream.Lock(5.0, GetParam().itsWanted), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, LockBetweenProcesses,
    testing::Values(LockCase{LFStream::LOCK_FOR_READING, LFStream::LOCK_FOR_READING, true},
                    LockCase{LFStream::LOCK_FOR_READING, LFStream::LOCK_FOR_WRITING, false},
                    LockCase{LFStream::LOCK_FOR_WRITING, LFStream::LOCK_FOR_READING, false},
                    LockCase{LFStream::LOCK_FOR_WRITING, LFStream::LOCK_FOR_WRITING, false}));

// With process-owned locks, closing any descriptor of the file would drop the lock, and two streams of one
// process would never exclude each other.
TEST(LFStream, LockBelongsToTheStreamNotToTheProcess)
{
    const TemporaryFile aFile;
    LFStream aFirst(LFStream::UNBUFFERED);
    LFStream aSecond(LFStream::UNBUFFERED);
    ASSERT_TRUE(aFirst.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    ASSERT_NE(aFirst.Lock(0.0, LFStream::LOCK_FOR_WRITING), 0);
    for (int aRound = 0; aRound < 2; ++aRound)
    {
        ASSERT_TRUE(aSecond.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
        EXPECT_EQ(aSecond.Lock(0.0, LFStream::LOCK_FOR_READING), 0);
        EXPECT_TRUE(aSecond.close());
    }
    ASSERT_TRUE(aSecond.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
    aFirst.Unlock();
    aFirst.Unlock();
    EXPECT_NE(aSecond.Lock(0.0, LFStream::LOCK_FOR_READING), 0);
}

TEST(LFStream, FailuresLeaveTheReason)
{
    LFStream aStream(LFStream::UNBUFFERED);
    EXPECT_EQ(aStream.Lock(0.0, LFStream::LOCK_FOR_READING), 0);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(aStream.open("/no/such/file", LFStream::MODE_READ_BINARY, 64));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(aStream.fd(), -1);
    unsigned char aByte = 0;
    EXPECT_EQ(aStream.Read(&aByte, 1), -1);
    EXPECT_FALSE(aStream.Seek(0));
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_TRUE(aStream.close());
}

TEST(LFStream, ModesKeepTruncateAndRefuse)
{
    EXPECT_EQ(LFStream::MODE_READ_BINARY, 33);
    EXPECT_EQ(LFStream::MODE_WRITE_BINARY, 50);
    const TemporaryFile aFile({1, 2, 3, 4});
    Bytes aRead(4);
    LFStream aStream(LFStream::UNBUFFERED);
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_READ_BINARY, 64));
    EXPECT_EQ(aStream.Length(), 4);
    EXPECT_EQ(aStream.Read(aRead.data(), 4), 4);
    EXPECT_EQ(aRead, (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(aStream.Read(aRead.data(), 4), 0);
    EXPECT_EQ(aStream.Write("x", 1), -1) << "opened for reading only";
    // Opening again closes what was open.
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_IN | LFStream::MODE_OUT, 64));
    ASSERT_TRUE(aStream.Seek(2));
    EXPECT_EQ(aStream.Write("x", 1), 1);
    EXPECT_EQ(aFile.GetContent(), (Bytes{1, 2, 'x', 4}));
    ASSERT_TRUE(aStream.open(aFile.GetName(), LFStream::MODE_WRITE_BINARY, 64));
    EXPECT_EQ(aStream.Length(), 0);
    EXPECT_EQ(aStream.Read(aRead.data(), 4), -1) << "opened for writing only";
    EXPECT_TRUE(aStream.close());
}

} // namespace
