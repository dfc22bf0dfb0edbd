// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Precinct.h"
#include "engine/detail/packets/Subband.h"
#include "engine/detail/packets/TileBody.h"

namespace j2k
{

/// How a code-block's coding passes fall into codeword segments (T.800 D.4.2, D.6, table D.9). Passes count
/// from 0, which is the clean-up pass of the first bit-plane.
///
/// High-throughput blocks (T.814) have sets of three passes: the clean-up pass is a segment, the two that
/// refine it are the next one.
class PassSegments
{
public:
    static constexpr std::uint32_t kUnlimited = 0xFFFFFFFFU;

    PassSegments(std::uint8_t theStyle, bool isHighThroughput)
        : itsBypass((theStyle & CBS_BYPASS) != 0), itsTerminateAll((theStyle & CBS_TERMINATE_ALL) != 0),
          itsIsHighThroughput(isHighThroughput)
    {
    }

    /// Passes from thePass to the end of the segment that it belongs to, itself included.
    std::uint32_t GetPassesToEnd(std::uint32_t thePass) const
    {
        if (itsIsHighThroughput)
        {
            return thePass % 3 == 1 ? 2 : 1;
        }
        if (itsTerminateAll)
        {
            return 1;
        }
        if (!itsBypass)
        {
            return kUnlimited;
        }
        return thePass < kFirstRawPass ? kFirstRawPass - thePass : (IsFirstRaw(thePass) ? 2 : 1);
    }

    /// Whether thePass begins a segment.
    bool IsStart(std::uint32_t thePass) const
    {
        if (itsIsHighThroughput)
        {
            return thePass % 3 != 2;
        }
        if (itsTerminateAll || thePass == 0)
        {
            return true;
        }
        return itsBypass && thePass >= kFirstRawPass && (thePass - kFirstRawPass) % 3 != 1;
    }

private:
    /// Four bit-planes are arithmetically coded: a clean-up pass and three times three passes.
    static constexpr std::uint32_t kFirstRawPass = 10;

    /// From then on the raw significance and refinement passes are one segment, the clean-up pass the next.
    static bool IsFirstRaw(std::uint32_t thePass) { return (thePass - kFirstRawPass) % 3 == 0; }

    bool itsBypass;
    bool itsTerminateAll;
    bool itsIsHighThroughput;
};

/// What one packet brought of one codeword segment.
struct CodePiece
{
    std::uint32_t itsPosition = 0; ///< in the tile's body
    std::uint32_t itsLength = 0;
    std::uint32_t itsNext = 0; ///< number of the code-block's next piece, 0 at its end
    std::uint8_t itsPasses = 0;
    bool itsStartsSegment = false;
};

/// All pieces of a tile: a row of them, chained by code-block.
class CodePieces
{
public:
    /// Appends to a code-block's chain. False when the tile has more pieces than can be numbered.
    bool Add(CodeBlock& theBlock, const CodePiece& thePiece)
    {
        if (itsPieces.size() >= 0xFFFFFFFFU)
        {
            return false;
        }
        itsPieces.push_back(thePiece);
        const std::uint32_t aNumber = static_cast<std::uint32_t>(itsPieces.size());
        std::uint32_t& aLink = theBlock.itsFirstPiece == 0 ? theBlock.itsFirstPiece
                                                           : itsPieces[theBlock.itsLastPiece - 1].itsNext;
        aLink = aNumber;
        theBlock.itsLastPiece = aNumber;
        return true;
    }

    /// theNumber: of a code-block or of the piece before.
    const CodePiece& Get(std::uint32_t theNumber) const { return itsPieces[theNumber - 1]; }

private:
    std::vector<CodePiece> itsPieces;
};

/// Copies the pieces of theSource, which has at least one, into theBlock's bytes, segment by segment with the
/// margins of CodedSegment, and lists the segments. Memory of earlier blocks is used again. High-throughput
/// segments, which need no margins, are left where they are, if they can be.
void CollectSegments(const CodeBlock& theSource, const CodePieces& thePieces, const TileBody& theBody,
                     CollectedBlock& theBlock);

} // namespace j2k
