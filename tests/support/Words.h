// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// 16-bit values as bytes in the given order.
inline std::vector<std::uint8_t> Words(const std::vector<int>& theWords, bool theLittleEndian = true)
{
    std::vector<std::uint8_t> aBytes;
    for (const int aWord : theWords)
    {
        const auto aLow = static_cast<std::uint8_t>(aWord & 0xff);
        const auto aHigh = static_cast<std::uint8_t>((aWord >> 8) & 0xff);
        aBytes.push_back(theLittleEndian ? aLow : aHigh);
        aBytes.push_back(theLittleEndian ? aHigh : aLow);
    }
    return aBytes;
}

/// Appends the theCount low bytes of a number, the highest one first.
inline void PutBigEndian(std::vector<std::uint8_t>& theBytes, std::uint64_t theValue, int theCount)
{
    for (int i = theCount - 1; i >= 0; --i)
    {
        theBytes.push_back(static_cast<std::uint8_t>(theValue >> (8 * i)));
    }
}
