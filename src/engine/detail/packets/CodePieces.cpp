// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/CodePieces.h"

#include <cstring>

namespace j2k
{
namespace
{
constexpr std::size_t kMargins = CodedSegment::kLead + CodedSegment::kTail;

// Lists the segments with their lengths and passes; returns the bytes needed for all of them.
std::size_t ListSegments(const CodeBlock& theSource, const CodePieces& thePieces,
                         std::vector<CodedSegment>& theSegments)
{
    std::size_t aBytes = 0;
    theSegments.clear();
    for (std::uint32_t aNumber = theSource.itsFirstPiece; aNumber != 0;)
    {
        const CodePiece& aPiece = thePieces.Get(aNumber);
        if (aPiece.itsStartsSegment || theSegments.empty())
        {
            theSegments.emplace_back();
            aBytes += kMargins;
        }
        theSegments.back().itsLength += aPiece.itsLength;
        theSegments.back().itsPasses += aPiece.itsPasses;
        aBytes += aPiece.itsLength;
        aNumber = aPiece.itsNext;
    }
    return aBytes;
}

// Lets the segments refer to the body itself; false where one of them is not in one piece there.
bool ReferToSegments(const CodeBlock& theSource, const CodePieces& thePieces, const TileBody& theBody,
                     std::vector<CodedSegment>& theSegments)
{
    std::uint32_t aNumber = theSource.itsFirstPiece;
    for (CodedSegment& aSegment : theSegments)
    {
        const CodePiece& aPiece = thePieces.Get(aNumber);
        aSegment.itsData = theBody.Find(aPiece.itsPosition, aSegment.itsLength);
        aNumber = aPiece.itsNext;
        if (aSegment.itsData == nullptr || aPiece.itsLength != aSegment.itsLength)
        {
            return false;
        }
    }
    return aNumber == 0;
}

// Puts the segments at their places, and the margin behind each.
void PlaceSegments(std::vector<CodedSegment>& theSegments, std::uint8_t* theBytes)
{
    for (CodedSegment& aSegment : theSegments)
    {
        std::memset(theBytes, 0, CodedSegment::kLead);
        theBytes += CodedSegment::kLead;
        aSegment.itsData = theBytes;
        theBytes += aSegment.itsLength;
        std::memset(theBytes, 0xFF, CodedSegment::kTail);
        theBytes += CodedSegment::kTail;
    }
}
} // namespace

void CollectSegments(const CodeBlock& theSource, const CodePieces& thePieces, const TileBody& theBody,
                     CollectedBlock& theBlock)
{
    const std::size_t aBytes = ListSegments(theSource, thePieces, theBlock.itsSegments);
    theBlock.itsBlock.itsSegments = theBlock.itsSegments;
    if (theBlock.itsBlock.itsIsHighThroughput &&
        ReferToSegments(theSource, thePieces, theBody, theBlock.itsSegments))
    {
        return;
    }
    if (theBlock.itsBytes.size() < aBytes)
    {
        theBlock.itsBytes.resize(aBytes + aBytes / 2);
    }
    PlaceSegments(theBlock.itsSegments, theBlock.itsBytes.data());
    std::uint8_t* aPlace = theBlock.itsBytes.data() + CodedSegment::kLead;
    for (std::uint32_t aNumber = theSource.itsFirstPiece; aNumber != 0;)
    {
        const CodePiece& aPiece = thePieces.Get(aNumber);
        if (aPiece.itsStartsSegment && aNumber != theSource.itsFirstPiece)
        {
            aPlace += kMargins;
        }
        theBody.Copy(aPiece.itsPosition, aPiece.itsLength, aPlace);
        aPlace += aPiece.itsLength;
        aNumber = aPiece.itsNext;
    }
}

} // namespace j2k
