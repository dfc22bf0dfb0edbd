// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "engine/detail/packets/TileBody.h"

namespace j2k
{

/// Bits of one packet header (T.800 B.10.1): most significant first; behind a byte 0xFF the next byte's first
/// bit is stuffed and does not count. Borrows the cursor, which moves byte by byte.
class PacketBits
{
public:
    explicit PacketBits(BodyCursor& theBytes) : itsBytes(theBytes) {}

    /// The next bit; 0 behind the end of the data.
    std::uint32_t ReadBit()
    {
        if (itsBitsLeft == 0)
        {
            ReadByte();
        }
        --itsBitsLeft;
        return (itsByte >> itsBitsLeft) & 1U;
    }

    /// theCount bits, at most 32, the first one most significant.
    std::uint32_t ReadBits(unsigned int theCount)
    {
        std::uint32_t aValue = 0;
        for (; theCount > 0; --theCount)
        {
            aValue = (aValue << 1) | ReadBit();
        }
        return aValue;
    }

    /// Ends the header: the rest of its last byte is dropped, and a byte that a final 0xFF calls for.
    void Finish()
    {
        if (itsByte == 0xFF)
        {
            ReadByte();
        }
        itsBitsLeft = 0;
    }

    /// Whether bits were read that are not there.
    bool HasOverrun() const { return itsOverrun; }

private:
    void ReadByte()
    {
        itsBitsLeft = itsByte == 0xFF ? 7 : 8;
        const int aByte = itsBytes.Read();
        itsOverrun = itsOverrun || aByte < 0;
        itsByte = aByte < 0 ? 0U : static_cast<std::uint32_t>(aByte);
    }

    BodyCursor& itsBytes;
    std::uint32_t itsByte = 0;
    unsigned int itsBitsLeft = 0;
    bool itsOverrun = false;
};

/// A tag tree (T.800 B.10.2) over memory that somebody else keeps: theColumns by theRows leaves, each inner
/// node holding the least of its up to four children.
///
/// A node's word holds what is known of its value: the least it can be, times two, plus one when that is the
/// value. All zero before the first use.
class TagTree
{
public:
    /// Leaves on either axis: a precinct is at most 2^15 samples wide.
    static constexpr unsigned int kMaxLog2Leaves = 15;

    TagTree(std::uint32_t theColumns, std::uint32_t theRows, std::uint32_t* theNodes);

    /// Words that a tree needs.
    static std::uint64_t CountNodes(std::uint32_t theColumns, std::uint32_t theRows);

    /// Reads on until the leaf's value is known or not below theThreshold; true when it is known and below.
    bool ReadIsBelow(PacketBits& theBits, std::uint32_t theColumn, std::uint32_t theRow,
                     std::uint32_t theThreshold);

    /// The least that a leaf's value can be by now.
    std::uint32_t GetLeast(std::uint32_t theColumn, std::uint32_t theRow) const
    {
        return itsNodes[std::uint64_t(theRow) * itsLevels[0].itsColumns + theColumn] >> 1;
    }

    /// Enters the root's value as known.
    void SetRoot(std::uint32_t theValue) { itsNodes[itsLevels[itsTop].itsFirst] = (theValue << 1) | 1U; }

private:
    struct Level
    {
        std::uint32_t itsColumns;
        std::uint32_t itsFirst; ///< index of the level's first node
    };

    std::uint32_t* itsNodes;
    unsigned int itsTop = 0;
    std::array<Level, kMaxLog2Leaves + 1> itsLevels;
};

} // namespace j2k
