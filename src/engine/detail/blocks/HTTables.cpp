// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTTables.h"

#include <bit>
#include <cstddef>
#include <span>
#include <stdexcept>

namespace j2k
{
namespace
{
#include "engine/detail/blocks/HTCodes.inc"

/// theCode as in HTCodes.inc.
constexpr std::uint32_t MakeQuad(std::uint32_t theCode, bool isFirstRow)
{
    const std::uint32_t aRho = theCode >> 20 & 15;
    const std::uint32_t aKnown = theCode >> 16 & 15;
    const std::uint32_t anOnes = theCode >> 12 & 15;
    const std::uint32_t aLength = theCode >> 8 & 7;
    const std::uint32_t aHasResidual = theCode >> 11 & 1;
    // First row: either left sample, top right, bottom right. Others: either right sample, as the middle bit.
    const std::uint32_t aContext = isFirstRow ? ((aRho & 1) | aRho >> 1) << HTQuad::kFirstRowContextShift
                                   : aRho >> 2 != 0 ? HTQuad::kIsWest
                                                    : 0;
    return aLength | aContext | aHasResidual * HTQuad::kHasResidual | aRho << HTQuad::kRhoShift |
           anOnes << HTQuad::kOnesShift | aKnown << HTQuad::kKnownShift |
           static_cast<std::uint32_t>(std::popcount(aRho)) << HTQuad::kRhoCountShift |
           static_cast<std::uint32_t>(std::popcount(aKnown)) << HTQuad::kKnownCountShift;
}

/// Does not compile unless each context's codes are complete and free of prefixes, and residuals belong to
/// quads that are not empty.
constexpr HTCodeTable MakeCodes(std::span<const std::uint32_t> theCodes, bool isFirstRow)
{
    HTCodeTable aTable{};
    std::size_t aCount = 0;
    for (const std::uint32_t aCode : theCodes)
    {
        for (std::uint32_t i = aCode & 0x7F; i < 128; i += 1U << (aCode >> 8 & 7))
        {
            std::uint32_t& anEntry = aTable[(aCode >> 24) * 128 + i];
            if (anEntry != 0 || ((aCode >> 11 & 1) != 0 && (aCode >> 20 & 15) == 0))
            {
                throw std::logic_error("HTTables: bad code");
            }
            anEntry = MakeQuad(aCode, isFirstRow);
            ++aCount;
        }
    }
    return aCount == aTable.size() ? aTable : throw std::logic_error("HTTables: missing codes");
}

/// Takes bits off a word, the least significant first.
struct BitWord
{
    constexpr std::uint32_t Read(unsigned int theCount)
    {
        const auto aValue = static_cast<std::uint32_t>(itsBits & ((1U << theCount) - 1));
        itsBits >>= theCount;
        itsTaken += theCount;
        return aValue;
    }

    /// Code words 1, 01, 001, 000.
    constexpr std::uint32_t ReadPrefix()
    {
        return Read(1) != 0 ? 1 : Read(1) != 0 ? 2 : Read(1) != 0 ? 3 : 5;
    }

    constexpr std::uint32_t ReadSuffix(std::uint32_t thePrefix)
    {
        return thePrefix < 3 ? 0 : thePrefix == 3 ? Read(1) : Read(5);
    }

    std::uint64_t itsBits;
    std::uint32_t itsTaken = 0;
};

/// Both prefixes come first, then the suffixes, then the extensions.
constexpr HTResiduals ReadResiduals(std::uint64_t theBits, unsigned int theMode, bool isFirstRow)
{
    BitWord aWord{theBits};
    const bool hasFirst = theMode != RESIDUALS_NONE && theMode != RESIDUALS_SECOND;
    const bool hasSecond = theMode >= RESIDUALS_SECOND;
    const std::uint32_t aPrefix0 = hasFirst ? aWord.ReadPrefix() : 0;
    // Both being above 2 would have been the event: beside a large first one, one bit tells the second.
    const bool isShort = isFirstRow && theMode == RESIDUALS_BOTH && aPrefix0 > 2;
    const std::uint32_t aPrefix1 = !hasSecond ? 0 : isShort ? aWord.Read(1) + 1 : aWord.ReadPrefix();
    const std::uint32_t aSuffix0 = aWord.ReadSuffix(aPrefix0);
    const std::uint32_t aSuffix1 = aWord.ReadSuffix(aPrefix1);
    const std::uint32_t anExtension0 = aSuffix0 >= 28 ? aWord.Read(4) : 0;
    const std::uint32_t anExtension1 = aSuffix1 >= 28 ? aWord.Read(4) : 0;
    const std::uint32_t aMore = theMode == RESIDUALS_BOTH_LARGE ? 2 : 0;
    return {aWord.itsTaken, aPrefix0 + aSuffix0 + 4 * anExtension0 + aMore,
            aPrefix1 + aSuffix1 + 4 * anExtension1 + aMore, aPrefix0 == 5 || aPrefix1 == 5};
}

constexpr HTResidualTable MakeResiduals(bool isFirstRow)
{
    HTResidualTable aTable{};
    for (std::uint32_t i = 0; i < aTable.size(); ++i)
    {
        const HTResiduals aPair = ReadResiduals(i & 0xFF, i >> 8, isFirstRow);
        aTable[i] = aPair.itsIsLong ? kHTLongResiduals
                                    : aPair.itsLength | aPair.itsFirst << 8 | aPair.itsSecond << 16;
    }
    return aTable;
}

constexpr HTRunTable MakeRuns()
{
    constexpr std::array<std::uint8_t, 13> kExponents{0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 4, 5};
    HTRunTable aTable{};
    for (unsigned int i = 0; i < aTable.size(); ++i)
    {
        const unsigned int aState = i / 64;
        const unsigned int anExponent = kExponents[aState];
        const bool isFull = i % 64 >= 32;
        const unsigned int aZeros = isFull ? 1U << anExponent : i % 32 >> (5 - anExponent);
        const unsigned int aNext = isFull ? (aState < 12 ? aState + 1 : 12) : aState > 0 ? aState - 1 : 0;
        aTable[i] = {static_cast<std::uint8_t>(isFull ? 1 : anExponent + 1),
                     static_cast<std::uint8_t>(isFull ? aZeros : aZeros + 1),
                     static_cast<std::uint16_t>(64 * aNext)};
    }
    return aTable;
}
} // namespace

constexpr HTRunTable kHTRuns = MakeRuns();
constexpr HTCodeTable kHTFirstRowCodes = MakeCodes(kFirstRowCodes, true);
constexpr HTCodeTable kHTOtherRowCodes = MakeCodes(kOtherRowCodes, false);
constexpr HTResidualTable kHTFirstRowResiduals = MakeResiduals(true);
constexpr HTResidualTable kHTOtherRowResiduals = MakeResiduals(false);

HTResiduals ReadHTResiduals(std::uint64_t theBits, unsigned int theMode, bool isFirstRow)
{
    return ReadResiduals(theBits, theMode, isFirstRow);
}

} // namespace j2k
