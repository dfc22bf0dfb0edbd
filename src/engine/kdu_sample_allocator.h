// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include "toolkit/base/Export.h"

/// One block of memory for all lines of a tile: every line announces its need, finalize allocates, then every
/// line takes its share. Must outlive the lines. Not thread-safe.
class QUORIX_API kdu_sample_allocator
{
public:
    /// Shares begin on multiples of this many bytes.
    static constexpr std::size_t kAlignment = 64;

    kdu_sample_allocator() = default;
    ~kdu_sample_allocator() = default;
    kdu_sample_allocator(const kdu_sample_allocator&) = delete;
    kdu_sample_allocator& operator=(const kdu_sample_allocator&) = delete;

    /// Announces theBytes more. Only before finalize, otherwise std::logic_error. Throws std::bad_alloc where
    /// the sum exceeds all memory.
    void pre_alloc(std::size_t theBytes);

    /// Allocates what was announced. Throws std::bad_alloc.
    void finalize();

    /// The next share, aligned, its contents unspecified. theBytes as announced, in any order; more than
    /// was announced in all is a std::logic_error.
    void* alloc(std::size_t theBytes);

private:
    struct Release
    {
        void operator()(std::byte* theMemory) const;
    };

    std::size_t itsAnnounced = 0;
    std::size_t itsTaken = 0;
    bool itsIsFinal = false;
    std::unique_ptr<std::byte, Release> itsMemory;
};
