// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "engine/kdu_resolution.h"
#include "toolkit/base/Export.h"

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
    /// theUseShorts: deliver kdu_sample16 lines; only where kdu_tile_comp::fits_short_lines() is true.
    kdu_decoder(kdu_subband theSubband, kdu_sample_allocator* theAllocator, bool theUseShorts);
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
