// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include "engine/kdu_types.h"
#include "toolkit/base/BaseTypes.h"

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

/// One line of samples of a tile's component, in one of four representations:
/// 16-bit integer (short, absolute), 16-bit fixed point (short, not absolute), 32-bit integer (absolute)
/// and 32-bit float (not absolute). Integers are centred on 0; the others nominally lie in [-0.5, 0.5).
///
/// The memory belongs to the allocator. Behind the last sample at least 64 bytes are writable, so that
/// vector code may finish a line with a whole vector.
class QUORIX_API kdu_line_buf
{
public:
    /// Announces the line's memory. theWidth in samples, may be 0.
    void pre_create(kdu_sample_allocator* theAllocator, int theWidth, bool isAbsolute, bool isShort);

    /// Takes the memory, after the allocator's finalize.
    void create();

    /// In samples.
    int get_width() const { return itsWidth; }

    /// Whether samples are integers.
    bool is_absolute() const { return itsAbsolute; }

    /// The samples; null where the line has the other width, or before create.
    /// @{
    kdu_sample16* get_buf16() const
    {
        return itsUseShorts ? static_cast<kdu_sample16*>(itsSamples) : nullptr;
    }
    kdu_sample32* get_buf32() const
    {
        return itsUseShorts ? nullptr : static_cast<kdu_sample32*>(itsSamples);
    }
    /// @}

private:
    kdu_sample_allocator* itsAllocator = nullptr;
    void* itsSamples = nullptr;
    int itsWidth = 0;
    bool itsAbsolute = false;
    bool itsUseShorts = false;
};
