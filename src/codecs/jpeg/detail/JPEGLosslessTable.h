// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <vector>

/// A Huffman table of lossless JPEG, prepared for decoding (T.81, Annexes C, F.2.2.3 and H.2.2).
///
/// The next bits of the data, left-aligned in a 64-bit word, select an entry that tells all about the one
/// or more differences they begin with. Differences are taken modulo 65536. Any counts and symbols make a
/// table that is safe to use. One decoder's; not thread-safe while it is made.
class JPEGLosslessTable
{
public:
    /// theCounts[n]: how many codes have n bits, 1 … 16; theCategories: the symbols in code order, 0 … 16.
    JPEGLosslessTable(const std::array<std::uint8_t, 17>& theCounts,
                      const std::array<std::uint8_t, 256>& theCategories, int theLookBits);

    /// The bits that select an entry, for images of theSamples samples: small ones are not worth large
    /// tables.
    static constexpr int kManyBits = 12;
    static constexpr int kFewBits = 9;
    static int ChooseLookBits(std::uint64_t theSamples);
    int GetLookBits() const { return itsLookBits; }

    /// One difference: bits 0 … 7 the bits of code and difference, 8 … 15 those of the code, 16 … 23 those
    /// of the difference. 0 where the code is longer than the selecting bits, and for what is rare.
    const std::uint32_t* GetSingles() const { return itsSingles.data(); }

    /// One to three differences: bits 0 … 7 the bits they take, 8 … 15 their count, and from bit 16 on the
    /// differences, the first one lowest. 0 where GetSingles has to be asked.
    const std::uint64_t* GetGroups() const { return itsGroups.data(); }
    static constexpr int kMostInGroup = 3;

    /// Prepares GetGroups, where several differences at once are worth it; the answer is whether they are.
    bool MakeGroups();

    /// What DecodeRare found.
    struct Rare
    {
        std::uint16_t itsDifference = 0;
        int itsBits = 17;
        bool itsValid = false; ///< no code begins like this: 17 bits are dropped and the difference is 0
    };

    /// Any one difference, slowly.
    Rare DecodeRare(std::uint64_t theBits) const;

    /// The difference behind a code. theRest: the bits behind it, left-aligned; theCategory: 0 … 15.
    static std::uint16_t Extend(std::uint64_t theRest, unsigned int theCategory)
    {
        const auto aNegative = static_cast<std::uint32_t>(static_cast<std::int64_t>(~theRest) >> 63);
        const auto aValue = static_cast<std::uint32_t>((theRest >> 1) >> (63 - theCategory));
        return static_cast<std::uint16_t>(aValue - (((1u << theCategory) - 1) & aNegative));
    }

private:
    void MakeCodes(const std::array<std::uint8_t, 17>& theCounts);
    void MakeSingles();
    bool AreGroupsWorthwhile() const;
    std::uint64_t MakeGroup(std::uint64_t theBits) const;

    int itsLookBits;
    std::array<std::uint8_t, 256> itsCategories;
    std::array<std::uint32_t, 18> itsEnd{};   ///< by length: behind the last code, left-aligned in 17 bits
    std::array<std::uint32_t, 17> itsFirst{}; ///< by length: the first code
    std::array<int, 17> itsFirstSymbol{};     ///< by length: the index of its symbol
    std::vector<std::uint32_t> itsSingles;
    std::vector<std::uint64_t> itsGroups;
};
