// SPDX-License-Identifier: Apache-2.0
// Applications whose classes lack what the native side looks up, and a virtual machine that refuses: what is
// reported then.
#include "faults/FaultFiles.h"
#include "jni/FakeDecompressor.h"

namespace
{
using Method = FakeDecompressor::Method;

const Bytes& GetNativeFile()
{
    const auto& aFiles = FaultFiles::Get();
    return std::find_if(aFiles.begin(), aFiles.end(),
                        [](const FaultFile& theFile) { return theFile.itsName == "native"; })
        ->itsFile;
}

struct MissingRow
{
    Method itsMethod;
    std::string itsClass;  ///< if empty, a call fails
    std::string itsMember; ///< that is missing, or the call
    std::string itsReport;
    int itsCallsBefore = 0; ///< that do not fail
};

TEST(MissingMember, IsNamedInTheResult)
{
    const std::string aStream = "62 0 Native NDecompressor::decodeSeekableInputStreamToMemory";
    const std::string aReason = ":  StreamIOException: native JavaSeekableInputStream::"
                                "JavaSeekableInputStream(jobject): can't ";
    const std::string aMissing = aReason + "get method ID for ";
    const std::string aSuccess = "Completed successfully";
    const std::string aRefused =
        "62 0 Unable to invoke new Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag))";
    const MissingRow kRows[] = {
        {Method::STREAM, "Stream", "read([BII)I",
         aStream + aMissing + "SeekableInputStream method int read(byte[], int, int)"},
        {Method::STREAM, "Stream", "seek(J)V", aStream + aMissing + "void seek(long)"},
        {Method::STREAM, "Stream", "close()V", aStream + aMissing + "void close()"},
        {Method::STREAM, "Stream", "length()J",
         aStream + aMissing + "SeekableInputStream method long length()"},
        {Method::STREAM, "Stream", "skip(I)I",
         aStream + aMissing + "SeekableInputStream method int skip(int)"},
        {Method::STREAM, "Stream", "getFilePointer()J",
         aStream + aMissing + "SeekableInputStream method long getFilePointer()"},
        {Method::FRAMES, "Stream", "seek(J)V",
         "62 0 Native NDecompressor::decodeMultiFrameImageToMemory" + aMissing + "void seek(long)"},
        {Method::ORTHO, "Stream", "seek(J)V",
         "62 0 Native NDecompressor::decodeOrtho" + aMissing + "void seek(long)"},
        {Method::STREAM, "", "NewByteArray", aStream + aReason + "create byte[] buffer"},
        {Method::STREAM, "", "NewGlobalRef", aStream + aReason + "create NewGlobalRef to buffer"},
        {Method::STREAM, "", "NewGlobalRef", aStream + aReason + "create NewGlobalRef to InputStream", 1},
        {Method::STREAM, FakeDecompressor::kImageClass, "",
         "62 0 Unable to FindClass(\"com/quorix/decompression/Renderable\")"},
        {Method::STREAM, FakeDecompressor::kImageClass, FakeDecompressor::kConstructor,
         "62 0 Unable to find ctor method Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag)"},
        // Frames are passed over without a word.
        {Method::FRAMES, FakeDecompressor::kImageClass, FakeDecompressor::kConstructor, "0 0 " + aSuccess},
        {Method::STREAM, "", FakeDecompressor::kConstructor, aRefused},
        {Method::FRAMES, "", FakeDecompressor::kConstructor, aRefused},
        {Method::STREAM, "Result", "DLResultCodeI", "-1 0 " + aSuccess},
        {Method::STREAM, "Result", "SystemErrorI", "0 -1 " + aSuccess},
        {Method::STREAM, "Result", "MessageLjava/lang/String;", "0 0 untouched"},
        {Method::FRAMES, "Result", FakeDecompressor::kListener,
         "7 0 decodeMultiFrameImageToMemory() couldn't find java method DecomprResult.renderableAvailable "
         "\"(ILcom/quorix/decompression/Renderable;)V\"\n"},
    };
    for (const MissingRow& aRow : kRows)
    {
        FakeDecompressor aCall(GetNativeFile());
        if (aRow.itsClass.empty())
        {
            aCall.itsJava.itsFailingCall = aRow.itsMember;
            aCall.itsJava.itsCallsBeforeException = aRow.itsCallsBefore;
        }
        else
        {
            aCall.itsJava.Remove(aRow.itsClass, aRow.itsMember);
        }
        aCall.Run(aRow.itsMethod, 3);
        EXPECT_EQ(aCall.GetReport(), aRow.itsReport);
        EXPECT_EQ(aCall.itsPixels.empty(), aRow.itsClass != "Result" || aRow.itsMethod == Method::FRAMES);
        EXPECT_EQ(aCall.GetLostReferences(), 0u) << aRow.itsReport;
        EXPECT_EQ(aCall.itsJava.GetPending(), nullptr) << aRow.itsReport;
    }
}

TEST(MissingMember, OfAListenerDoesNotKeepTheFileFromBeingRead)
{
    Bytes aFile = GetNativeFile();
    aFile.resize(aFile.size() - 10);
    FakeDecompressor aCall(aFile);
    aCall.itsJava.Remove("Result", FakeDecompressor::kListener);
    EXPECT_FALSE(aCall.Run(Method::FRAMES, 3));
    EXPECT_EQ(aCall.GetReport(), "37 0 Failed to read the pixel data");
    EXPECT_EQ(aCall.itsStream.TakeCalls().back(), "close");
}

TEST(MissingMember, OfAQueueIsPrintedAndActsAsTheEnd)
{
    const std::string aBegin = "Native JavaInputBufferQueueCompressedSource() couldn't find java ";
    const std::string anArray = aBegin + "method InputBuffer.getArray \"()[B\"\n";
    const std::string aCount = aBegin + "method InputBuffer.getBytesAvailable \"()I\"\n";
    const char* const aBuffer = "com/quorix/util/ByteArrayInputBuffer";
    using Row = std::tuple<const char*, const char*, std::string, const char*>;
    const Row kRows[] = {
        {"Queue", "get()Lcom/quorix/util/InputBuffer;",
         aBegin + "method InputBufferQueue.get \"()Lcom/quorix/util/InputBuffer;\"\n",
         "completed null, autoFlush 1, "},
        {"Queue", "completed(Lcom/quorix/util/InputBuffer;)V",
         aBegin + "method InputBufferQueue.completed \"(Lcom/quorix/util/InputBuffer;)V\"\n",
         "get, get, autoFlush 1, "},
        {"Queue", "setAutoFlush(Z)V", aBegin + "method InputBufferQueue.setAutoFlush \"(Z)V\"\n",
         "get, completed, get, completed null, "},
        {aBuffer, "getArray()[B", anArray, "get, completed, autoFlush 1, "},
        {aBuffer, "getBytesAvailable()I", aCount, "get, completed, autoFlush 1, "},
        {aBuffer, "", aBegin + "class com/quorix/util/ByteArrayInputBuffer" + anArray + aCount,
         "get, completed, autoFlush 1, "},
        {aBuffer, nullptr, "", "get, completed, get, completed null, autoFlush 1, "},
    };
    for (const auto& [aClass, aMember, aText, aCalls] : kRows)
    {
        FakeDecompressor aCall(Bytes{0xff});
        if (aMember != nullptr)
        {
            aCall.itsJava.Remove(aClass, aMember);
        }
        testing::internal::CaptureStdout();
        EXPECT_FALSE(aCall.Run(Method::QUEUE, 1));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), aText);
        std::string aGot;
        for (const std::string& aName : aCall.itsQueue.itsCalls)
        {
            aGot += aName + ", ";
        }
        EXPECT_EQ(aGot, aCalls);
        EXPECT_EQ(aCall.GetLostReferences(), 0u) << aText;
    }
}
} // namespace
