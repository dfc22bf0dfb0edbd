// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/TilePartReader.h"

#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/MainHeader.h"
#include "engine/detail/markers/MarkerReader.h"

#include <algorithm>
#include <array>
#include <string>

namespace j2k
{

namespace
{

constexpr std::size_t kMarkerBytes = 2;

bool EndsWithEoc(const std::vector<BodyChunk>& theBody, std::size_t theFirst)
{
    if (theBody.size() <= theFirst)
    {
        return false;
    }
    const std::vector<std::uint8_t>& someBytes = theBody.back().itsBytes;
    return someBytes.size() >= 2 && someBytes[someBytes.size() - 2] == 0xFF && someBytes.back() == 0xD9;
}

std::array<std::uint8_t, kMarkerBytes> ToBytes(Marker theMarker)
{
    const auto aCode = static_cast<unsigned int>(theMarker);
    return {static_cast<std::uint8_t>(aCode >> 8), static_cast<std::uint8_t>(aCode & 0xFF)};
}

} // namespace

std::optional<double> CollectedTile::GetMissingShare() const
{
    if (itsTileParts == 0)
    {
        return 1.0;
    }
    double aThere = 0;
    for (const BodyChunk& aChunk : itsBody)
    {
        aThere += static_cast<double>(aChunk.itsBytes.size());
    }
    const std::uint32_t aParts = std::max(itsExpectedParts, itsTileParts);
    const double aWhole = (aThere + static_cast<double>(itsMissingBytes)) * aParts / itsTileParts;
    return itsLacksLength || aWhole <= aThere ? std::nullopt : std::optional((aWhole - aThere) / aWhole);
}

TilePartReader::TilePartReader(MarkerReader& theReader, MainHeader& theHeader, Reports& theReports)
    : itsReader(theReader), itsHeader(theHeader), itsReports(theReports), itsBodyReader(theReader.GetBytes())
{
}

void TilePartReader::ReadFirstStart()
{
    if (!ReadStart())
    {
        itsReports.Error("The codestream ends before its first tile-part", itsReader.GetBytes().GetOffset());
    }
}

bool TilePartReader::ReadStart()
{
    constexpr std::size_t kSegmentBytes = 10;
    MarkerSegment aSegment;
    aSegment.itsMarker = Marker::SOT;
    ByteReader& someBytes = itsReader.GetBytes();
    aSegment.itsOffset = someBytes.GetOffset() - kMarkerBytes;
    // SOD, or another marker, follows in any case.
    someBytes.Fetch(kSegmentBytes + kMarkerBytes);
    if (someBytes.GetAvailable().size() < kSegmentBytes)
    {
        return false;
    }
    aSegment.itsBody = someBytes.GetAvailable().first(kSegmentBytes);
    SegmentCursor aCursor(aSegment, itsReports);
    if (aCursor.TakeWord() != kSegmentBytes)
    {
        aCursor.Error("the length is not 10");
    }
    TilePartStart aStart;
    aStart.itsOffset = aSegment.itsOffset;
    aStart.itsTile = aCursor.TakeWord();
    aStart.itsLength = aCursor.TakeLong();
    aStart.itsPart = aCursor.TakeByte();
    aStart.itsParts = aCursor.TakeByte();
    someBytes.Skip(kSegmentBytes);
    itsNext = aStart;
    return true;
}

void TilePartReader::Read(CollectedTile& theTile)
{
    const TilePartStart aStart = *itsNext;
    itsNext.reset();
    CheckNumbers(aStart, theTile);
    PackedHeaders aPacked;
    const HeaderEnd anEnd = ReadHeader(theTile, aPacked);
    AddPackedHeaders(aStart, aPacked, theTile);
    ++theTile.itsTileParts;
    switch (anEnd)
    {
    case HeaderEnd::Body:
        ReadBody(aStart, theTile);
        break;
    case HeaderEnd::NextMarker:
        TakeNextMarker();
        break;
    case HeaderEnd::Truncated:
        CutShort(aStart.itsLength, theTile);
        break;
    }
}

void TilePartReader::CheckNumbers(const TilePartStart& theStart, CollectedTile& theTile)
{
    const std::string aTile = "SOT: tile " + std::to_string(theStart.itsTile);
    if (theStart.itsPart != theTile.itsTileParts)
    {
        itsReports.NonConformance(aTile + " has a tile-part numbered " + std::to_string(theStart.itsPart) +
                                      " in the place of " + std::to_string(theTile.itsTileParts),
                                  theStart.itsOffset);
    }
    if (theStart.itsParts > 0 && theTile.itsExpectedParts > 0 &&
        theStart.itsParts != theTile.itsExpectedParts)
    {
        itsReports.NonConformance(aTile + " has two different numbers of tile-parts", theStart.itsOffset);
    }
    theTile.itsExpectedParts = std::max(theTile.itsExpectedParts, theStart.itsParts);
    const std::uint32_t aLeast = std::max(theStart.itsPart, theTile.itsTileParts) + 1;
    if (theTile.itsExpectedParts > 0 && theTile.itsExpectedParts < aLeast)
    {
        itsReports.NonConformance(aTile + " has more tile-parts than announced", theStart.itsOffset);
        theTile.itsExpectedParts = aLeast;
    }
}

TilePartReader::HeaderEnd TilePartReader::ReadHeader(CollectedTile& theTile, PackedHeaders& thePacked)
{
    ByteReader& someBytes = itsReader.GetBytes();
    Marker aMarker = Marker::SOD;
    while (itsReader.ReadMarker(aMarker))
    {
        const std::uint64_t anOffset = someBytes.GetOffset() - kMarkerBytes;
        if (aMarker == Marker::SOD)
        {
            return HeaderEnd::Body;
        }
        if (aMarker == Marker::SOT || aMarker == Marker::EOC)
        {
            itsReports.NonConformance("SOD: missing in a tile-part's header", anOffset);
            someBytes.PutBack(ToBytes(aMarker));
            return HeaderEnd::NextMarker;
        }
        if (IsBareMarker(aMarker))
        {
            continue;
        }
        if (!IsSegmentMarker(aMarker))
        {
            itsReports.Error(GetMarkerName(aMarker) + ": cannot stand in a tile-part's header", anOffset);
        }
        MarkerSegment aSegment;
        if (!itsReader.ReadSegment(aMarker, aSegment))
        {
            break;
        }
        ReadHeaderSegment(aSegment, theTile, thePacked);
    }
    itsReports.NonConformance("The codestream ends inside a tile-part's header", someBytes.GetOffset());
    return HeaderEnd::Truncated;
}

void TilePartReader::ReadHeaderSegment(const MarkerSegment& theSegment, CollectedTile& theTile,
                                       PackedHeaders& thePacked)
{
    const std::size_t aCount = itsHeader.itsImage.itsComponents.size();
    const Marker aMarker = theSegment.itsMarker;
    // Only POC may come later than in a tile's first tile-part.
    if (CodingSegmentReader::IsCodingMarker(aMarker) && (theTile.itsTileParts == 0 || aMarker == Marker::POC))
    {
        CodingSegmentReader(aCount, itsReports).Read(theSegment, theTile.itsCoding);
    }
    else if (aMarker == Marker::PPT && !itsHeader.itsPackedHeaders.IsUsed())
    {
        thePacked.Add(theSegment, itsReports);
    }
    else
    {
        CheckOptionalSegment(theSegment, HeaderKind::TilePart, aCount, itsReports);
    }
}

void TilePartReader::AddPackedHeaders(const TilePartStart& theStart, const PackedHeaders& thePacked,
                                      CollectedTile& theTile)
{
    std::vector<std::uint8_t>& aTarget = theTile.itsPackedHeaders;
    if (itsHeader.itsPackedHeaders.IsUsed())
    {
        const auto aSource = itsHeader.itsPackedHeaders.TakeNext(theStart.itsOffset, itsReports);
        aTarget.insert(aTarget.end(), aSource.begin(), aSource.end());
        theTile.itsHasPackedHeaders = true;
    }
    else if (!thePacked.IsEmpty())
    {
        const std::vector<std::uint8_t> aSource = thePacked.Join(itsReports);
        aTarget.insert(aTarget.end(), aSource.begin(), aSource.end());
        theTile.itsHasPackedHeaders = true;
    }
}

void TilePartReader::ReadBody(const TilePartStart& theStart, CollectedTile& theTile)
{
    const std::uint64_t aHeaderBytes = itsReader.GetBytes().GetOffset() - theStart.itsOffset;
    const bool hasLength = theStart.itsLength != 0;
    if (hasLength && theStart.itsLength < aHeaderBytes)
    {
        itsReports.NonConformance("SOT: the length ends inside the tile-part's header", theStart.itsOffset);
        itsLengthsAreWrong = true;
    }
    if (hasLength && !itsLengthsAreWrong)
    {
        ReadCountedBody(theStart, theStart.itsLength - aHeaderBytes, theTile);
        return;
    }
    ReadOpenBody(true, theTile);
    if (!hasLength && itsNext)
    {
        itsReports.NonConformance("SOT: a tile-part without a length is not the last one",
                                  theStart.itsOffset);
    }
}

void TilePartReader::ReadCountedBody(const TilePartStart& theStart, std::uint64_t theCount,
                                     CollectedTile& theTile)
{
    const std::size_t aFirstChunk = theTile.itsBody.size();
    const bool isComplete = itsBodyReader.ReadCounted(theCount, theTile.itsBody);
    if (isComplete && !EndsWithEoc(theTile.itsBody, aFirstChunk) && TakeNextMarker())
    {
        return;
    }
    const bool isTooLong = itsBodyReader.CutAtMarker(theTile.itsBody, aFirstChunk);
    if (!isTooLong && !isComplete)
    {
        itsReports.NonConformance("The codestream ends inside a tile-part", itsReader.GetBytes().GetOffset());
        std::uint64_t aThere = 0;
        for (std::size_t i = aFirstChunk; i < theTile.itsBody.size(); ++i)
        {
            aThere += theTile.itsBody[i].itsBytes.size();
        }
        CutShort(theCount - aThere, theTile);
        return;
    }
    itsReports.NonConformance("SOT: the tile-part does not end where its length says", theStart.itsOffset);
    // Another length that leads astray would have the same bytes read over and over.
    itsLengthsAreWrong = true;
    if (isTooLong)
    {
        TakeNextMarker();
    }
    else
    {
        ReadOpenBody(theCount == 0, theTile);
    }
}

void TilePartReader::ReadOpenBody(bool isTilePartStart, CollectedTile& theTile)
{
    itsBodyReader.ReadToMarker(isTilePartStart, theTile.itsBody);
    TakeNextMarker();
    if (!itsNext && !itsHasSeenEnd)
    {
        CutShort(0, theTile);
    }
}

/// theMissing: 0 where that is not known.
void TilePartReader::CutShort(std::uint64_t theMissing, CollectedTile& theTile)
{
    theTile.itsIsCutShort = true;
    theTile.itsMissingBytes += theMissing;
    theTile.itsLacksLength = theTile.itsLacksLength || theMissing == 0;
}

bool TilePartReader::TakeNextMarker()
{
    ByteReader& someBytes = itsReader.GetBytes();
    Marker aMarker = Marker::EOC;
    if (!itsReader.ReadMarker(aMarker))
    {
        itsReports.NonConformance("EOC: missing at the end of the codestream", someBytes.GetOffset());
        return true;
    }
    if (aMarker == Marker::SOT)
    {
        if (!ReadStart())
        {
            itsReports.NonConformance("The codestream ends inside SOT", someBytes.GetOffset());
        }
        return true;
    }
    itsHasSeenEnd = aMarker == Marker::EOC;
    if (!itsHasSeenEnd)
    {
        someBytes.PutBack(ToBytes(aMarker));
    }
    return itsHasSeenEnd;
}

} // namespace j2k
