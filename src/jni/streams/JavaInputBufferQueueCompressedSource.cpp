// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "jni/detail/JavaAccess.h"
#include "toolkit/base/Exceptions.h"

namespace
{
void Report(const char* theText)
{
    std::fputs("Native JavaInputBufferQueueCompressedSource() couldn't find java ", stdout);
    std::fputs(theText, stdout);
    std::fflush(stdout); // Java writes to the same place past our buffer
}

jmethodID FindOrReport(JNIEnv& theEnv, jclass theClass, const char* theName, const char* theSignature,
                       const char* theText)
{
    const jmethodID aMethod = JavaAccess::FindMethod(theEnv, theClass, theName, theSignature);
    if (aMethod == nullptr)
    {
        Report(theText);
    }
    return aMethod;
}
} // namespace

JavaInputBufferQueueCompressedSource::JavaInputBufferQueueCompressedSource(JNIEnv& theEnv, jobject theQueue)
    : itsEnv(&theEnv), itsQueue(theQueue)
{
    LookUpMethods();
}

JavaInputBufferQueueCompressedSource::~JavaInputBufferQueueCompressedSource()
{
    close();
    const LocalReference<jthrowable> anException(*itsEnv, itsException);
    const LocalReference<jclass> aClass(*itsEnv, itsBufferClass);
}

void JavaInputBufferQueueCompressedSource::LookUpMethods()
{
    const LocalReference<jclass> aQueueClass = JavaAccess::GetClass(*itsEnv, itsQueue);
    itsGetMethod = FindOrReport(*itsEnv, aQueueClass.Get(), "get", "()Lcom/quorix/util/InputBuffer;",
                                "method InputBufferQueue.get \"()Lcom/quorix/util/InputBuffer;\"\n");
    itsCompletedMethod =
        FindOrReport(*itsEnv, aQueueClass.Get(), "completed", "(Lcom/quorix/util/InputBuffer;)V",
                     "method InputBufferQueue.completed \"(Lcom/quorix/util/InputBuffer;)V\"\n");
    itsSetAutoFlushMethod = FindOrReport(*itsEnv, aQueueClass.Get(), "setAutoFlush", "(Z)V",
                                         "method InputBufferQueue.setAutoFlush \"(Z)V\"\n");
    itsBufferClass = JavaAccess::FindClass(*itsEnv, "com/quorix/util/ByteArrayInputBuffer").Release();
    if (itsBufferClass == nullptr)
    {
        // Deliberately without a line end; whoever reads the output knows the line as it is.
        Report("class com/quorix/util/ByteArrayInputBuffer");
    }
    itsGetArrayMethod =
        FindOrReport(*itsEnv, itsBufferClass, "getArray", "()[B", "method InputBuffer.getArray \"()[B\"\n");
    itsGetBytesAvailableMethod = FindOrReport(*itsEnv, itsBufferClass, "getBytesAvailable", "()I",
                                              "method InputBuffer.getBytesAvailable \"()I\"\n");
}

int JavaInputBufferQueueCompressedSource::read(kdu_byte* theBuffer, int theCount)
{
    if (itsEndOfData)
    {
        return 0;
    }
    int aGot = 0;
    while (!itsClosed && !itsFailed && aGot < theCount)
    {
        if (itsPosition >= itsAvailable)
        {
            if (!FetchNextBuffer())
            {
                break;
            }
            continue;
        }
        const std::int32_t aCount = std::min(itsAvailable - itsPosition, theCount - aGot);
        itsEnv->GetByteArrayRegion(itsCurrentArray, itsPosition, aCount,
                                   reinterpret_cast<jbyte*>(theBuffer + aGot));
        if (!KeepException())
        {
            itsPosition += aCount;
            aGot += aCount;
        }
    }
    if (itsClosed || itsFailed)
    {
        return -1;
    }
    itsTotalBytesRead += static_cast<std::uint64_t>(aGot);
    return aGot;
}

/// False at the end of the data and after a Java exception.
bool JavaInputBufferQueueCompressedSource::FetchNextBuffer()
{
    CompleteCurrentBuffer(false);
    if (KeepExceptionUnlessInterrupted())
    {
        return false;
    }
    if (itsGetMethod != nullptr)
    {
        itsCurrentBuffer = itsEnv->CallObjectMethod(itsQueue, itsGetMethod);
        if (KeepExceptionUnlessInterrupted())
        {
            return false;
        }
    }
    itsPosition = 0;
    if (itsCurrentBuffer == nullptr)
    {
        EndData();
        return false;
    }
    return OpenCurrentBuffer();
}

bool JavaInputBufferQueueCompressedSource::OpenCurrentBuffer()
{
    if (itsGetArrayMethod == nullptr || itsGetBytesAvailableMethod == nullptr ||
        itsEnv->IsInstanceOf(itsCurrentBuffer, itsBufferClass) == JNI_FALSE)
    {
        EndData();
        return false;
    }
    itsCurrentArray = static_cast<jbyteArray>(itsEnv->CallObjectMethod(itsCurrentBuffer, itsGetArrayMethod));
    if (KeepExceptionUnlessInterrupted())
    {
        return false;
    }
    itsAvailable = itsEnv->CallIntMethod(itsCurrentBuffer, itsGetBytesAvailableMethod);
    if (KeepExceptionUnlessInterrupted())
    {
        itsAvailable = 0;
        return false;
    }
    if (itsCurrentArray == nullptr && itsAvailable > 0)
    {
        EndData();
        return false;
    }
    if (itsAvailable <= 0 && itsReading == Reading::BY_MEANING)
    {
        JavaAccess::CheckInterruption(*itsEnv);
    }
    return true;
}

void JavaInputBufferQueueCompressedSource::EndData()
{
    itsEndOfData = true;
    CompleteCurrentBuffer(true);
    KeepExceptionUnlessInterrupted();
}

/// May leave a Java exception pending.
void JavaInputBufferQueueCompressedSource::CompleteCurrentBuffer(bool isFinal)
{
    if ((itsCurrentBuffer != nullptr || isFinal) && itsCompletedMethod != nullptr)
    {
        itsEnv->CallVoidMethod(itsQueue, itsCompletedMethod, itsCurrentBuffer);
    }
    ForgetCurrentBuffer();
}

void JavaInputBufferQueueCompressedSource::ForgetCurrentBuffer()
{
    const LocalReference<jobject> aBuffer(*itsEnv, std::exchange(itsCurrentBuffer, nullptr));
    const LocalReference<jbyteArray> anArray(*itsEnv, std::exchange(itsCurrentArray, nullptr));
    itsPosition = 0;
    itsAvailable = 0;
}

void JavaInputBufferQueueCompressedSource::SetAutoFlush()
{
    if (!std::exchange(itsAutoFlushSet, true) && itsSetAutoFlushMethod != nullptr)
    {
        itsEnv->CallVoidMethod(itsQueue, itsSetAutoFlushMethod, jboolean{JNI_TRUE});
        KeepException();
    }
}

bool JavaInputBufferQueueCompressedSource::close()
{
    if (itsClosed)
    {
        return true;
    }
    CompleteCurrentBuffer(false);
    KeepException();
    SetAutoFlush();
    itsClosed = true;
    return true;
}

jthrowable JavaInputBufferQueueCompressedSource::TakeJavaException()
{
    return std::exchange(itsException, nullptr);
}

/// True, with the pending Java exception cleared and kept, when there was one.
bool JavaInputBufferQueueCompressedSource::KeepException()
{
    LocalReference<jthrowable> aThrowable = JavaAccess::TakeException(*itsEnv);
    if (!aThrowable)
    {
        return false;
    }
    itsFailed = true;
    if (itsException == nullptr)
    {
        itsException = aThrowable.Release();
    }
    return true;
}

bool JavaInputBufferQueueCompressedSource::KeepExceptionUnlessInterrupted()
{
    if (!KeepException())
    {
        return false;
    }
    const LocalReference<jclass> aClass = JavaAccess::FindClass(*itsEnv, "java/io/InterruptedIOException");
    if (aClass && itsEnv->IsInstanceOf(itsException, aClass.Get()) != JNI_FALSE)
    {
        const LocalReference<jthrowable> anInterruption(*itsEnv, TakeJavaException());
        throw DecodingInterruptedException("Decoding interrupted", 1);
    }
    return true;
}
