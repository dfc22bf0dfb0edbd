// SPDX-License-Identifier: Apache-2.0
#include "support/CodestreamBuilder.h"

namespace
{

using Bytes = CodestreamBuilder::Bytes;

void Put(Bytes& theBytes, std::uint64_t theValue, int theCount)
{
    for (int aShift = 8 * (theCount - 1); aShift >= 0; aShift -= 8)
    {
        theBytes.push_back(static_cast<std::uint8_t>(theValue >> aShift));
    }
}

void Put(Bytes& theBytes, int theValue, int theCount)
{
    Put(theBytes, static_cast<std::uint64_t>(theValue), theCount);
}

void Append(Bytes& theBytes, const Bytes& theMore)
{
    theBytes.insert(theBytes.end(), theMore.begin(), theMore.end());
}

} // namespace

CodestreamBuilder CodestreamBuilder::Begin(const Image& theImage, const Coding& theCoding,
                                           const Steps& theSteps)
{
    CodestreamBuilder aResult(theImage.itsComponents.size());
    aResult.Marker(0xFF4F).Siz(theImage).Cod(theCoding).Qcd(theSteps);
    return aResult;
}

CodestreamBuilder& CodestreamBuilder::Marker(unsigned int theCode)
{
    Put(itsBytes, std::uint64_t(theCode), 2);
    return *this;
}

CodestreamBuilder& CodestreamBuilder::Segment(unsigned int theCode, const Bytes& theBody,
                                              std::optional<int> theLength)
{
    Marker(theCode);
    Put(itsBytes, theLength.value_or(static_cast<int>(theBody.size()) + 2), 2);
    return Raw(theBody);
}

CodestreamBuilder& CodestreamBuilder::Raw(const Bytes& theBytes)
{
    Append(itsBytes, theBytes);
    return *this;
}

CodestreamBuilder& CodestreamBuilder::Siz(const Image& theImage)
{
    Bytes aBody;
    Put(aBody, std::uint64_t(theImage.itsCapabilities), 2);
    for (const std::uint32_t aValue :
         {theImage.itsX1, theImage.itsY1, theImage.itsX0, theImage.itsY0, theImage.itsTileWidth,
          theImage.itsTileHeight, theImage.itsTileOriginX, theImage.itsTileOriginY})
    {
        Put(aBody, std::uint64_t(aValue), 4);
    }
    Put(aBody, std::uint64_t(theImage.itsCount.value_or(theImage.itsComponents.size())), 2);
    for (const Component& aComponent : theImage.itsComponents)
    {
        Put(aBody, aComponent.itsDepth - 1 + (aComponent.itsSigned ? 128 : 0), 1);
        Put(aBody, aComponent.itsXRsiz, 1);
        Put(aBody, aComponent.itsYRsiz, 1);
    }
    return Segment(0xFF51, aBody);
}

Bytes CodestreamBuilder::StyleBytes(const Style& theStyle) const
{
    Bytes aResult;
    for (const int aValue : {theStyle.itsLevels, theStyle.itsBlockWidth, theStyle.itsBlockHeight,
                             theStyle.itsBlockStyle, theStyle.itsTransform})
    {
        Put(aResult, aValue, 1);
    }
    Append(aResult, theStyle.itsPrecincts);
    return aResult;
}

Bytes CodestreamBuilder::StepsBytes(const Steps& theSteps) const
{
    Bytes aResult;
    Put(aResult, theSteps.itsStyle + (theSteps.itsGuardBits << 5), 1);
    for (const int aStep : theSteps.itsSteps)
    {
        Put(aResult, aStep, theSteps.itsStyle == 0 ? 1 : 2);
    }
    return aResult;
}

void CodestreamBuilder::PutComponent(Bytes& theBytes, int theComponent) const
{
    Put(theBytes, theComponent, itsIsWide ? 2 : 1);
}

CodestreamBuilder& CodestreamBuilder::Cod(const Coding& theCoding)
{
    Bytes aBody;
    Put(aBody, theCoding.itsScod | (theCoding.itsStyle.itsPrecincts.empty() ? 0 : 1), 1);
    Put(aBody, theCoding.itsOrder, 1);
    Put(aBody, theCoding.itsLayers, 2);
    Put(aBody, theCoding.itsTransform, 1);
    Append(aBody, StyleBytes(theCoding.itsStyle));
    return Segment(0xFF52, aBody);
}

CodestreamBuilder& CodestreamBuilder::Coc(int theComponent, const Style& theStyle)
{
    Bytes aBody;
    PutComponent(aBody, theComponent);
    Put(aBody, theStyle.itsPrecincts.empty() ? 0 : 1, 1);
    Append(aBody, StyleBytes(theStyle));
    return Segment(0xFF53, aBody);
}

CodestreamBuilder& CodestreamBuilder::Qcd(const Steps& theSteps)
{
    return Segment(0xFF5C, StepsBytes(theSteps));
}

CodestreamBuilder& CodestreamBuilder::Qcc(int theComponent, const Steps& theSteps)
{
    Bytes aBody;
    PutComponent(aBody, theComponent);
    Append(aBody, StepsBytes(theSteps));
    return Segment(0xFF5D, aBody);
}

CodestreamBuilder& CodestreamBuilder::Rgn(int theComponent, int theShift, int theStyle)
{
    Bytes aBody;
    PutComponent(aBody, theComponent);
    Put(aBody, theStyle, 1);
    Put(aBody, theShift, 1);
    return Segment(0xFF5E, aBody);
}

CodestreamBuilder& CodestreamBuilder::Poc(const std::vector<Progression>& theProgressions)
{
    Bytes aBody;
    for (const Progression& aProgression : theProgressions)
    {
        Put(aBody, aProgression.itsFirstResolution, 1);
        PutComponent(aBody, aProgression.itsFirstComponent);
        Put(aBody, aProgression.itsEndLayer, 2);
        Put(aBody, aProgression.itsEndResolution, 1);
        PutComponent(aBody, aProgression.itsEndComponent);
        Put(aBody, aProgression.itsOrder, 1);
    }
    return Segment(0xFF5F, aBody);
}

CodestreamBuilder& CodestreamBuilder::Add(const TilePart& theTilePart)
{
    const std::size_t aLength =
        12 + theTilePart.itsHeader.size() + (theTilePart.itsHasSOD ? 2 : 0) + theTilePart.itsBody.size();
    Bytes aBody;
    Put(aBody, theTilePart.itsTile, 2);
    Put(aBody, std::uint64_t(theTilePart.itsLength.value_or(static_cast<std::uint32_t>(aLength))), 4);
    Put(aBody, theTilePart.itsPart, 1);
    Put(aBody, theTilePart.itsParts, 1);
    Segment(0xFF90, aBody).Raw(theTilePart.itsHeader);
    if (theTilePart.itsHasSOD)
    {
        Marker(0xFF93);
    }
    return Raw(theTilePart.itsBody);
}

CodestreamBuilder& CodestreamBuilder::Eoc()
{
    return Marker(0xFFD9);
}
