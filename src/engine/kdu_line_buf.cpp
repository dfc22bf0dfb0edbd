// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_line_buf.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

namespace
{
constexpr std::align_val_t kAlignmentValue{kdu_sample_allocator::kAlignment};

/// Shares are rounded up, so that every one begins on a multiple.
std::size_t RoundUp(std::size_t theBytes)
{
    constexpr std::size_t kMask = kdu_sample_allocator::kAlignment - 1;
    if (theBytes > std::numeric_limits<std::size_t>::max() - kMask)
    {
        throw std::bad_alloc();
    }
    return (theBytes + kMask) & ~kMask;
}
} // namespace

void kdu_sample_allocator::Release::operator()(std::byte* theMemory) const
{
    ::operator delete(theMemory, kAlignmentValue);
}

void kdu_sample_allocator::pre_alloc(std::size_t theBytes)
{
    if (itsIsFinal)
    {
        throw std::logic_error("kdu_sample_allocator: pre_alloc after finalize");
    }
    const std::size_t aShare = RoundUp(theBytes);
    if (aShare > std::numeric_limits<std::size_t>::max() - itsAnnounced)
    {
        throw std::bad_alloc();
    }
    itsAnnounced += aShare;
}

void kdu_sample_allocator::finalize()
{
    if (itsIsFinal)
    {
        throw std::logic_error("kdu_sample_allocator: finalize twice");
    }
    itsMemory.reset(static_cast<std::byte*>(::operator new(itsAnnounced, kAlignmentValue)));
    itsIsFinal = true;
}

void* kdu_sample_allocator::alloc(std::size_t theBytes)
{
    const std::size_t aShare = RoundUp(theBytes);
    if (!itsIsFinal || aShare > itsAnnounced - itsTaken)
    {
        throw std::logic_error("kdu_sample_allocator: more than was announced");
    }
    std::byte* const aMemory = itsMemory.get() + itsTaken;
    itsTaken += aShare;
    return aMemory;
}

namespace
{
/// Writable bytes behind the last sample.
constexpr std::size_t kSlack = 64;

std::size_t ComputeBytes(int theWidth, bool isShort)
{
    const std::size_t aSampleSize = isShort ? sizeof(kdu_sample16) : sizeof(kdu_sample32);
    return static_cast<std::size_t>(theWidth) * aSampleSize + kSlack;
}
} // namespace

void kdu_line_buf::pre_create(kdu_sample_allocator* theAllocator, int theWidth, bool isAbsolute, bool isShort)
{
    itsAllocator = theAllocator;
    itsSamples = nullptr;
    itsWidth = std::max(theWidth, 0);
    itsAbsolute = isAbsolute;
    itsUseShorts = isShort;
    itsAllocator->pre_alloc(ComputeBytes(itsWidth, itsUseShorts));
}

void kdu_line_buf::create()
{
    itsSamples = itsAllocator->alloc(ComputeBytes(itsWidth, itsUseShorts));
}
