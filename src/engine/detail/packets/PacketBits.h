// SPDX-License-Identifier: Apache-2.0
#pragma once

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

} // namespace j2k
