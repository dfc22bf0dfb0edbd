// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/SopFinder.h"

#include <algorithm>

namespace j2k
{

std::optional<SopFinder::Segment> SopFinder::Find(std::uint64_t thePosition)
{
    if (itsFound && itsFound->itsPosition >= thePosition)
    {
        return itsFound;
    }
    itsFound.reset();
    itsCursor.Seek(std::max(itsCursor.GetPosition(), thePosition));
    std::uint8_t aBytes[kSegmentSize];
    while (itsCursor.SkipTo(0xFF) && itsCursor.Peek(aBytes, kSegmentSize))
    {
        if (aBytes[0] == 0xFF && aBytes[1] == 0x91 && aBytes[2] == 0 && aBytes[3] == 4)
        {
            itsFound = {itsCursor.GetPosition(), static_cast<std::uint16_t>((aBytes[4] << 8) | aBytes[5])};
            return itsFound;
        }
        itsCursor.Skip(1);
    }
    return itsFound;
}

} // namespace j2k
