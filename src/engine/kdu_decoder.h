// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "engine/kdu_tile.h"
#include "toolkit/base/BaseTypes.h"

class kdu_line_buf;
class kdu_sample_allocator;

namespace j2k
{
class LineReader;
}

/// Delivers the lines of one subband from its code-blocks, decoding a row of blocks when its first line is
/// pulled. Made before the allocator's finalize, used after it. Not thread-safe.
class QUORIX_API kdu_decoder
{
public:
    /// isShort: deliver kdu_sample16 lines; only where kdu_tile_comp::fits_short_lines() is true.
    kdu_decoder(kdu_subband theSubband, kdu_sample_allocator* theAllocator, bool isShort);
    /// What was moved from is good for nothing but its destruction.
    /// @{
    kdu_decoder(kdu_decoder&&) noexcept;
    kdu_decoder& operator=(kdu_decoder&&) noexcept;
    /// @}
    ~kdu_decoder();

    /// Fills theLine with the next line from top to bottom; lines beyond the last are zero. theLine must have
    /// the subband's width, the representation asked for, and is_absolute() exactly for a reversible
    /// component.
    void pull(kdu_line_buf& theLine);

private:
    std::unique_ptr<j2k::LineReader> itsReader;
};

/// Delivers the lines of one resolution above 0: the inverse wavelet transform (T.800 Annex F), line by line,
/// over the resolution below and three subbands. Made before the allocator's finalize, used after it. Not
/// thread-safe.
class QUORIX_API kdu_synthesis
{
public:
    /// isShort: as for kdu_decoder.
    kdu_synthesis(kdu_resolution theResolution, kdu_sample_allocator* theAllocator, bool isShort);
    /// What was moved from is good for nothing but its destruction.
    /// @{
    kdu_synthesis(kdu_synthesis&&) noexcept;
    kdu_synthesis& operator=(kdu_synthesis&&) noexcept;
    /// @}
    ~kdu_synthesis();

    /// As kdu_decoder::pull, at the resolution's width.
    void pull(kdu_line_buf& theLine);

private:
    std::unique_ptr<j2k::LineReader> itsReader;
};
