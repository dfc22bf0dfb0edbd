// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"

#include <gmock/gmock.h>

#include "jni/FakeJava.h"
#include "toolkit/base/DecodingInterruptedException.h"

namespace
{
using testing::ElementsAre;

constexpr const char* theBufferClass = "com/quorix/util/ByteArrayInputBuffer";

/// A queue of the buffers 0 1 2 | 3 4 | 5 6 7 8 that notes its calls.
class JavaInputBufferQueueCompressedSourceTest : public testing::Test
{
protected:
    JavaInputBufferQueueCompressedSourceTest()
    {
        Add("get()Lcom/quorix/util/InputBuffer;",
            [this](const auto&)
            {
                itsCalls.push_back("get");
                return itsNext < itsSizes.size() ? FakeJava::Value(&MakeBuffer(itsSizes[itsNext++]))
                                                 : itsEnd();
            });
        Add("completed(Lcom/quorix/util/InputBuffer;)V",
            [this](const auto& theArguments)
            {
                itsCalls.push_back(theArguments[0].itsObject != nullptr ? "completed" : "completed null");
                return FakeJava::Value();
            });
        Add("setAutoFlush(Z)V",
            [this](const auto& theArguments)
            {
                itsCalls.push_back("autoFlush " + std::to_string(theArguments[0].itsNumber));
                return FakeJava::Value();
            });
        itsJava.AddClass(theBufferClass).itsMethods["getArray()[B"] = [this](const auto&)
        { return FakeJava::Value(itsArray); };
        itsJava.AddClass(theBufferClass).itsMethods["getBytesAvailable()I"] = [this](const auto&)
        { return FakeJava::Value(jlong(itsArray->itsBytes.size())); };
    }

    void Add(const std::string& theMethod, FakeJava::Method theBody)
    {
        itsJava.AddClass("Queue").itsMethods[theMethod] = std::move(theBody);
    }

    FakeJava::Object& MakeBuffer(int theSize)
    {
        std::vector<jbyte> aBytes;
        for (int i = 0; i < theSize; ++i)
        {
            aBytes.push_back(static_cast<jbyte>(itsByte++));
        }
        itsArray = &itsJava.NewBytes(aBytes);
        return itsJava.New(theBufferClass);
    }

    int Read(JavaInputBufferQueueCompressedSource& theSource, int theCount)
    {
        itsBuffer.assign(static_cast<std::size_t>(theCount), 0xee);
        return theSource.read(itsBuffer.data(), theCount);
    }

    FakeJava itsJava;
    jobject itsQueue = itsJava.NewLocal(&itsJava.New("Queue"));
    std::vector<int> itsSizes{3, 2, 4};
    std::size_t itsNext = 0;
    int itsByte = 0;
    FakeJava::Object* itsArray = nullptr;
    std::function<FakeJava::Value()> itsEnd = [] { return FakeJava::Value(); };
    std::vector<std::string> itsCalls;
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
        itsSizes = {3};
        itsNext = 0;
        itsEnd = [&] { return itsJava.Throw(aName); };
        JavaInputBufferQueueCompressedSource aSource(itsJava, itsQueue);
        try
        {
            Read(aSource, 4);
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
    itsEnd = [&] { return itsJava.Throw("java/io/IOException"); };
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
