// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/MainHeader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

void PackedHeaders::Add(const MarkerSegment& theSegment, Reports& theReports)
{
    SegmentCursor aCursor(theSegment, theReports);
    Piece aPiece;
    aPiece.itsIndex = aCursor.TakeByte();
    aPiece.itsOffset = theSegment.itsOffset;
    aPiece.itsBytes.assign(aCursor.GetRest().begin(), aCursor.GetRest().end());
    itsPieces.push_back(std::move(aPiece));
}

std::vector<std::uint8_t> PackedHeaders::Join(Reports& theReports) const
{
    std::vector<const Piece*> anOrder;
    for (const Piece& aPiece : itsPieces)
    {
        anOrder.push_back(&aPiece);
    }
    std::stable_sort(anOrder.begin(), anOrder.end(),
                     [](const Piece* theLeft, const Piece* theRight)
                     { return theLeft->itsIndex < theRight->itsIndex; });
    std::vector<std::uint8_t> aResult;
    const Piece* aLast = nullptr;
    for (const Piece* aPiece : anOrder)
    {
        if (aLast != nullptr && aLast->itsIndex == aPiece->itsIndex)
        {
            theReports.NonConformance("Packed packet headers: the index " + std::to_string(aPiece->itsIndex) +
                                          " is used twice",
                                      aPiece->itsOffset);
        }
        aResult.insert(aResult.end(), aPiece->itsBytes.begin(), aPiece->itsBytes.end());
        aLast = aPiece;
    }
    return aResult;
}

std::span<const std::uint8_t> MainPackedHeaders::TakeNext(std::uint64_t theTilePartOffset,
                                                          Reports& theReports)
{
    constexpr std::size_t kLengthBytes = 4;
    const auto aRest = std::span<const std::uint8_t>(itsBytes).subspan(itsPosition);
    if (aRest.size() < kLengthBytes)
    {
        theReports.NonConformance("PPM: no packet headers for a tile-part", theTilePartOffset);
        itsPosition = itsBytes.size();
        return {};
    }
    std::size_t aLength = 0;
    for (const std::uint8_t aByte : aRest.first(kLengthBytes))
    {
        aLength = (aLength << 8) | aByte;
    }
    if (aLength > aRest.size() - kLengthBytes)
    {
        theReports.NonConformance("PPM: the packet headers of a tile-part are cut short", theTilePartOffset);
        aLength = aRest.size() - kLengthBytes;
    }
    itsPosition += kLengthBytes + aLength;
    return aRest.subspan(kLengthBytes, aLength);
}

namespace
{

bool BelongsInto(Marker theMarker, HeaderKind theHeader)
{
    switch (theMarker)
    {
    case Marker::COM:
        return true;
    case Marker::PLT:
        return theHeader == HeaderKind::TilePart;
    case Marker::TLM:
    case Marker::PLM:
    case Marker::CRG:
    case Marker::PRF:
    case Marker::CPF:
        return theHeader == HeaderKind::Main;
    default:
        return false;
    }
}

/// Ztlm, Stlm, then entries of ST and SP bytes (T.800 A.7.1).
bool IsTlmLength(std::span<const std::uint8_t> theBody)
{
    if (theBody.size() < 2)
    {
        return false;
    }
    const unsigned int anIndexBytes = (theBody[1] >> 4) & 3;
    const unsigned int aLengthBytes = (theBody[1] & 0x40) != 0 ? 4 : 2;
    return anIndexBytes != 3 && (theBody.size() - 2) % (anIndexBytes + aLengthBytes) == 0;
}

bool HasRightLength(const MarkerSegment& theSegment, std::size_t theComponents)
{
    const std::size_t aLength = theSegment.itsBody.size();
    switch (theSegment.itsMarker)
    {
    case Marker::COM:
    case Marker::PLT:
    case Marker::PLM:
        return aLength >= 2;
    case Marker::CPF:
        return aLength >= 2 && aLength % 2 == 0;
    case Marker::CRG:
        return aLength == 4 * theComponents;
    case Marker::TLM:
        return IsTlmLength(theSegment.itsBody);
    default:
        return true;
    }
}

} // namespace

void CheckOptionalSegment(const MarkerSegment& theSegment, HeaderKind theHeader, std::size_t theComponents,
                          Reports& theReports)
{
    const SegmentCursor aCursor(theSegment, theReports);
    if (const char* aStandard = GetUnsupportedStandard(theSegment.itsMarker))
    {
        aCursor.Error("the codestream needs " + std::string(aStandard) + ", which is not supported");
    }
    if (!IsKnownMarker(theSegment.itsMarker))
    {
        aCursor.NonConformance("unknown marker");
    }
    else if (!BelongsInto(theSegment.itsMarker, theHeader))
    {
        aCursor.NonConformance(theHeader == HeaderKind::Main
                                   ? "does not belong into the main header"
                                   : "does not belong into this tile-part's header");
    }
    else if (!HasRightLength(theSegment, theComponents))
    {
        aCursor.NonConformance("wrong length of the marker segment");
    }
}

namespace
{

class MainHeaderReader
{
public:
    MainHeaderReader(MarkerReader& theReader, Reports& theReports)
        : itsReader(theReader), itsReports(theReports)
    {
    }

    MainHeader Read()
    {
        ExpectStart();
        CodingSegmentReader aCodingReader(itsHeader.itsImage.itsComponents.size(), itsReports);
        for (Marker aMarker = TakeMarker(); aMarker != Marker::SOT; aMarker = TakeMarker())
        {
            if (IsBareMarker(aMarker))
            {
                continue;
            }
            const MarkerSegment aSegment = TakeSegment(aMarker);
            if (CodingSegmentReader::IsCodingMarker(aMarker))
            {
                aCodingReader.Read(aSegment, itsHeader.itsCoding);
            }
            else if (aMarker == Marker::PPM)
            {
                itsPackedHeaders.Add(aSegment, itsReports);
            }
            else if (aMarker == Marker::CAP)
            {
                itsHeader.itsHighThroughput.ReadCap(aSegment, itsReports);
            }
            else
            {
                CheckOptionalSegment(aSegment, HeaderKind::Main, itsHeader.itsImage.itsComponents.size(),
                                     itsReports);
            }
        }
        Finish();
        return std::move(itsHeader);
    }

private:
    std::uint64_t GetOffset() const { return itsReader.GetBytes().GetOffset(); }

    /// SOC and SIZ stand at the beginning, and nowhere else.
    void ExpectStart()
    {
        constexpr std::size_t kStartBytes = 6; // SOC, SIZ and its length
        itsReader.GetBytes().Fetch(kStartBytes);
        if (TakeMarker() != Marker::SOC)
        {
            itsReports.Error("SOC: the codestream does not begin with it", 0);
        }
        const Marker aMarker = TakeMarker();
        if (aMarker != Marker::SIZ)
        {
            itsReports.Error("SIZ: the marker does not follow SOC", GetOffset() - 2);
        }
        itsHeader.itsImage = ReadSiz(TakeSegment(aMarker), itsReports);
    }

    Marker TakeMarker()
    {
        Marker aMarker = Marker::EOC;
        if (!itsReader.ReadMarker(aMarker))
        {
            itsReports.Error("The codestream ends inside the main header", GetOffset());
        }
        return aMarker;
    }

    MarkerSegment TakeSegment(Marker theMarker)
    {
        const std::uint64_t anOffset = GetOffset() - 2;
        if (theMarker == Marker::EOC)
        {
            itsReports.Error("EOC: the codestream has no tile-part", anOffset);
        }
        if (!IsSegmentMarker(theMarker))
        {
            itsReports.Error(GetMarkerName(theMarker) + ": cannot stand in the main header", anOffset);
        }
        MarkerSegment aSegment;
        if (!itsReader.ReadSegment(theMarker, aSegment))
        {
            itsReports.Error(GetMarkerName(theMarker) + ": the codestream ends inside the marker segment",
                             anOffset);
        }
        return aSegment;
    }

    void Finish()
    {
        const std::uint64_t anOffset = GetOffset() - 2;
        if (!itsHeader.itsCoding.itsStyle)
        {
            itsReports.Error("COD: missing in the main header", anOffset);
        }
        if (!itsHeader.itsCoding.itsQuantization)
        {
            itsReports.Error("QCD: missing in the main header", anOffset);
        }
        itsHeader.itsHighThroughput.CheckAnnouncement(itsHeader.itsImage.itsCapabilities, anOffset,
                                                      itsReports);
        if (!itsPackedHeaders.IsEmpty())
        {
            itsHeader.itsPackedHeaders = MainPackedHeaders(itsPackedHeaders.Join(itsReports));
        }
    }

    MarkerReader& itsReader;
    Reports& itsReports;
    MainHeader itsHeader;
    PackedHeaders itsPackedHeaders;
};

} // namespace

MainHeader ReadMainHeader(MarkerReader& theReader, Reports& theReports)
{
    return MainHeaderReader(theReader, theReports).Read();
}

} // namespace j2k
