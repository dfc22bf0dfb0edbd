// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/detail/blocks/HTBits.h"
#include "engine/detail/blocks/HTBlockDecoder.h"
#include "engine/detail/blocks/HTTables.h"

namespace j2k
{

/// What decoding remembers of a high-throughput block from one step to the next.
///
/// The clean-up pass is done in two steps. The first runs MEL and VLC, one long chain, and leaves a word for
/// each quad (HTQuad with its residual). The second reads the magnitudes of all samples; what it needs of a
/// row's quads is known when the row above is finished, and no quad waits for the one on its left.
///
/// Samples are words, 2m + s with magnitude m and sign s (1 for negative), 0 where nothing is significant: m
/// counts itsPlane, and half of that is to be added. Words of refined blocks hold twice the value, the half
/// included, instead. Words are narrow, 16 bits, where the second step finds that they suffice.
struct HTState
{
    /// Quads that a row of words may be read beyond its ends.
    static constexpr std::size_t kBorder = 16;

    /// Takes over the block's geometry. The quads' borders become zero.
    void Begin(const HTBlock& theBlock)
    {
        itsWidth = theBlock.itsWidth;
        itsHeight = theBlock.itsHeight;
        itsPlane = theBlock.itsPlane;
        itsBits = theBlock.itsBits;
        itsIsRefined = false;
        itsQuadColumns = (itsWidth + 1) / 2;
        itsQuadRows = (itsHeight + 1) / 2;
        itsStride = (itsQuadColumns + kBorder - 1) / kBorder * kBorder + kBorder;
        if (itsQuads.size() < GetSize())
        {
            itsQuads.resize(GetSize());
            itsWords.resize(4 * GetSize());
            itsNarrowWords.resize(4 * GetSize());
        }
    }

    /// The block is zero from now on. Larger ones before it cost nothing.
    void Clear()
    {
        itsIsNarrow = false;
        std::fill_n(itsWords.begin(), 4 * GetSize(), 0U);
    }

    /// Quads with their borders.
    std::size_t GetSize() const { return itsStride * (itsQuadRows + 1) + kBorder; }

    /// A row of quads.
    std::uint32_t* GetQuads(std::size_t theRow)
    {
        return itsQuads.data() + (theRow + 1) * itsStride + kBorder;
    }

    /// A row of samples. Rows are GetWordStride() apart, and there is one above the first.
    std::uint32_t* GetWords(std::size_t theRow) { return itsWords.data() + GetWordIndex(theRow); }
    const std::uint32_t* GetWords(std::size_t theRow) const { return itsWords.data() + GetWordIndex(theRow); }
    std::uint16_t* GetNarrowWords(std::size_t theRow) { return itsNarrowWords.data() + GetWordIndex(theRow); }
    const std::uint16_t* GetNarrowWords(std::size_t theRow) const
    {
        return itsNarrowWords.data() + GetWordIndex(theRow);
    }
    std::size_t GetWordIndex(std::size_t theRow) const
    {
        return (theRow + 1) * GetWordStride() + 2 * kBorder;
    }
    std::size_t GetWordStride() const { return 2 * itsStride; }

    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    std::uint32_t itsPlane = 0;
    std::uint32_t itsBits = 0;
    bool itsIsRefined = false;
    std::size_t itsQuadColumns = 0;
    std::size_t itsQuadRows = 0;

    std::size_t itsStride = 0; ///< of quads
    std::vector<std::uint32_t> itsQuads;
    std::vector<std::uint32_t> itsWords;
    std::vector<std::uint16_t> itsNarrowWords;
    bool itsIsNarrow = false;

    std::vector<std::uint8_t> itsSuffix; ///< MEL and VLC
    HTBits itsVLC;
    HTBits itsMagSgn;
};

/// Both steps of the clean-up pass, from itsSuffix, itsVLC and itsMagSgn: to BadCode, BadMagnitude or None.
HTFinding RunHTCleanup(HTState& theState);

/// The passes behind the clean-up pass, one or two, from theSegment. Plane at least 1.
void RefineHTBlock(HTState& theState, const HTBlock& theBlock);

/// Rows of samples out of the words. theHalfStep: of floats, half of what one unit of plane 0 is worth.
void StoreHTBlock(const HTState& theState, std::int16_t* theRows, std::ptrdiff_t theStride,
                  float theHalfStep);
void StoreHTBlock(const HTState& theState, std::int32_t* theRows, std::ptrdiff_t theStride,
                  float theHalfStep);
void StoreHTBlock(const HTState& theState, float* theRows, std::ptrdiff_t theStride, float theHalfStep);

/// Twice the samples, row after row.
void StoreHTDoubled(const HTState& theState, std::int32_t* theSamples);

} // namespace j2k
