// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessTable.h"

#include <algorithm>

namespace
{
constexpr int kLongestCode = 16;
constexpr unsigned int kLargestCategory = 16; ///< has one difference only and no bits for it
} // namespace

JPEGLosslessTable::JPEGLosslessTable(const std::array<std::uint8_t, 17>& theCounts,
                                     const std::array<std::uint8_t, 256>& theCategories, int theLookBits)
    : itsLookBits(theLookBits), itsCategories(theCategories)
{
    MakeCodes(theCounts);
    MakeSingles();
}

int JPEGLosslessTable::ChooseLookBits(std::uint64_t theSamples)
{
    return theSamples >= 1u << 15 ? kManyBits : kFewBits;
}

void JPEGLosslessTable::MakeCodes(const std::array<std::uint8_t, 17>& theCounts)
{
    std::uint32_t aCode = 0;
    int aSymbol = 0;
    for (int aLength = 1; aLength <= kLongestCode; ++aLength, aCode <<= 1)
    {
        const auto anIndex = static_cast<std::size_t>(aLength);
        // More codes than the length or the symbols have room for are left out.
        const int aRoom = std::min(256 - aSymbol, static_cast<int>((1u << aLength) - aCode));
        const int aCount = std::min<int>(theCounts[anIndex], aRoom);
        itsFirst[anIndex] = aCode;
        itsFirstSymbol[anIndex] = aSymbol;
        aCode += static_cast<std::uint32_t>(aCount);
        aSymbol += aCount;
        itsEnd[anIndex] = aCount == 0 ? 0 : aCode << (17 - aLength);
    }
}

void JPEGLosslessTable::MakeSingles()
{
    itsSingles.assign(std::size_t{1} << itsLookBits, 0);
    for (int aLength = 1; aLength <= std::min(itsLookBits, kLongestCode); ++aLength)
    {
        const auto anIndex = static_cast<std::size_t>(aLength);
        const std::uint32_t anEnd = itsEnd[anIndex] >> (17 - aLength);
        for (std::uint32_t aCode = itsFirst[anIndex]; aCode < anEnd; ++aCode)
        {
            const auto aSymbol =
                static_cast<std::size_t>(itsFirstSymbol[anIndex]) + aCode - itsFirst[anIndex];
            const unsigned int aCategory = itsCategories[aSymbol];
            if (aCategory < kLargestCategory)
            {
                const std::uint32_t anEntry = (static_cast<std::uint32_t>(aLength) + aCategory) |
                                              static_cast<std::uint32_t>(aLength) << 8 | aCategory << 16;
                std::fill_n(itsSingles.begin() +
                                static_cast<std::ptrdiff_t>(std::size_t{aCode} << (itsLookBits - aLength)),
                            std::size_t{1} << (itsLookBits - aLength), anEntry);
            }
        }
    }
}

/// Whether the selecting bits mostly hold a whole difference. A code of n bits is taken to stand for one
/// difference in 2^n, as in a table made for its image; with any other table this costs time only.
bool JPEGLosslessTable::AreGroupsWorthwhile() const
{
    const auto aCount =
        std::count_if(itsSingles.begin(), itsSingles.end(),
                      [this](std::uint32_t theEntry)
                      { return theEntry == 0 || static_cast<int>(theEntry & 255) > itsLookBits; });
    return static_cast<std::size_t>(aCount) * 3 < itsSingles.size();
}

bool JPEGLosslessTable::MakeGroups()
{
    if (!AreGroupsWorthwhile())
    {
        return false;
    }
    itsGroups.resize(itsSingles.size());
    for (std::size_t i = 0; i < itsGroups.size(); ++i)
    {
        itsGroups[i] = MakeGroup(std::uint64_t{i} << (64 - itsLookBits));
    }
    return true;
}

/// As many differences as the selecting bits hold; the zeros behind those are not known to be zeros.
std::uint64_t JPEGLosslessTable::MakeGroup(std::uint64_t theBits) const
{
    std::uint64_t aGroup = 0;
    std::uint32_t aBits = 0;
    unsigned int aCount = 0;
    while (aCount < kMostInGroup)
    {
        const std::uint64_t aRest = theBits << aBits;
        const std::uint32_t anEntry = itsSingles[aRest >> (64 - itsLookBits)];
        if (anEntry == 0 || static_cast<int>(aBits + (anEntry & 255)) > itsLookBits)
        {
            break;
        }
        const std::uint64_t aDifference = Extend(aRest << ((anEntry >> 8) & 255), anEntry >> 16);
        aGroup |= aDifference << (16 + 16 * aCount);
        aBits += anEntry & 255;
        ++aCount;
    }
    return aGroup | aCount << 8 | aBits;
}

JPEGLosslessTable::Rare JPEGLosslessTable::DecodeRare(std::uint64_t theBits) const
{
    Rare aResult;
    const auto aNext = static_cast<std::uint32_t>(theBits >> 47);
    for (int aLength = 1; aLength <= kLongestCode; ++aLength)
    {
        const auto anIndex = static_cast<std::size_t>(aLength);
        if (aNext >= itsEnd[anIndex])
        {
            continue;
        }
        const std::uint32_t aCode = aNext >> (17 - aLength);
        const auto aSymbol = static_cast<std::size_t>(itsFirstSymbol[anIndex]) + aCode - itsFirst[anIndex];
        const unsigned int aCategory = itsCategories[aSymbol & 255];
        aResult.itsValid = true;
        aResult.itsBits = aLength;
        aResult.itsDifference = 0x8000;
        if (aCategory < kLargestCategory)
        {
            aResult.itsBits += static_cast<int>(aCategory);
            aResult.itsDifference = Extend(theBits << aLength, aCategory);
        }
        break;
    }
    return aResult;
}
