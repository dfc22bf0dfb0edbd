// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/BlockDecoder.h"

#include <algorithm>
#include <optional>

#include "engine/detail/blocks/BlockState.h"
#include "engine/detail/blocks/HTBlockDecoder.h"
#include "engine/detail/blocks/LaneState.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

void BlockState::BeginPlanes(const CodedBlock& theBlock)
{
    itsWidth = theBlock.itsWidth;
    itsHeight = theBlock.itsHeight;
    itsBitPlanes = theBlock.itsBitPlanes;
    itsStyle = theBlock.itsStyle;

    itsStripes = (itsHeight + 3) / 4;
    itsWords = (itsWidth + kWordColumns - 1) / kWordColumns;
    itsBorderedWords = itsWords + 2;
    itsSignificant.assign(itsBorderedWords * (itsStripes + 2), 0);

    itsPlaneSize = std::size_t{itsWords} * itsStripes;
    itsNegative.assign(itsPlaneSize, 0);
    itsPlanes.resize((itsBitPlanes + 1) * itsPlaneSize);
    itsLowestPlane = itsBitPlanes + 1;
    itsContexts = kInitialContexts;
}

void BlockState::Begin(const CodedBlock& theBlock)
{
    BeginPlanes(theBlock);
    itsZeroContexts = kZeroContexts[static_cast<unsigned int>(theBlock.itsBand) & 3].data();
    itsLastStripe = kRow0 * (0xFU >> (4 * itsStripes - itsHeight));
    itsLastWord = ~std::uint64_t{0} >> (4 * (kWordColumns * itsWords - itsWidth));

    itsColumns = std::size_t{kWordColumns} * itsWords + 1;
    const std::size_t anArea = itsColumns * (itsStripes + 2) + 1;
    itsNeighbours.assign(anArea, 0);
    itsSigns.assign(anArea, 0);
    itsVisited.assign(itsPlaneSize, 0);
    itsRefined.assign(itsPlaneSize, 0);
}

void BlockState::AddHalfSteps(std::uint32_t thePasses)
{
    if (thePasses == 0)
    {
        return;
    }
    const std::uint32_t aPass = thePasses - 1;
    const unsigned int aNumber = itsBitPlanes - (aPass + 2) / 3;
    std::uint64_t* aPlane = GetPlane(aNumber);
    std::uint64_t* aHalf = GetPlane(aNumber - 1);
    itsLowestPlane = aNumber - 1;
    // After a significance propagation pass the older samples still wait for their bit of this plane: they
    // have their half there, and only what the pass found has it below.
    const bool isPartial = aPass % 3 == 1;
    for (std::uint32_t s = 0; s < itsStripes; ++s)
    {
        for (std::uint32_t w = 0; w < itsWords; ++w)
        {
            const std::uint64_t aSignificant = itsSignificant[(s + 1) * itsBorderedWords + w + 1];
            const std::size_t i = std::size_t{s} * itsWords + w;
            aHalf[i] = isPartial ? aPlane[i] : aSignificant;
            aPlane[i] |= isPartial ? aSignificant : 0;
        }
    }
}

void LaneState::Begin(const CodedBlock& theBlock, const BlockState& theState)
{
    itsZeroContexts = kGroupZeroContexts[static_cast<unsigned int>(theBlock.itsBand) & 3].data();
    itsGroups = 2 * theState.itsWords;
    itsBelow = (theBlock.itsStyle & CBS_CAUSAL) != 0 ? 0 : kGroupBelow;
    itsStride = static_cast<std::ptrdiff_t>(itsGroups) + 2;
    itsSignificant.assign(GetStripe(theState.itsStripes + 1), 0);
    itsNegative.assign(itsSignificant.size(), 0);
    const std::size_t aSize = std::size_t{itsGroups} * theState.itsStripes;
    itsValid.resize(aSize);
    for (std::uint32_t i = 0; i < aSize; ++i)
    {
        const std::uint32_t aColumn = std::min(i % itsGroups * kGroupColumns, theBlock.itsWidth);
        const std::uint32_t aRows = std::min(theBlock.itsHeight - 4 * (i / itsGroups), 4U);
        itsValid[i] =
            RepeatColumn((2U << aRows) - 2, 1, std::min(theBlock.itsWidth - aColumn, kGroupColumns));
    }
    itsVisited.assign(aSize, 0);
    itsRefined.assign(aSize, 0);
    itsPlanes.resize(2 * theState.itsPlanes.size());
    itsRefinements.resize(32 * aSize + 32); // written and read 32 at a time
}

namespace
{

// The last set that has a clean-up pass with bytes is all that is decoded: it replaces the ones before it.
// Segments end with a set's clean-up pass, which may follow passes that were left out, or with the passes
// that refine it. Returns the number of the set, none where there is no such pass.
std::optional<std::uint32_t> FindLastSet(std::span<const CodedSegment> theSegments, HTBlock& theBlock)
{
    std::optional<std::uint32_t> aSet;
    std::uint32_t aPasses = 0;
    bool isRefinable = false;
    for (const CodedSegment& aSegment : theSegments)
    {
        aPasses += aSegment.itsPasses;
        const bool isCleanup = aPasses % 3 == 1;
        if (isCleanup && aSegment.itsLength > 0)
        {
            aSet = aPasses / 3;
            theBlock.itsCleanup = {aSegment.itsData, aSegment.itsLength};
            theBlock.itsRefinement = {};
            theBlock.itsPasses = 1;
        }
        else if (!isCleanup && isRefinable)
        {
            theBlock.itsRefinement = {aSegment.itsData, aSegment.itsLength};
            theBlock.itsPasses += aSegment.itsPasses;
        }
        isRefinable = isCleanup && aSegment.itsLength > 0;
    }
    return aSet;
}

// Passes that bypass the arithmetic decoder do not wait for it; the first two planes and sparse blocks are
// mostly cleanup, and small blocks do not pay for their maps: there is nothing to gain.
bool CanBeLane(const CodedBlock& theBlock)
{
    constexpr std::uint32_t aFewPasses = 4;
    std::uint32_t aPasses = 0;
    std::uint64_t aBits = 0;
    for (const CodedSegment& aSegment : theBlock.itsSegments)
    {
        aPasses += aSegment.itsPasses;
        aBits += 8 * std::uint64_t{aSegment.itsLength};
    }
    return !theBlock.itsIsHighThroughput && (theBlock.itsStyle & CBS_BYPASS) == 0 && aPasses > aFewPasses &&
           aBits > theBlock.itsWidth * theBlock.itsHeight + 512;
}

} // namespace

struct BlockDecoder::Implementation
{
    BlockFindings DecodeArithmetic(const CodedBlock& theBlock);
    BlockFindings DecodeHighThroughput(const CodedBlock& theBlock);

    BlockState itsState;
    LaneState itsLane;
    HTBlockDecoder itsHTDecoder;
    bool itsIsHighThroughput = false;
};

BlockFindings BlockDecoder::Implementation::DecodeArithmetic(const CodedBlock& theBlock)
{
    itsState.Begin(theBlock);
    BlockFindings aFindings;
    std::uint32_t aPass = 0;
    for (const CodedSegment& aSegment : theBlock.itsSegments)
    {
        const std::uint32_t aDone = RunSegment(itsState, aSegment, aPass, aFindings);
        aPass += aDone;
        if (aDone < aSegment.itsPasses)
        {
            break; // what follows would be read with contexts that are not the encoder's
        }
    }
    itsState.AddHalfSteps(aPass);
    return aFindings;
}

BlockFindings BlockDecoder::Implementation::DecodeHighThroughput(const CodedBlock& theBlock)
{
    HTBlock aBlock{};
    aBlock.itsWidth = theBlock.itsWidth;
    aBlock.itsHeight = theBlock.itsHeight;
    aBlock.itsIsCausal = (theBlock.itsStyle & CBS_CAUSAL) != 0;
    const std::optional<std::uint32_t> aSet = FindLastSet(theBlock.itsSegments, aBlock);
    BlockFindings aFindings;
    aFindings.itsMissingPasses = aSet && *aSet >= theBlock.itsBitPlanes;
    if (!aSet || aFindings.itsMissingPasses)
    {
        aBlock.itsCleanup = {};
        itsHTDecoder.Decode(aBlock); // to zeros: there is nothing wrong with a block that has no bytes
        return aFindings;
    }
    aBlock.itsPlane = theBlock.itsBitPlanes - 1 - *aSet;
    aBlock.itsBits = theBlock.itsMostBitPlanes - aBlock.itsPlane;
    aFindings.itsHighThroughput = itsHTDecoder.Decode(aBlock);
    return aFindings;
}

BlockDecoder::BlockDecoder() : itsImplementation(std::make_unique<Implementation>()) {}

BlockDecoder::~BlockDecoder() = default;

BlockFindings BlockDecoder::Decode(const CodedBlock& theBlock)
{
    itsImplementation->itsIsHighThroughput = theBlock.itsIsHighThroughput;
    return theBlock.itsIsHighThroughput ? itsImplementation->DecodeHighThroughput(theBlock)
                                        : itsImplementation->DecodeArithmetic(theBlock);
}

std::array<BlockFindings, 2> BlockDecoder::DecodeWith(const CodedBlock& theFirst, BlockDecoder& theOther,
                                                      const CodedBlock& theSecond)
{
    if (CanBeLane(theFirst) && CanBeLane(theSecond))
    {
        std::array<BlockFindings, 2> aFindings;
        Implementation& aFirst = *itsImplementation;
        Implementation& aSecond = *theOther.itsImplementation;
        aFirst.itsIsHighThroughput = false;
        aSecond.itsIsHighThroughput = false;
        if (DecodeLanes({theFirst, aFirst.itsState, aFirst.itsLane, aFindings[0]},
                        {theSecond, aSecond.itsState, aSecond.itsLane, aFindings[1]}))
        {
            return aFindings;
        }
    }
    return {Decode(theFirst), theOther.Decode(theSecond)};
}

void BlockDecoder::Store(std::int16_t* theRows, std::ptrdiff_t theStride,
                         const RegionOfInterest& theRegion) const
{
    if (itsImplementation->itsIsHighThroughput)
    {
        itsImplementation->itsHTDecoder.Store(theRows, theStride, theRegion);
        return;
    }
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, 0});
}

void BlockDecoder::Store(std::int32_t* theRows, std::ptrdiff_t theStride,
                         const RegionOfInterest& theRegion) const
{
    if (itsImplementation->itsIsHighThroughput)
    {
        itsImplementation->itsHTDecoder.Store(theRows, theStride, theRegion);
        return;
    }
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, 0});
}

void BlockDecoder::Store(float* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion,
                         float theStep) const
{
    if (itsImplementation->itsIsHighThroughput)
    {
        itsImplementation->itsHTDecoder.Store(theRows, theStride, theRegion, theStep);
        return;
    }
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, theStep});
}

} // namespace j2k
