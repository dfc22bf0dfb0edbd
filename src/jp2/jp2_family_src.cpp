// SPDX-License-Identifier: Apache-2.0
#include "jp2/jp2_family_src.h"

#include <algorithm>

void jp2_family_src::open(kdu_compressed_source* theSource)
{
    close();
    itsSource = theSource;
}

void jp2_family_src::put_back(const std::uint8_t* theBytes, std::size_t theCount)
{
    itsFront.assign(theBytes, theBytes + theCount);
    itsFrontPosition = 0;
}

void jp2_family_src::close()
{
    itsSource = nullptr;
    itsFront.clear();
    itsFrontPosition = 0;
    itsPosition = 0;
}

std::size_t jp2_family_src::read(std::uint8_t* theBytes, std::size_t theCount)
{
    constexpr std::size_t kLargestRead = std::size_t{1} << 20;
    std::size_t aGot = std::min(theCount, itsFront.size() - itsFrontPosition);
    std::copy_n(itsFront.begin() + static_cast<std::ptrdiff_t>(itsFrontPosition), aGot, theBytes);
    itsFrontPosition += aGot;
    while (aGot < theCount && itsSource != nullptr)
    {
        const auto aWanted = static_cast<int>(std::min(theCount - aGot, kLargestRead));
        const int aCount = itsSource->read(theBytes + aGot, aWanted);
        if (aCount <= 0)
        {
            break;
        }
        aGot += static_cast<std::size_t>(std::min(aCount, aWanted));
    }
    itsPosition += aGot;
    return aGot;
}
