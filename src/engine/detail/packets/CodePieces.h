// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/packets/Precinct.h"

namespace j2k
{

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

} // namespace j2k
