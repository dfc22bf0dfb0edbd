// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_line_buf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace
{
TEST(kdu_sample_allocatorTest, SharesAreAlignedAndApart)
{
    kdu_sample_allocator anAllocator;
    const std::size_t aSizes[] = {1, 64, 65, 0, 1000};
    for (const std::size_t aSize : aSizes)
    {
        anAllocator.pre_alloc(aSize);
    }
    anAllocator.finalize();
    unsigned char* anEnd = nullptr;
    for (const std::size_t aSize : aSizes)
    {
        auto* const aShare = static_cast<unsigned char*>(anAllocator.alloc(aSize));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aShare) % kdu_sample_allocator::kAlignment, 0u);
        EXPECT_GE(aShare, anEnd);
        std::memset(aShare, 0xAA, aSize); // for the sanitizers
        anEnd = aShare + aSize;
    }
}

TEST(kdu_sample_allocatorTest, RefusesWhatWasNotAnnouncedOrComesTooLate)
{
    kdu_sample_allocator anAllocator;
    anAllocator.pre_alloc(64);
    EXPECT_THROW(anAllocator.alloc(64), std::logic_error);
    anAllocator.finalize();
    EXPECT_THROW(anAllocator.alloc(65), std::logic_error);
    EXPECT_NO_THROW(anAllocator.alloc(64));
    EXPECT_THROW(anAllocator.alloc(1), std::logic_error);
    EXPECT_THROW(anAllocator.pre_alloc(1), std::logic_error);
    EXPECT_THROW(anAllocator.finalize(), std::logic_error);
    // A sum that wraps around is no memory.
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    kdu_sample_allocator aLargeAllocator;
    EXPECT_THROW(aLargeAllocator.pre_alloc(kMost), std::bad_alloc);
    aLargeAllocator.pre_alloc(kMost / 2);
    EXPECT_THROW(aLargeAllocator.pre_alloc(kMost / 2 + 1), std::bad_alloc);
}
} // namespace
