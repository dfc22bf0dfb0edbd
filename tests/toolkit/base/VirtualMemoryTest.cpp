// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/VirtualMemory.h"

#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>
#include <unistd.h>

namespace
{
class VirtualBlocks : public testing::TestWithParam<std::uint64_t>
{
};

TEST_P(VirtualBlocks, AreZeroedWritableAndFreedOnce)
{
    auto* const aBlock = static_cast<unsigned char*>(VirtualMemory::VirtualAlloc(GetParam()));
    ASSERT_NE(aBlock, nullptr);
    const std::uint64_t aPage = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aBlock) % aPage, 0u);
    const std::uint64_t aLength = GetParam() == 0 ? aPage : GetParam();
    EXPECT_EQ(aBlock[0] | aBlock[aLength - 1], 0);
    std::memset(aBlock, 0x5a, aLength);
    EXPECT_FALSE(VirtualMemory::VirtualFree(aBlock + 1));
    EXPECT_TRUE(VirtualMemory::VirtualFree(aBlock));
    EXPECT_FALSE(VirtualMemory::VirtualFree(aBlock));
    EXPECT_FALSE(VirtualMemory::VirtualFree(nullptr));
}

INSTANTIATE_TEST_SUITE_P(Sizes, VirtualBlocks, testing::Values(0, 1, 4095, 4096, 4097, 50000000));

class AbsurdSizes : public testing::TestWithParam<std::uint64_t>
{
};

// The last sizes would round up to 0 bytes and succeed.
TEST_P(AbsurdSizes, FailWithTheReason)
{
    errno = 0;
    EXPECT_EQ(VirtualMemory::VirtualAlloc(GetParam()), nullptr);
    EXPECT_EQ(VirtualMemory::GetLastError(), ENOMEM);
}

INSTANTIATE_TEST_SUITE_P(Sizes, AbsurdSizes,
                         testing::Values(0x1000000000000, 0x7fffffffffffffff, 0xffffffffffffe000,
                                         0xfffffffffffff001, 0xffffffffffffffff));

} // namespace
