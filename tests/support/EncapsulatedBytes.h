// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// Encapsulated pixel data (PS3.5 Annex A.4) put together item by item, wrong items included.
namespace EncapsulatedBytes
{
using Bytes = std::vector<std::uint8_t>;

/// Tag (FFFE,theElement) and a length, which may lie.
inline Bytes Header(std::uint16_t theElement, std::uint32_t theLength)
{
    Bytes aBytes = {0xfe, 0xff, static_cast<std::uint8_t>(theElement),
                    static_cast<std::uint8_t>(theElement >> 8)};
    for (int aShift = 0; aShift < 32; aShift += 8)
    {
        aBytes.push_back(static_cast<std::uint8_t>(theLength >> aShift));
    }
    return aBytes;
}

inline Bytes operator+(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

inline Bytes Item(const Bytes& theContent)
{
    return Header(0xe000, static_cast<std::uint32_t>(theContent.size())) + theContent;
}

/// The item of a Basic Offset Table.
inline Bytes Table(const std::vector<std::uint32_t>& theOffsets)
{
    Bytes aContent;
    for (const std::uint32_t anOffset : theOffsets)
    {
        for (int aShift = 0; aShift < 32; aShift += 8)
        {
            aContent.push_back(static_cast<std::uint8_t>(anOffset >> aShift));
        }
    }
    return Item(aContent);
}

inline Bytes Delimiter()
{
    return Header(0xe0dd, 0);
}
} // namespace EncapsulatedBytes
