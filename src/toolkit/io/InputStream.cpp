// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/InputStream.h"

#include <algorithm>
#include <array>
#include <cstring>

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

MemoryInputStream::MemoryInputStream(const void* theData, std::size_t theLength)
    : itsData(static_cast<const unsigned char*>(theData)), itsLength(theLength)
{
}

MemoryInputStream::MemoryInputStream(const MemoryInputStream& theOther)
    : InputStream(theOther), itsData(nullptr), itsLength(0)
{
    throw StreamIOException("MemoryInputStream::MemoryInputStream: copy construction not allowed",
                            DLRC_GENERAL_FAILURE, 0);
}

MemoryInputStream& MemoryInputStream::operator=(const MemoryInputStream&)
{
    throw StreamIOException("MemoryInputStream::operator=: assignment not allowed", DLRC_GENERAL_FAILURE, 0);
}

std::size_t MemoryInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = std::min(theLength, itsLength - itsPosition);
    if (aCount > 0)
    {
        std::memcpy(theBuffer, itsData + itsPosition, aCount);
        itsPosition += aCount;
    }
    return aCount;
}

std::size_t MemoryInputStream::Skip(std::size_t theLength)
{
    const std::size_t aCount = std::min(theLength, itsLength - itsPosition);
    itsPosition += aCount;
    return aCount;
}

void MemoryInputStream::Seek(std::size_t thePosition)
{
    if (thePosition > itsLength)
    {
        throw StreamIOException("MemoryInputStream::Seek: position " + std::to_string(thePosition) +
                                    " is past the end (" + std::to_string(itsLength) + ")",
                                DLRC_IO_ERROR, 0);
    }
    itsPosition = thePosition;
}

RewindableInputStream::RewindableInputStream(InputStream& theStream)
    : itsStream(theStream), itsStart(theStream.GetStreamPosition()), itsIsKeeping(theStream.CanSeek() == 0)
{
}

void RewindableInputStream::Rewind()
{
    itsIsKeeping = false;
    itsLeft = itsKept.size();
    if (CanSeek() != 0)
    {
        itsStream.Seek(itsStart);
    }
}

std::size_t RewindableInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (itsLeft != 0)
    {
        const std::size_t aCount = std::min(theLength, itsLeft);
        std::memcpy(theBuffer, itsKept.data() + (itsKept.size() - itsLeft), aCount);
        itsLeft -= aCount;
        return aCount;
    }
    const std::size_t aCount = itsStream.Read(theBuffer, theLength);
    if (itsIsKeeping)
    {
        itsKept.insert(itsKept.end(), theBuffer, theBuffer + aCount);
    }
    return aCount;
}

std::size_t RewindableInputStream::Skip(std::size_t theLength)
{
    return CanSeek() != 0 ? itsStream.Skip(theLength) : InputStream::Skip(theLength);
}

EndianHandlingReader::EndianHandlingReader(InputStream& theStream, DLEndian::Endian theEndian)
    : itsStream(theStream), itsEndian(theEndian)
{
}

template <class Integer>
bool EndianHandlingReader::ReadInteger(Integer& theValue)
{
    std::array<unsigned char, sizeof(Integer)> aBytes;
    if (itsStream.ReadFully(aBytes.data(), aBytes.size()) != aBytes.size())
    {
        return false;
    }
    Integer aValue = 0;
    for (std::size_t aByteIndex = 0; aByteIndex < aBytes.size(); ++aByteIndex)
    {
        const std::size_t aSource =
            itsEndian == DLEndian::LITTLE_ENDIAN_ORDER ? aBytes.size() - 1 - aByteIndex : aByteIndex;
        aValue = static_cast<Integer>((static_cast<std::uint64_t>(aValue) << 8) | aBytes[aSource]);
    }
    theValue = aValue;
    return true;
}

bool EndianHandlingReader::Read(std::uint16_t& theValue)
{
    return ReadInteger(theValue);
}

bool EndianHandlingReader::Read(std::uint32_t& theValue)
{
    return ReadInteger(theValue);
}

bool EndianHandlingReader::Read(std::uint64_t& theValue)
{
    return ReadInteger(theValue);
}
