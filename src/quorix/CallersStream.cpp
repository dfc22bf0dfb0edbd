// SPDX-License-Identifier: Apache-2.0
#include "quorix/detail/CallersStream.h"

#include <algorithm>
#include <limits>

namespace
{
long long LengthOf(const quorix::InputStream& theStream)
{
    constexpr std::uint64_t kMost = std::numeric_limits<long long>::max();
    const std::optional<std::uint64_t> aLength = theStream.length();
    return aLength ? static_cast<long long>(std::min(*aLength, kMost)) : -1;
}
} // namespace

CallersStream::CallersStream(quorix::InputStream& theStream, CallersCode& theCode)
    : itsStream(theStream), itsCode(theCode), itsCanSeek(theStream.canSeek()), itsLength(LengthOf(theStream)),
      itsPosition(theStream.position())
{
}

std::size_t CallersStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = itsCode.Call([&] { return itsStream.read(theBuffer, theLength); });
    if (aCount > theLength)
    {
        throw StreamIOException("the stream says to have read more than it was asked for", DLRC_IO_ERROR, 0);
    }
    itsPosition += aCount;
    return aCount;
}

std::size_t CallersStream::Skip(std::size_t theLength)
{
    if (!itsCanSeek || itsLength < 0)
    {
        return InputStream::Skip(theLength);
    }
    const auto anEnd = static_cast<std::size_t>(itsLength);
    const std::size_t aCount = anEnd > itsPosition ? std::min(theLength, anEnd - itsPosition) : 0;
    Seek(itsPosition + aCount);
    return aCount;
}

void CallersStream::Seek(std::size_t thePosition)
{
    itsCode.Call([&] { itsStream.seek(thePosition); });
    itsPosition = thePosition;
}
