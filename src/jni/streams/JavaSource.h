// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "decompressors/JNIForward.h"
#include "jni/streams/JavaSeekableInputStream.h"

/// Compressed bytes that com.quorix.decompression.Source stands for, opened as a native stream.
///
/// Files are read by this library itself, and never mapped: one that shrinks meanwhile ends, no more. For one
/// thread at a time.
class QUORIX_API JavaSource
{
public:
    /// What Java hands over; the numbers are Java's.
    enum Kind : std::int32_t
    {
        FILE_NAME = 0,     ///< a String, whose characters are the bytes of a file's name
        DIRECT_BUFFER = 1, ///< a direct ByteBuffer, read in place
        BYTE_ARRAY = 2,    ///< a byte[], never pinned: each read copies the bytes it wants
        STREAM = 3,        ///< a SeekableInputStream
        FORWARD_STREAM = 4 ///< the same, which is only to be read, from front to back
    };

    /// What Java hands over, and which bytes of a buffer or an array are meant.
    struct Input
    {
        std::int32_t itsKind;   ///< one of the kinds
        jobject itsObject;      ///< of that kind
        std::int32_t itsOffset; ///< of the first byte; for buffers and arrays
        std::int32_t itsLength; ///< in bytes; likewise
    };

    /// A direct buffer must stay reachable as long as this object is used. Throws StreamIOException (code 6)
    /// for an object of another kind, and where the virtual machine has no memory for a reference.
    JavaSource(JNIEnv& theEnv, const Input& theInput, Reading theReading);
    ~JavaSource();
    JavaSource(const JavaSource&) = delete;
    JavaSource& operator=(const JavaSource&) = delete;

    /// False for a file that cannot be opened; there is no stream then.
    bool IsOpen() const { return itsStream != nullptr; }

    /// Owned by this object.
    InputStream& GetStream() { return itsForward ? static_cast<InputStream&>(*itsForward) : *itsStream; }

    /// Whether what the stream says of its length counts; what Java streams say may be wrong.
    bool IsLengthCertain() const { return itsJavaStream == nullptr; }

    /// To be called first in every later native call that uses or deletes this object.
    void SetEnvironment(JNIEnv& theEnv);

private:
    class ArrayStream;

    void OpenFile(JNIEnv& theEnv, jobject theName);
    void OpenStream(JNIEnv& theEnv, const Input& theInput, Reading theReading);

    std::unique_ptr<InputStream> itsStream;
    ArrayStream* itsArrayStream = nullptr;            ///< the stream, where it is one
    JavaSeekableInputStream* itsJavaStream = nullptr; ///< likewise
    std::unique_ptr<UnmeasuredInputStream> itsForward;
};
