// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBits.h"

namespace j2k
{
namespace
{
constexpr std::uint64_t kOnes = 0x0101010101010101U;
constexpr std::uint64_t kTops = kOnes << 7;

/// Bytes of 0xFF, by their top bits; behind the first one there may be more than there are.
constexpr std::uint64_t FindFull(std::uint64_t theBytes)
{
    return theBytes & ((theBytes & ~kTops) + kOnes) & kTops;
}

/// Bytes with seven ones at the lower end behind one above 0x8F, by their top bits.
constexpr std::uint64_t FindStuffed(std::uint64_t theBytes, std::uint64_t theBefore)
{
    const std::uint64_t aBefore = theBytes << 8 | theBefore;
    const std::uint64_t anIsHigh = aBefore & (aBefore << 1 | aBefore << 2 | aBefore << 3);
    return anIsHigh & ((theBytes & ~kTops) + kOnes) & kTops;
}

/// Puts bits one behind the other. A local object, so that it lives in registers.
class BitWriter
{
public:
    explicit BitWriter(std::uint8_t* theOut) : itsOut(theOut) {}

    void AppendWord(std::uint64_t theBits)
    {
        Store(itsWaiting | theBits << itsCount);
        itsOut += sizeof(theBits);
        itsWaiting = theBits >> 1 >> (63 - itsCount);
    }

    void AppendByte(unsigned int theByte, unsigned int theCount)
    {
        itsWaiting |= std::uint64_t{theByte} << itsCount;
        itsCount += theCount;
        *itsOut = static_cast<std::uint8_t>(itsWaiting);
        itsOut += itsCount / 8;
        itsWaiting >>= itsCount & 8;
        itsCount %= 8;
    }

    /// Fills up the last byte and theSlack more. Returns how many bits there are behind theBegin without
    /// these.
    std::size_t Finish(const std::uint8_t* theBegin, std::uint8_t theFill, std::size_t theSlack)
    {
        *itsOut = static_cast<std::uint8_t>(itsWaiting | static_cast<unsigned int>(theFill) << itsCount);
        std::memset(itsOut + 1, theFill, theSlack);
        return static_cast<std::size_t>(itsOut - theBegin) * 8 + itsCount;
    }

private:
    void Store(std::uint64_t theWord)
    {
        theWord = std::endian::native == std::endian::little ? theWord : HTBits::Reverse(theWord);
        std::memcpy(itsOut, &theWord, sizeof(theWord));
    }

    std::uint8_t* itsOut;
    std::uint64_t itsWaiting = 0; ///< fewer than eight bits
    unsigned int itsCount = 0;
};
} // namespace

std::uint8_t* HTBits::Begin(std::size_t theBytes, std::size_t theSlack)
{
    const std::size_t aSize = kLead + theBytes + theSlack + 1;
    if (itsBytes.size() < aSize)
    {
        itsBytes.resize(aSize);
    }
    return itsBytes.data() + kLead;
}

// Eight bytes at a time where none of them is stuffed.
void HTBits::TakeForwards(std::span<const std::uint8_t> theBytes, std::uint8_t theFill, std::size_t theSlack)
{
    BitWriter aWriter(Begin(theBytes.size(), theSlack));
    const std::uint8_t* aNext = theBytes.data();
    const std::uint8_t* const anEnd = aNext + theBytes.size();
    bool isStuffed = false;
    while (aNext != anEnd)
    {
        if (!isStuffed && anEnd - aNext >= 8)
        {
            const std::uint64_t aWord = LoadBytes(aNext);
            if (FindFull(aWord) == 0)
            {
                aWriter.AppendWord(aWord);
                aNext += 8;
                continue;
            }
        }
        // At most to the byte behind the first 0xFF.
        for (int i = 0; i < 8 && aNext != anEnd; ++i)
        {
            const std::uint8_t aByte = *aNext++;
            aWriter.AppendByte(isStuffed ? aByte & 0x7FU : aByte, isStuffed ? 7 : 8);
            isStuffed = aByte == 0xFF;
        }
    }
    itsEnd = aWriter.Finish(GetBytes(), theFill, theSlack);
}

void HTBits::TakeBackwards(std::span<const std::uint8_t> theBytes, std::size_t theSlack)
{
    BitWriter aWriter(Begin(theBytes.size(), theSlack));
    const std::uint8_t* const aBegin = theBytes.data();
    std::size_t aLeft = theBytes.size();
    unsigned int aBefore = 0xFF; // as if it came first
    while (aLeft > 0)
    {
        if (aLeft >= 8)
        {
            const std::uint64_t aWord = Reverse(LoadBytes(aBegin + aLeft - 8));
            if (FindStuffed(aWord, aBefore) == 0)
            {
                aWriter.AppendWord(aWord);
                aLeft -= 8;
                aBefore = static_cast<unsigned int>(aWord >> 56);
                continue;
            }
        }
        for (int i = 0; i < 8 && aLeft > 0; ++i)
        {
            const unsigned int aByte = aBegin[--aLeft];
            const bool isStuffed = aBefore > 0x8F && (aByte & 0x7F) == 0x7F;
            aWriter.AppendByte(isStuffed ? 0x7F : aByte, isStuffed ? 7 : 8);
            aBefore = aByte;
        }
    }
    itsEnd = aWriter.Finish(GetBytes(), 0, theSlack);
}

} // namespace j2k
