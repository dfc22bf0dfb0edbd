// SPDX-License-Identifier: Apache-2.0
#include "support/Sha256.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace
{

using State = std::array<std::uint32_t, 8>;

/// The first 32 bits of the fractional parts of the square or cube roots of the first primes.
template <std::size_t Count, typename Root>
std::array<std::uint32_t, Count> MakeConstants(Root theRoot)
{
    std::array<std::uint32_t, Count> aTable{};
    std::size_t aCount = 0;
    for (int aNumber = 2; aCount < Count; ++aNumber)
    {
        bool aPrime = true;
        for (int i = 2; i * i <= aNumber; ++i)
        {
            aPrime = aPrime && aNumber % i != 0;
        }
        if (aPrime)
        {
            const long double aValue = theRoot(static_cast<long double>(aNumber));
            aTable[aCount++] = static_cast<std::uint32_t>((aValue - std::floor(aValue)) * 4294967296.0L);
        }
    }
    return aTable;
}

void AddBlock(State& theState, const std::uint8_t* theBlock)
{
    static const auto kConstants =
        MakeConstants<64>([](long double theValue) { return std::cbrt(theValue); });
    std::array<std::uint32_t, 64> aWords{};
    for (std::size_t i = 0; i < 16; ++i)
    {
        const std::uint8_t* const aByte = theBlock + i * 4;
        aWords[i] = std::uint32_t{aByte[0]} << 24 | std::uint32_t{aByte[1]} << 16 |
                    std::uint32_t{aByte[2]} << 8 | std::uint32_t{aByte[3]};
    }
    for (std::size_t i = 16; i < 64; ++i)
    {
        const std::uint32_t a = aWords[i - 15];
        const std::uint32_t b = aWords[i - 2];
        aWords[i] = aWords[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ (a >> 3)) + aWords[i - 7] +
                    (std::rotr(b, 17) ^ std::rotr(b, 19) ^ (b >> 10));
    }
    State s = theState;
    for (std::size_t i = 0; i < 64; ++i)
    {
        const std::uint32_t aFirst = s[7] + (std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25)) +
                                     ((s[4] & s[5]) ^ (~s[4] & s[6])) + kConstants[i] + aWords[i];
        const std::uint32_t aSecond = (std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22)) +
                                      ((s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]));
        s = {aFirst + aSecond, s[0], s[1], s[2], s[3] + aFirst, s[4], s[5], s[6]};
    }
    for (std::size_t i = 0; i < s.size(); ++i)
    {
        theState[i] += s[i];
    }
}

} // namespace

std::string Sha256(const std::uint8_t* theBytes, std::size_t theCount)
{
    State aState = MakeConstants<8>([](long double theValue) { return std::sqrt(theValue); });
    const std::size_t aWhole = theCount / 64 * 64;
    for (std::size_t i = 0; i < aWhole; i += 64)
    {
        AddBlock(aState, theBytes + i);
    }
    std::vector<std::uint8_t> aTail(theBytes + aWhole, theBytes + theCount);
    aTail.push_back(0x80);
    aTail.resize(aTail.size() <= 56 ? 56 : 120, 0);
    for (int i = 7; i >= 0; --i)
    {
        aTail.push_back(static_cast<std::uint8_t>((std::uint64_t{theCount} * 8) >> (8 * i)));
    }
    for (std::size_t i = 0; i < aTail.size(); i += 64)
    {
        AddBlock(aState, aTail.data() + i);
    }
    std::string aText;
    for (const std::uint32_t aWord : aState)
    {
        for (int i = 28; i >= 0; i -= 4)
        {
            aText += "0123456789abcdef"[(aWord >> i) & 15];
        }
    }
    return aText;
}
