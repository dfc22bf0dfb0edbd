// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFInputStream.h"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryFile.h"
#include "toolkit/base/StreamIOException.h"

namespace
{
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kFileSize = 1000;

Bytes Content()
{
    Bytes aContent(kFileSize);
    for (std::size_t anIndex = 0; anIndex < aContent.size(); ++anIndex)
    {
        aContent[anIndex] = static_cast<unsigned char>(anIndex * 7 + anIndex / 256);
    }
    return aContent;
}

class BufferSizes : public testing::TestWithParam<std::size_t>
{
};

// One pseudo-random walk of reads, skips and seeks for every buffer size, compared with the bytes themselves:
// a buffer that is not dropped, or dropped twice, shows up as a wrong byte.
TEST_P(BufferSizes, ReadSkipAndSeekAgreeWithTheFile)
{
    const Bytes aContent = Content();
    const TemporaryFile aFile(aContent);
    LFInputStream aStream(aFile.GetName(), LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, GetParam());
    ASSERT_TRUE(aStream.IsOpen());
    EXPECT_EQ(aStream.CanSeek(), 1);
    EXPECT_EQ(aStream.Length(), static_cast<long long>(kFileSize));
    std::size_t aPosition = 0;
    std::uint32_t aRandom = 1;
    for (int aStep = 0; aStep < 3000; ++aStep)
    {
        aRandom = aRandom * 1664525 + 1013904223;
        const std::size_t anAmount = (aRandom >> 8) % 150;
        const std::size_t aLeft = kFileSize - aPosition;
        if (aRandom >> 30 == 0)
        {
            aPosition = (aRandom >> 8) % (kFileSize + 1);
            aStream.Seek(aPosition);
        }
        else if (aRandom >> 30 == 1)
        {
            ASSERT_EQ(aStream.SkipFully(anAmount), std::min(anAmount, aLeft));
            aPosition += std::min(anAmount, aLeft);
        }
        else
        {
            Bytes aBuffer(anAmount);
            ASSERT_EQ(aStream.ReadFully(aBuffer.data(), anAmount), std::min(anAmount, aLeft));
            aBuffer.resize(std::min(anAmount, aLeft));
            ASSERT_TRUE(
                std::equal(aBuffer.begin(), aBuffer.end(), aContent.begin() + static_cast<long>(aPosition)));
            aPosition += aBuffer.size();
        }
        ASSERT_EQ(aStream.GetStreamPosition(), aPosition);
        ASSERT_EQ(aStream.HasMoreData(), aPosition < kFileSize);
    }
    aStream.Seek(kFileSize);
    unsigned char aByte = 0;
    EXPECT_EQ(aStream.Read(&aByte, 1), 0u);
    EXPECT_EQ(aStream.Skip(1), 0u);
}

// 0 counts as 1.
INSTANTIATE_TEST_SUITE_P(Sizes, BufferSizes, testing::Values(0, 1, 2, 64, 149, 999, 1000, 1001, 65536));

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
    LFInputStream aStream(aName.c_str(), LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 64);
    Bytes aBuffer(2000);
    EXPECT_EQ(aStream.CanSeek(), 0);
    EXPECT_EQ(aStream.Length(), -1);
    EXPECT_THROW(aStream.Seek(0), StreamIOException);
    EXPECT_EQ(aStream.ReadFully(aBuffer.data(), 10), 10u);
    EXPECT_EQ(aStream.SkipFully(490), 490u);
    EXPECT_EQ(aStream.GetStreamPosition(), 500u);
    EXPECT_EQ(aStream.ReadFully(aBuffer.data() + 500, 1500), 500u);
    EXPECT_EQ(aStream.Skip(1), 0u);
    aWriter.join();
    EXPECT_TRUE(std::equal(aContent.begin() + 500, aContent.end(), aBuffer.begin() + 500));
    ::unlink(aName.c_str());
}

TEST(LFInputStream, TellsWhyItCannotOpenOrRead)
{
    LFInputStream aMissing("/no/such/file", LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 64);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(aMissing.IsOpen());
    EXPECT_EQ(aMissing.Lock(0.0, LFStream::LOCK_FOR_READING), 0);
    LFInputStream aFolder("/", LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 64);
    unsigned char aByte = 0;
    try
    {
        aFolder.Read(&aByte, 1);
        FAIL() << "nothing thrown";
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), "LFInputStream::Read: error reading file");
        EXPECT_EQ(anException.GetResultCode(), DLRC_IO_ERROR);
        EXPECT_EQ(anException.GetSystemErrorCode(), EISDIR);
    }
}
} // namespace
