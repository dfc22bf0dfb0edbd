// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/io/InputStream.h"

/// A file with advisory locking between processes, read and written through its descriptor.
///
/// The lock is an open-file-description lock over the whole file: it belongs to this object and goes
/// with it, whatever other descriptors of the process do. Not thread-safe; use one object per thread.
class QUORIX_API LFStream
{
public:
    /// How a file is opened, as bits. The two combinations in use keep their historic values.
    enum OpenMode
    {
        MODE_IN = 1,
        MODE_OUT = 2,
        MODE_TRUNC = 16,
        MODE_BINARY = 32,
        MODE_READ_BINARY = MODE_IN | MODE_BINARY,                ///< 33
        MODE_WRITE_BINARY = MODE_OUT | MODE_TRUNC | MODE_BINARY, ///< 50
        /// For a file that others may be using under a lock: Truncate when the lock is there.
        MODE_WRITE_SHARED = MODE_OUT | MODE_BINARY
    };

    /// Sharing between openers; deny-none is the only one, and what POSIX does anyway.
    static constexpr int SHARE_DENY_NONE = 64;

    /// What a lock keeps others from: writing, or writing and reading.
    enum LockMode
    {
        LOCK_FOR_READING = 0, ///< shared
        LOCK_FOR_WRITING = 1  ///< exclusive
    };

    /// There is no buffer: what is written is with the operating system at once.
    enum Buffering
    {
        UNBUFFERED
    };

    /// A stream without a file.
    explicit LFStream(Buffering theBuffering);
    ~LFStream();
    LFStream(const LFStream&) = delete;
    LFStream& operator=(const LFStream&) = delete;

    /// Opens a file. False on failure with errno telling why; fd() is then -1. No file has a name with a
    /// NUL in it (ENOENT): one of another name is not opened in its place.
    /// @{
    bool open(const char* theName, int theMode, int theProtection);
    bool open(const RWCString& theName, int theMode, int theProtection);
    /// @}

    /// Takes the lock, trying for at most theWaitTime seconds. Non-zero on success; 0 with errno set
    /// otherwise (a file that is not open included).
    int Lock(double theWaitTime, LockMode theMode);

    /// Gives the lock up. Does nothing when none is held.
    void Unlock();

    /// The descriptor, or -1. Owned by this object.
    int fd() const { return itsDescriptor; }

    /// Reads or writes at the current position, as read(2) and write(2) do but never interrupted by a
    /// signal: the count, or -1 with errno set.
    /// @{
    long long Read(void* theBuffer, unsigned long long theCount);
    long long Write(const void* theBuffer, unsigned long long theCount);
    /// @}

    /// Goes to an absolute position; false with errno set on failure.
    bool Seek(long long thePosition);

    /// Bytes in the file, or -1.
    long long Length() const;

    /// Leaves nothing of a regular file; others have nothing to lose. False with errno set on failure.
    bool Truncate();

    /// Gives up the lock and the descriptor. Closing twice is allowed. False when the operating system
    /// reports a failure (an earlier write that could not be stored).
    bool close();

    /// Seconds that the library's own lock requests wait at most; 10 unless set. Process-wide.
    /// @{
    static double GetDefaultLockWaitTime();
    static void SetDefaultLockWaitTime(double theSeconds);
    /// @}

private:
    int itsDescriptor = -1;
    bool itsLocked = false;
};

/// A file read as an InputStream, with the advisory locking of LFStream.
///
/// Small reads go through a buffer; reads of at least the buffer's size go straight to the caller's
/// memory. Regular files can be sought, pipes and terminals not. One object serves one thread.
class QUORIX_API LFInputStream final : public InputStream
{
public:
    /// Opens theName; IsOpen() tells whether that worked, with errno set where it did not.
    /// theMode and theProtection as in LFStream::open; theBufferSize in bytes, at least 1.
    LFInputStream(const RWCString& theName, int theMode, int theProtection, std::size_t theBufferSize);
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
