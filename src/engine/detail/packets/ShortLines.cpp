// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/ShortLines.h"

namespace j2k
{

void ShortLines::Require(std::uint64_t theMagnitude)
{
    itsFits = itsFits && theMagnitude <= 0x7FFF;
}

// Also where only the higher bit-planes are decoded: the middle of the open interval is below its end.
std::uint64_t ShortLines::GetBound(const Subband& theSubband)
{
    const std::uint64_t aBound = (std::uint64_t(1) << theSubband.GetLargestBitPlanes()) - 1;
    Require(aBound);
    return aBound;
}

std::uint64_t ShortLines::Lift(std::uint64_t theLow, std::uint64_t theHigh)
{
    // Even results are never the larger ones.
    const std::uint64_t anOdd = theHigh == 0 ? theLow : theLow + theHigh + 1;
    Require(anOdd);
    return anOdd;
}

std::uint64_t ShortLines::Synthesize(const TileComponent& theComponent)
{
    std::uint64_t aBound = GetBound(theComponent.GetResolution(0).GetSubband(0));
    for (unsigned int aLevel = 1; aLevel < theComponent.GetResolutionCount(); ++aLevel)
    {
        const Resolution& aResolution = theComponent.GetResolution(aLevel);
        const std::uint64_t aLowRows = Lift(aBound, GetBound(aResolution.GetSubband(0)));
        const std::uint64_t aHighRows =
            Lift(GetBound(aResolution.GetSubband(1)), GetBound(aResolution.GetSubband(2)));
        aBound = Lift(aLowRows, aHighRows);
    }
    return aBound;
}

void ShortLines::Transform(const std::array<std::uint64_t, 3>& theBounds)
{
    const auto [aY, aU, aV] = theBounds;
    Require(aY + (aU + aV + 3) / 4);
    // R = V + Y - (U + V) / 4 and B = U + Y - (U + V) / 4, rounded once.
    Require(aY + (3 * aV + aU + 3) / 4 + 1);
    Require(aY + (3 * aU + aV + 3) / 4 + 1);
}

} // namespace j2k
