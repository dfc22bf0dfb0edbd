// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "decompressors/JNIForward.h"
#include "engine/kdu_compressed_source.h"
#include "toolkit/base/Reading.h"

/// Feeds a codec from a com.quorix.util.InputBufferQueue, which Java may still be filling.
///
/// Every buffer taken from the queue goes back with completed(), also a partly read one. Java methods that
/// are missing are named on standard output once; without them there is no data, or nothing is called. An
/// interrupted get() comes out of read() as DecodingInterruptedException. Any other Java exception makes
/// read() answer -1 from then on and is kept for the native method to throw again. For the thread of its
/// JNIEnv and the native call it was made in.
class QUORIX_API JavaInputBufferQueueCompressedSource final : public kdu_compressed_source
{
public:
    /// theQueue: a local reference that outlives this object, or null.
    JavaInputBufferQueueCompressedSource(JNIEnv& theEnv, jobject theQueue);

    /// Closes.
    ~JavaInputBufferQueueCompressedSource() override;
    JavaInputBufferQueueCompressedSource(const JavaInputBufferQueueCompressedSource&) = delete;
    JavaInputBufferQueueCompressedSource& operator=(const JavaInputBufferQueueCompressedSource&) = delete;

    /// By contract unless set. By meaning read() throws DecodingInterruptedException, too, where a buffer is
    /// empty and Java has interrupted the thread.
    void SetReading(Reading theReading) { itsReading = theReading; }

    /// Hands back the buffer that is being read and sets the queue to auto-flush. Always true.
    bool close() override;
    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

    /// Waits for the queue until theCount bytes are there or the data ends. -1 when closed.
    int read(kdu_byte* theBuffer, int theCount) override;

    /// Bytes that read() has delivered.
    std::uint64_t getTotalBytesRead() const { return itsTotalBytesRead; }

    /// The first Java exception that was no interruption, as a local reference that is the caller's from
    /// now on, or null.
    jthrowable TakeJavaException();

private:
    void LookUpMethods();
    bool FetchNextBuffer();
    bool OpenCurrentBuffer();
    void EndData();
    void CompleteCurrentBuffer(bool isFinal);
    void ForgetCurrentBuffer();
    void SetAutoFlush();
    bool KeepException();
    bool KeepExceptionUnlessInterrupted();

    JNIEnv* itsEnv;
    jobject itsQueue;
    jclass itsBufferClass = nullptr; ///< com.quorix.util.ByteArrayInputBuffer, a local reference
    jmethodID itsGetMethod = nullptr;
    jmethodID itsCompletedMethod = nullptr;
    jmethodID itsGetArrayMethod = nullptr;
    jmethodID itsGetBytesAvailableMethod = nullptr;
    jmethodID itsSetAutoFlushMethod = nullptr;
    jbyteArray itsCurrentArray = nullptr;
    jobject itsCurrentBuffer = nullptr;
    std::int32_t itsPosition = 0;  ///< of the next unread byte in the current array
    std::int32_t itsAvailable = 0; ///< valid bytes in the current array
    bool itsEndOfData = false;
    bool itsClosed = false;
    bool itsAutoFlushSet = false;
    bool itsFailed = false; ///< a Java exception ended the data
    Reading itsReading = Reading::BY_CONTRACT;
    std::uint64_t itsTotalBytesRead = 0;
    jthrowable itsException = nullptr; ///< kept for TakeJavaException
};
