// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaSeekableInputStream.h"

#include <algorithm>
#include <limits>

#include "jni/detail/JavaAccess.h"
#include "jni/streams/JavaStreamIOException.h"
#include "jni/streams/JavaStrings.h"

namespace
{
constexpr std::size_t kBufferSize = 16384;
constexpr std::size_t kReadAhead = 8192;
constexpr std::size_t kLongestSkip = std::numeric_limits<jint>::max();

constexpr const char* kFormatterClass = "com/quorix/util/ThrowableFormatter";
constexpr const char* kFormatterName = "com.quorix.util.ThrowableFormatter";

const RWCString kPlace = "native JavaSeekableInputStream::";

[[noreturn]] void ThrowNotConstructed(const RWCString& theReason)
{
    throw StreamIOException(kPlace + "JavaSeekableInputStream(jobject): " + theReason, DLRC_GENERAL_FAILURE,
                            0);
}

/// Calls the formatter; what goes wrong is appended to theError.
RWCString CallFormatter(JNIEnv& theEnv, jclass theClass, jmethodID theMethod, jthrowable theThrowable,
                        RWCString& theError)
{
    const LocalReference<jobject> aString(theEnv,
                                          theEnv.CallStaticObjectMethod(theClass, theMethod, theThrowable));
    if (JavaAccess::ClearException(theEnv))
    {
        theError += RWCString(" (Java exception occurred while calling ") + kFormatterName +
                    ".formatThrowableChain(Throwable))";
        return "";
    }
    if (!aString)
    {
        theError += RWCString(" (") + kFormatterName + ".formatThrowableChain(Throwable) returned null)";
        return "";
    }
    return EncodedString(theEnv, static_cast<jstring>(aString.Get()), EncodedString::CODE_PAGE_ISO_8859_1)
        .GetString();
}
} // namespace

JavaSeekableInputStream::JavaSeekableInputStream(JNIEnv& theEnv, jobject theStream) : itsEnv(&theEnv)
{
    LookUpMethods(theStream);
    const LocalReference<jbyteArray> anArray(theEnv, theEnv.NewByteArray(kBufferSize));
    if (!anArray)
    {
        JavaAccess::ClearException(theEnv);
        ThrowNotConstructed("can't create byte[] buffer");
    }
    itsBuffer = theEnv.NewGlobalRef(anArray.Get());
    if (itsBuffer == nullptr)
    {
        JavaAccess::ClearException(theEnv);
        ThrowNotConstructed("can't create NewGlobalRef to buffer");
    }
    itsStream = theEnv.NewGlobalRef(theStream);
    if (itsStream == nullptr)
    {
        JavaAccess::ClearException(theEnv);
        ReleaseJavaReferences();
        ThrowNotConstructed("can't create NewGlobalRef to InputStream");
    }
}

JavaSeekableInputStream::~JavaSeekableInputStream()
{
    ReleaseJavaReferences();
}

void JavaSeekableInputStream::LookUpMethods(jobject theStream)
{
    const LocalReference<jclass> aClass = JavaAccess::GetClass(*itsEnv, theStream);
    if (!aClass)
    {
        ThrowNotConstructed("can't get Java class for SeekableInputStream");
    }
    const jclass aRawClass = aClass.Get();
    itsReadMethod =
        GetMethod(aRawClass, "read", "([BII)I", "SeekableInputStream method int read(byte[], int, int)");
    // Deliberately without the words before the signature, here and at close: callers know these texts.
    itsSeekMethod = GetMethod(aRawClass, "seek", "(J)V", "void seek(long)");
    itsCloseMethod = GetMethod(aRawClass, "close", "()V", "void close()");
    itsLengthMethod = GetMethod(aRawClass, "length", "()J", "SeekableInputStream method long length()");
    itsSkipMethod = GetMethod(aRawClass, "skip", "(I)I", "SeekableInputStream method int skip(int)");
    itsFilePointerMethod =
        GetMethod(aRawClass, "getFilePointer", "()J", "SeekableInputStream method long getFilePointer()");
}

jmethodID JavaSeekableInputStream::GetMethod(jclass theClass, const char* theName, const char* theSignature,
                                             const char* theDescription) const
{
    const jmethodID aMethod = JavaAccess::FindMethod(*itsEnv, theClass, theName, theSignature);
    if (aMethod == nullptr)
    {
        ThrowNotConstructed(RWCString("can't get method ID for ") + theDescription);
    }
    return aMethod;
}

std::size_t JavaSeekableInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    std::size_t aTotal = 0;
    while (aTotal < theLength)
    {
        aTotal += TakeBuffered(theBuffer + aTotal, theLength - aTotal);
        if (aTotal < theLength && !FillBuffer(theLength - aTotal))
        {
            break;
        }
    }
    return aTotal;
}

std::size_t JavaSeekableInputStream::TakeBuffered(unsigned char* theBuffer, std::size_t theLength)
{
    if (itsBufferedCount == 0)
    {
        return 0;
    }
    if (itsBuffer == nullptr)
    {
        ThrowClosed("Read");
    }
    const std::size_t aCount = std::min<std::uint64_t>(theLength, itsBufferedCount);
    // Java answers a stream that claims more bytes than were asked for with an exception.
    itsEnv->GetByteArrayRegion(static_cast<jbyteArray>(itsBuffer), static_cast<jsize>(itsBufferOffset),
                               static_cast<jsize>(aCount), reinterpret_cast<jbyte*>(theBuffer));
    CheckJava("Read: GetByteArrayRegion(byte[], int, int, jbyte)");
    itsBufferedCount -= aCount;
    itsBufferOffset += aCount;
    return aCount;
}

/// False at the end of the stream.
bool JavaSeekableInputStream::FillBuffer(std::size_t theWanted)
{
    std::size_t aSize = kBufferSize;
    if (theWanted <= kBufferSize)
    {
        aSize = std::min(theWanted + kReadAhead, kBufferSize);
    }
    if (itsStream == nullptr || itsBuffer == nullptr)
    {
        ThrowClosed("Read");
    }
    const jint aCount =
        itsEnv->CallIntMethod(itsStream, itsReadMethod, itsBuffer, jint{0}, static_cast<jint>(aSize));
    CheckJava("Read: read(byte[], int, int)");
    if (aCount < 0)
    {
        return false;
    }
    if (aCount == 0 && itsReading == Reading::BY_MEANING)
    {
        JavaAccess::CheckInterruption(*itsEnv);
    }
    itsBufferOffset = 0;
    itsBufferedCount = static_cast<std::uint64_t>(aCount);
    return true;
}

std::size_t JavaSeekableInputStream::Skip(std::size_t theLength)
{
    if (theLength == 0 || !IsOpen())
    {
        return 0;
    }
    const std::size_t aFromBuffer = std::min<std::uint64_t>(theLength, itsBufferedCount);
    itsBufferedCount -= aFromBuffer;
    itsBufferOffset += aFromBuffer;
    std::size_t aSkipped = aFromBuffer;
    if (aSkipped < theLength)
    {
        itsBufferedCount = 0;
        itsBufferOffset = 0;
    }
    while (aSkipped < theLength)
    {
        const std::size_t aChunk = std::min(theLength - aSkipped, kLongestSkip);
        const jint aCount = itsEnv->CallIntMethod(itsStream, itsSkipMethod, static_cast<jint>(aChunk));
        CheckJava("Skip: skip(int)");
        const std::size_t aStep = std::min(static_cast<std::size_t>(std::max(aCount, jint{0})), aChunk);
        aSkipped += aStep;
        if (aStep < aChunk)
        {
            break;
        }
    }
    return aSkipped;
}

void JavaSeekableInputStream::Seek(std::size_t thePosition)
{
    if (!IsOpen())
    {
        return;
    }
    if (itsBufferedCount > 0)
    {
        const std::size_t aPosition = GetStreamPosition();
        if (aPosition <= thePosition && thePosition - aPosition <= itsBufferedCount)
        {
            itsBufferOffset += thePosition - aPosition;
            itsBufferedCount -= thePosition - aPosition;
            return;
        }
    }
    itsEnv->CallVoidMethod(itsStream, itsSeekMethod, static_cast<jlong>(thePosition));
    CheckJava("Seek: seek(long)");
    itsBufferedCount = 0;
    itsBufferOffset = 0;
}

long long JavaSeekableInputStream::Length() const
{
    if (!IsOpen())
    {
        return -1;
    }
    const jlong aLength = itsEnv->CallLongMethod(itsStream, itsLengthMethod);
    if (itsReading == Reading::BY_MEANING && JavaAccess::ClearException(*itsEnv))
    {
        return -1;
    }
    CheckJava("Length: length()");
    return aLength;
}

std::size_t JavaSeekableInputStream::GetStreamPosition() const
{
    if (!IsOpen())
    {
        ThrowClosed("GetStreamPosition");
    }
    const jlong aPosition = itsEnv->CallLongMethod(itsStream, itsFilePointerMethod);
    // Deliberately the name of the method's identifier; callers know this text.
    CheckJava("GetStreamPosition: getFilePointerMethod()");
    return static_cast<std::size_t>(aPosition) - itsBufferedCount;
}

void JavaSeekableInputStream::Pushback(const unsigned char*, std::size_t)
{
    throw StreamIOException("JavaSeekableInputStream does not support Pushback(uchar_t*, size_t)",
                            DLRC_NOT_SUPPORTED, 0);
}

void JavaSeekableInputStream::Close()
{
    if (!IsOpen())
    {
        return;
    }
    itsEnv->CallVoidMethod(itsStream, itsCloseMethod);
    CheckJava("Close: close()");
    ReleaseJavaReferences();
}

void JavaSeekableInputStream::ThrowClosed(const char* theOperation)
{
    throw StreamIOException(kPlace + theOperation + ": the stream is already closed due to previous error",
                            DLRC_IO_ERROR, 0);
}

void JavaSeekableInputStream::CheckJava(const char* theCall) const
{
    LocalReference<jthrowable> aThrowable = JavaAccess::TakeException(*itsEnv);
    if (!aThrowable)
    {
        return;
    }
    ReleaseJavaReferences();
    const JavaStreamIOException anException(kPlace + theCall + " threw exception from Java", DLRC_IO_ERROR, 0,
                                            aThrowable.Get(), itsEnv);
    // The exception refers to the throwable until the native method returns.
    static_cast<void>(aThrowable.Release());
    // A copy, which does not format the throwable. Said explicitly: a temporary would not be copied.
    throw JavaStreamIOException(anException);
}

void JavaSeekableInputStream::ReleaseJavaReferences() const
{
    for (jobject* aReference : {&itsBuffer, &itsStream})
    {
        if (*aReference != nullptr)
        {
            itsEnv->DeleteGlobalRef(*aReference);
            *aReference = nullptr;
        }
    }
}

RWCString JavaSeekableInputStream::FormatJavaThrowable(JNIEnv& theEnv, jthrowable theThrowable)
{
    const RWCString aPlace = kPlace + "FormatJavaThrowable(jthrowable): can't get ";
    const RWCString aRetrievalFailure =
        RWCString(" (Java exception occurred while retrieving ") + kFormatterName + " class or method)";
    const LocalReference<jthrowable> aPendingException = JavaAccess::TakeException(theEnv);
    RWCString aText;
    RWCString anError;
    const LocalReference<jclass> aClass(theEnv, theEnv.FindClass(kFormatterClass));
    jmethodID aMethod = nullptr;
    if (!aClass)
    {
        anError = aPlace + "Java class for " + kFormatterName;
    }
    else
    {
        aMethod = theEnv.GetStaticMethodID(aClass.Get(), "formatThrowableChain",
                                           "(Ljava/lang/Throwable;)Ljava/lang/String;");
        if (aMethod == nullptr)
        {
            anError = aPlace + "method ID for " + kFormatterName +
                      " method static String formatThrowableChain(Throwable)";
        }
    }
    if (JavaAccess::ClearException(theEnv))
    {
        anError += aRetrievalFailure;
    }
    if (anError.empty())
    {
        aText = CallFormatter(theEnv, aClass.Get(), aMethod, theThrowable, anError);
    }
    if (JavaAccess::ClearException(theEnv))
    {
        // Deliberately the same words once more.
        anError += aRetrievalFailure;
    }
    if (aPendingException)
    {
        theEnv.Throw(aPendingException.Get());
    }
    if (anError.empty())
    {
        return aText;
    }
    return aText.empty() ? anError : aText + "\n" + anError;
}
