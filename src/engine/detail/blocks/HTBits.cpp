// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBits.h"

#include <array>

namespace j2k
{
namespace
{
constexpr std::uint64_t kOnes = 0x0101010101010101U;
constexpr std::uint64_t kTops = kOnes << 7;
constexpr std::uint64_t kTop = std::uint64_t{1} << 63;

/// The top bits of bytes of 0xFF.
constexpr std::uint64_t FindFull(std::uint64_t theBytes)
{
    return theBytes & ((theBytes & ~kTops) + kOnes) & kTops;
}

/// The top bits of bytes whose other bits are all ones and that follow one above 0x8F. theBefore: the byte
/// before them.
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

    /// theCount bytes without the bits of theStuffed. Bits behind them are zero.
    void Append(std::uint64_t theBytes, unsigned int theCount, std::uint64_t theStuffed)
    {
        unsigned int aCount = 8 * theCount;
        for (; theStuffed != 0; --aCount) // from the last one on
        {
            const std::uint64_t aBelow = (kTop >> std::countl_zero(theStuffed)) - 1;
            theBytes = (theBytes & aBelow) | (theBytes >> 1 & ~aBelow);
            theStuffed &= aBelow;
        }
        Store(itsWaiting | theBytes << itsCount);
        const unsigned int aWaiting = (itsCount + aCount) % 8;
        itsOut += (itsCount + aCount) / 8;
        itsWaiting = aWaiting == 0 ? 0 : theBytes >> (aCount - aWaiting);
        itsCount = aWaiting;
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

/// Up to eight bytes, zeros behind them.
std::uint64_t LoadSome(const std::uint8_t* theBytes, std::size_t theCount)
{
    std::array<std::uint8_t, 8> aBytes{};
    std::memcpy(aBytes.data(), theBytes, theCount);
    return HTBits::LoadBytes(aBytes.data());
}
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

void HTBits::TakeForwards(std::span<const std::uint8_t> theBytes, std::uint8_t theFill, std::size_t theSlack)
{
    BitWriter aWriter(Begin(theBytes.size(), theSlack));
    std::uint64_t aCarry = 0;
    const auto aTake = [&](std::uint64_t theWord, unsigned int theCount)
    {
        const std::uint64_t aFull = FindFull(theWord);
        aWriter.Append(theWord, theCount, (aFull << 8 | aCarry) & ~std::uint64_t{0} >> (64 - 8 * theCount));
        aCarry = aFull >> 56;
    };
    std::size_t i = 0;
    for (; i + 8 <= theBytes.size(); i += 8)
    {
        aTake(LoadBytes(theBytes.data() + i), 8);
    }
    if (i < theBytes.size())
    {
        aTake(LoadSome(theBytes.data() + i, theBytes.size() - i),
              static_cast<unsigned int>(theBytes.size() - i));
    }
    itsEnd = aWriter.Finish(GetBytes(), theFill, theSlack);
}

void HTBits::TakeBackwards(std::span<const std::uint8_t> theBytes, std::size_t theSlack)
{
    BitWriter aWriter(Begin(theBytes.size(), theSlack));
    std::uint64_t aBefore = 0xFF; // as if it came first
    const auto aTake = [&](std::uint64_t theWord, unsigned int theCount)
    {
        aWriter.Append(theWord, theCount, FindStuffed(theWord, aBefore));
        aBefore = theWord >> 56;
    };
    std::size_t aLeft = theBytes.size();
    for (; aLeft >= 8; aLeft -= 8)
    {
        aTake(Reverse(LoadBytes(theBytes.data() + aLeft - 8)), 8);
    }
    if (aLeft > 0)
    {
        aTake(Reverse(LoadSome(theBytes.data(), aLeft)) >> (64 - 8 * aLeft),
              static_cast<unsigned int>(aLeft));
    }
    itsEnd = aWriter.Finish(GetBytes(), 0, theSlack);
}

} // namespace j2k
