// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodingSegments.h"

#include <algorithm>
#include <string>

namespace j2k
{

namespace
{

/// The entry for a component by precedence.
template <typename Entry>
const Entry& Choose(std::uint16_t theComponent, const std::map<std::uint16_t, Entry>& theTileComponents,
                    const std::optional<Entry>& theTile,
                    const std::map<std::uint16_t, Entry>& theMainComponents,
                    const std::optional<Entry>& theMain)
{
    if (const auto aPlace = theTileComponents.find(theComponent); aPlace != theTileComponents.end())
    {
        return aPlace->second;
    }
    if (theTile)
    {
        return *theTile;
    }
    if (const auto aPlace = theMainComponents.find(theComponent); aPlace != theMainComponents.end())
    {
        return aPlace->second;
    }
    return *theMain;
}

void SetStyle(const CodingStyle& theStyle, ComponentCoding& theCoding)
{
    theCoding.itsLevels = theStyle.itsLevels;
    theCoding.itsLog2BlockWidth = theStyle.itsLog2BlockWidth;
    theCoding.itsLog2BlockHeight = theStyle.itsLog2BlockHeight;
    theCoding.itsBlockStyle = theStyle.itsBlockStyle;
    theCoding.itsReversible = theStyle.itsReversible;
    theCoding.itsPrecinctSizes = theStyle.itsPrecinctSizes;
}

/// Exponents fall by one with every level from LL upwards (E-5).
void DeriveSteps(std::uint16_t theStep, ComponentCoding& theCoding)
{
    const int anExponent = theStep >> 11;
    const unsigned int aMantissa = theStep & 0x7FF;
    for (unsigned int aBand = 0; aBand < 3U * theCoding.itsLevels + 1; ++aBand)
    {
        const int aFall = aBand == 0 ? 0 : static_cast<int>((aBand - 1) / 3);
        const auto aBandExponent = static_cast<unsigned int>(std::max(anExponent - aFall, 0));
        theCoding.itsSteps[aBand] = static_cast<std::uint16_t>((aBandExponent << 11) | aMantissa);
    }
}

void SetQuantization(const Quantization& theQuantization, std::size_t theComponent, Reports* theReports,
                     ComponentCoding& theCoding)
{
    theCoding.itsQuantization = theQuantization.itsStyle;
    theCoding.itsGuardBits = theQuantization.itsGuardBits;
    if (theReports != nullptr && theCoding.itsReversible &&
        theCoding.itsQuantization != QuantizationStyle::None)
    {
        theReports->NonConformance("Component " + std::to_string(theComponent) +
                                       " is quantized in spite of the reversible transform",
                                   theQuantization.itsOffset);
    }
    if (theQuantization.itsStyle == QuantizationStyle::Derived)
    {
        DeriveSteps(theQuantization.itsSteps.front(), theCoding);
        return;
    }
    const std::size_t aNeeded = 3U * theCoding.itsLevels + 1;
    const std::size_t aGiven = std::min(aNeeded, theQuantization.itsSteps.size());
    if (theReports != nullptr && aGiven < aNeeded)
    {
        theReports->Error("Component " + std::to_string(theComponent) + " has " + std::to_string(aNeeded) +
                              " subbands and only " + std::to_string(aGiven) + " step sizes in QCD or QCC",
                          theQuantization.itsOffset);
    }
    std::copy_n(theQuantization.itsSteps.begin(), aGiven, theCoding.itsSteps.begin());
}

} // namespace

TileCoding MergeCoding(const CodingSegments& theMain, const CodingSegments& theTile,
                       std::size_t theComponents, Reports* theReports)
{
    TileCoding aResult;
    const ProgressionStyle& aStyle =
        theTile.itsProgressionStyle ? *theTile.itsProgressionStyle : *theMain.itsProgressionStyle;
    aResult.itsOrder = aStyle.itsOrder;
    aResult.itsLayers = aStyle.itsLayers;
    aResult.itsComponentTransform = aStyle.itsComponentTransform;
    aResult.itsMayHaveSOP = aStyle.itsMayHaveSOP;
    aResult.itsHasEPH = aStyle.itsHasEPH;
    aResult.itsComponents.resize(theComponents);
    for (std::size_t anIndex = 0; anIndex < theComponents; ++anIndex)
    {
        const auto aComponent = static_cast<std::uint16_t>(anIndex);
        ComponentCoding& aCoding = aResult.itsComponents[anIndex];
        SetStyle(Choose(aComponent, theTile.itsComponentStyles, theTile.itsStyle, theMain.itsComponentStyles,
                        theMain.itsStyle),
                 aCoding);
        SetQuantization(Choose(aComponent, theTile.itsComponentQuantizations, theTile.itsQuantization,
                               theMain.itsComponentQuantizations, theMain.itsQuantization),
                        anIndex, theReports, aCoding);
    }
    for (const CodingSegments* someSegments : {&theMain, &theTile})
    {
        for (const auto& [aComponent, aShift] : someSegments->itsRoiShifts)
        {
            aResult.itsComponents[aComponent].itsRoiShift = aShift;
        }
    }
    return aResult;
}

} // namespace j2k
