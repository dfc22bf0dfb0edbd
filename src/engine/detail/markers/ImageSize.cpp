// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/ImageSize.h"

#include <algorithm>

#include "engine/detail/markers/MarkerReader.h"

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

Rect ImageSize::FindTiles(const Rect& theArea) const
{
    return {(theArea.itsX0 - itsTileOriginX) / itsTileWidth, (theArea.itsY0 - itsTileOriginY) / itsTileHeight,
            static_cast<std::uint32_t>(CeilDiv(theArea.itsX1 - itsTileOriginX, itsTileWidth)),
            static_cast<std::uint32_t>(CeilDiv(theArea.itsY1 - itsTileOriginY, itsTileHeight))};
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

namespace
{

constexpr unsigned int kRsizPart2 = 0x8000;
constexpr std::uint32_t kLargestPosition = 0x7FFFFFFF;
constexpr unsigned int kLargestDepth = 38;
constexpr std::size_t kMostComponents = 16384;
constexpr std::uint64_t kMostTiles = 65535;

void CheckCapabilities(const ImageSize& theImage, const SegmentCursor& theCursor)
{
    if ((theImage.itsCapabilities & kRsizPart2) != 0)
    {
        theCursor.NonConformance("the codestream announces extensions of ISO/IEC 15444-2");
    }
}

void CheckArea(const ImageSize& theImage, const SegmentCursor& theCursor)
{
    const Rect& anArea = theImage.itsImage;
    if (anArea.IsEmpty())
    {
        theCursor.Error("the image area is empty");
    }
    if (anArea.itsX1 > kLargestPosition || anArea.itsY1 > kLargestPosition)
    {
        theCursor.Error("positions of 2147483648 and above on the reference grid are not supported");
    }
    if (theImage.itsTileWidth == 0 || theImage.itsTileHeight == 0)
    {
        theCursor.Error("the tile size is 0");
    }
    if (theImage.itsTileOriginX > anArea.itsX0 || theImage.itsTileOriginY > anArea.itsY0 ||
        std::uint64_t(theImage.itsTileOriginX) + theImage.itsTileWidth <= anArea.itsX0 ||
        std::uint64_t(theImage.itsTileOriginY) + theImage.itsTileHeight <= anArea.itsY0)
    {
        theCursor.Error("the first tile does not meet the image area");
    }
}

void SetTileCounts(ImageSize& theImage, const SegmentCursor& theCursor)
{
    const std::uint64_t anAcross =
        CeilDiv(theImage.itsImage.itsX1 - theImage.itsTileOriginX, theImage.itsTileWidth);
    const std::uint64_t aDown =
        CeilDiv(theImage.itsImage.itsY1 - theImage.itsTileOriginY, theImage.itsTileHeight);
    if (anAcross * aDown > kMostTiles)
    {
        theCursor.Error("more than 65535 tiles");
    }
    theImage.itsTilesAcross = static_cast<std::uint32_t>(anAcross);
    theImage.itsTilesDown = static_cast<std::uint32_t>(aDown);
}

ComponentSize TakeComponentSize(SegmentCursor& theCursor)
{
    constexpr unsigned int kSignBit = 0x80;
    const unsigned int aSsiz = theCursor.TakeByte();
    ComponentSize aResult;
    aResult.itsDepth = static_cast<std::uint8_t>((aSsiz & ~kSignBit) + 1);
    aResult.itsSigned = (aSsiz & kSignBit) != 0;
    aResult.itsXRsiz = theCursor.TakeByte();
    aResult.itsYRsiz = theCursor.TakeByte();
    if (aResult.itsDepth > kLargestDepth)
    {
        theCursor.Error("a component has more than 38 bits");
    }
    if (aResult.itsXRsiz == 0 || aResult.itsYRsiz == 0)
    {
        theCursor.Error("a component has a sampling factor of 0");
    }
    return aResult;
}

} // namespace

ImageSize ReadSiz(const MarkerSegment& theSegment, Reports& theReports)
{
    SegmentCursor aCursor(theSegment, theReports);
    ImageSize anImage;
    anImage.itsCapabilities = aCursor.TakeWord();
    CheckCapabilities(anImage, aCursor);
    anImage.itsImage.itsX1 = aCursor.TakeLong();
    anImage.itsImage.itsY1 = aCursor.TakeLong();
    anImage.itsImage.itsX0 = aCursor.TakeLong();
    anImage.itsImage.itsY0 = aCursor.TakeLong();
    anImage.itsTileWidth = aCursor.TakeLong();
    anImage.itsTileHeight = aCursor.TakeLong();
    anImage.itsTileOriginX = aCursor.TakeLong();
    anImage.itsTileOriginY = aCursor.TakeLong();
    CheckArea(anImage, aCursor);
    SetTileCounts(anImage, aCursor);
    const std::size_t aCount = aCursor.TakeWord();
    if (aCount == 0 || aCount > kMostComponents)
    {
        aCursor.Error("the number of components is not between 1 and 16384");
    }
    for (std::size_t aComponent = 0; aComponent < aCount; ++aComponent)
    {
        anImage.itsComponents.push_back(TakeComponentSize(aCursor));
    }
    aCursor.ExpectEnd();
    return anImage;
}

} // namespace j2k
