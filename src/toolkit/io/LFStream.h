// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/BaseTypes.h"

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
        MODE_READ_BINARY = MODE_IN | MODE_BINARY,               ///< 33
        MODE_WRITE_BINARY = MODE_OUT | MODE_TRUNC | MODE_BINARY ///< 50
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

    /// Opens a file. False on failure with errno telling why; fd() is then -1.
    bool open(const char* theName, int theMode, int theProtection);

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
