// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/ImageSize.h"

#include <algorithm>

namespace j2k
{

namespace
{

/// Tile number theNumber of one axis, clipped to the image.
void ClipTile(std::uint64_t theOrigin, std::uint64_t theSize, std::uint64_t theNumber, std::uint32_t theStart,
              std::uint32_t theEnd, std::uint32_t& theFrom, std::uint32_t& theTo)
{
    const std::uint64_t aFrom = theOrigin + theNumber * theSize;
    theFrom = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(aFrom, theStart, theEnd));
    theTo = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(aFrom + theSize, theStart, theEnd));
}

} // namespace

Rect ImageSize::GetTile(std::uint32_t theIndex) const
{
    Rect aResult;
    ClipTile(itsTileOriginX, itsTileWidth, theIndex % itsTilesAcross, itsImage.itsX0, itsImage.itsX1,
             aResult.itsX0, aResult.itsX1);
    ClipTile(itsTileOriginY, itsTileHeight, theIndex / itsTilesAcross, itsImage.itsY0, itsImage.itsY1,
             aResult.itsY0, aResult.itsY1);
    return aResult;
}

Rect ImageSize::ToComponent(const Rect& theArea, std::size_t theComponent) const
{
    const ComponentSize& aComponent = itsComponents[theComponent];
    Rect aResult;
    aResult.itsX0 = static_cast<std::uint32_t>(CeilDiv(theArea.itsX0, aComponent.itsXRsiz));
    aResult.itsY0 = static_cast<std::uint32_t>(CeilDiv(theArea.itsY0, aComponent.itsYRsiz));
    aResult.itsX1 = static_cast<std::uint32_t>(CeilDiv(theArea.itsX1, aComponent.itsXRsiz));
    aResult.itsY1 = static_cast<std::uint32_t>(CeilDiv(theArea.itsY1, aComponent.itsYRsiz));
    return aResult;
}

} // namespace j2k
