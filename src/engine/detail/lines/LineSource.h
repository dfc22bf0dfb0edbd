// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "engine/kdu_line_buf.h"

namespace j2k
{

/// Equally long lines in a share of an allocator: announced at construction, taken with Take.
///
/// Every line begins on a multiple of kdu_sample_allocator::kAlignment bytes, and the whole of its last
/// such piece is its own, so that vectors up to that size may run over the end.
template <class Sample>
class LineMemory
{
public:
    LineMemory(kdu_sample_allocator& theAllocator, std::uint64_t theWidth, std::uint64_t theLines)
        : itsAllocator(theAllocator), itsStride(ComputeStride(theWidth)),
          itsBytes(ComputeBytes(itsStride, theLines))
    {
        itsAllocator.pre_alloc(itsBytes);
    }

    /// Takes the memory; its contents are unspecified.
    void Take() { itsSamples = static_cast<Sample*>(itsAllocator.alloc(itsBytes)); }
    bool IsTaken() const { return itsSamples != nullptr; }

    Sample* GetLine(std::size_t theLine) const { return itsSamples + theLine * itsStride; }

    /// From line to line, in samples.
    std::size_t GetStride() const { return itsStride; }
    std::size_t GetBytes() const { return itsBytes; }

private:
    static constexpr std::uint64_t kPiece = kdu_sample_allocator::kAlignment / sizeof(Sample);

    static std::size_t ComputeStride(std::uint64_t theWidth)
    {
        const std::uint64_t aPieceCount = (theWidth + kPiece - 1) / kPiece;
        // An odd number of pieces: blocks are stored column by column, and lines a power of two apart
        // would compete for the same few places of the cache.
        return static_cast<std::size_t>((aPieceCount | 1) * kPiece);
    }

    static std::size_t ComputeBytes(std::uint64_t theStride, std::uint64_t theLines)
    {
        constexpr std::uint64_t kLimit = std::numeric_limits<std::size_t>::max() / sizeof(Sample);
        if (theLines > kLimit / theStride)
        {
            throw std::bad_alloc();
        }
        return static_cast<std::size_t>(theStride * theLines * sizeof(Sample));
    }

    kdu_sample_allocator& itsAllocator;
    std::size_t itsStride;
    std::size_t itsBytes;
    Sample* itsSamples = nullptr;
};

/// Something that delivers lines from top to bottom: the blocks of a subband, or a synthesis over four of
/// them. Sample is std::int16_t, std::int32_t (reversible) or float (irreversible).
///
/// Made before the allocator's finalize, used after it.
template <class Sample>
class LineSource
{
public:
    virtual ~LineSource() = default;

    /// The next line, which belongs to the source and stays until the next Pull. Not to be called more often
    /// than there are lines.
    virtual const Sample* Pull() = 0;
};

/// Lines of zeros, in the place of subbands that no packet brought anything of. Costs one line.
template <class Sample>
class ZeroSource final : public LineSource<Sample>
{
public:
    ZeroSource(kdu_sample_allocator& theAllocator, std::uint32_t theWidth)
        : itsMemory(theAllocator, theWidth, 1)
    {
    }

    const Sample* Pull() override
    {
        if (!itsMemory.IsTaken())
        {
            itsMemory.Take();
            std::memset(itsMemory.GetLine(0), 0, itsMemory.GetBytes());
        }
        return itsMemory.GetLine(0);
    }

private:
    LineMemory<Sample> itsMemory;
};

} // namespace j2k
