// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/PackedHeaders.h"

#include "engine/detail/markers/SegmentCursor.h"

#include <algorithm>
#include <utility>

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

} // namespace j2k
