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

/// Delivers the lines of one resolution above 0: the inverse wavelet transform (T.800 Annex F), line by line,
/// over the resolution below and three subbands. Made before the allocator's finalize, used after it. Not
/// thread-safe.
class QUORIX_API kdu_synthesis
{
public:
    /// theUseShorts: as for kdu_decoder.
    kdu_synthesis(kdu_resolution theResolution, kdu_sample_allocator* theAllocator, bool theUseShorts);
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
