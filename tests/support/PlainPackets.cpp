// SPDX-License-Identifier: Apache-2.0
#include "support/PlainPackets.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace
{
// Not the engine's own arithmetic: exact in double for the small numbers of tests.
std::uint32_t Ceil(double theValue)
{
    return static_cast<std::uint32_t>(std::ceil(theValue));
}

double Pow2(int theExponent)
{
    return std::ldexp(1.0, theExponent);
}
} // namespace

PlainPackets::PlainPackets(const j2k::ImageSize& theImage, std::uint32_t theTile,
                           const j2k::TileCoding& theCoding)
    : itsTile(theImage.GetTile(theTile)), itsImage(theImage), itsCoding(theCoding)
{
}

j2k::Rect PlainPackets::GetResolution(unsigned int theComponent, unsigned int theResolution) const
{
    const j2k::Rect aRect = itsImage.ToComponent(itsTile, theComponent);
    const double aScale = Pow2(itsCoding.itsComponents[theComponent].itsLevels - int(theResolution));
    return {Ceil(aRect.itsX0 / aScale), Ceil(aRect.itsY0 / aScale), Ceil(aRect.itsX1 / aScale),
            Ceil(aRect.itsY1 / aScale)};
}

j2k::Rect PlainPackets::GetSubband(unsigned int theComponent, unsigned int theResolution,
                                   unsigned int theBand) const
{
    if (theResolution == 0)
    {
        return GetResolution(theComponent, 0);
    }
    const j2k::Rect aRect = itsImage.ToComponent(itsTile, theComponent);
    const int aLevels = itsCoding.itsComponents[theComponent].itsLevels - int(theResolution) + 1;
    const double aShiftX = theBand != 1 ? Pow2(aLevels - 1) : 0;
    const double aShiftY = theBand != 0 ? Pow2(aLevels - 1) : 0;
    const auto aPlace = [aLevels](std::uint32_t theValue, double theShift)
    { return Ceil(std::max(0.0, std::ceil((theValue - theShift) / Pow2(aLevels)))); };
    return {aPlace(aRect.itsX0, aShiftX), aPlace(aRect.itsY0, aShiftY), aPlace(aRect.itsX1, aShiftX),
            aPlace(aRect.itsY1, aShiftY)};
}

PlainPackets::Grid PlainPackets::GetGrid(unsigned int theComponent, unsigned int theResolution) const
{
    const auto aKey = std::make_pair(theComponent, theResolution);
    if (const auto aKnown = itsGrids.find(aKey); aKnown != itsGrids.end())
    {
        return aKnown->second;
    }
    const std::uint8_t aSizes = itsCoding.itsComponents[theComponent].itsPrecinctSizes[theResolution];
    Grid aGrid{GetResolution(theComponent, theResolution), aSizes & 15U, aSizes / 16U, 0, 0};
    if (aGrid.itsRect.itsX1 > aGrid.itsRect.itsX0 && aGrid.itsRect.itsY1 > aGrid.itsRect.itsY0)
    {
        const auto aCount = [](std::uint32_t theBegin, std::uint32_t theEnd, double theSize)
        { return std::uint64_t(std::ceil(theEnd / theSize) - std::floor(theBegin / theSize)); };
        aGrid.itsWide = aCount(aGrid.itsRect.itsX0, aGrid.itsRect.itsX1, Pow2(int(aGrid.itsPPx)));
        aGrid.itsHigh = aCount(aGrid.itsRect.itsY0, aGrid.itsRect.itsY1, Pow2(int(aGrid.itsPPy)));
    }
    return itsGrids[aKey] = aGrid;
}

std::vector<PlainPacket> PlainPackets::List() const
{
    std::vector<j2k::Progression> aProgressions = itsCoding.itsProgressions;
    if (aProgressions.empty())
    {
        aProgressions.emplace_back();
        aProgressions.back().itsOrder = itsCoding.itsOrder;
    }
    std::vector<PlainPacket> aResult;
    std::set<PlainPacket> aSeen;
    for (const j2k::Progression& aProgression : aProgressions)
    {
        Found aFound;
        Run(aProgression, aFound);
        std::copy_if(aFound.begin(), aFound.end(), std::back_inserter(aResult),
                     [&aSeen](const PlainPacket& thePacket) { return aSeen.insert(thePacket).second; });
    }
    return aResult;
}

void PlainPackets::Run(const j2k::Progression& theProgression, Found& theFound) const
{
    const unsigned int aComponents = static_cast<unsigned int>(itsCoding.itsComponents.size());
    const unsigned int aFirst = theProgression.itsFirstComponent;
    const unsigned int anEnd = std::min<unsigned int>(theProgression.itsEndComponent, aComponents);
    const unsigned int aFirstResolution = theProgression.itsFirstResolution;
    const unsigned int anEndResolution = std::min<unsigned int>(theProgression.itsEndResolution, 33);
    switch (theProgression.itsOrder)
    {
    case j2k::ProgressionOrder::LRCP:
    case j2k::ProgressionOrder::RLCP:
        RunWithoutPositions(theProgression, theFound);
        break;
    case j2k::ProgressionOrder::RPCL:
        for (unsigned int r = aFirstResolution; r < anEndResolution; ++r)
        {
            RunPositions(theProgression, aFirst, anEnd, r, r + 1, theFound);
        }
        break;
    case j2k::ProgressionOrder::PCRL:
        RunPositions(theProgression, aFirst, anEnd, aFirstResolution, anEndResolution, theFound);
        break;
    case j2k::ProgressionOrder::CPRL:
        for (unsigned int c = aFirst; c < anEnd; ++c)
        {
            RunPositions(theProgression, c, c + 1, aFirstResolution, anEndResolution, theFound);
        }
        break;
    }
}

void PlainPackets::RunWithoutPositions(const j2k::Progression& theProgression, Found& theFound) const
{
    const unsigned int aComponents = static_cast<unsigned int>(itsCoding.itsComponents.size());
    const unsigned int aLayers = std::min(theProgression.itsEndLayer, itsCoding.itsLayers);
    const bool aLayersFirst = theProgression.itsOrder == j2k::ProgressionOrder::LRCP;
    const unsigned int aFirstResolution = theProgression.itsFirstResolution;
    const unsigned int anEndResolution = std::min<unsigned int>(theProgression.itsEndResolution, 33);
    const auto aRun = [&](unsigned int theLayer, unsigned int theResolution)
    {
        for (unsigned int c = theProgression.itsFirstComponent;
             c < std::min<unsigned int>(theProgression.itsEndComponent, aComponents); ++c)
        {
            if (theResolution <= itsCoding.itsComponents[c].itsLevels)
            {
                const Grid aGrid = GetGrid(c, theResolution);
                for (std::uint64_t k = 0; k < aGrid.itsWide * aGrid.itsHigh; ++k)
                {
                    theFound.push_back({theLayer, theResolution, c, k});
                }
            }
        }
    };
    for (unsigned int i = 0; i < (aLayersFirst ? aLayers : anEndResolution); ++i)
    {
        for (unsigned int j = 0; j < (aLayersFirst ? anEndResolution : aLayers); ++j)
        {
            if ((aLayersFirst ? j : i) >= aFirstResolution)
            {
                aRun(aLayersFirst ? i : j, aLayersFirst ? j : i);
            }
        }
    }
}

void PlainPackets::RunPositions(const j2k::Progression& theProgression, unsigned int theFirstComponent,
                                unsigned int theEndComponent, unsigned int theFirstResolution,
                                unsigned int theEndResolution, Found& theFound) const
{
    for (std::uint64_t y = itsTile.itsY0; y < itsTile.itsY1; ++y)
    {
        for (std::uint64_t x = itsTile.itsX0; x < itsTile.itsX1; ++x)
        {
            for (unsigned int c = theFirstComponent; c < theEndComponent; ++c)
            {
                for (unsigned int r = theFirstResolution;
                     r < std::min(theEndResolution, itsCoding.itsComponents[c].itsLevels + 1U); ++r)
                {
                    std::uint64_t aPrecinct = 0;
                    if (IsAt(c, r, x, y, aPrecinct))
                    {
                        for (unsigned int l = 0;
                             l < std::min(theProgression.itsEndLayer, itsCoding.itsLayers); ++l)
                        {
                            theFound.push_back({l, r, c, aPrecinct});
                        }
                    }
                }
            }
        }
    }
}

// The condition inside the loops of B.12.1.3 to B.12.1.5, and B-20.
bool PlainPackets::IsAt(unsigned int theComponent, unsigned int theResolution, std::uint64_t theX,
                        std::uint64_t theY, std::uint64_t& thePrecinct) const
{
    const Grid aGrid = GetGrid(theComponent, theResolution);
    const unsigned int aLevels = itsCoding.itsComponents[theComponent].itsLevels - theResolution;
    const std::uint64_t anXRsiz = itsImage.itsComponents[theComponent].itsXRsiz;
    const std::uint64_t anYRsiz = itsImage.itsComponents[theComponent].itsYRsiz;
    const auto aMeets = [aLevels](std::uint64_t theValue, std::uint64_t theStart, std::uint64_t theSampling,
                                  unsigned int theExponent, std::uint64_t theFirst)
    {
        const std::uint64_t aStep = std::uint64_t(1) << (theExponent + aLevels);
        return theValue % (theSampling * aStep) == 0 ||
               (theValue == theStart && (theFirst << aLevels) % aStep != 0);
    };
    if (aGrid.itsWide * aGrid.itsHigh == 0 ||
        !aMeets(theY, itsTile.itsY0, anYRsiz, aGrid.itsPPy, aGrid.itsRect.itsY0) ||
        !aMeets(theX, itsTile.itsX0, anXRsiz, aGrid.itsPPx, aGrid.itsRect.itsX0))
    {
        return false;
    }
    const auto anIndex = [aLevels](std::uint64_t theValue, std::uint64_t theSampling,
                                   unsigned int theExponent, std::uint64_t theFirst)
    {
        const double aSample = std::ceil(double(theValue) / (double(theSampling) * Pow2(int(aLevels))));
        return std::uint64_t(std::floor(aSample / Pow2(int(theExponent))) -
                             std::floor(double(theFirst) / Pow2(int(theExponent))));
    };
    thePrecinct = anIndex(theX, anXRsiz, aGrid.itsPPx, aGrid.itsRect.itsX0) +
                  aGrid.itsWide * anIndex(theY, anYRsiz, aGrid.itsPPy, aGrid.itsRect.itsY0);
    return true;
}

std::pair<unsigned int, unsigned int> PlainPackets::GetLog2Block(unsigned int theComponent,
                                                                 unsigned int theResolution) const
{
    const j2k::ComponentCoding& aCoding = itsCoding.itsComponents[theComponent];
    const Grid aGrid = GetGrid(theComponent, theResolution);
    const unsigned int aLess = theResolution == 0 ? 0 : 1;
    return {std::min<unsigned int>(aCoding.itsLog2BlockWidth, aGrid.itsPPx - aLess),
            std::min<unsigned int>(aCoding.itsLog2BlockHeight, aGrid.itsPPy - aLess)};
}

PlainBlocks PlainPackets::ListBlocks(unsigned int theComponent, unsigned int theResolution,
                                     unsigned int theBand, std::uint64_t thePrecinct) const
{
    const Grid aGrid = GetGrid(theComponent, theResolution);
    const j2k::Rect aRect = GetSubband(theComponent, theResolution, theBand);
    const auto [aWidth, aHeight] = GetLog2Block(theComponent, theResolution);
    const unsigned int aLess = theResolution == 0 ? 0 : 1;
    const std::uint64_t aColumn = thePrecinct % aGrid.itsWide + (aGrid.itsRect.itsX0 >> aGrid.itsPPx);
    const std::uint64_t aRow = thePrecinct / aGrid.itsWide + (aGrid.itsRect.itsY0 >> aGrid.itsPPy);
    std::set<std::pair<std::uint32_t, std::uint32_t>> aBlocks; // by row, then column
    for (std::uint32_t y = aRect.itsY0; y < aRect.itsY1; ++y)
    {
        for (std::uint32_t x = aRect.itsX0; x < aRect.itsX1; ++x)
        {
            if (x >> (aGrid.itsPPx - aLess) == aColumn && y >> (aGrid.itsPPy - aLess) == aRow)
            {
                aBlocks.emplace((y >> aHeight) - (aRect.itsY0 >> aHeight),
                                (x >> aWidth) - (aRect.itsX0 >> aWidth));
            }
        }
    }
    PlainBlocks aResult;
    for (const auto& [aBlockRow, aBlockColumn] : aBlocks)
    {
        aResult.emplace_back(aBlockColumn, aBlockRow);
    }
    return aResult;
}

j2k::Rect PlainPackets::GetBlock(unsigned int theComponent, unsigned int theResolution, unsigned int theBand,
                                 std::pair<std::uint32_t, std::uint32_t> theBlock) const
{
    const j2k::Rect aRect = GetSubband(theComponent, theResolution, theBand);
    const auto [aWidth, aHeight] = GetLog2Block(theComponent, theResolution);
    const auto aPlace = [](std::uint32_t theBegin, std::uint32_t theEnd, unsigned int theLog2Size,
                           std::uint32_t theIndex, std::uint32_t& theFrom, std::uint32_t& theTo)
    {
        theFrom = theTo = 0;
        for (std::uint32_t i = theEnd; i-- > theBegin;)
        {
            if ((i >> theLog2Size) - (theBegin >> theLog2Size) == theIndex)
            {
                theFrom = i - theBegin;
                theTo = std::max(theTo, theFrom + 1);
            }
        }
    };
    j2k::Rect aResult;
    aPlace(aRect.itsX0, aRect.itsX1, aWidth, theBlock.first, aResult.itsX0, aResult.itsX1);
    aPlace(aRect.itsY0, aRect.itsY1, aHeight, theBlock.second, aResult.itsY0, aResult.itsY1);
    return aResult;
}
