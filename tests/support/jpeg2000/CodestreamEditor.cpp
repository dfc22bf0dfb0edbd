// SPDX-License-Identifier: Apache-2.0
#include "support/jpeg2000/CodestreamEditor.h"

#include <algorithm>
#include <deque>
#include <map>
#include <stdexcept>

#include "support/Words.h"

namespace
{
using Bytes = CodestreamEditor::Bytes;
using Segment = CodestreamEditor::Segment;
using Packet = CodestreamEditor::Packet;
using TilePart = CodestreamEditor::TilePart;

enum Marker : std::uint16_t
{
    SOC = 0xFF4F,
    COD = 0xFF52,
    TLM = 0xFF55,
    PLT = 0xFF58,
    PPM = 0xFF60,
    PPT = 0xFF61,
    SOT = 0xFF90,
    SOP = 0xFF91,
    EPH = 0xFF92,
    SOD = 0xFF93,
    EOC = 0xFFD9
};

std::uint32_t Get(const Bytes& theBytes, std::size_t thePosition, std::size_t theCount)
{
    std::uint32_t aValue = 0;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aValue = aValue << 8 | theBytes.at(thePosition + i);
    }
    return aValue;
}

void Append(Bytes& theBytes, const Bytes& theMore)
{
    theBytes.insert(theBytes.end(), theMore.begin(), theMore.end());
}

void PutSegment(Bytes& theBytes, const Segment& theSegment)
{
    PutBigEndian(theBytes, theSegment.itsMarker, 2);
    PutBigEndian(theBytes, theSegment.itsContent.size() + 2, 2);
    Append(theBytes, theSegment.itsContent);
}

Segment ReadSegment(const Bytes& theStream, std::size_t& thePosition)
{
    Segment aSegment;
    aSegment.itsMarker = static_cast<std::uint16_t>(Get(theStream, thePosition, 2));
    const std::size_t aLength = Get(theStream, thePosition + 2, 2);
    const auto aStart = theStream.begin() + static_cast<std::ptrdiff_t>(thePosition);
    aSegment.itsContent.assign(aStart + 4, aStart + 2 + static_cast<std::ptrdiff_t>(aLength));
    thePosition += 2 + aLength;
    return aSegment;
}

/// Where theMarker is found from thePosition on, or theEnd. Neither headers nor bodies can contain one.
std::size_t Find(const Bytes& theStream, std::uint16_t theMarker, std::size_t thePosition, std::size_t theEnd)
{
    while (thePosition < theEnd && (thePosition + 1 == theEnd || Get(theStream, thePosition, 2) != theMarker))
    {
        ++thePosition;
    }
    return thePosition;
}

Packet ReadPacket(const Bytes& theStream, std::size_t& thePosition, std::size_t theEnd)
{
    if (Get(theStream, thePosition, 2) != SOP)
    {
        throw std::runtime_error("a packet without SOP");
    }
    const std::size_t aHeader = thePosition + 6;
    const std::size_t aHeaderEnd = Find(theStream, EPH, aHeader, theEnd);
    const std::size_t aBody = aHeaderEnd + 2;
    thePosition = Find(theStream, SOP, aBody, theEnd);
    const auto aPlace = [&](std::size_t theOffset)
    { return theStream.begin() + static_cast<std::ptrdiff_t>(theOffset); };
    return {Bytes(aPlace(aHeader), aPlace(aHeaderEnd)), Bytes(aPlace(aBody), aPlace(thePosition))};
}

/// theBytes in segments that end anywhere, the index in front of each, the last one first.
void PutPieces(Bytes& theOutput, std::uint16_t theMarker, const Bytes& theBytes)
{
    const std::size_t aLargest = std::max<std::size_t>(7, theBytes.size() / 200);
    for (std::size_t anIndex = (theBytes.size() + aLargest - 1) / aLargest; anIndex-- > 0;)
    {
        const auto aStart = theBytes.begin() + static_cast<std::ptrdiff_t>(anIndex * aLargest);
        const std::size_t aCount = std::min(aLargest, theBytes.size() - anIndex * aLargest);
        Segment aSegment{theMarker, {static_cast<std::uint8_t>(anIndex)}};
        aSegment.itsContent.insert(aSegment.itsContent.end(), aStart,
                                   aStart + static_cast<std::ptrdiff_t>(aCount));
        PutSegment(theOutput, aSegment);
    }
}
} // namespace

CodestreamEditor::CodestreamEditor(const Bytes& theStream)
{
    std::size_t aPosition = 0;
    ReadMainHeader(theStream, aPosition);
    while (Get(theStream, aPosition, 2) == SOT)
    {
        ReadTilePart(theStream, aPosition);
    }
}

void CodestreamEditor::ReadMainHeader(const Bytes& theStream, std::size_t& thePosition)
{
    thePosition = 2;
    while (Get(theStream, thePosition, 2) != SOT)
    {
        Segment aSegment = ReadSegment(theStream, thePosition);
        if (aSegment.itsMarker != TLM) // true no longer once parts are moved
        {
            itsMainSegments.push_back(std::move(aSegment));
        }
    }
}

void CodestreamEditor::ReadTilePart(const Bytes& theStream, std::size_t& thePosition)
{
    const std::size_t anEnd = thePosition + Get(theStream, thePosition + 6, 4);
    TilePart aPart;
    aPart.itsTile = static_cast<std::uint16_t>(Get(theStream, thePosition + 4, 2));
    aPart.itsIndex = theStream.at(thePosition + 10);
    aPart.itsCount = theStream.at(thePosition + 11);
    thePosition += 12;
    while (Get(theStream, thePosition, 2) != SOD)
    {
        Segment aSegment = ReadSegment(theStream, thePosition);
        if (aSegment.itsMarker != PLT)
        {
            aPart.itsSegments.push_back(std::move(aSegment));
        }
    }
    thePosition += 2;
    while (thePosition < anEnd)
    {
        aPart.itsPackets.push_back(ReadPacket(theStream, thePosition, anEnd));
    }
    itsTileParts.push_back(std::move(aPart));
}

void CodestreamEditor::Scatter(std::size_t thePackets)
{
    std::map<std::uint16_t, std::deque<TilePart>> aTiles;
    for (const TilePart& aPart : itsTileParts)
    {
        std::deque<TilePart>& aParts = aTiles[aPart.itsTile];
        for (std::size_t i = 0; i < aPart.itsPackets.size(); i += thePackets)
        {
            TilePart aPiece{aPart.itsTile, static_cast<std::uint8_t>(aParts.size()), 0, {}, {}};
            const auto aStart = aPart.itsPackets.begin() + static_cast<std::ptrdiff_t>(i);
            const std::size_t aCount = std::min(thePackets, aPart.itsPackets.size() - i);
            aPiece.itsPackets.assign(aStart, aStart + static_cast<std::ptrdiff_t>(aCount));
            aPiece.itsSegments = i == 0 ? aPart.itsSegments : std::vector<Segment>{};
            aParts.push_back(std::move(aPiece));
        }
        aParts.back().itsCount = static_cast<std::uint8_t>(aParts.size());
    }
    itsTileParts.clear();
    while (!aTiles.empty())
    {
        for (auto aTile = aTiles.begin(); aTile != aTiles.end();)
        {
            itsTileParts.push_back(std::move(aTile->second.front()));
            aTile->second.pop_front();
            aTile = aTile->second.empty() ? aTiles.erase(aTile) : std::next(aTile);
        }
    }
}

CodestreamEditor::Bytes CodestreamEditor::JoinHeaders(const TilePart& thePart, bool theKeepsMarkers)
{
    Bytes aBytes;
    for (const Packet& aPacket : thePart.itsPackets)
    {
        Append(aBytes, aPacket.itsHeader);
        if (theKeepsMarkers)
        {
            PutBigEndian(aBytes, EPH, 2);
        }
    }
    return aBytes;
}

Bytes CodestreamEditor::JoinBody(const TilePart& thePart, Headers theHeaders, bool theKeepsMarkers,
                                 std::size_t& thePacketNumber)
{
    Bytes aBytes;
    for (const Packet& aPacket : thePart.itsPackets)
    {
        if (theKeepsMarkers)
        {
            PutBigEndian(aBytes, SOP, 2);
            PutBigEndian(aBytes, 4, 2);
            PutBigEndian(aBytes, thePacketNumber++ & 0xFFFF, 2);
        }
        if (theHeaders == Headers::InPlace)
        {
            Append(aBytes, aPacket.itsHeader);
            PutBigEndian(aBytes, EPH, theKeepsMarkers ? 2 : 0);
        }
        Append(aBytes, aPacket.itsBody);
    }
    return aBytes;
}

void CodestreamEditor::JoinMainHeader(Bytes& theStream, Headers theHeaders, bool theKeepsMarkers) const
{
    PutBigEndian(theStream, SOC, 2);
    for (Segment aSegment : itsMainSegments)
    {
        if (aSegment.itsMarker == COD && !theKeepsMarkers)
        {
            aSegment.itsContent.at(0) &= 1; // neither SOP nor EPH
        }
        PutSegment(theStream, aSegment);
    }
    if (theHeaders == Headers::InMain)
    {
        Bytes aPacked;
        for (const TilePart& aPart : itsTileParts)
        {
            const Bytes aHeaders = JoinHeaders(aPart, theKeepsMarkers);
            PutBigEndian(aPacked, aHeaders.size(), 4);
            Append(aPacked, aHeaders);
        }
        PutPieces(theStream, PPM, aPacked);
    }
}

Bytes CodestreamEditor::Join(Headers theHeaders, bool theKeepsMarkers) const
{
    Bytes aStream;
    JoinMainHeader(aStream, theHeaders, theKeepsMarkers);
    std::map<std::uint16_t, std::size_t> aPacketNumbers;
    for (const TilePart& aPart : itsTileParts)
    {
        Bytes aRest; // from the first marker segment behind SOT on
        std::for_each(aPart.itsSegments.begin(), aPart.itsSegments.end(),
                      [&](const Segment& theSegment) { PutSegment(aRest, theSegment); });
        if (theHeaders == Headers::InTile)
        {
            PutPieces(aRest, PPT, JoinHeaders(aPart, theKeepsMarkers));
        }
        PutBigEndian(aRest, SOD, 2);
        Append(aRest, JoinBody(aPart, theHeaders, theKeepsMarkers, aPacketNumbers[aPart.itsTile]));
        Segment aStart{SOT, {}};
        PutBigEndian(aStart.itsContent, aPart.itsTile, 2);
        PutBigEndian(aStart.itsContent, 12 + aRest.size(), 4);
        PutBigEndian(aStart.itsContent, aPart.itsIndex, 1);
        PutBigEndian(aStart.itsContent, aPart.itsCount, 1);
        PutSegment(aStream, aStart);
        Append(aStream, aRest);
    }
    PutBigEndian(aStream, EOC, 2);
    return aStream;
}
