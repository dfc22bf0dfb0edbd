// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_line_buf.h"

#include <algorithm>

#include "engine/kdu_sample_allocator.h"

namespace
{
/// Writable bytes behind the last sample.
constexpr std::size_t kSlack = 64;

std::size_t ComputeBytes(int theWidth, bool theUseShorts)
{
    const std::size_t aSampleSize = theUseShorts ? sizeof(kdu_sample16) : sizeof(kdu_sample32);
    return static_cast<std::size_t>(theWidth) * aSampleSize + kSlack;
}
} // namespace

void kdu_line_buf::pre_create(kdu_sample_allocator* theAllocator, int theWidth, bool theAbsolute,
                              bool theUseShorts)
{
    itsAllocator = theAllocator;
    itsSamples = nullptr;
    itsWidth = std::max(theWidth, 0);
    itsAbsolute = theAbsolute;
    itsUseShorts = theUseShorts;
    itsAllocator->pre_alloc(ComputeBytes(itsWidth, itsUseShorts));
}

void kdu_line_buf::create()
{
    itsSamples = itsAllocator->alloc(ComputeBytes(itsWidth, itsUseShorts));
}
