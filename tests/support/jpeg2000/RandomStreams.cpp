// SPDX-License-Identifier: Apache-2.0
#include "support/jpeg2000/RandomStreams.h"

#include <algorithm>
#include <cmath>

namespace
{
using OpenJpeg::Options;

std::uint32_t CeilDivide(std::uint32_t theValue, std::uint32_t theDivisor)
{
    return (theValue + theDivisor - 1) / theDivisor;
}

/// Gives the components their extent on their own grids (T.800 B-2).
void SetExtents(PlanarImage& theImage)
{
    for (PlanarComponent& aComponent : theImage.itsComponents)
    {
        aComponent.itsWidth =
            CeilDivide(theImage.itsX1, aComponent.itsXRsiz) - CeilDivide(theImage.itsX0, aComponent.itsXRsiz);
        aComponent.itsHeight =
            CeilDivide(theImage.itsY1, aComponent.itsYRsiz) - CeilDivide(theImage.itsY0, aComponent.itsYRsiz);
    }
}

std::uint32_t RollExtent(Dice& theDice)
{
    return static_cast<std::uint32_t>(theDice.Chance(15) ? theDice.Roll(1, 9) : theDice.Roll(10, 110));
}

PlanarImage MakeShape(Dice& theDice)
{
    static constexpr int kCounts[] = {1, 1, 1, 1, 3, 3, 3, 2, 4, 5};
    PlanarImage anImage;
    if (theDice.Chance(40))
    {
        anImage.itsX0 = static_cast<std::uint32_t>(theDice.Roll(0, 40));
        anImage.itsY0 = static_cast<std::uint32_t>(theDice.Roll(0, 40));
    }
    anImage.itsX1 = anImage.itsX0 + RollExtent(theDice);
    anImage.itsY1 = anImage.itsY0 + RollExtent(theDice);
    anImage.itsComponents.resize(static_cast<std::size_t>(kCounts[theDice.Roll(0, 9)]));
    const bool isMixed = theDice.Chance(20);
    // Powers of two: with other factors the encoder leaves out packets in the orders that go by position.
    const bool isSubsampled = anImage.itsComponents.size() > 1 && theDice.Chance(30);
    for (PlanarComponent& aComponent : anImage.itsComponents)
    {
        const bool isFirst = &aComponent == anImage.itsComponents.data();
        const PlanarComponent& aFirst = anImage.itsComponents.front();
        aComponent.itsDepth = isFirst || isMixed ? theDice.Roll(1, 16) : aFirst.itsDepth;
        aComponent.itsSigned = isFirst || isMixed ? theDice.Chance(40) : aFirst.itsSigned;
        aComponent.itsXRsiz = isSubsampled ? 1U << theDice.Roll(0, 2) : 1;
        aComponent.itsYRsiz = isSubsampled ? 1U << theDice.Roll(0, 2) : 1;
    }
    SetExtents(anImage);
    return anImage;
}

bool HasEmptyComponent(const PlanarImage& theImage)
{
    return std::any_of(theImage.itsComponents.begin(), theImage.itsComponents.end(),
                       [](const PlanarComponent& theComponent)
                       { return theComponent.itsWidth == 0 || theComponent.itsHeight == 0; });
}

bool AllowsColourTransform(const PlanarImage& theImage)
{
    const auto& aComponents = theImage.itsComponents;
    return aComponents.size() >= 3 &&
           std::all_of(aComponents.begin(), aComponents.begin() + 3,
                       [&](const PlanarComponent& theComponent)
                       {
                           return theComponent.itsXRsiz == aComponents[0].itsXRsiz &&
                                  theComponent.itsYRsiz == aComponents[0].itsYRsiz &&
                                  theComponent.itsDepth == aComponents[0].itsDepth &&
                                  theComponent.itsSigned == aComponents[0].itsSigned;
                       });
}

std::string RollOrder(Dice& theDice)
{
    static constexpr const char* kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    return kOrders[theDice.Roll(0, 4)];
}

bool IsSubsampled(const PlanarImage& theImage)
{
    return std::any_of(theImage.itsComponents.begin(), theImage.itsComponents.end(),
                       [](const PlanarComponent& theComponent)
                       { return theComponent.itsXRsiz * theComponent.itsYRsiz > 1; });
}

void RollTiles(const PlanarImage& theImage, Options& theOptions, Dice& theDice)
{
    const auto aWidth = static_cast<int>(theImage.itsX1);
    const auto aHeight = static_cast<int>(theImage.itsY1);
    theOptions.itsTileX = theDice.Roll(0, static_cast<int>(theImage.itsX0));
    theOptions.itsTileY = theDice.Roll(0, static_cast<int>(theImage.itsY0));
    // The first tile has to meet the image, and an eighth of it keeps the number of tiles small.
    theOptions.itsTileWidth = std::max({static_cast<int>(theImage.itsX0) - theOptions.itsTileX + 1,
                                        theDice.Roll(1, aWidth), aWidth / 8 + 1});
    theOptions.itsTileHeight = std::max({static_cast<int>(theImage.itsY0) - theOptions.itsTileY + 1,
                                         theDice.Roll(1, aHeight), aHeight / 8 + 1});
    if (IsSubsampled(theImage))
    {
        // The encoder goes wrong where tiles begin between a component's samples.
        theOptions.itsTileX = 0;
        theOptions.itsTileY = 0;
        theOptions.itsTileWidth = theDice.Roll(aWidth / 64 + 1, aWidth / 8 + 1) * 8;
        theOptions.itsTileHeight = theDice.Roll(aHeight / 64 + 1, aHeight / 8 + 1) * 8;
    }
}

/// Precincts above the lowest resolution have to be 2 samples wide at least.
void RollPrecincts(Options& theOptions, Dice& theDice)
{
    const int aSpecified = theDice.Roll(1, theOptions.itsResolutions);
    const int aHalvings = theOptions.itsResolutions - aSpecified;
    for (int i = 0; i < aSpecified; ++i)
    {
        const int aLeast = 2 + (i + 1 == aSpecified ? aHalvings : 0);
        theOptions.itsPrecincts.emplace_back(1 << theDice.Roll(aLeast, aLeast + 5),
                                             1 << theDice.Roll(aLeast, aLeast + 5));
    }
}

void RollBlocks(Options& theOptions, Dice& theDice)
{
    int aWidth = theDice.Roll(2, 6);
    int aHeight = theDice.Roll(2, 6);
    if (theDice.Chance(10)) // long ones
    {
        aWidth = theDice.Roll(2, 10);
        aHeight = theDice.Roll(2, std::min(10, 12 - aWidth));
    }
    theOptions.itsBlockWidth = 1 << aWidth;
    theOptions.itsBlockHeight = 1 << aHeight;
    if (theDice.Chance(60))
    {
        theOptions.itsBlockStyle = theDice.Roll(0, 63);
        if (aWidth + aHeight < 6)
        {
            // With every pass ended by itself, deep noise in tiny blocks outgrows the buffer that OpenJPEG's
            // encoder reckons with, and spoils its heap.
            theOptions.itsBlockStyle &= ~4;
        }
    }
}

void RollLayers(Options& theOptions, Dice& theDice)
{
    theOptions.itsRates.clear();
    if (theDice.Chance(50))
    {
        const int aCount = theDice.Chance(80) ? theDice.Roll(1, 4) : theDice.Roll(5, 20);
        auto aRate = static_cast<float>(theDice.Roll(3, 40));
        for (int i = 0; i < aCount; ++i)
        {
            theOptions.itsRates.push_back(aRate);
            aRate = std::max(aRate * 0.7F, 1.2F);
        }
    }
    if (theOptions.itsRates.empty() || theDice.Chance(50))
    {
        theOptions.itsRates.push_back(1);
    }
}

/// The lower resolutions in one order, then the others in another. (OpenJPEG's encoder writes packets again
/// where progressions overlap.)
void RollProgressions(const PlanarImage& theImage, Options& theOptions, Dice& theDice)
{
    OpenJpeg::ProgressionChange aFirst;
    aFirst.itsOrder = RollOrder(theDice);
    aFirst.itsEndLayer = static_cast<std::uint32_t>(theOptions.itsRates.size());
    aFirst.itsEndResolution = static_cast<std::uint32_t>(theDice.Roll(1, theOptions.itsResolutions - 1));
    aFirst.itsEndComponent = static_cast<std::uint32_t>(theImage.itsComponents.size());
    OpenJpeg::ProgressionChange aRest = aFirst;
    aRest.itsOrder = RollOrder(theDice);
    aRest.itsFirstResolution = aFirst.itsEndResolution;
    aRest.itsEndResolution = static_cast<std::uint32_t>(theOptions.itsResolutions);
    theOptions.itsProgressionChanges = {aFirst, aRest};
}

/// The shortest side of a component's tiles along one axis of the reference grid. theTileSize: 0 for one
/// tile.
std::uint32_t FindShortest(std::uint32_t theStart, std::uint32_t theEnd, int theTileOrigin, int theTileSize,
                           std::uint32_t theStep)
{
    const std::uint32_t aSize = theTileSize > 0 ? static_cast<std::uint32_t>(theTileSize) : theEnd;
    const auto anOrigin = static_cast<std::uint32_t>(theTileOrigin);
    std::uint32_t aShortest = theEnd;
    for (std::uint32_t aFrom = theStart; aFrom < theEnd;)
    {
        const std::uint32_t aTo = std::min(theEnd, anOrigin + ((aFrom - anOrigin) / aSize + 1) * aSize);
        const std::uint32_t aLength = CeilDivide(aTo, theStep) - CeilDivide(aFrom, theStep);
        aShortest = aLength == 0 ? aShortest : std::min(aShortest, aLength);
        aFrom = aTo;
    }
    return aShortest;
}

/// The encoder goes wrong, even in memory, over the transform of a single row or column: no more resolutions
/// than leave every tile two samples a side.
int FindMostResolutions(const PlanarImage& theImage, const Options& theOptions)
{
    std::uint32_t aSide = theImage.itsX1;
    for (const PlanarComponent& aComponent : theImage.itsComponents)
    {
        aSide = std::min({aSide,
                          FindShortest(theImage.itsX0, theImage.itsX1, theOptions.itsTileX,
                                       theOptions.itsTileWidth, aComponent.itsXRsiz),
                          FindShortest(theImage.itsY0, theImage.itsY1, theOptions.itsTileY,
                                       theOptions.itsTileHeight, aComponent.itsYRsiz)});
    }
    int aResolutions = 1;
    while (aSide >> (aResolutions + 1) > 0)
    {
        ++aResolutions;
    }
    return aResolutions;
}

void RollMarkers(Options& theOptions, Dice& theDice)
{
    theOptions.itsSOP = theDice.Chance(30);
    theOptions.itsEPH = theDice.Chance(30);
    theOptions.itsPLT = theDice.Chance(20);
    theOptions.itsTLM = theDice.Chance(20);
}

/// Fills the samples of a component whose shape is set: flat, smooth, noisy or sparse.
void DrawComponent(PlanarComponent& theComponent, Dice& theDice)
{
    const int aKind = theDice.Roll(0, 9);
    const double aLow = theComponent.GetLowest();
    const double aHigh = theComponent.GetHighest();
    const double aNoise = aKind < 2 ? 0 : (aHigh - aLow) * std::pow(0.5, theDice.Roll(1, 12));
    const double aSlopeX = theDice.Roll(-20, 20) / 400.0;
    const double aSlopeY = theDice.Roll(-20, 20) / 400.0;
    theComponent.itsSamples.clear();
    for (std::uint32_t aRow = 0; aRow < theComponent.itsHeight; ++aRow)
    {
        for (std::uint32_t aColumn = 0; aColumn < theComponent.itsWidth; ++aColumn)
        {
            double aValue = (aLow + aHigh) / 2;
            if (aKind == 9) // a few points
            {
                aValue = theDice.Chance(2) ? aHigh : aLow;
            }
            else if (aKind == 8) // all there is
            {
                aValue = aLow + (aHigh - aLow) * theDice.Roll(0, 65535) / 65535.0;
            }
            else if (aKind > 0)
            {
                aValue += (aHigh - aLow) / 2 * std::sin(aRow * aSlopeY + aColumn * aSlopeX) +
                          aNoise * (theDice.Roll(0, 1000) / 1000.0 - 0.5);
            }
            theComponent.itsSamples.push_back(
                static_cast<std::int32_t>(std::clamp(std::floor(aValue), aLow, aHigh)));
        }
    }
}
} // namespace

bool RandomStream::IsLossless() const
{
    return !itsOptions.itsIrreversible && itsOptions.itsRates.back() <= 1;
}

PlanarImage MakeImage(std::uint32_t theWidth, std::uint32_t theHeight, std::size_t theComponents,
                      int theDepth, bool theIsSigned, Dice& theDice)
{
    PlanarComponent aShape;
    aShape.itsDepth = theDepth;
    aShape.itsSigned = theIsSigned;
    PlanarImage anImage{0, 0, theWidth, theHeight, std::vector<PlanarComponent>(theComponents, aShape)};
    SetExtents(anImage);
    for (PlanarComponent& aComponent : anImage.itsComponents)
    {
        DrawComponent(aComponent, theDice);
    }
    return anImage;
}

RandomStream MakeRandomStream(Dice& theDice)
{
    RandomStream aStream;
    do
    {
        aStream.itsImage = MakeShape(theDice);
    } while (HasEmptyComponent(aStream.itsImage));
    for (PlanarComponent& aComponent : aStream.itsImage.itsComponents)
    {
        DrawComponent(aComponent, theDice);
    }
    Options& anOptions = aStream.itsOptions;
    anOptions.itsIrreversible = theDice.Chance(35);
    anOptions.itsComponentTransform = AllowsColourTransform(aStream.itsImage) && theDice.Chance(60);
    const bool isOffset = aStream.itsImage.itsX0 + aStream.itsImage.itsY0 > 0;
    const bool isTiled = theDice.Chance(35) && !(isOffset && IsSubsampled(aStream.itsImage));
    if (isTiled)
    {
        RollTiles(aStream.itsImage, anOptions, theDice);
    }
    anOptions.itsResolutions = std::min(theDice.Roll(1, 8), FindMostResolutions(aStream.itsImage, anOptions));
    anOptions.itsOrder = RollOrder(theDice);
    RollLayers(anOptions, theDice);
    RollBlocks(anOptions, theDice);
    RollMarkers(anOptions, theDice);
    if (theDice.Chance(40))
    {
        RollPrecincts(anOptions, theDice);
    }
    // OpenJPEG loses the half step of coefficients in a region of interest that are not exact.
    if (!anOptions.itsIrreversible && theDice.Chance(10))
    {
        anOptions.itsRates = {1};
        anOptions.itsRoiComponent =
            theDice.Roll(0, static_cast<int>(aStream.itsImage.itsComponents.size()) - 1);
        anOptions.itsRoiShift = theDice.Roll(1, 9);
    }
    if (!isTiled && anOptions.itsResolutions > 1 && theDice.Chance(30))
    {
        RollProgressions(aStream.itsImage, anOptions, theDice);
    }
    return aStream;
}
