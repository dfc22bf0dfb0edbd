// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodingSegments.h"

#include "engine/detail/markers/MarkerReader.h"

#include <utility>

namespace j2k
{

namespace
{

constexpr unsigned int kUserPrecincts = 1; // bits of Scod and Scoc
constexpr unsigned int kSopBit = 2;
constexpr unsigned int kEphBit = 4;
constexpr unsigned int kBlockAnchorBits = 0x18;

std::uint8_t TakeBlockSize(SegmentCursor& theCursor)
{
    constexpr unsigned int kLargest = 8;
    const unsigned int aValue = theCursor.TakeByte();
    if (aValue > kLargest)
    {
        theCursor.Error("a code-block is wider or higher than 1024");
    }
    return static_cast<std::uint8_t>(aValue + 2);
}

std::uint8_t TakeBlockStyle(SegmentCursor& theCursor)
{
    const std::uint8_t aStyle = theCursor.TakeByte();
    if ((aStyle & (CBS_HIGH_THROUGHPUT | CBS_MIXED)) == CBS_MIXED)
    {
        theCursor.Error("unknown code-block style");
    }
    return aStyle;
}

void TakePrecincts(SegmentCursor& theCursor, bool isGiven, CodingStyle& theStyle)
{
    constexpr std::uint8_t kLargest = 0xFF;
    theStyle.itsPrecinctSizes.fill(kLargest);
    if (!isGiven)
    {
        return;
    }
    for (unsigned int aLevel = 0; aLevel <= theStyle.itsLevels; ++aLevel)
    {
        const std::uint8_t aSize = theCursor.TakeByte();
        if (aLevel > 0 && ((aSize & 15) == 0 || aSize >> 4 == 0))
        {
            theCursor.Error("a precinct above the lowest resolution has the size 1");
        }
        theStyle.itsPrecinctSizes[aLevel] = aSize;
    }
}

CodingStyle TakeStyle(SegmentCursor& theCursor, bool hasPrecincts)
{
    CodingStyle aStyle;
    aStyle.itsLevels = theCursor.TakeByte();
    if (aStyle.itsLevels > kMaxLevels)
    {
        theCursor.Error("more than 32 decomposition levels");
    }
    aStyle.itsLog2BlockWidth = TakeBlockSize(theCursor);
    aStyle.itsLog2BlockHeight = TakeBlockSize(theCursor);
    if (aStyle.itsLog2BlockWidth + aStyle.itsLog2BlockHeight > 12)
    {
        theCursor.Error("code-blocks of more than 4096 samples");
    }
    aStyle.itsBlockStyle = TakeBlockStyle(theCursor);
    const unsigned int aTransform = theCursor.TakeByte();
    if (aTransform > 1)
    {
        theCursor.Error("wavelet transform " + std::to_string(aTransform) + " is not supported");
    }
    aStyle.itsReversible = aTransform == 1;
    TakePrecincts(theCursor, hasPrecincts, aStyle);
    return aStyle;
}

/// Step sizes as they are stored, widened to exponent and mantissa.
Quantization TakeQuantization(SegmentCursor& theCursor, std::uint64_t theOffset)
{
    const unsigned int aStyle = theCursor.TakeByte();
    Quantization aResult;
    aResult.itsOffset = theOffset;
    aResult.itsGuardBits = static_cast<std::uint8_t>(aStyle >> 5);
    if ((aStyle & 31) > static_cast<unsigned int>(QuantizationStyle::Expounded))
    {
        theCursor.Error("quantization style " + std::to_string(aStyle & 31) + " is not supported");
    }
    aResult.itsStyle = static_cast<QuantizationStyle>(aStyle & 31);
    const bool isByte = aResult.itsStyle == QuantizationStyle::None;
    const std::size_t aMost = aResult.itsStyle == QuantizationStyle::Derived ? 1 : kMaxSubbands;
    while (theCursor.GetRest().size() >= (isByte ? 1 : 2) && aResult.itsSteps.size() < aMost)
    {
        const unsigned int aStep =
            isByte ? static_cast<unsigned int>(theCursor.TakeByte() >> 3) << 11 : theCursor.TakeWord();
        aResult.itsSteps.push_back(static_cast<std::uint16_t>(aStep));
    }
    if (aResult.itsSteps.empty())
    {
        theCursor.Error("the marker segment is too short");
    }
    return aResult;
}

} // namespace

bool CodingSegmentReader::IsCodingMarker(Marker theMarker)
{
    switch (theMarker)
    {
    case Marker::COD:
    case Marker::COC:
    case Marker::QCD:
    case Marker::QCC:
    case Marker::RGN:
    case Marker::POC:
        return true;
    default:
        return false;
    }
}

void CodingSegmentReader::Read(const MarkerSegment& theSegment, CodingSegments& theSegments)
{
    SegmentCursor aCursor(theSegment, itsReports);
    switch (theSegment.itsMarker)
    {
    case Marker::COD:
        ReadCod(aCursor, theSegments);
        break;
    case Marker::COC:
        ReadCoc(aCursor, theSegments);
        break;
    case Marker::QCD:
        ReadQcd(aCursor, theSegment.itsOffset, theSegments);
        break;
    case Marker::QCC:
        ReadQcc(aCursor, theSegment.itsOffset, theSegments);
        break;
    case Marker::RGN:
        ReadRgn(aCursor, theSegments);
        break;
    default:
        ReadPoc(aCursor, theSegments);
        break;
    }
}

bool CodingSegmentReader::TakeComponent(SegmentCursor& theCursor, std::uint16_t& theComponent) const
{
    theComponent = theCursor.TakeComponent(itsComponents);
    if (theComponent < itsComponents)
    {
        return true;
    }
    theCursor.NonConformance("there is no component " + std::to_string(theComponent));
    return false;
}

void CodingSegmentReader::ReadCod(SegmentCursor& theCursor, CodingSegments& theSegments)
{
    if (theSegments.itsStyle)
    {
        theCursor.NonConformance("a second one in the same header");
    }
    const unsigned int aScod = theCursor.TakeByte();
    const unsigned int anOrder = theCursor.TakeByte();
    ProgressionStyle aStyle;
    aStyle.itsLayers = theCursor.TakeWord();
    const unsigned int aTransform = theCursor.TakeByte();
    if ((aScod & kBlockAnchorBits) != 0)
    {
        theCursor.Error("code-block anchors of ISO/IEC 15444-2 (extensions) are not supported");
    }
    if (aScod > (kUserPrecincts | kSopBit | kEphBit))
    {
        theCursor.NonConformance("unknown bits in the coding style");
    }
    if (anOrder > static_cast<unsigned int>(ProgressionOrder::CPRL))
    {
        theCursor.Error("unknown progression order " + std::to_string(anOrder));
    }
    if (aStyle.itsLayers == 0)
    {
        theCursor.Error("no quality layers");
    }
    if (aTransform > 1)
    {
        theCursor.Error("component transform " + std::to_string(aTransform) + " is not supported");
    }
    if (aTransform == 1 && itsComponents < 3)
    {
        theCursor.NonConformance("a component transform over fewer than three components");
    }
    aStyle.itsOrder = static_cast<ProgressionOrder>(anOrder);
    aStyle.itsComponentTransform = aTransform == 1 && itsComponents >= 3;
    aStyle.itsMayHaveSOP = (aScod & kSopBit) != 0;
    aStyle.itsHasEPH = (aScod & kEphBit) != 0;
    theSegments.itsStyle = TakeStyle(theCursor, (aScod & kUserPrecincts) != 0);
    theSegments.itsProgressionStyle = aStyle;
    theCursor.ExpectEnd();
}

void CodingSegmentReader::ReadCoc(SegmentCursor& theCursor, CodingSegments& theSegments)
{
    std::uint16_t aComponent = 0;
    if (!TakeComponent(theCursor, aComponent))
    {
        return;
    }
    const unsigned int aScoc = theCursor.TakeByte();
    if ((aScoc & kBlockAnchorBits) != 0)
    {
        theCursor.Error("code-block anchors of ISO/IEC 15444-2 (extensions) are not supported");
    }
    if (aScoc > kUserPrecincts)
    {
        theCursor.NonConformance("unknown bits in the coding style");
    }
    const CodingStyle aStyle = TakeStyle(theCursor, (aScoc & kUserPrecincts) != 0);
    if (!theSegments.itsComponentStyles.insert_or_assign(aComponent, aStyle).second)
    {
        theCursor.NonConformance("a second one for the same component");
    }
    theCursor.ExpectEnd();
}

void CodingSegmentReader::ReadQcd(SegmentCursor& theCursor, std::uint64_t theOffset,
                                  CodingSegments& theSegments)
{
    if (theSegments.itsQuantization)
    {
        theCursor.NonConformance("a second one in the same header");
    }
    theSegments.itsQuantization = TakeQuantization(theCursor, theOffset);
    theCursor.ExpectEnd();
}

void CodingSegmentReader::ReadQcc(SegmentCursor& theCursor, std::uint64_t theOffset,
                                  CodingSegments& theSegments)
{
    std::uint16_t aComponent = 0;
    if (!TakeComponent(theCursor, aComponent))
    {
        return;
    }
    Quantization aQuantization = TakeQuantization(theCursor, theOffset);
    if (!theSegments.itsComponentQuantizations.insert_or_assign(aComponent, std::move(aQuantization)).second)
    {
        theCursor.NonConformance("a second one for the same component");
    }
    theCursor.ExpectEnd();
}

void CodingSegmentReader::ReadRgn(SegmentCursor& theCursor, CodingSegments& theSegments)
{
    std::uint16_t aComponent = 0;
    if (!TakeComponent(theCursor, aComponent))
    {
        return;
    }
    const unsigned int aStyle = theCursor.TakeByte();
    if (aStyle != 0)
    {
        theCursor.Error("regions of interest of ISO/IEC 15444-2 (extensions) are not supported");
    }
    const std::uint8_t aShift = theCursor.TakeByte();
    if (!theSegments.itsRoiShifts.insert_or_assign(aComponent, aShift).second)
    {
        theCursor.NonConformance("a second one for the same component");
    }
    theCursor.ExpectEnd();
}

void CodingSegmentReader::ReadPoc(SegmentCursor& theCursor, CodingSegments& theSegments)
{
    const bool isWide = itsComponents >= 257;
    const std::size_t anEntryBytes = isWide ? 9 : 7;
    while (theCursor.GetRest().size() >= anEntryBytes)
    {
        Progression aProgression;
        aProgression.itsFirstResolution = theCursor.TakeByte();
        aProgression.itsFirstComponent = theCursor.TakeComponent(itsComponents);
        aProgression.itsEndLayer = theCursor.TakeWord();
        aProgression.itsEndResolution = theCursor.TakeByte();
        const unsigned int anEnd = theCursor.TakeComponent(itsComponents);
        // 0 stands for the number that does not fit.
        aProgression.itsEndComponent =
            static_cast<std::uint16_t>(anEnd != 0 ? anEnd : (isWide ? 16384 : 256));
        const unsigned int anOrder = theCursor.TakeByte();
        if (anOrder > static_cast<unsigned int>(ProgressionOrder::CPRL))
        {
            theCursor.Error("unknown progression order " + std::to_string(anOrder));
        }
        aProgression.itsOrder = static_cast<ProgressionOrder>(anOrder);
        if (aProgression.itsEndResolution > kMaxLevels + 1)
        {
            theCursor.NonConformance("a progression ends behind resolution 33");
            aProgression.itsEndResolution = kMaxLevels + 1;
        }
        if (aProgression.itsFirstResolution >= aProgression.itsEndResolution ||
            aProgression.itsFirstComponent >= aProgression.itsEndComponent || aProgression.itsEndLayer == 0)
        {
            theCursor.NonConformance("a progression without any packet");
            continue;
        }
        theSegments.itsProgressions.push_back(aProgression);
    }
    theCursor.ExpectEnd();
}

} // namespace j2k
