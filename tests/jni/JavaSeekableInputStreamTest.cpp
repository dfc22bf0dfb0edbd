// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaSeekableInputStream.h"

#include <memory>

#include <gmock/gmock.h>

#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaStreamIOException.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kPlace = "native JavaSeekableInputStream::";

class JavaSeekableInputStreamTest : public testing::Test
{
protected:
    JavaSeekableInputStreamTest() : itsLocal(itsJava.NewLocal(&itsSource.itsObject)) {}

    void Open() { itsStream = std::make_unique<JavaSeekableInputStream>(itsJava, itsLocal); }

    std::size_t Read(std::size_t theCount)
    {
        itsBuffer.assign(theCount + 1, 0xee);
        const std::size_t aGot = itsStream->Read(itsBuffer.data(), theCount);
        EXPECT_EQ(itsBuffer[theCount], 0xee);
        return aGot;
    }

    /// The text and code of what theCall throws.
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
    jobject itsLocal;
    std::unique_ptr<JavaSeekableInputStream> itsStream;
    std::vector<unsigned char> itsBuffer;
};

TEST_F(JavaSeekableInputStreamTest, NamesWhatItCannotFindOrMake)
{
    struct Row
    {
        const char* itsMethod; ///< removed
        bool itsHasNoMemory;
        int itsGlobals;
        const char* itsText;
    };
    const Row kRows[] = {
        {"read([BII)I", false, 9,
         "can't get method ID for SeekableInputStream method int read(byte[], int, int)"},
        {"seek(J)V", false, 9, "can't get method ID for void seek(long)"},
        {"close()V", false, 9, "can't get method ID for void close()"},
        {"length()J", false, 9, "can't get method ID for SeekableInputStream method long length()"},
        {"skip(I)I", false, 9, "can't get method ID for SeekableInputStream method int skip(int)"},
        {"getFilePointer()J", false, 9,
         "can't get method ID for SeekableInputStream method long getFilePointer()"},
        {"", true, 9, "can't create byte[] buffer"},
        {"", false, 0, "can't create NewGlobalRef to buffer"},
        {"", false, 1, "can't create NewGlobalRef to InputStream"},
    };
    for (const Row& aRow : kRows)
    {
        FakeJava aJava;
        FakeJavaStream aSource(aJava);
        aSource.Remove(aRow.itsMethod);
        aJava.itsHasNoMemory = aRow.itsHasNoMemory;
        aJava.itsGlobalsBeforeFailure = aRow.itsGlobals;
        const jobject aLocal = aJava.NewLocal(&aSource.itsObject);
        EXPECT_EQ(TextOf([&] { JavaSeekableInputStream(aJava, aLocal); }),
                  "6 StreamIOException: " + kPlace + "JavaSeekableInputStream(jobject): " + aRow.itsText);
        EXPECT_EQ(aJava.GetPending(), nullptr);
        EXPECT_EQ(aJava.GetGlobalCount(), 0u) << aRow.itsText;
        EXPECT_EQ(aJava.GetLocalCount(), 1u) << aRow.itsText;
    }
    EXPECT_EQ(TextOf([&] { JavaSeekableInputStream(itsJava, nullptr); }),
              "6 StreamIOException: " + kPlace +
                  "JavaSeekableInputStream(jobject): can't get Java class for SeekableInputStream");
}

TEST_F(JavaSeekableInputStreamTest, KeepsOnlyItsTwoGlobalReferences)
{
    Open();
    EXPECT_EQ(itsJava.GetGlobalCount(), 2u);
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
    itsStream.reset();
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
    EXPECT_THAT(itsSource.TakeCalls(), IsEmpty()) << "destruction does not close the Java stream";
}

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
        {16384, {"read 16384"}},
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
}

TEST_F(JavaSeekableInputStreamTest, DeliversWhatIsLeftAtTheEnd)
{
    itsSource.itsBytes.resize(10);
    Open();
    EXPECT_EQ(Read(100), 10u);
    EXPECT_EQ(Read(100), 0u);
}

TEST_F(JavaSeekableInputStreamTest, SeeksInsideWhatItHasReadWithoutJava)
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
}

TEST_F(JavaSeekableInputStreamTest, SkipsFirstWhatItHasRead)
{
    Open();
    Read(100);
    itsSource.TakeCalls();
    EXPECT_EQ(itsStream->Skip(8000), 8000u);
    EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
    EXPECT_EQ(itsStream->Skip(1000), 1000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 808"));
    ASSERT_EQ(Read(1), 1u);
    EXPECT_EQ(itsBuffer[0], 9100 % 251);
}

TEST_F(JavaSeekableInputStreamTest, SplitsSkipsThatNoIntHolds)
{
    Open();
    EXPECT_EQ(itsStream->Skip(5000000000u), 5000000000u);
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("skip 2147483647", "skip 2147483647", "skip 705032706"));
}

TEST_F(JavaSeekableInputStreamTest, TakesShortAndNonsensicalSkipsForWhatTheyAre)
{
    struct Row
    {
        jlong itsAnswer;
        std::size_t itsSkipped;
    };
    for (const Row& aRow : {Row{30, 30}, Row{0, 0}, Row{-7, 0}, Row{5000, 100}})
    {
        itsSource.Add("skip(I)I", [&](const auto&) { return FakeJava::Value(aRow.itsAnswer); });
        Open();
        EXPECT_EQ(itsStream->Skip(100), aRow.itsSkipped);
        EXPECT_EQ(itsSource.TakeCalls().size(), 1u);
    }
}

TEST_F(JavaSeekableInputStreamTest, ClosesOnce)
{
    Open();
    itsStream->Close();
    itsStream->Close();
    EXPECT_THAT(itsSource.TakeCalls(), ElementsAre("close"));
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
}

TEST_F(JavaSeekableInputStreamTest, TakesNothingBack)
{
    Open();
    EXPECT_EQ(TextOf([&] { itsStream->Pushback(nullptr, 1); }),
              "12 StreamIOException: JavaSeekableInputStream does not support Pushback(uchar_t*, size_t)");
    EXPECT_EQ(itsStream->GetPushbackLimit(), 0u);
    EXPECT_EQ(itsStream->CanSeek(), 1);
}

struct FailureRow
{
    const char* itsMethod;
    void (*itsCall)(JavaSeekableInputStream&);
    const char* itsText;
};

class JavaSeekableInputStreamFailure : public JavaSeekableInputStreamTest,
                                       public testing::WithParamInterface<FailureRow>
{
};

TEST_P(JavaSeekableInputStreamFailure, IsReportedAndClosesTheStream)
{
    itsSource.Fail(GetParam().itsMethod);
    Open();
    EXPECT_EQ(TextOf([&] { GetParam().itsCall(*itsStream); }),
              "67 JavaStreamIOException: " + kPlace + GetParam().itsText + " threw exception from Java");
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);

    itsSource.TakeCalls();
    EXPECT_EQ(itsStream->Length(), -1);
    EXPECT_EQ(itsStream->Skip(5), 0u);
    itsStream->Seek(5);
    itsStream->Close();
    EXPECT_EQ(TextOf([&] { itsStream->GetStreamPosition(); }),
              "67 StreamIOException: " + kPlace +
                  "GetStreamPosition: the stream is already closed due to previous error");
    EXPECT_EQ(TextOf([&] { Read(5); }),
              "67 StreamIOException: " + kPlace + "Read: the stream is already closed due to previous error");
    EXPECT_THAT(itsSource.TakeCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Operations, JavaSeekableInputStreamFailure,
    testing::Values(FailureRow{"read([BII)I",
                               [](JavaSeekableInputStream& theStream)
                               {
                                   unsigned char aByte = 0;
                                   theStream.Read(&aByte, 1);
                               },
                               "Read: read(byte[], int, int)"},
                    FailureRow{"skip(I)I", [](JavaSeekableInputStream& theStream) { theStream.Skip(9); },
                               "Skip: skip(int)"},
                    FailureRow{"seek(J)V", [](JavaSeekableInputStream& theStream) { theStream.Seek(9); },
                               "Seek: seek(long)"},
                    FailureRow{"length()J", [](JavaSeekableInputStream& theStream) { theStream.Length(); },
                               "Length: length()"},
                    FailureRow{"getFilePointer()J",
                               [](JavaSeekableInputStream& theStream) { theStream.GetStreamPosition(); },
                               "GetStreamPosition: getFilePointerMethod()"},
                    FailureRow{"close()V", [](JavaSeekableInputStream& theStream) { theStream.Close(); },
                               "Close: close()"}));

TEST_F(JavaSeekableInputStreamTest, WithholdsBufferedBytesAfterAFailure)
{
    Open();
    Read(1);
    itsSource.Fail("length()J");
    EXPECT_THROW(itsStream->Length(), JavaStreamIOException);
    EXPECT_THROW(Read(1), StreamIOException);
}

TEST_F(JavaSeekableInputStreamTest, RefusesCountsBeyondItsArray)
{
    itsSource.Add("read([BII)I", [](const auto&) { return FakeJava::Value(jlong{0x7fffffff}); });
    Open();
    EXPECT_EQ(TextOf([&] { Read(20000); }),
              "67 JavaStreamIOException: " + kPlace +
                  "Read: GetByteArrayRegion(byte[], int, int, jbyte) threw exception from Java");
}

class FormatJavaThrowableTest : public testing::Test
{
protected:
    std::string Format() { return JavaSeekableInputStream::FormatJavaThrowable(itsJava, itsThrowable); }

    void AddFormatter(FakeJava::Method theMethod)
    {
        itsJava.AddClass("com/quorix/util/ThrowableFormatter")
            .itsMethods["formatThrowableChain(Ljava/lang/Throwable;)Ljava/lang/String;"] =
            std::move(theMethod);
    }

    FakeJava itsJava;
    jthrowable itsThrowable = static_cast<jthrowable>(itsJava.NewLocal(&itsJava.New("java/io/IOException")));
    const std::string itsRetrieving = " (Java exception occurred while retrieving "
                                      "com.quorix.util.ThrowableFormatter class or method)";
};

TEST_F(FormatJavaThrowableTest, GivesTheFormattersText)
{
    AddFormatter([this](const auto&) { return FakeJava::Value(&itsJava.NewText(u"caf\u00e9 \u20ac")); });
    EXPECT_EQ(Format(), "caf\xe9 ?");
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(FormatJavaThrowableTest, SaysWhyThereIsNoText)
{
    EXPECT_EQ(Format(), kPlace +
                            "FormatJavaThrowable(jthrowable): can't get Java class for "
                            "com.quorix.util.ThrowableFormatter" +
                            itsRetrieving);
    itsJava.AddClass("com/quorix/util/ThrowableFormatter");
    EXPECT_EQ(Format(), kPlace +
                            "FormatJavaThrowable(jthrowable): can't get method ID for "
                            "com.quorix.util.ThrowableFormatter method static String "
                            "formatThrowableChain(Throwable)" +
                            itsRetrieving);
    AddFormatter([](const auto&) { return FakeJava::Value(); });
    EXPECT_EQ(Format(),
              " (com.quorix.util.ThrowableFormatter.formatThrowableChain(Throwable) returned null)");
    AddFormatter([this](const auto&) { return itsJava.Throw("java/lang/Error"); });
    EXPECT_EQ(Format(), " (Java exception occurred while calling "
                        "com.quorix.util.ThrowableFormatter.formatThrowableChain(Throwable))");
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
}

TEST_F(FormatJavaThrowableTest, LeavesAPendingExceptionPending)
{
    AddFormatter([this](const auto&) { return FakeJava::Value(&itsJava.NewText(u"text")); });
    itsJava.Throw("java/lang/Error");
    const FakeJava::Object* const aPending = itsJava.GetPending();
    EXPECT_EQ(Format(), "text");
    EXPECT_EQ(itsJava.GetPending(), aPending);
}

TEST_F(FormatJavaThrowableTest, BelongsToTheUncopiedExceptionAlone)
{
    AddFormatter([this](const auto&) { return FakeJava::Value(&itsJava.NewText(u"text")); });
    const JavaStreamIOException anOriginal("message", DLRC_IO_ERROR, 0, itsThrowable, &itsJava);
    EXPECT_EQ(anOriginal.ToString(), "JavaStreamIOException: message\ntext");
    const JavaStreamIOException aCopy(anOriginal);
    EXPECT_EQ(aCopy.ToString(), "JavaStreamIOException: message");
    EXPECT_EQ(aCopy.GetThrowable(), itsThrowable);
    EXPECT_EQ(anOriginal.Clone()->ToString(), "JavaStreamIOException: message");
}
} // namespace
