// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "toolkit/io/InputStream.h"
#include "toolkit/io/LFStream.h"

/// A file read as an InputStream, with the advisory locking of LFStream.
///
/// Small reads go through a buffer; reads of at least the buffer's size go straight to the caller's
/// memory. Regular files can be sought, pipes and terminals not. One object serves one thread.
class QUORIX_API LFInputStream final : public InputStream
{
public:
    /// Opens theName; IsOpen() tells whether that worked, with errno set where it did not.
    /// theMode and theProtection as in LFStream::open; theBufferSize in bytes, at least 1.
    LFInputStream(const char* theName, int theMode, int theProtection, std::size_t theBufferSize);
    ~LFInputStream() override;

    /// Whether the file was opened, and has not been closed.
    bool IsOpen() const { return itsFile.fd() >= 0; }

    /// LFStream::Lock of this file: not 0 on success.
    int Lock(double theWaitTime, LFStream::LockMode theMode) { return itsFile.Lock(theWaitTime, theMode); }
    /// Gives the lock up before the stream ends.
    void Unlock() { itsFile.Unlock(); }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return itsSeekable ? 1 : 0; }
    long long Length() const override;
    std::size_t GetStreamPosition() const override { return itsBufferPosition + itsBufferOffset; }
    std::size_t GetBytesAvailable() const override { return itsBufferedCount - itsBufferOffset; }
    bool IsStreamBuffered() const override { return true; }
    void Close() override;

private:
    std::size_t ReadFile(unsigned char* theBuffer, std::size_t theLength);

    LFStream itsFile;
    std::vector<unsigned char> itsBuffer;
    std::size_t itsBufferPosition = 0; ///< stream position of the buffer's first byte
    std::size_t itsBufferedCount = 0;  ///< valid bytes in the buffer
    std::size_t itsBufferOffset = 0;   ///< bytes of them already handed out
    bool itsSeekable = false;
};
