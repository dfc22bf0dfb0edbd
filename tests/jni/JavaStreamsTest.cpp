// SPDX-License-Identifier: Apache-2.0
// Java's streams and queues as C++ sees them, where no decoder looks so closely.
#include <memory>

#include <gmock/gmock.h>

#include "jni/FakeJavaQueue.h"
#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "jni/streams/JavaStreamIOException.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kPlace = "native JavaSeekableInputStream::";

class JavaSeekableInputStreamTest : public testing::Test
{
protected:
    void Open() { itsStream = std::make_unique<JavaSeekableInputStream>(itsJava, itsLocal); }

    std::size_t Read(std::size_t theCount)
    {
        itsBuffer.assign(theCount + 1, 0xee);
        const std::size_t aGot = itsStream->Read(itsBuffer.data(), theCount);
        EXPECT_EQ(itsBuffer[theCount], 0xee);
        return aGot;
    }

    /// The code and text of what theCall throws.
    template <class Call>
    std::string TextOf(const Call& theCall)
    {
        try
        {
            theCall();
        }
        catch (const StreamIOException& anException)
        {
            EXPECT_EQ(itsJava.GetPending(), nullptr);
            return std::to_string(anException.GetResultCode()) + " " + anException.ToString();
        }
        return "nothing thrown";
    }

    FakeJava itsJava;
    FakeJavaStream itsSource{itsJava};
    jobject itsLocal = itsJava.NewLocal(&itsSource.itsObject);
    std::unique_ptr<JavaSeekableInputStream> itsStream;
    std::vector<unsigned char> itsBuffer;
};

TEST_F(JavaSeekableInputStreamTest, ReadsAheadOfShortRequestsAndCutsLongOnes)
{
    struct Row
    {
        std::size_t itsWanted;
        std::vector<std::string> itsCalls;
    };
    const Row kRows[] = {
        {0, {}},
        {1, {"read 8193"}},
        {100, {"read 8292"}},
        {8192, {"read 16384"}},
        {8193, {"read 16384"}},
        {16385, {"read 16384", "read 8193"}},
        {40000, {"read 16384", "read 16384", "read 15424"}},
    };
    for (const Row& aRow : kRows)
    {
        itsSource.itsPosition = 0;
        Open();
        EXPECT_EQ(Read(aRow.itsWanted), aRow.itsWanted);
        EXPECT_EQ(itsSource.TakeCalls(), aRow.itsCalls) << aRow.itsWanted;
        EXPECT_TRUE(std::equal(itsBuffer.begin(), itsBuffer.end() - 1, itsSource.itsBytes.begin(),
                               [](unsigned char a, jbyte b) { return a == static_cast<unsigned char>(b); }));
    }
    itsSource.itsPosition = 99990;
    Open();
    EXPECT_EQ(Read(100), 10u);
    EXPECT_EQ(Read(100), 0u);
}

TEST_F(JavaSeekableInputStreamTest, MovesInsideWhatItHasReadWithoutJava)
{
    Open();
    Read(100);
    itsSource.TakeCalls();
    for (const std::size_t aPosition : {std::size_t{100}, std::size_t{150}, std::size_t{8292}})
    {
        itsStream->Seek(aPosition);
        EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("getFilePointer"));
        EXPECT_EQ(itsStream->GetStreamPosition(), aPosition);
        itsSource.TakeCalls();
    }
    // Nothing is left of it now; and backwards there is nothing at all.
    for (const std::size_t aPosition : {std::size_t{8293}, std::size_t{99}})
    {
        itsStream->Seek(aPosition);
        EXPECT_EQ(itsSource.TakeCalls().back(), "seek " + std::to_string(aPosition));
        ASSERT_EQ(Read(1), 1u);
        EXPECT_EQ(itsBuffer[0], aPosition % 251);
    }
    itsSource.TakeCalls();
    EXPECT_EQ(itsStream->Skip(8000), 8000u);
    EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
    EXPECT_EQ(itsStream->Skip(1000), 1000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 808"));
    ASSERT_EQ(Read(1), 1u);
    EXPECT_EQ(itsBuffer[0], 9100 % 251);
}

TEST_F(JavaSeekableInputStreamTest, TakesShortAndNonsensicalSkipsForWhatTheyAre)
{
    Open();
    EXPECT_EQ(itsStream->Skip(5000000000u), 5000000000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 2147483647", "skip 2147483647", "skip 705032706"));
    for (const auto& [anAnswer, aSkipped] : {std::pair(30, 30u), {0, 0u}, {-7, 0u}, {5000, 100u}})
    {
        itsSource.Add("skip(I)I",
                      [aValue = jlong(anAnswer)](const auto&) { return FakeJava::Value(aValue); });
        Open();
        EXPECT_EQ(itsStream->Skip(100), aSkipped);
        EXPECT_EQ(itsSource.TakeCalls().size(), 1u);
    }
    EXPECT_EQ(TextOf([&] { itsStream->Pushback(nullptr, 1); }),
              "12 StreamIOException: JavaSeekableInputStream does not support Pushback(uchar_t*, size_t)");
    EXPECT_EQ(itsStream->GetPushbackLimit(), 0u);
    EXPECT_EQ(itsStream->CanSeek(), 1);
    itsStream->Close();
    itsStream->Close();
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("close"));
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
}

TEST_F(JavaSeekableInputStreamTest, IsClosedByWhatJavaThrows)
{
    struct Row
    {
        const char* itsMethod;
        std::function<void()> itsCall;
        const char* itsText;
    };
    const Row kRows[] = {
        {"read([BII)I", [&] { Read(20000); }, "Read: read(byte[], int, int)"},
        {"GetByteArrayRegion", [&] { Read(9); }, "Read: GetByteArrayRegion(byte[], int, int, jbyte)"},
        {"skip(I)I", [&] { itsStream->Skip(20000); }, "Skip: skip(int)"},
        {"seek(J)V", [&] { itsStream->Seek(20000); }, "Seek: seek(long)"},
        {"length()J", [&] { itsStream->Length(); }, "Length: length()"},
        {"getFilePointer()J", [&] { itsStream->GetStreamPosition(); },
         "GetStreamPosition: getFilePointerMethod()"},
        {"close()V", [&] { itsStream->Close(); }, "Close: close()"},
    };
    const std::string aClosed = ": the stream is already closed due to previous error";
    for (const Row& aRow : kRows)
    {
        itsJava.itsCallsBeforeException = -1;
        Open();
        Read(1);
        itsJava.itsFailingCall = aRow.itsMethod;
        itsJava.itsCallsBeforeException = 0;
        EXPECT_EQ(TextOf(aRow.itsCall),
                  "67 JavaStreamIOException: " + kPlace + aRow.itsText + " threw exception from Java");
        EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
        itsSource.TakeCalls();
        EXPECT_EQ(itsStream->Length(), -1);
        EXPECT_EQ(itsStream->Skip(5), 0u);
        itsStream->Seek(5);
        itsStream->Close();
        EXPECT_EQ(TextOf([&] { itsStream->GetStreamPosition(); }),
                  "67 StreamIOException: " + kPlace + "GetStreamPosition" + aClosed);
        EXPECT_EQ(TextOf([&] { Read(5); }), "67 StreamIOException: " + kPlace + "Read" + aClosed);
        EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
    }
}

class FormatJavaThrowableTest : public testing::Test
{
protected:
    /// With a formatter that theMethod is.
    std::string Format(FakeJava::Method theMethod)
    {
        itsJava.AddClass("com/quorix/util/ThrowableFormatter")
            .itsMethods["formatThrowableChain(Ljava/lang/Throwable;)Ljava/lang/String;"] =
            std::move(theMethod);
        return Format();
    }
    std::string Format() { return JavaSeekableInputStream::FormatJavaThrowable(itsJava, itsThrowable); }

    FakeJava itsJava;
    jthrowable itsThrowable = static_cast<jthrowable>(itsJava.NewLocal(&itsJava.New("java/io/IOException")));
};

TEST_F(FormatJavaThrowableTest, GivesTheFormattersTextOrSaysWhyThereIsNone)
{
    const std::string aPlace = kPlace + "FormatJavaThrowable(jthrowable): can't get ";
    const std::string aRetrieving = " (Java exception occurred while retrieving "
                                    "com.quorix.util.ThrowableFormatter class or method)";
    EXPECT_EQ(Format(), aPlace + "Java class for com.quorix.util.ThrowableFormatter" + aRetrieving);
    itsJava.AddClass("com/quorix/util/ThrowableFormatter");
    EXPECT_EQ(Format(), aPlace +
                            "method ID for com.quorix.util.ThrowableFormatter method static String "
                            "formatThrowableChain(Throwable)" +
                            aRetrieving);
    EXPECT_EQ(Format([](const auto&) { return FakeJava::Value(); }),
              " (com.quorix.util.ThrowableFormatter.formatThrowableChain(Throwable) returned null)");
    EXPECT_EQ(Format([this](const auto&) { return itsJava.Throw("java/lang/Error"); }),
              " (Java exception occurred while calling "
              "com.quorix.util.ThrowableFormatter.formatThrowableChain(Throwable))");
    itsJava.Throw("java/lang/Error");
    const FakeJava::Object* const aPending = itsJava.GetPending();
    EXPECT_EQ(Format([this](const auto&) { return FakeJava::Value(&itsJava.NewText(u"caf\u00e9 \u20ac")); }),
              "caf\xe9 ?");
    EXPECT_EQ(itsJava.GetPending(), aPending) << "what was pending stays so";
    itsJava.ClearPending();
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
    // The text belongs to the uncopied exception alone.
    const JavaStreamIOException anOriginal("message", DLRC_IO_ERROR, 0, itsThrowable, &itsJava);
    EXPECT_EQ(anOriginal.ToString(), "JavaStreamIOException: message\ncaf\xe9 ?");
    const JavaStreamIOException aCopy(anOriginal);
    EXPECT_EQ(aCopy.ToString(), "JavaStreamIOException: message");
    EXPECT_EQ(aCopy.GetThrowable(), itsThrowable);
    EXPECT_EQ(anOriginal.Clone()->ToString(), "JavaStreamIOException: message");
}

TEST(JavaInputBufferQueueCompressedSourceTest, FillsARequestFromSeveralBuffers)
{
    FakeJava aJava;
    FakeJavaQueue aQueue{aJava, {{0, 1, 2}, {3, 4}, {5, 6, 7, 8}}};
    const jobject aLocal = aJava.NewLocal(&aQueue.itsObject);
    for (const bool isRead : {true, false})
    {
        aQueue.itsNext = 0;
        aQueue.itsCalls.clear();
        JavaInputBufferQueueCompressedSource aSource(aJava, aLocal);
        std::vector<kdu_byte> aBuffer(6, 0xee);
        EXPECT_EQ(aSource.get_capabilities(), KDU_SOURCE_CAP_SEQUENTIAL);
        EXPECT_EQ(aSource.read(aBuffer.data(), 6), 6);
        EXPECT_THAT(aBuffer, ElementsAre(0, 1, 2, 3, 4, 5));
        EXPECT_THAT(aQueue.itsCalls, ElementsAre("get", "completed", "get", "completed", "get"));
        if (isRead)
        {
            EXPECT_EQ(aSource.read(aBuffer.data(), 6), 3);
            EXPECT_EQ(aSource.read(aBuffer.data(), 6), 0);
        }
        EXPECT_EQ(aSource.getTotalBytesRead(), isRead ? 9u : 6u);
        EXPECT_TRUE(aSource.close());
        EXPECT_EQ(aSource.read(aBuffer.data(), 6), isRead ? 0 : -1) << "the end comes before the close";
    }
    EXPECT_EQ(aJava.GetLocalCount(), 1u);
}
} // namespace
