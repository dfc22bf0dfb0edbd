// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/RewindableInputStream.h"

#include <algorithm>
#include <cstring>

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
