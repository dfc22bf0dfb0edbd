// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"

#include <gmock/gmock.h>

#include "jni/FakeJavaQueue.h"
#include "toolkit/base/DecodingInterruptedException.h"

namespace
{
using testing::ElementsAre;

class JavaInputBufferQueueCompressedSourceTest : public testing::Test
{
protected:
    int Read(JavaInputBufferQueueCompressedSource& theSource, int theCount)
    {
        itsBuffer.assign(static_cast<std::size_t>(theCount), 0xee);
        return theSource.read(itsBuffer.data(), theCount);
    }

    FakeJava itsJava;
    FakeJavaQueue itsFake{itsJava, {{0, 1, 2}, {3, 4}, {5, 6, 7, 8}}};
    std::vector<std::string>& itsCalls = itsFake.itsCalls;
    jobject itsQueue = itsJava.NewLocal(&itsFake.itsObject);
    std::vector<kdu_byte> itsBuffer;
};

TEST_F(JavaInputBufferQueueCompressedSourceTest, FillsARequestFromSeveralBuffers)
{
    {
        JavaInputBufferQueueCompressedSource aSource(itsJava, itsQueue);
        EXPECT_EQ(aSource.get_capabilities(), KDU_SOURCE_CAP_SEQUENTIAL);
        EXPECT_EQ(Read(aSource, 6), 6);
        EXPECT_THAT(itsBuffer, ElementsAre(0, 1, 2, 3, 4, 5));
        EXPECT_THAT(itsCalls, ElementsAre("get", "completed", "get", "completed", "get"));
        EXPECT_EQ(Read(aSource, 6), 3);
        EXPECT_EQ(Read(aSource, 6), 0);
        EXPECT_EQ(aSource.getTotalBytesRead(), 9u);
        aSource.close();
        EXPECT_EQ(Read(aSource, 6), 0) << "the end comes before the close";
        aSource.close();
    }
    EXPECT_THAT(itsCalls, ElementsAre("get", "completed", "get", "completed", "get", "completed", "get",
                                      "completed null", "autoFlush 1"));
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(JavaInputBufferQueueCompressedSourceTest, HandsBackWhatItHasNotReadToTheEnd)
{
    {
        JavaInputBufferQueueCompressedSource aSource(itsJava, itsQueue);
        EXPECT_EQ(Read(aSource, 1), 1);
        EXPECT_TRUE(aSource.close());
        EXPECT_EQ(Read(aSource, 1), -1);
    }
    EXPECT_THAT(itsCalls, ElementsAre("get", "completed", "autoFlush 1"));
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(JavaInputBufferQueueCompressedSourceTest, TurnsAnInterruptionIntoANativeException)
{
    itsJava.AddClass("java/net/SocketTimeoutException", "java/io/InterruptedIOException");
    for (const char* aName : {"java/io/InterruptedIOException", "java/net/SocketTimeoutException"})
    {
        itsFake.itsNext = 2;
        itsFake.itsEnd = [&] { return itsJava.Throw(aName); };
        JavaInputBufferQueueCompressedSource aSource(itsJava, itsQueue);
        try
        {
            Read(aSource, 5);
            FAIL() << aName;
        }
        catch (const DecodingInterruptedException& anException)
        {
            EXPECT_EQ(anException.GetMessageText(), "Decoding interrupted");
            EXPECT_EQ(anException.GetReason(), 1);
        }
        EXPECT_EQ(itsJava.GetPending(), nullptr);
        EXPECT_EQ(aSource.getTotalBytesRead(), 0u);
        EXPECT_EQ(aSource.TakeJavaException(), nullptr);
    }
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(JavaInputBufferQueueCompressedSourceTest, KeepsAnyOtherExceptionAndAsksNoMore)
{
    itsFake.itsEnd = [&] { return itsJava.Throw("java/io/IOException"); };
    {
        JavaInputBufferQueueCompressedSource aSource(itsJava, itsQueue);
        EXPECT_EQ(Read(aSource, 20), -1);
        EXPECT_EQ(aSource.getTotalBytesRead(), 0u);
        const std::size_t aCount = itsCalls.size();
        EXPECT_EQ(Read(aSource, 20), -1);
        EXPECT_EQ(itsCalls.size(), aCount);
        const jthrowable aThrowable = aSource.TakeJavaException();
        EXPECT_EQ(itsJava.Get(aThrowable)->itsClassName, "java/io/IOException");
        itsJava.DeleteLocalRef(aThrowable);
    }
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(JavaInputBufferQueueCompressedSourceTest, NamesWhatIsMissingOnStandardOutput)
{
    FakeJava aJava;
    const std::string aBegin = "Native JavaInputBufferQueueCompressedSource() couldn't find java ";
    const auto aPrinted = [&](jobject theQueue)
    {
        testing::internal::CaptureStdout();
        kdu_byte aByte = 0;
        EXPECT_EQ(JavaInputBufferQueueCompressedSource(aJava, theQueue).read(&aByte, 1), 0);
        return testing::internal::GetCapturedStdout();
    };
    const std::string aText =
        aBegin + "method InputBufferQueue.get \"()Lcom/quorix/util/InputBuffer;\"\n" + aBegin +
        "method InputBufferQueue.completed \"(Lcom/quorix/util/InputBuffer;)V\"\n" + aBegin +
        "method InputBufferQueue.setAutoFlush \"(Z)V\"\n" + aBegin +
        "class com/quorix/util/ByteArrayInputBuffer" + aBegin + "method InputBuffer.getArray \"()[B\"\n" +
        aBegin + "method InputBuffer.getBytesAvailable \"()I\"\n";
    EXPECT_EQ(aPrinted(aJava.NewLocal(&aJava.New("Queue"))), aText);
    EXPECT_EQ(aPrinted(nullptr), aText);
    EXPECT_EQ(aJava.GetLocalCount(), 1u);
    testing::internal::CaptureStdout();
    JavaInputBufferQueueCompressedSource aComplete(itsJava, itsQueue);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
} // namespace
