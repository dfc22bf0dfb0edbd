// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFStream.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/FailureOf.h"
#include "support/LockHolder.h"
#include "support/StreamWalk.h"
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

constexpr std::size_t kFileSize = 1000;

Bytes Content()
{
    Bytes aContent;
    for (std::size_t i = 0; i < kFileSize; ++i)
    {
        aContent.push_back(static_cast<unsigned char>(i * 7 + i / 256));
    }
    return aContent;
}

LFInputStream Open(const char* theName, std::size_t theBufferSize)
{
    return {theName, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, theBufferSize};
}

TEST(LFInputStream, ReadsSkipsAndSeeksAgreeWithTheFileForEveryBufferSize)
{
    const TemporaryFile aFile(Content());
    for (const std::size_t aBufferSize : {0u, 1u, 2u, 64u, 149u, 999u, 1000u, 1001u, 65536u}) // 0 counts as 1
    {
        SCOPED_TRACE(aBufferSize);
        LFInputStream aStream = Open(aFile.GetName(), aBufferSize);
        EXPECT_EQ(aStream.CanSeek(), 1);
        EXPECT_EQ(aStream.Length(), static_cast<long long>(kFileSize));
        WalkStream(aStream, Content(), 150);
        aStream.Seek(kFileSize);
        unsigned char aByte = 0;
        EXPECT_EQ(aStream.Read(&aByte, 1), 0u);
        EXPECT_EQ(aStream.Skip(1), 0u);
    }
}

TEST(LFInputStream, ReadsAPipeToItsEndAndRefusesToSeek)
{
    const TemporaryFile aPlace;
    const std::string aName = std::string(aPlace.GetName()) + "-pipe";
    ASSERT_EQ(::mkfifo(aName.c_str(), 0600), 0);
    const Bytes aContent = Content();
    std::thread aWriter(
        [&]
        {
            std::ofstream aPipe(aName, std::ios::binary);
            aPipe.write(reinterpret_cast<const char*>(aContent.data()), 300).flush();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            aPipe.write(reinterpret_cast<const char*>(aContent.data()) + 300, kFileSize - 300);
        });
    LFInputStream aStream = Open(aName.c_str(), 64);
    Bytes aBuffer(1500);
    EXPECT_EQ(aStream.CanSeek(), 0);
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_NE(FailureOf([&] { aStream.Seek(0); }), "(nothing)");
    EXPECT_EQ(aStream.ReadFully(aBuffer.data(), 10), 10u);
    EXPECT_EQ(aStream.SkipFully(490), 490u);
    EXPECT_EQ(aStream.GetStreamPosition(), 500u);
    EXPECT_EQ(aStream.ReadFully(aBuffer.data(), 1500), 500u);
    EXPECT_EQ(aStream.Skip(1), 0u);
    aWriter.join();
    EXPECT_TRUE(std::equal(aContent.begin() + 500, aContent.end(), aBuffer.begin()));
    ::unlink(aName.c_str());
}

TEST(LFInputStream, TellsWhyItCannotOpenOrRead)
{
    LFInputStream aMissing = Open("/no/such/file", 64);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(aMissing.IsOpen());
    EXPECT_EQ(aMissing.Lock(0.0, LFStream::LOCK_FOR_READING), 0);
    unsigned char aByte = 0;
    EXPECT_EQ(FailureOf([&] { Open("/", 64).Read(&aByte, 1); }),
              "LFInputStream::Read: error reading file [67, 21]"); // EISDIR
}
} // namespace
