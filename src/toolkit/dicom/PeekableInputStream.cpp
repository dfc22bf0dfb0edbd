// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/PeekableInputStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

PeekableInputStream::PeekableInputStream(std::shared_ptr<InputStream> theStream)
    : itsStream(std::move(theStream))
{
}

PeekableInputStream::~PeekableInputStream() = default;

std::size_t PeekableInputStream::Peek(const unsigned char*& theData, std::size_t theWanted)
{
    theWanted = std::min(theWanted, CAPACITY);
    if (Buffered() < theWanted && itsBegin > 0)
    {
        std::memmove(itsBuffer.data(), itsBuffer.data() + itsBegin, Buffered());
        itsEnd -= itsBegin;
        itsBegin = 0;
    }
    while (Buffered() < theWanted)
    {
        const std::size_t aCount = itsStream->Read(itsBuffer.data() + itsEnd, CAPACITY - itsEnd);
        if (aCount == 0)
        {
            break;
        }
        itsEnd += aCount;
    }
    theData = itsBuffer.data() + itsBegin;
    return std::min(Buffered(), theWanted);
}

std::size_t PeekableInputStream::TakeBuffered(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = std::min(theLength, Buffered());
    std::memcpy(theBuffer, itsBuffer.data() + itsBegin, aCount);
    itsBegin += aCount;
    itsConsumed += aCount;
    return aCount;
}

std::size_t PeekableInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (theLength == 0)
    {
        return 0;
    }
    if (Buffered() == 0 && theLength >= CAPACITY)
    {
        const std::size_t aCount = itsStream->Read(theBuffer, theLength);
        itsConsumed += aCount;
        return aCount;
    }
    if (Buffered() == 0)
    {
        const unsigned char* aData = nullptr;
        Peek(aData, 1);
    }
    return TakeBuffered(theBuffer, theLength);
}

std::size_t PeekableInputStream::Skip(std::size_t theLength)
{
    const std::size_t aBuffered = std::min(theLength, Buffered());
    itsBegin += aBuffered;
    itsConsumed += aBuffered;
    if (aBuffered == theLength)
    {
        return aBuffered;
    }
    const std::size_t aCount = itsStream->Skip(theLength - aBuffered);
    itsConsumed += aCount;
    return aBuffered + aCount;
}

void PeekableInputStream::Seek(std::size_t thePosition)
{
    const std::size_t aPosition = GetStreamPosition();
    if (thePosition >= aPosition && thePosition - aPosition <= Buffered())
    {
        itsBegin += thePosition - aPosition;
        return;
    }
    itsStream->Seek(thePosition);
    itsBegin = itsEnd = 0;
}

long long PeekableInputStream::GetRemaining() const
{
    const long long aLength = Length();
    if (aLength < 0)
    {
        return -1;
    }
    const auto aPosition = static_cast<unsigned long long>(GetStreamPosition());
    const auto anEnd = static_cast<unsigned long long>(aLength);
    return anEnd > aPosition ? static_cast<long long>(anEnd - aPosition) : 0;
}
