// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFStream.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

namespace
{
std::atomic<double> theDefaultLockWaitTime{10.0};

// Short enough that a reader hardly notices, long enough not to burden a shared file server.
constexpr double kFirstPollInterval = 0.001;
constexpr double kLongestPollInterval = 0.05;

// The kernel refuses larger single transfers.
constexpr unsigned long long kLargestTransfer = 0x7ffff000;

void SleepFor(double theSeconds)
{
    timespec aTime{};
    aTime.tv_nsec = static_cast<long>(theSeconds * 1e9);
    nanosleep(&aTime, nullptr);
}

bool SetLock(int theDescriptor, short theType)
{
    struct flock aLock = {};
    aLock.l_type = theType;
    aLock.l_whence = SEEK_SET;
    return fcntl(theDescriptor, F_OFD_SETLK, &aLock) == 0;
}
} // namespace

LFStream::LFStream(Buffering) {}

LFStream::~LFStream()
{
    close();
}

bool LFStream::open(const char* theName, int theMode, int)
{
    close();
    int aFlags = O_CLOEXEC;
    if ((theMode & MODE_OUT) != 0)
    {
        aFlags |= (theMode & MODE_IN) != 0 ? O_RDWR : O_WRONLY;
        aFlags |= O_CREAT | ((theMode & MODE_TRUNC) != 0 ? O_TRUNC : 0);
    }
    do
    {
        itsDescriptor = ::open(theName, aFlags, 0666);
    } while (itsDescriptor < 0 && errno == EINTR);
    return itsDescriptor >= 0;
}

bool LFStream::open(const RWCString& theName, int theMode, int theProtection)
{
    if (theName.find('\0') != RWCString::npos)
    {
        close();
        errno = ENOENT;
        return false;
    }
    return open(theName.c_str(), theMode, theProtection);
}

int LFStream::Lock(double theWaitTime, LockMode theMode)
{
    if (itsDescriptor < 0)
    {
        errno = EBADF;
        return 0;
    }
    const short aType = theMode == LOCK_FOR_WRITING ? F_WRLCK : F_RDLCK;
    const DMTickCounter aCounter;
    double anInterval = kFirstPollInterval;
    while (!SetLock(itsDescriptor, aType))
    {
        const int anError = errno;
        if (anError != EAGAIN && anError != EACCES && anError != EINTR)
        {
            return 0;
        }
        const double aTimeLeft = theWaitTime - aCounter.Total();
        if (!(aTimeLeft > 0.0)) // no number is no time either
        {
            errno = anError;
            return 0;
        }
        SleepFor(std::min(anInterval, aTimeLeft));
        anInterval = std::min(anInterval * 2, kLongestPollInterval);
    }
    itsLocked = true;
    return 1;
}

void LFStream::Unlock()
{
    if (itsLocked)
    {
        SetLock(itsDescriptor, F_UNLCK);
        itsLocked = false;
    }
}

long long LFStream::Read(void* theBuffer, unsigned long long theCount)
{
    long long aResult = -1;
    do
    {
        aResult = ::read(itsDescriptor, theBuffer, std::min(theCount, kLargestTransfer));
    } while (aResult < 0 && errno == EINTR);
    return aResult;
}

long long LFStream::Write(const void* theBuffer, unsigned long long theCount)
{
    long long aResult = -1;
    do
    {
        aResult = ::write(itsDescriptor, theBuffer, std::min(theCount, kLargestTransfer));
    } while (aResult < 0 && errno == EINTR);
    return aResult;
}

bool LFStream::Seek(long long thePosition)
{
    return ::lseek(itsDescriptor, thePosition, SEEK_SET) >= 0;
}

long long LFStream::Length() const
{
    struct stat aStatus = {};
    return fstat(itsDescriptor, &aStatus) == 0 ? static_cast<long long>(aStatus.st_size) : -1;
}

bool LFStream::Truncate()
{
    struct stat aStatus = {};
    if (fstat(itsDescriptor, &aStatus) != 0)
    {
        return false;
    }
    int aResult = 0;
    do
    {
        aResult = S_ISREG(aStatus.st_mode) ? ftruncate(itsDescriptor, 0) : 0;
    } while (aResult != 0 && errno == EINTR);
    return aResult == 0;
}

bool LFStream::close()
{
    if (itsDescriptor < 0)
    {
        return true;
    }
    Unlock();
    const int aDescriptor = itsDescriptor;
    itsDescriptor = -1;
    // Linux frees the descriptor even when close is interrupted; trying again could close another one.
    return ::close(aDescriptor) == 0 || errno == EINTR;
}

double LFStream::GetDefaultLockWaitTime()
{
    return theDefaultLockWaitTime;
}

void LFStream::SetDefaultLockWaitTime(double theSeconds)
{
    theDefaultLockWaitTime = theSeconds;
}

LFInputStream::LFInputStream(const RWCString& theName, int theMode, int theProtection,
                             std::size_t theBufferSize)
    : itsFile(LFStream::UNBUFFERED), itsBuffer(std::max<std::size_t>(theBufferSize, 1))
{
    if (itsFile.open(theName, theMode, theProtection))
    {
        itsSeekable = ::lseek(itsFile.fd(), 0, SEEK_CUR) >= 0;
    }
}

LFInputStream::~LFInputStream() = default;

std::size_t LFInputStream::ReadFile(unsigned char* theBuffer, std::size_t theLength)
{
    const long long aCount = itsFile.Read(theBuffer, theLength);
    if (aCount < 0)
    {
        const int anError = errno;
        throw StreamIOException("LFInputStream::Read: error reading file", DLRC_IO_ERROR, anError);
    }
    return static_cast<std::size_t>(aCount);
}

std::size_t LFInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (theLength == 0)
    {
        return 0;
    }
    if (itsBufferOffset == itsBufferedCount)
    {
        itsBufferPosition += itsBufferedCount;
        itsBufferedCount = itsBufferOffset = 0;
        if (theLength >= itsBuffer.size())
        {
            const std::size_t aCount = ReadFile(theBuffer, theLength);
            itsBufferPosition += aCount;
            return aCount;
        }
        itsBufferedCount = ReadFile(itsBuffer.data(), itsBuffer.size());
    }
    const std::size_t aCount = std::min(theLength, itsBufferedCount - itsBufferOffset);
    std::memcpy(theBuffer, itsBuffer.data() + itsBufferOffset, aCount);
    itsBufferOffset += aCount;
    return aCount;
}

std::size_t LFInputStream::Skip(std::size_t theLength)
{
    const std::size_t aBuffered = itsBufferedCount - itsBufferOffset;
    if (theLength <= aBuffered || !itsSeekable)
    {
        return InputStream::Skip(theLength);
    }
    const std::size_t aPosition = GetStreamPosition();
    const long long aLength = Length();
    const std::size_t anEnd = aLength < 0 ? aPosition : static_cast<std::size_t>(aLength);
    const std::size_t aCount = anEnd > aPosition ? std::min(theLength, anEnd - aPosition) : 0;
    Seek(aPosition + aCount);
    return aCount;
}

void LFInputStream::Seek(std::size_t thePosition)
{
    if (!itsSeekable)
    {
        InputStream::Seek(thePosition);
    }
    if (thePosition >= itsBufferPosition && thePosition <= itsBufferPosition + itsBufferedCount)
    {
        itsBufferOffset = thePosition - itsBufferPosition;
        return;
    }
    if (!itsFile.Seek(static_cast<long long>(thePosition)))
    {
        const int anError = errno;
        throw StreamIOException("LFInputStream::Seek: error seeking in file", DLRC_IO_ERROR, anError);
    }
    itsBufferPosition = thePosition;
    itsBufferedCount = itsBufferOffset = 0;
}

long long LFInputStream::Length() const
{
    return itsSeekable ? itsFile.Length() : -1;
}

void LFInputStream::Close()
{
    itsFile.close();
}
