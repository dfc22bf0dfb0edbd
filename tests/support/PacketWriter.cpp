// SPDX-License-Identifier: Apache-2.0
#include "support/PacketWriter.h"

#include <algorithm>
#include <bit>
#include <utility>

void PacketBitWriter::Put(unsigned int theBit)
{
    if (itsFree == 0)
    {
        itsFree = !itsBytes.empty() && itsBytes.back() == 0xFF ? 7 : 8;
        itsBytes.push_back(0);
    }
    --itsFree;
    itsBytes.back() = static_cast<std::uint8_t>(itsBytes.back() | (theBit << itsFree));
}

void PacketBitWriter::Put(std::uint64_t theValue, unsigned int theCount)
{
    while (theCount > 0)
    {
        Put(static_cast<unsigned int>(theValue >> --theCount) & 1U);
    }
}

std::vector<std::uint8_t> PacketBitWriter::Finish()
{
    if (!itsBytes.empty() && itsBytes.back() == 0xFF)
    {
        itsBytes.push_back(0);
    }
    itsFree = 0;
    return std::exchange(itsBytes, {});
}

TagTreeWriter::TagTreeWriter(std::size_t theColumns, std::size_t theRows, std::vector<unsigned int> theLeaves)
{
    itsLevels.push_back({theColumns, std::vector<Node>(theColumns * theRows)});
    for (std::size_t i = 0; i < theLeaves.size(); ++i)
    {
        itsLevels[0].itsNodes[i].itsValue = theLeaves[i];
    }
    while (theColumns > 1 || theRows > 1)
    {
        const Level& aBelow = itsLevels.back();
        const std::size_t aColumns = (theColumns + 1) / 2;
        const std::size_t aRows = (theRows + 1) / 2;
        Level anAbove{aColumns, std::vector<Node>(aColumns * aRows, Node{~0U, 0, false})};
        for (std::size_t i = 0; i < aBelow.itsNodes.size(); ++i)
        {
            Node& aParent = anAbove.itsNodes[i / theColumns / 2 * aColumns + i % theColumns / 2];
            aParent.itsValue = std::min(aParent.itsValue, aBelow.itsNodes[i].itsValue);
        }
        theColumns = aColumns;
        theRows = aRows;
        itsLevels.push_back(std::move(anAbove));
    }
}

void TagTreeWriter::Write(PacketBitWriter& theBits, std::size_t theColumn, std::size_t theRow,
                          unsigned int theThreshold)
{
    unsigned int aTold = 0;
    for (std::size_t aLevel = itsLevels.size(); aLevel-- > 0;)
    {
        Level& aPlace = itsLevels[aLevel];
        Node& aNode = aPlace.itsNodes[(theRow >> aLevel) * aPlace.itsColumns + (theColumn >> aLevel)];
        aTold = std::max(aTold, aNode.itsTold);
        while (aTold < theThreshold && !aNode.itsIsKnown)
        {
            aNode.itsIsKnown = aTold == aNode.itsValue;
            theBits.Put(aNode.itsIsKnown ? 1 : 0);
            aTold += aNode.itsIsKnown ? 0 : 1;
        }
        aNode.itsTold = aTold;
    }
}

PacketWriter::PacketWriter(std::vector<Band> theBands) : itsBands(std::move(theBands))
{
    for (const Band& aBand : itsBands)
    {
        std::vector<unsigned int> aLayers;
        std::vector<unsigned int> aZeros;
        for (const Block& aBlock : aBand.itsBlocks)
        {
            aLayers.push_back(aBlock.itsFirstLayer);
            aZeros.push_back(aBlock.itsZeroBitPlanes);
        }
        itsInclusion.emplace_back(aBand.itsColumns, aBand.itsRows, aLayers);
        itsZeroBitPlanes.emplace_back(aBand.itsColumns, aBand.itsRows, aZeros);
    }
}

PacketWriter::Packet PacketWriter::Write(unsigned int theLayer)
{
    PacketBitWriter aBits;
    Packet aPacket;
    aBits.Put(1);
    for (std::size_t aBand = 0; aBand < itsBands.size(); ++aBand)
    {
        for (std::size_t i = 0; i < itsBands[aBand].itsBlocks.size(); ++i)
        {
            Block& aBlock = itsBands[aBand].itsBlocks[i];
            const std::size_t aColumn = i % itsBands[aBand].itsColumns;
            const std::size_t aRow = i / itsBands[aBand].itsColumns;
            if (aBlock.itsFirstLayer < theLayer)
            {
                aBits.Put(aBlock.itsLayers[theLayer].empty() ? 0 : 1);
            }
            else
            {
                itsInclusion[aBand].Write(aBits, aColumn, aRow, theLayer + 1);
            }
            if (aBlock.itsFirstLayer == theLayer)
            {
                itsZeroBitPlanes[aBand].Write(aBits, aColumn, aRow, aBlock.itsZeroBitPlanes + 1);
            }
            WriteBlock(aBits, aBlock, theLayer, aPacket);
        }
    }
    aPacket.itsHeader = aBits.Finish();
    return aPacket;
}

void PacketWriter::WriteBlock(PacketBitWriter& theBits, Block& theBlock, unsigned int theLayer,
                              Packet& thePacket)
{
    if (theLayer >= theBlock.itsLayers.size() || theBlock.itsLayers[theLayer].empty())
    {
        return;
    }
    unsigned int aPasses = 0;
    unsigned int aNeed = theBlock.itsLengthBits;
    const auto aLog2 = [](unsigned int theValue)
    { return static_cast<unsigned int>(std::bit_width(theValue)) - 1; };
    for (const Share& aShare : theBlock.itsLayers[theLayer])
    {
        aPasses += aShare.itsPasses;
        const unsigned int aBits = static_cast<unsigned int>(std::bit_width(aShare.itsBytes.size()));
        aNeed = std::max(aNeed, aBits - std::min(aBits, aLog2(aShare.itsPasses)));
    }
    const std::uint64_t aCode = aPasses == 1    ? 0
                                : aPasses == 2  ? 2
                                : aPasses <= 5  ? 12 + aPasses - 3
                                : aPasses <= 36 ? (15U << 5) + aPasses - 6
                                                : (511U << 7) + aPasses - 37;
    theBits.Put(aCode, aPasses == 1 ? 1 : aPasses == 2 ? 2 : aPasses <= 5 ? 4 : aPasses <= 36 ? 9 : 16);
    theBits.Put((std::uint64_t(1) << (aNeed - theBlock.itsLengthBits + 1)) - 2,
                aNeed - theBlock.itsLengthBits + 1);
    theBlock.itsLengthBits = aNeed;
    for (const Share& aShare : theBlock.itsLayers[theLayer])
    {
        theBits.Put(aShare.itsBytes.size(), aNeed + aLog2(aShare.itsPasses));
        thePacket.itsBody.insert(thePacket.itsBody.end(), aShare.itsBytes.begin(), aShare.itsBytes.end());
    }
}
