// SPDX-License-Identifier: Apache-2.0
#include "inputs/ListReader.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "outputs/OutputError.h"

namespace
{
constexpr std::size_t kBufferSize = 65536;
constexpr std::size_t kLongestName = PATH_MAX + 1; // too long already

[[noreturn]] void ThrowSystemError(const std::string& thePath)
{
    throw OutputError(thePath + ": unable to read the list: " + std::generic_category().message(errno));
}
} // namespace

ListReader::ListReader(const std::string& thePath)
    : itsPath(thePath),
      itsDescriptor(thePath == "-" ? STDIN_FILENO : ::open(thePath.c_str(), O_RDONLY | O_CLOEXEC)),
      itsBuffer(kBufferSize)
{
    if (itsDescriptor < 0)
    {
        ThrowSystemError(thePath);
    }
}

ListReader::~ListReader()
{
    if (itsDescriptor > STDIN_FILENO)
    {
        ::close(itsDescriptor);
    }
}

bool ListReader::Fill()
{
    ssize_t aCount = 0;
    do
    {
        aCount = ::read(itsDescriptor, itsBuffer.data() + itsEnd, itsBuffer.size() - itsEnd);
    } while (aCount < 0 && errno == EINTR);
    if (aCount < 0)
    {
        ThrowSystemError(itsPath);
    }
    itsEnd += static_cast<std::size_t>(aCount);
    return aCount > 0;
}

void ListReader::FindSeparator()
{
    itsStarted = true;
    while (itsEnd < kLongestName && Fill())
    {
    }
    itsSeparator =
        std::memchr(itsBuffer.data(), '\0', std::min(itsEnd, kLongestName)) != nullptr ? '\0' : '\n';
}

bool ListReader::ReadName(std::string& theName)
{
    theName.clear();
    for (;;)
    {
        if (itsPosition == itsEnd)
        {
            itsPosition = itsEnd = 0;
            if (!Fill())
            {
                return !theName.empty();
            }
        }
        const auto aStart = itsBuffer.begin() + static_cast<std::ptrdiff_t>(itsPosition);
        const auto aLimit = itsBuffer.begin() + static_cast<std::ptrdiff_t>(itsEnd);
        const auto aStop = std::find(aStart, aLimit, itsSeparator);
        const auto aLength = static_cast<std::size_t>(aStop - aStart);
        theName.append(&*aStart, std::min(aLength, kLongestName - theName.size()));
        itsPosition += aLength + (aStop != aLimit ? 1 : 0);
        if (aStop != aLimit)
        {
            return true;
        }
    }
}

bool ListReader::Next(std::string& theName)
{
    if (!itsStarted)
    {
        FindSeparator();
    }
    do
    {
        if (!ReadName(theName))
        {
            return false;
        }
    } while (theName.empty());
    if (theName.find('\0') != std::string::npos)
    {
        // What is before it is the name of something else.
        throw OutputError(itsPath + ": the list has lines and NUL bytes");
    }
    return true;
}
