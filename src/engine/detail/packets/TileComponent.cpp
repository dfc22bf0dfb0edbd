// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/TileComponent.h"

#include <algorithm>

namespace j2k
{
namespace
{
// How far the samples reach that one sample is synthesized from (T.800 F.3.7): one or two for the 5/3
// filters, three or four for the 9/7, by whether the sample's place is even. Beyond that the ends may be
// anything.
constexpr std::uint32_t kReversibleMargin = 2;
constexpr std::uint32_t kIrreversibleMargin = 4;

// The part of a level's low-pass or high-pass samples that lies in theArea of its result: even and odd
// places.
Rect ToBand(const Rect& theArea, Band theBand)
{
    const std::uint32_t aRoundX = theBand == Band::HL || theBand == Band::HH ? 0 : 1;
    const std::uint32_t aRoundY = theBand == Band::LH || theBand == Band::HH ? 0 : 1;
    return {(theArea.itsX0 + aRoundX) / 2, (theArea.itsY0 + aRoundY) / 2, (theArea.itsX1 + aRoundX) / 2,
            (theArea.itsY1 + aRoundY) / 2};
}
} // namespace

Resolution::Resolution(Tile& theTile, const ComponentCoding& theCoding, const Rect& theComponent,
                       unsigned int theLevel, ReferenceScale theScale, Resolution* theNext)
    : itsLevel(theLevel), itsNext(theNext)
{
    const unsigned int aLevelsAbove = theCoding.itsLevels - theLevel;
    const std::uint8_t anExponents = theCoding.itsPrecinctSizes[theLevel];
    itsRect = theComponent.Reduce(aLevelsAbove);
    theScale.itsLevels = aLevelsAbove;
    itsPrecincts = PrecinctGrid(itsRect, anExponents & 15U, anExponents >> 4, theScale);
    if (theLevel == 0)
    {
        itsSubbands[0] = Subband(theTile, *this, theCoding, theComponent, Band::LL);
        return;
    }
    itsSubbands[0] = Subband(theTile, *this, theCoding, theComponent, Band::HL);
    itsSubbands[1] = Subband(theTile, *this, theCoding, theComponent, Band::LH);
    itsSubbands[2] = Subband(theTile, *this, theCoding, theComponent, Band::HH);
}

Rect Resolution::SetWindow(const Rect& theWindow)
{
    itsWindow = theWindow;
    itsArea = theWindow;
    if (itsLevel == 0)
    {
        itsSubbands[0].SetWindow(itsArea);
        return {};
    }
    if (!theWindow.IsEmpty())
    {
        itsArea = theWindow.Grow(IsReversible() ? kReversibleMargin : kIrreversibleMargin).CutTo(itsRect);
    }
    itsSubbands[0].SetWindow(ToBand(itsArea, Band::HL));
    itsSubbands[1].SetWindow(ToBand(itsArea, Band::LH));
    itsSubbands[2].SetWindow(ToBand(itsArea, Band::HH));
    return ToBand(itsArea, Band::LL);
}

Precinct& Resolution::MakePrecinct(std::uint64_t theNumber, Arena& theArena)
{
    if (theNumber >= itsFound.size())
    {
        itsFound.resize(static_cast<std::size_t>(theNumber + 1));
    }
    Precinct*& aPlace = itsFound[theNumber];
    if (aPlace == nullptr)
    {
        aPlace = theArena.Allocate<Precinct>(1);
        const std::uint32_t aColumn = static_cast<std::uint32_t>(theNumber % itsPrecincts.GetColumns());
        const std::uint32_t aRow = static_cast<std::uint32_t>(theNumber / itsPrecincts.GetColumns());
        for (unsigned int aBand = 0; aBand < GetSubbandCount(); ++aBand)
        {
            const BlockRange aRange = itsSubbands[aBand].GetPrecinctBlocks(aColumn, aRow);
            aPlace->itsBands[aBand].itsColumns = aRange.itsColumns;
            aPlace->itsBands[aBand].itsRows = aRange.itsRows;
        }
    }
    return *aPlace;
}

std::uint16_t& Resolution::GetLayersPassed(std::uint64_t theNumber)
{
    if (theNumber >= itsLayersPassed.size())
    {
        itsLayersPassed.resize(static_cast<std::size_t>(theNumber + 1));
    }
    return itsLayersPassed[theNumber];
}

TileComponent::TileComponent(Tile& theTile, const ComponentSize& theSize, const ComponentCoding& theCoding,
                             const Rect& theTileRect, const Rect& theRect, unsigned int theDiscardLevels)
    : itsSize(theSize), itsRect(theRect), itsReversible(theCoding.itsReversible),
      itsDecodedResolutions(theCoding.itsLevels + 1 -
                            std::min<unsigned int>(theDiscardLevels, theCoding.itsLevels))
{
    const ReferenceScale aScale = {theTileRect.itsX0, theTileRect.itsY0, theSize.itsXRsiz, theSize.itsYRsiz,
                                   0};
    itsResolutions.reserve(theCoding.itsLevels + 1U);
    Resolution* aNext = nullptr;
    for (unsigned int aLevel = 0; aLevel <= theCoding.itsLevels; ++aLevel)
    {
        itsResolutions.push_back(
            std::make_unique<Resolution>(theTile, theCoding, theRect, aLevel, aScale, aNext));
        aNext = itsResolutions.back().get();
    }
}

void TileComponent::SetWindow(const Rect& theWindow)
{
    Rect aWindow = theWindow.Reduce(GetLevels() + 1 - itsDecodedResolutions);
    for (unsigned int aLevel = itsDecodedResolutions; aLevel-- > 0;)
    {
        aWindow = itsResolutions[aLevel]->SetWindow(aWindow);
    }
}

} // namespace j2k
