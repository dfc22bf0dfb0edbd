// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/Tile.h"

#include <algorithm>
#include <array>
#include <string>

#include "engine/detail/packets/PacketReader.h"

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

Tile::Tile(const ImageSize& theImage, std::unique_ptr<TileData> theData,
           const TileRestrictions& theRestrictions, WorkBudget& thePasses, Reports& theReports)
    : itsReports(theReports), itsData(std::move(theData)), itsBody(itsData->itsBody)
{
    CheckCoding();
    DropLevelsWithoutData(theRestrictions.itsDiscardLevels);
    MakeComponents(theImage, theRestrictions);
    CheckSamples();
    SetComponentTransform();
    ReadPackets(theRestrictions.itsMaxLayers, thePasses);
    ProveShortLines();
}

Tile::~Tile() = default;

void Tile::Refuse(const char* theText) const
{
    itsReports.Error("Tile " + std::to_string(GetIndex()) + theText);
}

void Tile::CheckCoding() const
{
    std::uint64_t aResolutions = 0;
    for (const ComponentCoding& aCoding : itsData->itsCoding.itsComponents)
    {
        aResolutions += aCoding.itsLevels + 1U;
    }
    if (itsBody.GetSize() > 0xFFFFFFFFU)
    {
        Refuse(" has more than 4 GiB of data");
    }
    if (aResolutions > (std::uint64_t(1) << 14) + 16 * itsBody.GetSize())
    {
        Refuse(" has far more resolutions than bytes");
    }
}

// A hundred bytes can declare 65535 tiles of 33 resolutions: one that nothing came of decodes to zeros, and
// its lower resolutions need not be made for that.
void Tile::DropLevelsWithoutData(unsigned int theDiscardLevels)
{
    if (!itsData->itsTruncated || itsData->itsHasPackedHeaders || itsBody.GetSize() > 0)
    {
        return;
    }
    for (ComponentCoding& aCoding : itsData->itsCoding.itsComponents)
    {
        aCoding.itsLevels =
            static_cast<std::uint8_t>(std::min<unsigned int>(aCoding.itsLevels, theDiscardLevels));
    }
}

void Tile::MakeComponents(const ImageSize& theImage, const TileRestrictions& theRestrictions)
{
    const Rect aTile = theImage.GetTile(GetIndex());
    const Rect aPart = theRestrictions.itsRegion ? theRestrictions.itsRegion->CutTo(aTile) : aTile;
    const std::vector<ComponentCoding>& aCodings = itsData->itsCoding.itsComponents;
    const std::size_t aCount = std::min(theImage.itsComponents.size(), aCodings.size());
    itsComponents.reserve(aCount);
    for (std::size_t aComponent = 0; aComponent < aCount; ++aComponent)
    {
        itsComponents.push_back(std::make_unique<TileComponent>(
            *this, theImage.itsComponents[aComponent], aCodings[aComponent], aTile,
            theImage.ToComponent(aTile, aComponent), theRestrictions.itsDiscardLevels));
        itsComponents.back()->SetWindow(theImage.ToComponent(aPart, aComponent));
    }
    const std::size_t aMost = theRestrictions.itsMaxComponents;
    itsDecodedComponents = aMost == 0 ? aCount : std::min(aMost, aCount);
}

// Beyond the largest frame that there is, what is decoded must have some base in the data.
void Tile::CheckSamples() const
{
    std::uint64_t aSamples = 0;
    const std::uint64_t aMost = (std::uint64_t(1) << 28) + (itsBody.GetSize() << 18);
    for (std::size_t aComponent = 0; aComponent < itsDecodedComponents; ++aComponent)
    {
        const TileComponent& aTileComponent = *itsComponents[aComponent];
        const std::uint64_t anArea =
            aTileComponent.GetResolution(aTileComponent.GetResolutionCount() - 1).GetWindow().GetArea();
        if (anArea > aMost - aSamples)
        {
            Refuse(" has far more samples than its bytes can stand for");
        }
        aSamples += anArea;
    }
}

void Tile::ReadPackets(unsigned int theMaxLayers, WorkBudget& thePasses)
{
    const std::uint32_t anAllLayers = itsData->itsCoding.itsLayers;
    const std::uint32_t aLayers = theMaxLayers == 0 ? anAllLayers : theMaxLayers;
    itsLeavesLayersOut = aLayers < anAllLayers;
    PacketReader aReader(*itsData, itsBody, itsComponents, itsDecodedComponents, aLayers, itsArena, itsPieces,
                         thePasses, itsReports);
    itsUnreadBytes = aReader.ReadAll();
}

bool Tile::AllowsComponentTransform() const
{
    if (itsComponents.size() < 3)
    {
        return false;
    }
    const TileComponent& aFirst = *itsComponents[0];
    return std::all_of(itsComponents.begin() + 1, itsComponents.begin() + 3,
                       [&aFirst](const std::unique_ptr<TileComponent>& theOther)
                       {
                           // The same size alone might differ at a lower resolution.
                           return theOther->GetRect() == aFirst.GetRect() &&
                                  theOther->IsReversible() == aFirst.IsReversible();
                       });
}

void Tile::SetComponentTransform()
{
    if (!itsData->itsCoding.itsComponentTransform)
    {
        return;
    }
    if (!AllowsComponentTransform())
    {
        itsReports.NonConformance("Tile " + std::to_string(GetIndex()) +
                                      " has a component transform over components that do not match",
                                  itsBody.GetOffset(0));
        return;
    }
    itsComponentTransform = itsDecodedComponents >= 3;
    for (std::size_t aComponent = 1; itsComponentTransform && aComponent < 3; ++aComponent)
    {
        itsComponents[aComponent]->SetChrominance();
    }
}

void Tile::ProveShortLines()
{
    const auto isLiftable = [](const TileComponent& theComponent)
    { return theComponent.IsReversible() && theComponent.GetSize().itsDepth <= 16; };
    std::size_t aFirst = 0;
    if (itsComponentTransform)
    {
        aFirst = 3;
        ShortLines aProof;
        std::array<std::uint64_t, 3> aBounds{};
        bool isEligible = true;
        for (std::size_t aComponent = 0; aComponent < 3; ++aComponent)
        {
            isEligible = isEligible && isLiftable(*itsComponents[aComponent]);
            aBounds[aComponent] = aProof.Synthesize(*itsComponents[aComponent]);
        }
        aProof.Transform(aBounds);
        for (std::size_t aComponent = 0; aComponent < 3; ++aComponent)
        {
            itsComponents[aComponent]->SetFitsShortLines(isEligible && aProof.Fits());
        }
    }
    for (std::size_t aComponent = aFirst; aComponent < itsDecodedComponents; ++aComponent)
    {
        ShortLines aProof;
        aProof.Synthesize(*itsComponents[aComponent]);
        itsComponents[aComponent]->SetFitsShortLines(isLiftable(*itsComponents[aComponent]) && aProof.Fits());
    }
}

} // namespace j2k
