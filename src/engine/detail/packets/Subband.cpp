// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/Subband.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "engine/detail/packets/CodePieces.h"
#include "engine/detail/packets/Tile.h"
#include "engine/detail/packets/TileComponent.h"

namespace j2k
{
namespace
{
// T.800 B-15 on one axis: isHigh where the high-pass filter's output is meant.
std::uint32_t ToSubband(std::uint32_t theValue, unsigned int theLevels, bool isHigh)
{
    const std::uint64_t aShift = isHigh ? std::uint64_t(1) << (theLevels - 1) : 0;
    return theValue > aShift ? static_cast<std::uint32_t>(CeilDivPow2(theValue - aShift, theLevels)) : 0;
}

const char* NameBand(Band theBand)
{
    static constexpr const char* kNames[] = {"LL", "HL", "LH", "HH"};
    return kNames[static_cast<unsigned int>(theBand) & 3];
}

// Log2 of a subband's nominal gain (T.800 table E.1).
int GetLog2Gain(Band theBand)
{
    return theBand == Band::LL ? 0 : (theBand == Band::HH ? 2 : 1);
}
} // namespace

std::uint32_t Subband::Axis::CountBlocks() const
{
    return static_cast<std::uint32_t>(CeilDivPow2(itsEnd, itsLog2Block) - GetFirstBlock());
}

void Subband::Axis::GetBlock(std::uint32_t theIndex, std::uint32_t& theBegin, std::uint32_t& theEnd) const
{
    const std::uint64_t aBegin = (std::uint64_t(GetFirstBlock()) + theIndex) << itsLog2Block;
    const std::uint64_t anEnd = aBegin + (std::uint64_t(1) << itsLog2Block);
    theBegin = static_cast<std::uint32_t>(std::max<std::uint64_t>(aBegin, itsBegin) - itsBegin);
    theEnd = static_cast<std::uint32_t>(std::min<std::uint64_t>(anEnd, itsEnd) - itsBegin);
}

void Subband::Axis::GetBlocks(std::uint64_t theBegin, std::uint64_t theEnd, std::uint32_t& theFirst,
                              std::uint32_t& theCount) const
{
    theFirst = 0;
    theCount = 0;
    if (theBegin < theEnd)
    {
        const std::uint64_t aFirst = theBegin >> itsLog2Block;
        theFirst = static_cast<std::uint32_t>(aFirst - GetFirstBlock());
        theCount = static_cast<std::uint32_t>(CeilDivPow2(theEnd, itsLog2Block) - aFirst);
    }
}

void Subband::Axis::GetPrecinct(std::uint32_t theIndex, std::uint32_t& theFirst,
                                std::uint32_t& theCount) const
{
    const std::uint64_t aPrecinct = std::uint64_t(itsFirstPrecinct) + theIndex;
    GetBlocks(std::max<std::uint64_t>(aPrecinct << itsLog2Precinct, itsBegin),
              std::min<std::uint64_t>((aPrecinct + 1) << itsLog2Precinct, itsEnd), theFirst, theCount);
}

std::uint32_t Subband::Axis::FindPrecinct(std::uint32_t theBlock) const
{
    const std::uint64_t aBlock = std::uint64_t(GetFirstBlock()) + theBlock;
    return static_cast<std::uint32_t>((aBlock >> (itsLog2Precinct - itsLog2Block)) - itsFirstPrecinct);
}

Subband::Subband(Tile& theTile, Resolution& theResolution, const ComponentCoding& theCoding,
                 const Rect& theComponent, Band theBand)
    : itsTile(&theTile), itsResolution(&theResolution), itsBand(theBand),
      itsReversible(theCoding.itsReversible), itsBlockStyle(theCoding.itsBlockStyle)
{
    const unsigned int aLevel = theResolution.GetLevel();
    const unsigned int aHalf = aLevel == 0 ? 0 : 1;
    const unsigned int aLevels = theCoding.itsLevels - aLevel + aHalf;
    const bool isHighX = theBand == Band::HL || theBand == Band::HH;
    const bool isHighY = theBand == Band::LH || theBand == Band::HH;
    itsRect = {
        ToSubband(theComponent.itsX0, aLevels, isHighX), ToSubband(theComponent.itsY0, aLevels, isHighY),
        ToSubband(theComponent.itsX1, aLevels, isHighX), ToSubband(theComponent.itsY1, aLevels, isHighY)};

    const PrecinctGrid& aGrid = theResolution.GetPrecincts();
    const auto aMakeAxis = [aHalf](std::uint32_t theBegin, std::uint32_t theEnd, std::uint32_t theFirst,
                                   unsigned int theLog2Precinct, unsigned int theLog2Block)
    {
        const std::uint8_t aLog2Precinct = static_cast<std::uint8_t>(theLog2Precinct - aHalf);
        const std::uint8_t aLog2Block = static_cast<std::uint8_t>(theLog2Block);
        return Axis{theBegin, theEnd, theFirst, aLog2Precinct, std::min(aLog2Block, aLog2Precinct)};
    };
    itsHorizontal = aMakeAxis(itsRect.itsX0, itsRect.itsX1, aGrid.GetFirstColumn(), aGrid.GetLog2Width(),
                              theCoding.itsLog2BlockWidth);
    itsVertical = aMakeAxis(itsRect.itsY0, itsRect.itsY1, aGrid.GetFirstRow(), aGrid.GetLog2Height(),
                            theCoding.itsLog2BlockHeight);
    itsBlockColumns = itsRect.IsEmpty() ? 0 : itsHorizontal.CountBlocks();
    itsBlockRows = itsRect.IsEmpty() ? 0 : itsVertical.CountBlocks();
    SetQuantization(theCoding, aLevel == 0 ? 0 : 3 * (aLevel - 1) + static_cast<unsigned int>(theBand));
}

void Subband::SetQuantization(const ComponentCoding& theCoding, unsigned int theStep)
{
    const std::uint32_t anExponent = theCoding.itsSteps[theStep] >> 11;
    const std::uint32_t aMantissa = theCoding.itsSteps[theStep] & 0x7FFU;
    const std::uint32_t aSum = theCoding.itsGuardBits + anExponent;
    itsMostBitPlanes = (aSum > 0 ? aSum - 1 : 0) + theCoding.itsRoiShift;
    // Planes below the shift are background (T.800 H.1).
    itsRegion = {theCoding.itsRoiShift, theCoding.itsRoiShift};
    if (!itsReversible)
    {
        itsStep = std::ldexp(1.0F + static_cast<float>(aMantissa) / 2048.0F,
                             GetLog2Gain(itsBand) - static_cast<int>(anExponent));
    }
}

Rect Subband::GetBlockRect(std::uint32_t theColumn, std::uint32_t theRow) const
{
    Rect aRect;
    itsHorizontal.GetBlock(theColumn, aRect.itsX0, aRect.itsX1);
    itsVertical.GetBlock(theRow, aRect.itsY0, aRect.itsY1);
    return aRect;
}

std::uint32_t Subband::GetMostBlockSamples() const
{
    return std::min(std::uint32_t{1} << itsHorizontal.itsLog2Block, itsRect.GetWidth()) *
           std::min(std::uint32_t{1} << itsVertical.itsLog2Block, itsRect.GetHeight());
}

BlockRange Subband::GetWindowBlocks() const
{
    BlockRange aRange;
    itsHorizontal.GetBlocks(itsWindow.itsX0, itsWindow.itsX1, aRange.itsColumn, aRange.itsColumns);
    itsVertical.GetBlocks(itsWindow.itsY0, itsWindow.itsY1, aRange.itsRow, aRange.itsRows);
    return aRange;
}

BlockRange Subband::GetPrecinctBlocks(std::uint32_t theColumn, std::uint32_t theRow) const
{
    BlockRange aRange;
    itsHorizontal.GetPrecinct(theColumn, aRange.itsColumn, aRange.itsColumns);
    itsVertical.GetPrecinct(theRow, aRange.itsRow, aRange.itsRows);
    return aRange;
}

const CodeBlock* Subband::FindBlock(std::uint32_t theColumn, std::uint32_t theRow) const
{
    const std::uint32_t aColumn = itsHorizontal.FindPrecinct(theColumn);
    const std::uint32_t aRow = itsVertical.FindPrecinct(theRow);
    const Precinct* const aPrecinct = itsResolution->FindPrecinct(
        std::uint64_t(aRow) * itsResolution->GetPrecincts().GetColumns() + aColumn);
    if (aPrecinct == nullptr || aPrecinct->itsBands[GetIndex()].itsBlocks == nullptr)
    {
        return nullptr;
    }
    const BlockRange aRange = GetPrecinctBlocks(aColumn, aRow);
    const std::size_t anIndex =
        std::size_t(theRow - aRange.itsRow) * aRange.itsColumns + (theColumn - aRange.itsColumn);
    return &aPrecinct->itsBands[GetIndex()].itsBlocks[anIndex];
}

bool Subband::CollectBlock(std::uint32_t theColumn, std::uint32_t theRow, CollectedBlock& theBlock) const
{
    const CodeBlock* const aBlock = FindBlock(theColumn, theRow);
    if (aBlock == nullptr || aBlock->itsFirstPiece == 0)
    {
        return false;
    }
    const Rect aRect = GetBlockRect(theColumn, theRow);
    theBlock.itsBlock.itsWidth = aRect.GetWidth();
    theBlock.itsBlock.itsHeight = aRect.GetHeight();
    theBlock.itsBlock.itsBand = itsBand;
    theBlock.itsBlock.itsStyle = itsBlockStyle;
    theBlock.itsBlock.itsBitPlanes = aBlock->itsBitPlanes;
    theBlock.itsBlock.itsIsHighThroughput = IsHighThroughput(*aBlock);
    theBlock.itsBlock.itsMostBitPlanes = itsMostBitPlanes;
    CollectSegments(*aBlock, itsTile->GetPieces(), itsTile->GetBody(), theBlock);
    theBlock.itsIsCut = IsCut(*aBlock, theBlock.itsSegments);
    return true;
}

bool Subband::IsHighThroughput(const CodeBlock& theBlock) const
{
    return (itsBlockStyle & CBS_HIGH_THROUGHPUT) != 0 && theBlock.itsKind != BlockKind::Arithmetic;
}

bool Subband::IsCut(const CodeBlock& theBlock, const std::vector<CodedSegment>& theSegments) const
{
    std::uint32_t aPasses = 0;
    for (const CodedSegment& aSegment : theSegments)
    {
        aPasses += aSegment.itsPasses;
    }
    return !PassSegments(itsBlockStyle, IsHighThroughput(theBlock)).IsStart(aPasses) &&
           (aPasses != theBlock.itsPasses || itsTile->LeavesLayersOut());
}

void Subband::Depart(std::uint32_t theColumn, std::uint32_t theRow, const char* theFinding) const
{
    const CodePiece& aPiece = itsTile->GetPieces().Get(FindBlock(theColumn, theRow)->itsFirstPiece);
    itsTile->GetReports().NonConformance(
        "Code-block " + std::to_string(theColumn) + ", " + std::to_string(theRow) + " of subband " +
            NameBand(itsBand) + " at resolution " + std::to_string(itsResolution->GetLevel()) + " in tile " +
            std::to_string(itsTile->GetIndex()) + ": " + theFinding,
        itsTile->GetBody().GetOffset(aPiece.itsPosition), Reports::Effect::Damage);
}

void Subband::NoteBitPlanes(std::uint32_t theBitPlanes)
{
    // A coefficient of the region has its shift to lose, another one is below the shift.
    const std::uint32_t aRegion = theBitPlanes - std::min(theBitPlanes, itsRegion.itsShift);
    const std::uint32_t aBackground =
        itsRegion.itsShift == 0 ? 0 : std::min(theBitPlanes, itsRegion.itsShift);
    itsLargestBitPlanes = std::max({itsLargestBitPlanes, aRegion, aBackground});
}

} // namespace j2k
