// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/MemoryInputStream.h"

#include <algorithm>
#include <cstring>

#include "toolkit/base/Exceptions.h"

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
