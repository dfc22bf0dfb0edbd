// SPDX-License-Identifier: Apache-2.0
#include "support/CountingAllocator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <gtest/gtest.h>

#include "toolkit/base/Exceptions.h"

CountingAllocator::~CountingAllocator()
{
    EXPECT_EQ(itsBlocks.size(), 0u) << "blocks were never given back";
}

void* CountingAllocator::Allocate(std::uint64_t theSize)
{
    const std::size_t aNumber = itsSizes.size();
    itsSizes.push_back(theSize);
    const bool isToFail = static_cast<long long>(aNumber) == itsFailAt;
    std::unique_ptr<void, decltype(&std::free)> aBlock(isToFail ? nullptr : std::malloc(theSize), &std::free);
    if (aBlock == nullptr)
    {
        throw BadAllocException(theSize);
    }
    // What a used block holds is never zero here, so that samples nobody wrote show up.
    std::memset(aBlock.get(), 0xA5, static_cast<std::size_t>(std::min<std::uint64_t>(theSize, 1 << 20)));
    itsBlocks.emplace(aBlock.get(), theSize);
    return aBlock.release();
}

void CountingAllocator::Free(void* theBlock)
{
    if (theBlock == nullptr)
    {
        return;
    }
    EXPECT_EQ(itsBlocks.erase(theBlock), 1u) << "a block was given back that this allocator does not know";
    std::free(theBlock);
}
