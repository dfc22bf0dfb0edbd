// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/ByteReader.h"

#include "engine/kdu_compressed_source.h"

#include <algorithm>
#include <string>

namespace j2k
{

std::size_t ByteReader::ReadSource(std::uint8_t* theBytes, std::size_t theCount)
{
    constexpr std::size_t kLargestRead = std::size_t(1) << 30;
    std::size_t aTotal = 0;
    while (aTotal < theCount && !itsIsAtEnd)
    {
        const auto aWanted = static_cast<int>(std::min(theCount - aTotal, kLargestRead));
        const int aRead = itsSource.read(theBytes + aTotal, aWanted);
        if (aRead < 0 || aRead > aWanted)
        {
            itsReports.Error("The source answered a read with " + std::to_string(aRead), itsBytesRead);
        }
        itsIsAtEnd = aRead == 0;
        aTotal += static_cast<std::size_t>(aRead);
        itsBytesRead += static_cast<std::size_t>(aRead);
    }
    return aTotal;
}

bool ByteReader::Fetch(std::size_t theCount)
{
    const std::size_t aHave = GetAvailable().size();
    if (aHave >= theCount)
    {
        return true;
    }
    itsBuffer.erase(itsBuffer.begin(), itsBuffer.begin() + static_cast<std::ptrdiff_t>(itsPosition));
    itsPosition = 0;
    std::vector<std::uint8_t> someMore(theCount - aHave);
    someMore.resize(ReadSource(someMore.data(), someMore.size()));
    itsBuffer.insert(itsBuffer.end(), someMore.begin(), someMore.end());
    return itsBuffer.size() >= theCount;
}

std::size_t ByteReader::Read(std::uint8_t* theBytes, std::size_t theCount)
{
    const std::size_t aBuffered = std::min(theCount, GetAvailable().size());
    std::copy_n(GetAvailable().begin(), aBuffered, theBytes);
    itsPosition += aBuffered;
    return aBuffered + ReadSource(theBytes + aBuffered, theCount - aBuffered);
}

void ByteReader::PutBack(std::span<const std::uint8_t> theBytes)
{
    if (itsPosition < theBytes.size())
    {
        itsBuffer.insert(itsBuffer.begin() + static_cast<std::ptrdiff_t>(itsPosition), theBytes.begin(),
                         theBytes.end());
        return;
    }
    itsPosition -= theBytes.size();
    std::copy(theBytes.begin(), theBytes.end(), itsBuffer.begin() + static_cast<std::ptrdiff_t>(itsPosition));
}

} // namespace j2k
