// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/BlockDecoder.h"

#include "engine/detail/blocks/BlockState.h"

namespace j2k
{

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
