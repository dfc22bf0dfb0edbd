// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "decompressors/JNIForward.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Reading.h"
#include "toolkit/io/InputStream.h"

/// A com.quorix.io.SeekableInputStream read as a native stream, through a Java byte array of 16384 bytes
/// that reads ahead by up to 8192 bytes.
///
/// Open while it holds the Java stream. The first Java exception closes it for good: the exception is
/// cleared and comes out as JavaStreamIOException (code 67). For the thread of its JNIEnv and the native
/// call it was made in.
class QUORIX_API JavaSeekableInputStream final : public InputStream
{
public:
    /// theStream: any object with the methods read(byte[], int, int), seek(long), close(), length(),
    /// skip(int) and getFilePointer(). Throws StreamIOException (code 6) when one is missing.
    JavaSeekableInputStream(JNIEnv& theEnv, jobject theStream);

    /// Lets the Java stream go without closing it.
    ~JavaSeekableInputStream() override;
    JavaSeekableInputStream(const JavaSeekableInputStream&) = delete;
    JavaSeekableInputStream& operator=(const JavaSeekableInputStream&) = delete;

    /// By contract unless set. By meaning Read throws DecodingInterruptedException where the Java stream
    /// delivers 0 bytes and Java has interrupted the thread.
    void SetReading(Reading theReading) { itsReading = theReading; }

    /// For a stream that outlives a native call: to be called first in the next one.
    void SetEnvironment(JNIEnv& theEnv) { itsEnv = &theEnv; }

    /// A short count is the end of the stream. A Java stream that delivers 0 bytes is asked again.
    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;

    /// One Java skip per 2^31 − 1 bytes; ends with the first that falls short. 0 when closed.
    std::size_t Skip(std::size_t theLength) override;

    /// Without Java inside what was read ahead. Nothing when closed.
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return 1; }

    /// -1 when closed; by meaning also when Java throws, which closes nothing then.
    long long Length() const override;
    std::size_t GetStreamPosition() const override;
    void Pushback(const unsigned char* theBuffer, std::size_t theLength) override;

    /// Closes the Java stream; nothing when closed already.
    void Close() override;

    /// What com.quorix.util.ThrowableFormatter says of a throwable and its causes, or why it says nothing.
    /// A Java exception that is pending stays pending.
    static RWCString FormatJavaThrowable(JNIEnv& theEnv, jthrowable theThrowable);

private:
    void LookUpMethods(jobject theStream);
    jmethodID GetMethod(jclass theClass, const char* theName, const char* theSignature,
                        const char* theDescription) const;
    bool IsOpen() const { return itsStream != nullptr; }
    std::size_t TakeBuffered(unsigned char* theBuffer, std::size_t theLength);
    bool FillBuffer(std::size_t theWanted);
    [[noreturn]] static void ThrowClosed(const char* theOperation);

    /// Throws when the call of Java just made ended with a Java exception. theCall as messages name it.
    void CheckJava(const char* theCall) const;
    void ReleaseJavaReferences() const;

    JNIEnv* itsEnv;
    // Global references, null once closed; a failing Length or GetStreamPosition closes, too.
    mutable jobject itsStream = nullptr;
    mutable jobject itsBuffer = nullptr;
    jmethodID itsReadMethod = nullptr;
    jmethodID itsSeekMethod = nullptr;
    jmethodID itsCloseMethod = nullptr;
    jmethodID itsLengthMethod = nullptr;
    jmethodID itsSkipMethod = nullptr;
    jmethodID itsFilePointerMethod = nullptr;
    std::uint64_t itsBufferedCount = 0; ///< bytes that Java delivered and nobody has read yet
    std::uint64_t itsBufferOffset = 0;  ///< of the first of them in the array
    Reading itsReading = Reading::BY_CONTRACT;
};

/// A stream whose length nobody is told, over one that may say something wrong, or throw, when it is asked: a
/// Java stream over a file that is still being written. Where it ends, reading tells.
class QUORIX_API UnmeasuredInputStream final : public InputStream
{
public:
    /// theStream is borrowed; it takes positions behind its end, unless it is only to be read from front to
    /// back.
    explicit UnmeasuredInputStream(InputStream& theStream, bool isSeekable = true)
        : itsStream(theStream), itsIsSeekable(isSeekable && theStream.CanSeek() != 0)
    {
    }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        return itsStream.Read(theBuffer, theLength);
    }
    std::size_t Skip(std::size_t theLength) override
    {
        return itsIsSeekable ? itsStream.Skip(theLength) : InputStream::Skip(theLength);
    }
    void Seek(std::size_t thePosition) override
    {
        itsIsSeekable ? itsStream.Seek(thePosition) : InputStream::Seek(thePosition);
    }
    int CanSeek() const override { return itsIsSeekable ? 1 : 0; }
    std::size_t GetStreamPosition() const override { return itsStream.GetStreamPosition(); }
    void Close() override { itsStream.Close(); }

private:
    InputStream& itsStream;
    bool itsIsSeekable;
};
