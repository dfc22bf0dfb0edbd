// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBits.h"

namespace j2k
{

void HTBits::Begin(std::size_t theBytes, std::size_t theSlack)
{
    // Append writes whole words.
    const std::size_t aSize = theBytes + theSlack + 2 * sizeof(std::uint64_t);
    if (itsBytes.size() < aSize)
    {
        itsBytes.resize(aSize);
    }
    itsOut = itsBytes.data();
    itsWaiting = 0;
    itsWaitingCount = 0;
}

// At most 56 bits.
void HTBits::Append(std::uint64_t theBits, unsigned int theCount)
{
    itsWaiting |= theBits << itsWaitingCount;
    itsWaitingCount += theCount;
    for (; itsWaitingCount >= 8; itsWaitingCount -= 8)
    {
        *itsOut++ = static_cast<std::uint8_t>(itsWaiting);
        itsWaiting >>= 8;
    }
}

void HTBits::Finish(std::uint8_t theFill, std::size_t theSlack)
{
    itsEnd = static_cast<std::size_t>(itsOut - itsBytes.data()) * 8 + itsWaitingCount;
    *itsOut = static_cast<std::uint8_t>(itsWaiting | static_cast<unsigned int>(theFill) << itsWaitingCount);
    std::memset(itsOut + 1, theFill, theSlack + sizeof(std::uint64_t));
}

void HTBits::TakeForwards(std::span<const std::uint8_t> theBytes, std::uint8_t theFill, std::size_t theSlack)
{
    Begin(theBytes.size(), theSlack);
    bool isStuffed = false;
    for (const std::uint8_t aByte : theBytes)
    {
        Append(isStuffed ? aByte & 0x7FU : aByte, isStuffed ? 7 : 8);
        isStuffed = aByte == 0xFF;
    }
    Finish(theFill, theSlack);
}

void HTBits::TakeBackwards(std::span<const std::uint8_t> theBytes, std::size_t theSlack)
{
    Begin(theBytes.size(), theSlack);
    bool isHigh = true; // as if 0xFF came first
    for (std::size_t i = theBytes.size(); i-- > 0;)
    {
        const unsigned int aByte = theBytes[i];
        const bool isStuffed = isHigh && (aByte & 0x7F) == 0x7F;
        Append(isStuffed ? 0x7F : aByte, isStuffed ? 7 : 8);
        isHigh = aByte > 0x8F;
    }
    Finish(0, theSlack);
}

} // namespace j2k
