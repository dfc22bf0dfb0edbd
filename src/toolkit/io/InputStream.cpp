// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/InputStream.h"

#include <algorithm>
#include <array>

#include "toolkit/base/Exceptions.h"

InputStream::~InputStream() = default;

std::size_t InputStream::Skip(std::size_t theLength)
{
    std::array<unsigned char, 4096> aScratch;
    std::size_t aSkipped = 0;
    while (aSkipped < theLength)
    {
        const std::size_t aCount = Read(aScratch.data(), std::min(aScratch.size(), theLength - aSkipped));
        if (aCount == 0)
        {
            break;
        }
        aSkipped += aCount;
    }
    return aSkipped;
}

void InputStream::Seek(std::size_t)
{
    throw StreamIOException("InputStream does not support Seek(size_t)", DLRC_NOT_SUPPORTED, 0);
}

int InputStream::CanSeek() const
{
    return 0;
}

long long InputStream::Length() const
{
    return -1;
}

void InputStream::Pushback(const unsigned char*, std::size_t)
{
    throw StreamIOException("InputStream does not support Pushback(uchar_t*, size_t)", DLRC_NOT_SUPPORTED, 0);
}

std::size_t InputStream::GetPushbackLimit() const
{
    return 0;
}

std::size_t InputStream::GetPreferredInputBlockSize() const
{
    return itsPreferredInputBlockSize;
}

void InputStream::SetPreferredInputBlockSize(std::size_t theSize)
{
    itsPreferredInputBlockSize = theSize;
}

void InputStream::Close() {}

bool InputStream::HasMoreData() const
{
    const long long aLength = Length();
    return aLength < 0 || GetStreamPosition() < static_cast<unsigned long long>(aLength);
}

std::size_t InputStream::GetBytesAvailable() const
{
    return 0;
}

bool InputStream::IsStreamBuffered() const
{
    return false;
}

void InputStream::Flush() {}

std::size_t InputStream::ReadFully(unsigned char* theBuffer, std::size_t theLength)
{
    std::size_t aTotal = 0;
    while (aTotal < theLength)
    {
        const std::size_t aCount = Read(theBuffer + aTotal, theLength - aTotal);
        if (aCount == 0)
        {
            break;
        }
        aTotal += aCount;
    }
    return aTotal;
}

std::size_t InputStream::SkipFully(std::size_t theLength)
{
    std::size_t aTotal = 0;
    while (aTotal < theLength)
    {
        const std::size_t aCount = Skip(theLength - aTotal);
        if (aCount == 0)
        {
            break;
        }
        aTotal += aCount;
    }
    return aTotal;
}
