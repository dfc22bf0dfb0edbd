// SPDX-License-Identifier: Apache-2.0
// The clean-up pass of a high-throughput block, compiled once for each instruction set.

// Scalable vectors (SVE) are left to NEON: lanes stand for fixed places of a row.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/HTCleanup.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cstdint>

#include "engine/detail/blocks/HTQuads-inl.h"
#include "engine/detail/blocks/HTState.h"

#if HWY_TARGET != HWY_SCALAR
#include "engine/detail/blocks/HTMagnitudes-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// Reads the magnitudes of one row of quads after the other, samples of any size.
struct WideReader
{
    /// 2m - 1 of a sample, 0 where m is 0: as wide as its exponent.
    static std::uint32_t GetPredictor(std::uint32_t theWord) { return theWord > 1 ? (theWord | 1) - 2 : 0; }

    /// U (T.814 7.3.7): the residual, and one less than the largest exponent in the line above from one
    /// column left of the quad to one right of it, where more than one sample is significant.
    static std::uint32_t GetLength(std::uint32_t theQuad, const std::uint32_t* theAbove)
    {
        const std::uint32_t aLargest = GetPredictor(theAbove[-1]) | GetPredictor(theAbove[0]) |
                                       GetPredictor(theAbove[1]) | GetPredictor(theAbove[2]);
        const auto aKappa = static_cast<std::uint32_t>(std::bit_width(aLargest | 2)) - 1;
        return (theQuad & HTQuad::kResidualMask) + (theQuad >> HTQuad::kRhoCountShift > 1 ? aKappa : 1);
    }

    std::uint32_t ReadWord(std::uint32_t theQuad, unsigned int theSample, std::uint32_t theLength)
    {
        if ((theQuad >> (HTQuad::kRhoShift + theSample) & 1) == 0)
        {
            return 0;
        }
        const std::uint32_t aLength = theLength - (theQuad >> (HTQuad::kKnownShift + theSample) & 1);
        const std::uint64_t aBits = itsBits.Load(itsPosition) & ((std::uint64_t{1} << aLength) - 1);
        const std::uint64_t aTop = std::uint64_t{theQuad >> (HTQuad::kOnesShift + theSample) & 1} << aLength;
        itsPosition += aLength;
        return static_cast<std::uint32_t>(aBits + aTop + 2);
    }

    /// theTop: the words of the upper one of the row's two lines; the others are theStride apart.
    bool ReadRow(const std::uint32_t* theQuads, std::size_t theColumns, std::uint32_t* theTop,
                 std::size_t theStride)
    {
        std::uint32_t* const aBottom = theTop + theStride;
        const std::uint32_t* const anAbove = theTop - theStride;
        std::uint32_t anAll = 0;
        itsPosition = std::min(itsPosition, itsBits.GetEnd()); // what follows is all the same
        for (std::size_t q = 0; q < theColumns; ++q)
        {
            const std::uint32_t aQuad = theQuads[q];
            const std::uint32_t aLength = GetLength(aQuad, anAbove + 2 * q);
            if (aQuad >> HTQuad::kRhoCountShift != 0 && aLength > itsMost)
            {
                return false;
            }
            theTop[2 * q] = ReadWord(aQuad, 0, aLength);
            aBottom[2 * q] = ReadWord(aQuad, 1, aLength);
            theTop[2 * q + 1] = ReadWord(aQuad, 2, aLength);
            aBottom[2 * q + 1] = ReadWord(aQuad, 3, aLength);
            anAll |= theTop[2 * q] | aBottom[2 * q] | theTop[2 * q + 1] | aBottom[2 * q + 1];
        }
        aBottom[-1] = 0;
        aBottom[2 * theColumns] = 0;
        return std::uint64_t{anAll} >> itsMost == 0;
    }

    const HTBits& itsBits;
    std::uint32_t itsMost; ///< bits of a word, its sign included
    std::size_t itsPosition = 0;
};

bool ReadWide(HTState& theState)
{
    WideReader aReader{theState.itsMagSgn, theState.itsBits + 1};
    const std::size_t aStride = theState.GetWordStride();
    std::fill_n(theState.GetWords(0) - aStride - 1, 2 * theState.itsQuadColumns + 2, 0U);
    theState.itsIsNarrow = false;
    for (std::size_t r = 0; r < theState.itsQuadRows; ++r)
    {
        if (!aReader.ReadRow(theState.GetQuads(r), theState.itsQuadColumns, theState.GetWords(2 * r),
                             aStride))
        {
            return false;
        }
    }
    return true;
}

/// All quads, and in between whatever theOther does, called with the number of a row and of a quad in it.
template <class Other>
bool ReadRows(HTState& theState, const Other& theOther)
{
    QuadReader aReader(theState);
    QuadReader::Cursor aCursor = aReader.Begin();
    bool isComplete = aReader.ReadRow<true>(aCursor, 0, [](std::size_t) {});
    for (std::size_t r = 1; r < theState.itsQuadRows && isComplete; ++r)
    {
        isComplete =
            aReader.ReadRow<false>(aCursor, r, [&](std::size_t theQuad) HWY_ATTR { theOther(r, theQuad); });
    }
    return isComplete;
}

#if HWY_TARGET == HWY_SCALAR

HTFinding RunCleanup(HTState& theState)
{
    if (!ReadRows(theState, [](std::size_t, std::size_t) {}))
    {
        return HTFinding::BadCode;
    }
    return ReadWide(theState) ? HTFinding::None : HTFinding::BadMagnitude;
}

#else

HTFinding RunCleanup(HTState& theState)
{
    NarrowReader aMagnitudes(theState);
    // The magnitudes of a row are read while the next one's codes are.
    const auto aReadPiece = [&](std::size_t theRow, std::size_t theQuad) HWY_ATTR
    {
        if (theQuad == 0)
        {
            aMagnitudes.BeginRow(theRow - 1);
        }
        aMagnitudes.ReadPiece(theQuad);
    };
    if (!ReadRows(theState, aReadPiece))
    {
        return HTFinding::BadCode;
    }
    for (std::size_t q = 0; q < theState.itsQuadColumns; q += kPieceQuads)
    {
        aReadPiece(theState.itsQuadRows, q);
    }
    theState.itsIsNarrow = !aMagnitudes.HasGivenUp();
    const bool isValid = theState.itsIsNarrow ? aMagnitudes.IsValid() : ReadWide(theState);
    return isValid ? HTFinding::None : HTFinding::BadMagnitude;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(RunCleanup);

HTFinding RunHTCleanup(HTState& theState)
{
    return HWY_DYNAMIC_DISPATCH(RunCleanup)(theState);
}
} // namespace j2k
#endif
