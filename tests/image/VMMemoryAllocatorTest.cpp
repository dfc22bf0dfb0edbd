// SPDX-License-Identifier: Apache-2.0
#include "image/VMMemoryAllocator.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include "image/ProcessHeapMemoryAllocator.h"
#include "support/FailureOf.h"
#include "support/SideBySide.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// Takes blocks before main and gives them back after main: in which order the statics of two translation
/// units come and go is anybody's guess.
struct EarlyAndLate
{
    ~EarlyAndLate()
    {
        VMMemoryAllocator::GetDefaultInstance().Free(itsPages);
        ProcessHeapMemoryAllocator::GetDefaultInstance().Free(itsHeapBlock);
    }
    void* itsPages = VMMemoryAllocator::GetDefaultInstance().Allocate(16);
    void* itsHeapBlock = ProcessHeapMemoryAllocator::GetDefaultInstance().Allocate(16);
};
const EarlyAndLate kEarlyBlocks;

constexpr std::uint64_t kLargest = ~std::uint64_t{0};

TEST(VMMemoryAllocator, CountsExactlyOverThreads)
{
    const std::uint64_t aStart = VMMemoryAllocator::GetNumHeapBlocks();
    EXPECT_EQ(aStart, 1u) << "what was taken before main";
    const auto aWork = [](int)
    {
        for (int aRound = 0; aRound < 20; ++aRound)
        {
            void* aBlocks[50];
            for (std::size_t i = 0; i < 50; ++i)
            {
                aBlocks[i] = VMMemoryAllocator::VMAlloc(i * 100);
                std::memset(aBlocks[i], 1, i * 100);
            }
            for (void* const aBlock : aBlocks)
            {
                EXPECT_NE(VMMemoryAllocator::VMFree(aBlock), 0);
            }
        }
    };
    RunSideBySide(aWork);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aStart);
    EXPECT_GE(VMMemoryAllocator::GetMaxNumHeapBlocks(), aStart + 50);
    EXPECT_LE(VMMemoryAllocator::GetMaxNumHeapBlocks(), aStart + 4 * 50);
}

TEST(VMMemoryAllocator, BlocksAreZeroedPagesAndEmptyOnesReal)
{
    constexpr std::uint64_t kHuge = 2u << 20;
    const auto isMapped = [](const unsigned char* theByte)
    {
        const auto aPage = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        unsigned char isResident;
        return mincore(reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(theByte) / aPage * aPage), 1,
                       &isResident) == 0;
    };
    for (const std::uint64_t aSize :
         {0ul, 1ul, 4095ul, 4096ul, 4097ul, kHuge / 2 - 1, kHuge / 2, 2 * kHuge + 1})
    {
        auto* const aBlock = static_cast<unsigned char*>(VMMemoryAllocator().Allocate(aSize));
        ASSERT_NE(aBlock, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aBlock) % 4096, 0u);
        const std::size_t aCount = std::max<std::size_t>(aSize, 1);
        EXPECT_TRUE(std::all_of(aBlock, aBlock + aCount, [](int aByte) { return aByte == 0; }));
        std::memset(aBlock, 1, aCount);
        const bool isHuge = aSize >= kHuge / 2;
        const std::size_t aWhole = isHuge ? (aCount + kHuge - 1) / kHuge * kHuge : aCount;
        EXPECT_TRUE(isMapped(aBlock + aWhole - 1));
        VMMemoryAllocator::GetDefaultInstance().Free(aBlock); // instances are interchangeable
        EXPECT_FALSE(isMapped(aBlock) || isMapped(aBlock + aCount - 1) || isMapped(aBlock + aWhole - 1));
        void* const aHeapBlock = ProcessHeapMemoryAllocator::GetDefaultInstance().Allocate(aSize);
        ASSERT_NE(aHeapBlock, nullptr);
        std::memset(aHeapBlock, 1, aSize);
        ProcessHeapMemoryAllocator::GetDefaultInstance().Free(aHeapBlock);
    }
    ProcessHeapMemoryAllocator::GetDefaultInstance().Free(nullptr);
}

TEST(VMMemoryAllocator, StrangePointers)
{
    const std::uint64_t aCount = VMMemoryAllocator::GetNumHeapBlocks();
    EXPECT_EQ(VMMemoryAllocator::VMFree(nullptr), 0);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "null counts nothing";
    void* const aBlock = VMMemoryAllocator::VMAlloc(10);
    EXPECT_EQ(VMMemoryAllocator::VMFree(static_cast<char*>(aBlock) + 1), 0);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "an unknown pointer counts one less";
    static_cast<void>(VMMemoryAllocator::VMAlloc(10)); // brings the count back for the other tests
    EXPECT_NE(VMMemoryAllocator::VMFree(aBlock), 0) << "the registry itself was not disturbed";
    EXPECT_EQ(VMMemoryAllocator::VMFree(aBlock), 0) << "freed once";
    static_cast<void>(VMMemoryAllocator::VMAlloc(10));
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount);
}

TEST(VMMemoryAllocator, FailuresAreToldWithSizeAndErrorCode)
{
    const std::uint64_t aCount = VMMemoryAllocator::GetNumHeapBlocks();
    for (const std::uint64_t aSize : {kLargest, kLargest - 4000, kLargest / 2, std::uint64_t{1} << 60})
    {
        const std::string aText = "VMMemoryAllocator::VMAlloc: Memory allocation of " +
                                  std::to_string(aSize) +
                                  " bytes via ::HeapAlloc failed (low memory condition or fragmentation in "
                                  "image buffer heap prevented allocation) (WIN32 Error Code = 12)";
        EXPECT_EQ(aText, FailureOf<DLRuntimeException>([=] { VMMemoryAllocator::VMAlloc(aSize); }));
        EXPECT_EQ(aText, FailureOf<DLRuntimeException>(
                             [=] { VMMemoryAllocator::GetDefaultInstance().Allocate(aSize); }));
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "what failed is not counted";
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they end the program over such a size
TEST(ProcessHeapMemoryAllocator, ThrowsWhereThereIsNoMemory)
{
    EXPECT_EQ("Memory allocation of 18446744073709551615 bytes failed",
              FailureOf<BadAllocException>(
                  [] { ProcessHeapMemoryAllocator::GetDefaultInstance().Allocate(kLargest); }));
}
#endif
} // namespace
