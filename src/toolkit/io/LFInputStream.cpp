// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/LFInputStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "toolkit/base/Exceptions.h"

LFInputStream::LFInputStream(const char* theName, int theMode, int theProtection, std::size_t theBufferSize)
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
