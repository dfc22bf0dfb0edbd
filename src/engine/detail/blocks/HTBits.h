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

    /// As many bytes before the first one are readable.
    static constexpr std::size_t kLead = 8;
    const std::uint8_t* GetBytes() const { return itsBytes.data() + kLead; }

    /// How many bits there are before the slack.
    std::size_t GetEnd() const { return itsEnd; }

    /// The bits from theBit on, 57 at least. Eight bytes from there on must be in the slack.
    std::uint64_t Load(std::size_t theBit) const { return LoadBytes(GetBytes() + theBit / 8) >> theBit % 8; }

    /// Eight bytes, the first in the least significant bits.
    static std::uint64_t LoadBytes(const std::uint8_t* theBytes)
    {
        std::uint64_t aWord = 0;
        std::memcpy(&aWord, theBytes, sizeof(aWord));
        return std::endian::native == std::endian::little ? aWord : Reverse(aWord);
    }

    /// The other way round.
    static constexpr std::uint64_t Reverse(std::uint64_t theBytes)
    {
        theBytes = (theBytes >> 8 & 0x00FF00FF00FF00FFU) | (theBytes & 0x00FF00FF00FF00FFU) << 8;
        theBytes = (theBytes >> 16 & 0x0000FFFF0000FFFFU) | (theBytes & 0x0000FFFF0000FFFFU) << 16;
        return theBytes >> 32 | theBytes << 32;
    }

private:
    /// Room for theBytes and what follows them.
    std::uint8_t* Begin(std::size_t theBytes, std::size_t theSlack);

    std::vector<std::uint8_t> itsBytes;
    std::size_t itsEnd = 0;
};

} // namespace j2k
