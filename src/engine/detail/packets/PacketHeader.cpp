// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketHeader.h"

#include <algorithm>
#include <bit>
#include <string>

#include "engine/detail/packets/CodePieces.h"

namespace j2k
{
namespace
{
// More zero bit-planes than any code-block has bit-planes, so that nonsense ends soon.
constexpr std::uint32_t kMostZeroPlanes = 512;

// Of the field that has the length of so many passes.
std::uint32_t GetLengthBits(const CodeBlock& theBlock, std::uint32_t thePasses)
{
    constexpr std::uint32_t kFirstLengthBits = 3;
    return kFirstLengthBits + theBlock.itsLengthBits + static_cast<std::uint32_t>(std::bit_width(thePasses)) -
           1;
}
} // namespace

bool PacketHeader::Read(PacketBits& theBits, const PacketPlace& thePlace, std::uint64_t theOffset)
{
    itsBits = &theBits;
    itsLayer = thePlace.itsLayer;
    itsOffset = theOffset;
    itsBodyLength = 0;
    itsShares.clear();
    if (theBits.ReadBit() != 0)
    {
        Resolution& aResolution = *thePlace.itsResolution;
        Precinct& aPrecinct = aResolution.MakePrecinct(thePlace.itsPrecinct, itsArena);
        for (unsigned int aBand = 0; aBand < aResolution.GetSubbandCount(); ++aBand)
        {
            if (!ReadBand(aPrecinct.itsBands[aBand], aResolution.GetSubband(aBand)))
            {
                return false;
            }
        }
    }
    theBits.Finish();
    return !theBits.HasOverrun();
}

bool PacketHeader::ReadBand(PrecinctBand& theBand, Subband& theSubband)
{
    if (theBand.itsColumns == 0 || theBand.itsRows == 0 || !OpenBand(theBand))
    {
        return true;
    }
    itsBudget.Spend(std::uint64_t(theBand.itsColumns) * theBand.itsRows);
    TagTree anInclusion(theBand.itsColumns, theBand.itsRows, theBand.itsInclusion);
    TagTree aZeroPlanes(theBand.itsColumns, theBand.itsRows, theBand.itsZeroBitPlanes);
    CodeBlock* aBlock = theBand.itsBlocks;
    for (std::uint32_t aRow = 0; aRow < theBand.itsRows && !itsBits->HasOverrun(); ++aRow)
    {
        for (std::uint32_t aColumn = 0; aColumn < theBand.itsColumns; ++aColumn, ++aBlock)
        {
            if (aBlock->itsIsIncluded)
            {
                if (itsBits->ReadBit() == 0)
                {
                    continue;
                }
            }
            else
            {
                if (!anInclusion.ReadIsBelow(*itsBits, aColumn, aRow, itsLayer + 1))
                {
                    continue;
                }
                if (!aZeroPlanes.ReadIsBelow(*itsBits, aColumn, aRow, kMostZeroPlanes))
                {
                    return false;
                }
                SetBitPlanes(*aBlock, theSubband, aZeroPlanes.GetLeast(aColumn, aRow));
            }
            if (!ReadBlock(*aBlock, theSubband))
            {
                return false;
            }
        }
    }
    return true;
}

// Reads the inclusion tree's root. The code-blocks are made when it says that the first of them comes now;
// returns whether they are there.
bool PacketHeader::OpenBand(PrecinctBand& theBand)
{
    if (theBand.itsBlocks != nullptr)
    {
        return true;
    }
    bool isKnown = false;
    while (!isKnown && theBand.itsFirstLayer <= itsLayer)
    {
        isKnown = itsBits->ReadBit() != 0;
        theBand.itsFirstLayer += isKnown ? 0 : 1;
    }
    if (!isKnown || itsBits->HasOverrun())
    {
        return false;
    }
    const std::uint64_t aBlocks = std::uint64_t(theBand.itsColumns) * theBand.itsRows;
    const std::uint64_t aNodes = TagTree::CountNodes(theBand.itsColumns, theBand.itsRows);
    itsBudget.Spend(aBlocks);
    theBand.itsInclusion = itsArena.Allocate<std::uint32_t>(aNodes);
    theBand.itsZeroBitPlanes = itsArena.Allocate<std::uint32_t>(aNodes);
    theBand.itsBlocks = itsArena.Allocate<CodeBlock>(aBlocks);
    TagTree(theBand.itsColumns, theBand.itsRows, theBand.itsInclusion).SetRoot(theBand.itsFirstLayer);
    return true;
}

void PacketHeader::SetBitPlanes(CodeBlock& theBlock, const Subband& theSubband, std::uint32_t theZeroPlanes)
{
    const std::uint32_t aMost = theSubband.GetMostBitPlanes();
    theBlock.itsIsIncluded = true;
    theBlock.itsBitPlanes =
        static_cast<std::uint8_t>(std::min<std::uint32_t>(aMost - std::min(aMost, theZeroPlanes), 0xFF));
    if (theZeroPlanes >= aMost)
    {
        itsReports.NonConformance("Packet header has a code-block with " + std::to_string(theZeroPlanes) +
                                      " zero bit-planes out of " + std::to_string(aMost),
                                  itsOffset);
    }
}

bool PacketHeader::ReadBlock(CodeBlock& theBlock, Subband& theSubband)
{
    std::uint32_t aPasses = ReadPasses();
    while (itsBits->ReadBit() != 0)
    {
        if (++theBlock.itsLengthBits > 32)
        {
            return false;
        }
    }
    const bool isOpen =
        theBlock.itsKind == BlockKind::Open && (theSubband.GetBlockStyle() & CBS_HIGH_THROUGHPUT) != 0;
    if (isOpen && !ReadOpenBlock(theBlock, theSubband, aPasses))
    {
        return false;
    }
    const PassSegments aSegments(theSubband.GetBlockStyle(), theBlock.itsKind == BlockKind::HighThroughput);
    while (aPasses > 0)
    {
        const std::uint32_t aPart = std::min(aPasses, aSegments.GetPassesToEnd(theBlock.itsPasses));
        std::uint32_t aLength = 0;
        if (!ReadLength(theBlock, aPart, aLength))
        {
            return false;
        }
        AddShare(theBlock, theSubband, aLength, aPart, aSegments.IsStart(theBlock.itsPasses));
        aPasses -= aPart;
    }
    return true;
}

// The length of a share of thePasses passes.
bool PacketHeader::ReadLength(const CodeBlock& theBlock, std::uint32_t thePasses, std::uint32_t& theLength)
{
    const std::uint32_t aBits = GetLengthBits(theBlock, thePasses);
    if (aBits > 32 || itsBits->HasOverrun())
    {
        return false;
    }
    theLength = itsBits->ReadBits(aBits);
    return true;
}

void PacketHeader::AddShare(CodeBlock& theBlock, Subband& theSubband, std::uint32_t theLength,
                            std::uint32_t thePasses, bool isStart)
{
    itsShares.push_back({&theBlock, &theSubband, theLength, static_cast<std::uint8_t>(thePasses), isStart});
    itsBodyLength += theLength;
    theBlock.itsPasses += thePasses;
}

// Up to its first clean-up pass with bytes a high-throughput block is laid out as if it had one segment: the
// passes of coarser planes that an encoder left out are counted, and have no bytes. So the first length is
// that of the last clean-up pass among thePasses, with all before it; the passes behind that one stay in
// thePasses. A block of the other kind has its first length, of all passes, in the same place and a few bits
// longer; it never fits into what an encoder of high throughput makes of the field: a length of two or more,
// with a zero on top.
bool PacketHeader::ReadOpenBlock(CodeBlock& theBlock, Subband& theSubband, std::uint32_t& thePasses)
{
    const bool isMixed = (theSubband.GetBlockStyle() & CBS_MIXED) != 0;
    const std::uint32_t aBehind = (theBlock.itsPasses + thePasses - 1) % 3;
    const bool hasCleanup = thePasses > aBehind;
    const std::uint32_t aPart = hasCleanup ? thePasses - aBehind : thePasses;
    const std::uint32_t aBits = GetLengthBits(theBlock, aPart);
    const std::uint32_t anAllBits = GetLengthBits(theBlock, thePasses);
    std::uint32_t aLength = 0;
    if (anAllBits > 32 || !ReadLength(theBlock, aPart, aLength))
    {
        return false;
    }
    if (hasCleanup && aLength > 1 &&
        (!isMixed || (theBlock.itsLengthBits > 0 && aLength >> (aBits - 1) == 0)))
    {
        theBlock.itsKind = BlockKind::HighThroughput;
        AddShare(theBlock, theSubband, aLength, aPart, true);
        thePasses = aBehind;
        return true;
    }
    const std::uint32_t aRest = anAllBits - aBits;
    aLength = (aLength << aRest) | itsBits->ReadBits(aRest);
    if (aLength != 0)
    {
        theBlock.itsKind = BlockKind::Arithmetic;
    }
    AddShare(theBlock, theSubband, aLength, thePasses, theBlock.itsPasses == 0);
    thePasses = 0;
    return aLength == 0 || isMixed;
}

// The codewords of T.800 table B.4.
std::uint32_t PacketHeader::ReadPasses()
{
    if (itsBits->ReadBit() == 0)
    {
        return 1;
    }
    if (itsBits->ReadBit() == 0)
    {
        return 2;
    }
    std::uint32_t aValue = itsBits->ReadBits(2);
    if (aValue < 3)
    {
        return 3 + aValue;
    }
    aValue = itsBits->ReadBits(5);
    return aValue < 31 ? 6 + aValue : 37 + itsBits->ReadBits(7);
}

} // namespace j2k
