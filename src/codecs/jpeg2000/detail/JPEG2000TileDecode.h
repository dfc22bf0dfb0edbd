// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "engine/kdu_tile.h"

/// Where one sample of a pixel comes from.
struct JPEG2000Channel
{
    std::size_t itsComponent = 0;
    int itsDepth = 0; ///< bits of the component
    int itsBits = 0;  ///< bits of the sample: those of the component, or of the palette's entries
    const std::vector<std::uint16_t>* itsEntries = nullptr; ///< borrowed; null where there is no palette
};

/// How the samples of an image are to be written.
struct JPEG2000OutputFormat
{
    int itsSamples = 1;        ///< 1 or 3, interleaved
    int itsBytesPerSample = 1; ///< 1 or 2
    bool itsSigned = false;
    std::array<JPEG2000Channel, 3> itsChannels{};
    int itsReportedBits = 8;       ///< bits that two's complement is to reach
    std::uint64_t itsRowBytes = 0; ///< from one row of the image to the next
};

/// One open tile on its way through the engine into an image: a line of every component at a time.
///
/// The tile is borrowed and stays open; it must not be closed before this object is gone. Reports of the
/// engine arrive as KDUMessageCallbackExceptions. Not thread-safe.
class JPEG2000TileDecode
{
public:
    /// Three colours and an opacity.
    static constexpr std::size_t kMostComponents = 4;

    /// theComponents: 1 to kMostComponents, as many as the tile has.
    JPEG2000TileDecode(const kdu_tile& theTile, int theComponents);

    /// Whether all components have the same extent, and can be brought back to RGB together.
    bool IsUniform() const;

    /// Writes all rows; theOutput is where the first sample goes. Throws what JPEG2000LineOutput::Check
    /// throws.
    void Run(const JPEG2000OutputFormat& theFormat, std::uint8_t* theOutput);

    /// Whether samples were met that lie beyond the entries of their palette. They get the last entry.
    bool IsBeyondPalette() const { return itsIsBeyondPalette; }

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
    void WriteRow(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow);
    void WriteMapped(const JPEG2000OutputFormat& theFormat, const JPEG2000Channel& theChannel,
                     std::uint8_t* theOutput);
    bool WriteTriplets(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow) const;

    kdu_tile itsTile;
    std::size_t itsCount;
    bool itsYCC;
    kdu_sample_allocator itsAllocator; ///< before the lines that live in it
    std::array<Component, kMostComponents> itsComponents;
    std::vector<std::uint16_t> itsIndices; ///< of a row, where there is a palette
    bool itsIsBeyondPalette = false;
};
