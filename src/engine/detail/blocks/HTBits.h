// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace j2k
{

/// The bits of one of a block's streams (T.814 7.1) in memory, without those that were stuffed in: the first
/// is the least significant one of the first byte. Readers need no more than a position.
class HTBits
{
public:
    /// MagSgn and SigProp: forwards; the byte behind 0xFF has seven bits. theSlack bytes at least, of
    /// theFill, follow.
    void TakeForwards(std::span<const std::uint8_t> theBytes, std::uint8_t theFill, std::size_t theSlack);

    /// VLC and MagRef: backwards from the end; of a byte that is read after one above 0x8F, seven bits where
    /// these are all ones. theSlack bytes of zeros at least follow.
    void TakeBackwards(std::span<const std::uint8_t> theBytes, std::size_t theSlack);

    const std::uint8_t* GetBytes() const { return itsBytes.data(); }

    /// How many bits there are before the slack.
    std::size_t GetEnd() const { return itsEnd; }

    /// The bits from theBit on, 57 at least. Eight bytes from there on must be in the slack.
    std::uint64_t Load(std::size_t theBit) const
    {
        return LoadBytes(itsBytes.data() + theBit / 8) >> theBit % 8;
    }

    /// Eight bytes, the first in the least significant bits.
    static std::uint64_t LoadBytes(const std::uint8_t* theBytes)
    {
        if constexpr (std::endian::native == std::endian::little)
        {
            std::uint64_t aWord = 0;
            std::memcpy(&aWord, theBytes, sizeof(aWord));
            return aWord;
        }
        std::uint64_t aWord = 0;
        for (unsigned int i = 0; i < sizeof(aWord); ++i)
        {
            aWord |= std::uint64_t{theBytes[i]} << 8 * i;
        }
        return aWord;
    }

private:
    void Begin(std::size_t theBytes, std::size_t theSlack);
    void Append(std::uint64_t theBits, unsigned int theCount);
    void Finish(std::uint8_t theFill, std::size_t theSlack);

    std::vector<std::uint8_t> itsBytes;
    std::uint8_t* itsOut = nullptr;
    std::uint64_t itsWaiting = 0; ///< fewer than eight bits
    unsigned int itsWaitingCount = 0;
    std::size_t itsEnd = 0;
};

} // namespace j2k
