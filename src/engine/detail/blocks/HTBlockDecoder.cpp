// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/HTBlockDecoder.h"

#include <cstring>

#include "engine/detail/blocks/HTState.h"
#include "engine/detail/blocks/RegionStore-inl.h"

namespace j2k
{
namespace
{
/// The length of the suffix that holds MEL and VLC (T.814 7.1.1), or 0 if it is none.
std::size_t GetSuffixLength(std::span<const std::uint8_t> theSegment)
{
    constexpr std::size_t kMost = 4079;
    if (theSegment.size() < 2)
    {
        return 0;
    }
    const std::size_t aLength = theSegment.back() * 16U + (theSegment[theSegment.size() - 2] & 15U);
    return aLength >= 2 && aLength <= std::min(theSegment.size(), kMost) ? aLength : 0;
}

/// Whether all significant samples are inside the block.
bool IsInside(HTState& theState)
{
    std::uint32_t anOutside = 0;
    if (theState.itsHeight % 2 != 0)
    {
        const std::uint32_t* const aRow = theState.GetQuads(theState.itsQuadRows - 1);
        for (std::size_t q = 0; q < theState.itsQuadColumns; ++q)
        {
            anOutside |= aRow[q] & 10U << HTQuad::kRhoShift;
        }
    }
    for (std::size_t r = 0; theState.itsWidth % 2 != 0 && r < theState.itsQuadRows; ++r)
    {
        anOutside |= theState.GetQuads(r)[theState.itsQuadColumns - 1] & 12U << HTQuad::kRhoShift;
    }
    return anOutside == 0;
}

HTFinding DecodeCleanup(HTState& theState, std::span<const std::uint8_t> theSegment)
{
    const std::size_t aSuffix = GetSuffixLength(theSegment);
    if (aSuffix == 0)
    {
        return HTFinding::BadLength;
    }
    // The bits of the length count as ones for either stream, and the last byte as none at all.
    const std::span<const std::uint8_t> aTail = theSegment.last(aSuffix).first(aSuffix - 1);
    theState.itsSuffix.assign(aTail.begin(), aTail.end());
    theState.itsSuffix.back() |= 0x0F;
    // Behind the end of either stream nothing but fill is read, a row's worth at most.
    constexpr std::size_t kCodeBytes = 3; // of a quad
    constexpr std::size_t kMagnitudeBytes = 16;
    constexpr std::size_t kMore = 16; // of a reader's register
    theState.itsVLC.TakeBackwards(theState.itsSuffix, (theState.itsQuadColumns + 1) * kCodeBytes + kMore);
    theState.itsMagSgn.TakeForwards(theSegment.first(theSegment.size() - aSuffix), 0xFF,
                                    theState.itsQuadColumns * kMagnitudeBytes + kMore);
    const HTFinding aFinding = RunHTCleanup(theState);
    return aFinding == HTFinding::BadCode || IsInside(theState) ? aFinding : HTFinding::OutsideBlock;
}
} // namespace

struct HTBlockDecoder::Implementation
{
    template <class Sample>
    void Store(Sample* theRows, const StoreTarget& theTarget) const;

    HTState itsState;
};

/// Writes the samples of theState, theStep being half of what one unit of plane 0 is worth.
template <class Sample>
void HTBlockDecoder::Implementation::Store(Sample* theRows, const StoreTarget& theTarget) const
{
    if (theTarget.itsRegion.itsShift > 0)
    {
        std::vector<std::int32_t> aDoubled(std::size_t{itsState.itsWidth} * itsState.itsHeight);
        StoreHTDoubled(itsState, aDoubled.data());
        StoreRegion(aDoubled, itsState.itsWidth, theRows, theTarget);
        return;
    }
    StoreHTBlock(itsState, theRows, theTarget.itsStride, theTarget.itsStep / 2);
}

HTBlockDecoder::HTBlockDecoder() : itsImplementation(std::make_unique<Implementation>()) {}

HTBlockDecoder::~HTBlockDecoder() = default;

HTFinding HTBlockDecoder::Decode(const HTBlock& theBlock)
{
    HTState& aState = itsImplementation->itsState;
    aState.Begin(theBlock);
    const HTFinding aFinding = DecodeCleanup(aState, theBlock.itsCleanup);
    if (aFinding != HTFinding::None)
    {
        aState.Clear();
        return aFinding;
    }
    if (theBlock.itsPasses < 2)
    {
        return HTFinding::None;
    }
    if (theBlock.itsPlane == 0 || theBlock.itsRefinement.empty())
    {
        return HTFinding::BadRefinement;
    }
    RefineHTBlock(aState, theBlock);
    return HTFinding::None;
}

void HTBlockDecoder::Store(std::int16_t* theRows, std::ptrdiff_t theStride,
                           const RegionOfInterest& theRegion) const
{
    itsImplementation->Store(theRows, {theStride, theRegion, 0});
}

void HTBlockDecoder::Store(std::int32_t* theRows, std::ptrdiff_t theStride,
                           const RegionOfInterest& theRegion) const
{
    itsImplementation->Store(theRows, {theStride, theRegion, 0});
}

void HTBlockDecoder::Store(float* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion,
                           float theStep) const
{
    itsImplementation->Store(theRows, {theStride, theRegion, theStep});
}

} // namespace j2k
