// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_line_buf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "engine/kdu_sample_allocator.h"

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
}

TEST(kdu_sample_allocatorTest, SumsThatWrapAroundAreNoMemory)
{
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    kdu_sample_allocator anAllocator;
    EXPECT_THROW(anAllocator.pre_alloc(kMost), std::bad_alloc);
    anAllocator.pre_alloc(kMost / 2);
    EXPECT_THROW(anAllocator.pre_alloc(kMost / 2 + 1), std::bad_alloc);
}

struct Representation
{
    int itsWidth;
    bool itsAbsolute;
    bool itsUseShorts;
};

class kdu_line_bufTest : public ::testing::TestWithParam<Representation>
{
};

TEST_P(kdu_line_bufTest, HasItsSamplesAndRoomForAVectorBehindThem)
{
    const Representation& aCase = GetParam();
    kdu_sample_allocator anAllocator;
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, aCase.itsWidth, aCase.itsAbsolute, aCase.itsUseShorts);
    EXPECT_EQ(aLine.get_buf16(), nullptr);
    EXPECT_EQ(aLine.get_buf32(), nullptr);
    anAllocator.finalize();
    aLine.create();
    EXPECT_EQ(aLine.get_width(), aCase.itsWidth);
    EXPECT_EQ(aLine.is_absolute(), aCase.itsAbsolute);
    EXPECT_EQ(aLine.get_buf16() != nullptr, aCase.itsUseShorts);
    EXPECT_EQ(aLine.get_buf32() != nullptr, !aCase.itsUseShorts);
    const auto aWidth = static_cast<std::size_t>(aCase.itsWidth);
    if (aCase.itsUseShorts)
    {
        std::memset(static_cast<void*>(aLine.get_buf16()), 1, aWidth * sizeof(kdu_sample16) + 64);
    }
    else
    {
        std::memset(static_cast<void*>(aLine.get_buf32()), 1, aWidth * sizeof(kdu_sample32) + 64);
    }
}

INSTANTIATE_TEST_SUITE_P(AllFour, kdu_line_bufTest,
                         ::testing::Values(Representation{33, true, true}, Representation{33, false, true},
                                           Representation{0, true, false}, Representation{7, false, false}));
} // namespace
