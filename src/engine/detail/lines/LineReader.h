// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

class kdu_line_buf;
class kdu_sample_allocator;

namespace j2k
{
class Resolution;
class Subband;

/// Fills kdu_line_buf lines from a chain of sources: what kdu_decoder and kdu_synthesis share.
class LineReader
{
public:
    virtual ~LineReader() = default;

    /// As kdu_decoder::pull. A line of another width or representation is a std::logic_error.
    virtual void Pull(kdu_line_buf& theLine) = 0;

    /// The lines of one subband.
    static std::unique_ptr<LineReader> Create(const Subband& theSubband, kdu_sample_allocator& theAllocator,
                                              bool isShort);

    /// The lines of a resolution, from all subbands of it and below.
    static std::unique_ptr<LineReader> Create(const Resolution& theResolution,
                                              kdu_sample_allocator& theAllocator, bool isShort);
};

} // namespace j2k
