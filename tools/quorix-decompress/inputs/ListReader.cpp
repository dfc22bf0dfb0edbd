// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "inputs/InputQueue.h"
#include "outputs/OutputFile.h"
#include "outputs/OutputNames.h"

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

ListedInputs::ListedInputs(const std::string& theList, const Shard& theShard)
    : itsReader(theList), itsShard(theShard)
{
}

bool ListedInputs::Next(Input& theInput)
{
    const std::lock_guard aLock(itsMutex);
    std::string aName;
    while (!itsEnded)
    {
        itsEnded = true; // stays so where reading on throws
        itsEnded = !itsReader.Next(aName);
        if (itsEnded)
        {
            break;
        }
        const std::size_t aPosition = itsPosition++;
        if (!itsAbsolute)
        {
            itsAbsolute = MirroredNames::IsAbsolute(aName);
        }
        if (itsShard.Has(aPosition))
        {
            const bool isAlike = MirroredNames::IsAbsolute(aName) == *itsAbsolute;
            // "-" is standard input elsewhere, here a file like any other.
            theInput = {aName == "-" ? "./-" : aName, aPosition,
                        isAlike ? "" : "the list has both absolute and relative names"};
            return true;
        }
    }
    return false;
}
