// SPDX-License-Identifier: Apache-2.0
#include "quorix/detail/CallersStream.h"

#include <algorithm>
#include <limits>
#include <string>

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
    const auto anEnd = static_cast<std::size_t>(std::max(itsLength, 0LL));
    if (!itsCanSeek || anEnd <= itsPosition)
    {
        return InputStream::Skip(theLength);
    }
    const std::size_t aCount = std::min(theLength, anEnd - itsPosition);
    Seek(itsPosition + aCount);
    return aCount;
}

void CallersStream::Seek(std::size_t thePosition)
{
    // Callers are promised that their streams are not sought past the end.
    const std::size_t aTarget =
        itsLength < 0 ? thePosition : std::min(thePosition, static_cast<std::size_t>(itsLength));
    itsCode.Call([&] { itsStream.seek(aTarget); });
    itsPosition = aTarget;
    if (InputStream::Skip(thePosition - aTarget) != thePosition - aTarget)
    {
        throw StreamIOException("the stream ends before position " + std::to_string(thePosition),
                                DLRC_IO_ERROR, 0);
    }
}
