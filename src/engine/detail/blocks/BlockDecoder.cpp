// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/BlockDecoder.h"

#include "engine/detail/blocks/BlockState.h"

namespace j2k
{

void BlockState::Begin(const CodedBlock& theBlock)
{
    itsWidth = theBlock.itsWidth;
    itsHeight = theBlock.itsHeight;
    itsBitPlanes = theBlock.itsBitPlanes;
    itsStyle = theBlock.itsStyle;
    itsZeroContexts = kZeroContexts[static_cast<unsigned int>(theBlock.itsBand) & 3].data();

    itsStripes = (itsHeight + 3) / 4;
    itsWords = (itsWidth + kWordColumns - 1) / kWordColumns;
    itsLastStripe = kRow0 * (0xFU >> (4 * itsStripes - itsHeight));
    itsLastWord = ~std::uint64_t{0} >> (4 * (kWordColumns * itsWords - itsWidth));

    itsBorderedWords = itsWords + 2;
    itsSignificant.assign(itsBorderedWords * (itsStripes + 2), 0);
    itsColumns = std::size_t{kWordColumns} * itsWords + 1;
    const std::size_t anArea = itsColumns * (itsStripes + 2) + 1;
    itsNeighbours.assign(anArea, 0);
    itsSigns.assign(anArea, 0);

    itsPlaneSize = std::size_t{itsWords} * itsStripes;
    itsVisited.assign(itsPlaneSize, 0);
    itsRefined.assign(itsPlaneSize, 0);
    itsNegative.assign(itsPlaneSize, 0);
    itsPlanes.resize((itsBitPlanes + 1) * itsPlaneSize);
    itsLowestPlane = itsBitPlanes + 1;
    itsContexts = kInitialContexts;
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

struct BlockDecoder::Implementation
{
    BlockState itsState;
};

BlockDecoder::BlockDecoder() : itsImplementation(std::make_unique<Implementation>()) {}

BlockDecoder::~BlockDecoder() = default;

BlockFindings BlockDecoder::Decode(const CodedBlock& theBlock)
{
    BlockState& aState = itsImplementation->itsState;
    aState.Begin(theBlock);
    BlockFindings aFindings;
    std::uint32_t aPass = 0;
    for (const CodedSegment& aSegment : theBlock.itsSegments)
    {
        const std::uint32_t aDone = RunSegment(aState, aSegment, aPass, aFindings);
        aPass += aDone;
        if (aDone < aSegment.itsPasses)
        {
            break; // what follows would be read with contexts that are not the encoder's
        }
    }
    aState.AddHalfSteps(aPass);
    return aFindings;
}

void BlockDecoder::Store(std::int16_t* theRows, std::ptrdiff_t theStride,
                         const RegionOfInterest& theRegion) const
{
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, 0});
}

void BlockDecoder::Store(std::int32_t* theRows, std::ptrdiff_t theStride,
                         const RegionOfInterest& theRegion) const
{
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, 0});
}

void BlockDecoder::Store(float* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion,
                         float theStep) const
{
    StoreBlock(itsImplementation->itsState, theRows, {theStride, theRegion, theStep});
}

} // namespace j2k
