// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketBits.h"

namespace j2k
{

TagTree::TagTree(std::uint32_t theColumns, std::uint32_t theRows, std::uint32_t* theNodes)
    : itsNodes(theNodes)
{
    std::uint32_t aFirst = 0;
    itsLevels[0] = {theColumns, 0};
    while ((theColumns > 1 || theRows > 1) && itsTop < kMaxLog2Leaves)
    {
        aFirst += theColumns * theRows;
        theColumns = (theColumns + 1) / 2;
        theRows = (theRows + 1) / 2;
        itsLevels[++itsTop] = {theColumns, aFirst};
    }
}

std::uint64_t TagTree::CountNodes(std::uint32_t theColumns, std::uint32_t theRows)
{
    std::uint64_t aCount = std::uint64_t(theColumns) * theRows;
    while (theColumns > 1 || theRows > 1)
    {
        theColumns = (theColumns + 1) / 2;
        theRows = (theRows + 1) / 2;
        aCount += std::uint64_t(theColumns) * theRows;
    }
    return aCount;
}

bool TagTree::ReadIsBelow(PacketBits& theBits, std::uint32_t theColumn, std::uint32_t theRow,
                          std::uint32_t theThreshold)
{
    std::uint32_t aLeast = 0;
    for (unsigned int aLevel = itsTop + 1; aLevel-- > 0;)
    {
        const Level& aPlace = itsLevels[aLevel];
        std::uint32_t& aNode =
            itsNodes[aPlace.itsFirst + std::uint64_t(theRow >> aLevel) * aPlace.itsColumns +
                     (theColumn >> aLevel)];
        bool isKnown = (aNode & 1U) != 0;
        aLeast = isKnown || (aNode >> 1) > aLeast ? aNode >> 1 : aLeast;
        while (!isKnown && aLeast < theThreshold)
        {
            isKnown = theBits.ReadBit() != 0;
            aLeast += isKnown ? 0 : 1;
        }
        aNode = (aLeast << 1) | (isKnown ? 1U : 0U);
        if (aLeast >= theThreshold)
        {
            return false;
        }
    }
    return true;
}

} // namespace j2k
