// SPDX-License-Identifier: Apache-2.0
#include "image/VMMemoryAllocator.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "image/ProcessHeapMemoryAllocator.h"
#include "image/Renderable.h"
#include "toolkit/base/BadAllocException.h"
#include "toolkit/base/DLRuntimeException.h"

namespace
{
/// Takes a buffer before main and gives it back after main: in which order the statics of two translation
/// units come and go is anybody's guess.
struct EarlyAndLate
{
    EarlyAndLate()
    {
        itsImage.setRows(4);
        itsImage.setColumns(4);
        itsImage.setBitsAllocated(8);
        itsImage.setSamplesPerPixel(1);
        itsImage.allocatePixelData();
        itsHeapBlock = ProcessHeapMemoryAllocator::GetDefaultInstance().Allocate(16);
    }
    ~EarlyAndLate() { ProcessHeapMemoryAllocator::GetDefaultInstance().Free(itsHeapBlock); }

    Renderable itsImage;
    void* itsHeapBlock = nullptr;
};
EarlyAndLate theEarlyImage;

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();

TEST(VMMemoryAllocator, CountsExactlyOverThreads)
{
    const std::uint64_t aStart = VMMemoryAllocator::GetNumHeapBlocks();
    constexpr std::size_t aBlocksEach = 50;
    std::vector<std::thread> aThreads;
    for (int aThread = 0; aThread < 4; ++aThread)
    {
        aThreads.emplace_back(
            []
            {
                for (int aRound = 0; aRound < 20; ++aRound)
                {
                    std::vector<void*> aBlocks;
                    for (std::size_t aBlock = 0; aBlock < aBlocksEach; ++aBlock)
                    {
                        aBlocks.push_back(VMMemoryAllocator::VMAlloc(aBlock * 100));
                        std::memset(aBlocks.back(), 1, aBlock * 100);
                    }
                    for (void* const aBlock : aBlocks)
                    {
                        EXPECT_NE(VMMemoryAllocator::VMFree(aBlock), 0);
                    }
                }
            });
    }
    for (std::thread& aThread : aThreads)
    {
        aThread.join();
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aStart);
    EXPECT_GE(VMMemoryAllocator::GetMaxNumHeapBlocks(), aStart + aBlocksEach);
    EXPECT_LE(VMMemoryAllocator::GetMaxNumHeapBlocks(), aStart + 4 * aBlocksEach);
}

TEST(VMMemoryAllocator, BlocksAreZeroedAndEmptyOnesReal)
{
    for (const std::uint64_t aSize : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{100000}})
    {
        VMMemoryAllocator anAllocator;
        auto* const aBlock = static_cast<unsigned char*>(anAllocator.Allocate(aSize));
        ASSERT_NE(aBlock, nullptr);
        EXPECT_TRUE(std::all_of(aBlock, aBlock + std::max<std::uint64_t>(aSize, 1),
                                [](unsigned char aByte) { return aByte == 0; }));
        VMMemoryAllocator::GetDefaultInstance().Free(aBlock); // instances are interchangeable
    }
}

TEST(VMMemoryAllocator, StrangePointers)
{
    const std::uint64_t aCount = VMMemoryAllocator::GetNumHeapBlocks();
    EXPECT_EQ(VMMemoryAllocator::VMFree(nullptr), 0);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "null counts nothing";

    void* const aBlock = VMMemoryAllocator::VMAlloc(10);
    int aForeign = 0;
    EXPECT_EQ(VMMemoryAllocator::VMFree(&aForeign), 0);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "an unknown pointer counts one less";
    void* const aBalance = VMMemoryAllocator::VMAlloc(10);
    EXPECT_NE(VMMemoryAllocator::VMFree(aBlock), 0);
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount);
    // The count went down once for nothing above; the registry itself was not disturbed.
    EXPECT_NE(VMMemoryAllocator::VMFree(aBalance), 0);
    static_cast<void>(VMMemoryAllocator::VMAlloc(10)); // brings the count back for the other tests
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount);
}

TEST(VMMemoryAllocator, FailuresAreToldWithSizeAndErrorCode)
{
    const std::uint64_t aCount = VMMemoryAllocator::GetNumHeapBlocks();
    for (const std::uint64_t aSize : {kLargest, kLargest - 4000, std::uint64_t{1} << 60})
    {
        const RWCString aText = "VMMemoryAllocator::VMAlloc: Memory allocation of " + std::to_string(aSize) +
                                " bytes via ::HeapAlloc failed (low memory condition or fragmentation in "
                                "image buffer heap prevented allocation) (WIN32 Error Code = " +
                                std::to_string(ENOMEM) + ")";
        for (const bool aThroughInterface : {false, true})
        {
            try
            {
                aThroughInterface ? VMMemoryAllocator::GetDefaultInstance().Allocate(aSize)
                                  : VMMemoryAllocator::VMAlloc(aSize);
                ADD_FAILURE() << aSize;
            }
            catch (const DLRuntimeException& anException)
            {
                EXPECT_EQ(anException.GetMessageText(), aText);
            }
        }
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aCount) << "what failed is not counted";
}

TEST(ProcessHeapMemoryAllocator, GivesBlocksOrThrows)
{
    ProcessHeapMemoryAllocator& anAllocator = ProcessHeapMemoryAllocator::GetDefaultInstance();
    for (const std::uint64_t aSize : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{100000}})
    {
        void* const aBlock = anAllocator.Allocate(aSize);
        ASSERT_NE(aBlock, nullptr);
        std::memset(aBlock, 1, aSize);
        anAllocator.Free(aBlock);
    }
    anAllocator.Free(nullptr);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they end the program over such a size
    try
    {
        anAllocator.Free(anAllocator.Allocate(kLargest));
        ADD_FAILURE() << "no such block exists";
    }
    catch (const BadAllocException& anException)
    {
        EXPECT_EQ(anException.GetSize(), kLargest);
    }
#endif
}
} // namespace
