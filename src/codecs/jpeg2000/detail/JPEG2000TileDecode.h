// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "engine/kdu_tile.h"

/// How the samples of an image are to be written.
struct JPEG2000OutputFormat
{
    int itsComponents = 1;     ///< 1 or 3, interleaved
    int itsBytesPerSample = 1; ///< 1 or 2
    bool itsSigned = false;
    std::array<int, 3> itsDepths{}; ///< bits of each component's samples
    int itsReportedBits = 8;        ///< bits that two's complement is to reach
    std::uint64_t itsRowBytes = 0;  ///< from one row of the image to the next
};

/// One open tile on its way through the engine into an image: a line of every component at a time.
///
/// The tile is borrowed and stays open; it must not be closed before this object is gone. Reports of the
/// engine arrive as KDUMessageCallbackExceptions. Not thread-safe.
class JPEG2000TileDecode
{
public:
    /// theComponents: 1 or 3, as many as the tile has.
    JPEG2000TileDecode(const kdu_tile& theTile, int theComponents);

    /// Whether all components have the same extent, and can be brought back to RGB together.
    bool IsUniform() const;

    /// Writes all rows; theOutput is where the first sample goes. Throws what JPEG2000LineOutput::Check
    /// throws.
    void Run(const JPEG2000OutputFormat& theFormat, std::uint8_t* theOutput);

private:
    struct Component
    {
        kdu_dims itsDims;
        bool itsReversible = false;
        bool itsFitsShorts = false;
        kdu_line_buf itsLine;
        std::optional<kdu_synthesis> itsSynthesis;
        std::optional<kdu_decoder> itsDecoder; ///< where there is nothing to synthesise
    };

    void Prepare();
    void PullLines();
    void UndoComponentTransform();
    void WriteRow(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow) const;
    bool WriteTriplets(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow) const;

    kdu_tile itsTile;
    std::size_t itsCount;
    bool itsYCC;
    kdu_sample_allocator itsAllocator; ///< before the lines that live in it
    std::array<Component, 3> itsComponents;
};
