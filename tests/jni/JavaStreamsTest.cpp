// SPDX-License-Identifier: Apache-2.0
// Java's streams as C++ sees them, where no decoder looks so closely.
#include <memory>

#include <gmock/gmock.h>

#include "jni/FakeJavaQueue.h"
#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "jni/streams/JavaStreamIOException.h"
#include "support/FailureOf.h"
#include "support/StreamWalk.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kPlace = "native JavaSeekableInputStream::";

class JavaSeekableInputStreamTest : public testing::Test
{
protected:
    void Open() { itsStream = std::make_unique<JavaSeekableInputStream>(itsJava, itsLocal); }

    void Read(std::size_t theCount)
    {
        std::vector<unsigned char> aBuffer(theCount);
        EXPECT_EQ(itsStream->Read(aBuffer.data(), theCount), theCount);
    }

    FakeJava itsJava;
    FakeJavaStream itsSource{itsJava};
    jobject itsLocal = itsJava.NewLocal(&itsSource.itsObject);
    std::unique_ptr<JavaSeekableInputStream> itsStream;
};

TEST_F(JavaSeekableInputStreamTest, ReadsAheadAndMovesInsideWhatItHasReadWithoutJava)
{
    Open();
    WalkStream(*itsStream, {itsSource.itsBytes.begin(), itsSource.itsBytes.end()}, 20000);
    itsStream->Seek(99990);
    itsStream->Seek(0);
    itsSource.TakeCalls();
    Read(100);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("read 8292"));
    itsStream->Seek(8292);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("getFilePointer"));
    itsStream->Seek(8293); // nothing is left of it now
    EXPECT_EQ(itsSource.TakeCalls().back(), "seek 8293");
    Read(1);
    itsSource.TakeCalls();
    EXPECT_EQ(itsStream->Skip(8000), 8000u);
    EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
    EXPECT_EQ(itsStream->Skip(1000), 1000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 808"));
}

TEST_F(JavaSeekableInputStreamTest, TakesShortAndNonsensicalSkipsForWhatTheyAre)
{
    Open();
    for (const auto& [anAnswer, aSkipped] : {std::pair(30, 30u), {0, 0u}, {-7, 0u}, {5000, 100u}})
    {
        itsSource.Add("skip(I)I",
                      [aValue = jlong(anAnswer)](const auto&) { return FakeJava::Value(aValue); });
        EXPECT_EQ(itsStream->Skip(100), aSkipped);
        EXPECT_EQ(itsSource.TakeCalls().size(), 1u);
    }
    itsSource.Add("skip(I)I", [](const auto& theArguments) { return theArguments[0]; });
    EXPECT_EQ(itsStream->Skip(5000000000u), 5000000000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 2147483647", "skip 2147483647", "skip 705032706"));
    EXPECT_EQ(FailureOf([&] { itsStream->Pushback(nullptr, 1); }),
              "JavaSeekableInputStream does not support Pushback(uchar_t*, size_t) [12, 0]");
    EXPECT_EQ(itsStream->GetPushbackLimit(), 0u);
    EXPECT_EQ(itsStream->CanSeek(), 1);
    itsStream->Close();
    itsStream->Close();
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("close"));
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
}

TEST_F(JavaSeekableInputStreamTest, IsClosedByWhatJavaThrows)
{
    const std::tuple<const char*, std::function<void()>, const char*> kRows[] = {
        {"read([BII)I", [&] { Read(20000); }, "Read: read(byte[], int, int)"},
        {"GetByteArrayRegion", [&] { Read(9); }, "Read: GetByteArrayRegion(byte[], int, int, jbyte)"},
        {"skip(I)I", [&] { itsStream->Skip(20000); }, "Skip: skip(int)"},
        {"seek(J)V", [&] { itsStream->Seek(20000); }, "Seek: seek(long)"},
        {"length()J", [&] { itsStream->Length(); }, "Length: length()"},
        {"getFilePointer()J", [&] { itsStream->GetStreamPosition(); },
         "GetStreamPosition: getFilePointerMethod()"},
        {"close()V", [&] { itsStream->Close(); }, "Close: close()"},
    };
    const std::string aClosed = ": the stream is already closed due to previous error [67, 0]";
    for (const auto& [aMethod, aCall, aText] : kRows)
    {
        itsJava.itsCallsBeforeException = -1;
        Open();
        Read(1);
        itsJava.itsFailingCall = aMethod;
        itsJava.itsCallsBeforeException = 0;
        EXPECT_EQ(FailureOf(aCall), kPlace + aText + " threw exception from Java [67, 0]");
        EXPECT_EQ(itsJava.GetPending(), nullptr);
        EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
        itsSource.TakeCalls();
        EXPECT_EQ(itsStream->Length(), -1);
        EXPECT_EQ(itsStream->Skip(5), 0u);
        itsStream->Seek(5);
        itsStream->Close();
        EXPECT_EQ(FailureOf([&] { itsStream->GetStreamPosition(); }), kPlace + "GetStreamPosition" + aClosed);
        EXPECT_EQ(FailureOf([&] { Read(5); }), kPlace + "Read" + aClosed);
        EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
    }
}

TEST(FormatJavaThrowable, GivesTheFormattersTextOrSaysWhyThereIsNone)
{
    FakeJava aJava;
    auto* const aThrowable = static_cast<jthrowable>(aJava.NewLocal(&aJava.New("java/io/IOException")));
    const std::string aFormatter = "com.quorix.util.ThrowableFormatter";
    const std::string aMethod = "formatThrowableChain(Throwable)";
    const std::string aPlace = kPlace + "FormatJavaThrowable(jthrowable): can't get ";
    const std::string aWhile = " (Java exception occurred while ";
    const std::string aRetrieving = aWhile + "retrieving " + aFormatter + " class or method)";
    const auto format = [&] { return JavaSeekableInputStream::FormatJavaThrowable(aJava, aThrowable); };
    EXPECT_EQ(format(), aPlace + "Java class for " + aFormatter + aRetrieving);
    auto& aMethods = aJava.AddClass("com/quorix/util/ThrowableFormatter").itsMethods;
    EXPECT_EQ(format(),
              aPlace + "method ID for " + aFormatter + " method static String " + aMethod + aRetrieving);
    auto& aBody = aMethods["formatThrowableChain(Ljava/lang/Throwable;)Ljava/lang/String;"];
    aBody = [](const auto&) { return FakeJava::Value(); };
    EXPECT_EQ(format(), " (" + aFormatter + "." + aMethod + " returned null)");
    aBody = [&](const auto&) { return aJava.Throw("java/lang/Error"); };
    EXPECT_EQ(format(), aWhile + "calling " + aFormatter + "." + aMethod + ")");
    aBody = [&](const auto&) { return FakeJava::Value(&aJava.NewText(u"caf\u00e9 \u20ac")); };
    aJava.Throw("java/lang/Error");
    const FakeJava::Object* const aPending = aJava.GetPending();
    EXPECT_EQ(format(), "caf\xe9 ?");
    EXPECT_EQ(aJava.GetPending(), aPending) << "what was pending stays so";
    aJava.ClearPending();
    EXPECT_EQ(aJava.GetLocalCount(), 1u);
    // The text belongs to the uncopied exception alone.
    const JavaStreamIOException anOriginal("message", DLRC_IO_ERROR, 0, aThrowable, &aJava);
    EXPECT_EQ(anOriginal.ToString(), "JavaStreamIOException: message\ncaf\xe9 ?");
    const JavaStreamIOException aCopy(anOriginal);
    EXPECT_EQ(aCopy.ToString(), "JavaStreamIOException: message");
    EXPECT_EQ(aCopy.GetThrowable(), aThrowable);
    EXPECT_EQ(anOriginal.Clone()->ToString(), "JavaStreamIOException: message");
}

TEST(JavaInputBufferQueueCompressedSourceTest, CountsTheBytesThatItGives)
{
    FakeJava aJava;
    FakeJavaQueue aQueue{aJava, {{0, 1, 2}, {3, 4}, {5, 6, 7, 8}}};
    JavaInputBufferQueueCompressedSource aSource(aJava, aJava.NewLocal(&aQueue.itsObject));
    kdu_byte aBuffer[6];
    EXPECT_EQ(aSource.get_capabilities(), KDU_SOURCE_CAP_SEQUENTIAL);
    for (const int aCount : {6, 3, 0})
    {
        EXPECT_EQ(aSource.read(aBuffer, 6), aCount);
    }
    EXPECT_THAT(aBuffer, ElementsAre(6, 7, 8, 3, 4, 5));
    EXPECT_EQ(aSource.getTotalBytesRead(), 9u);
}
} // namespace
