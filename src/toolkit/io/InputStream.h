// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "toolkit/base/BaseTypes.h"

/// A source of bytes, read from front to back and, where CanSeek says so, from any position.
///
/// Failures are thrown as StreamIOException. One object serves one thread at a time.
class QUORIX_API InputStream
{
public:
    InputStream() = default;
    virtual ~InputStream();

    /// Reads up to theLength bytes. Returns what was delivered; 0 (for theLength > 0) only at the end.
    /// A short count is not the end: call again.
    virtual std::size_t Read(unsigned char* theBuffer, std::size_t theLength) = 0;

    /// Moves forward by up to theLength bytes and returns how far it moved. The default reads and
    /// discards. A short count is not the end; 0 (for theLength > 0) means that nothing moves any more.
    virtual std::size_t Skip(std::size_t theLength);

    /// Goes to an absolute position. The default throws StreamIOException (code 12).
    virtual void Seek(std::size_t thePosition);

    /// 1 when Seek works, else 0.
    virtual int CanSeek() const;

    /// Bytes in the whole stream, or -1 when unknown.
    virtual long long Length() const;

    /// Position of the next byte, counted from the start of the stream.
    virtual std::size_t GetStreamPosition() const = 0;

    /// Puts bytes back in front of the stream. The default throws StreamIOException (code 12).
    virtual void Pushback(const unsigned char* theBuffer, std::size_t theLength);

    /// Bytes that Pushback takes at most; 0 when it is not supported.
    virtual std::size_t GetPushbackLimit() const;

    /// Size of the reads that suit this stream best; 4096 unless set.
    /// @{
    virtual std::size_t GetPreferredInputBlockSize() const;
    virtual void SetPreferredInputBlockSize(std::size_t theSize);
    /// @}

    /// Gives up what the stream reads from; nothing is to be read afterwards. The default does nothing.
    virtual void Close();

    /// Whether another Read would deliver something, as far as is known without reading.
    virtual bool HasMoreData() const;

    /// The opposite of HasMoreData.
    bool IsEmpty() const { return !HasMoreData(); }

    /// Bytes that can be read without waiting, as far as is known; 0 when unknown.
    virtual std::size_t GetBytesAvailable() const;

    /// Whether bytes come out of a buffer of the stream's own. The default says no.
    virtual bool IsStreamBuffered() const;

    /// Does nothing, unless a derived class has something to pass on.
    virtual void Flush();

    /// Reads until theLength bytes have arrived or the stream ends; returns the bytes delivered.
    std::size_t ReadFully(unsigned char* theBuffer, std::size_t theLength);

    /// Skips until theLength bytes are behind or nothing moves any more; returns the distance moved.
    std::size_t SkipFully(std::size_t theLength);

protected:
    /// For derived classes that can be copied.
    /// @{
    InputStream(const InputStream&) = default;
    InputStream& operator=(const InputStream&) = default;
    /// @}

private:
    std::size_t itsPreferredInputBlockSize = 4096;
};
