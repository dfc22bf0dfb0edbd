// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "toolkit/base/System.h"

/// An allocator that knows what is still out, for tests that count allocations and look for leaks.
/// Blocks are exactly as large as asked for, so that the address sanitizer sees every overrun.
class CountingAllocator final : public MemoryAllocater
{
public:
    ~CountingAllocator() override;

    void* Allocate(std::uint64_t theSize) override;
    void Free(void* theBlock) override;

    /// Makes the allocation with this number (counted from 0) throw BadAllocException.
    void FailAt(std::size_t theAllocation) { itsFailAt = static_cast<long long>(theAllocation); }

    std::size_t GetLiveBlocks() const { return itsBlocks.size(); }
    std::size_t GetAllocations() const { return itsSizes.size(); }
    const std::vector<std::uint64_t>& GetSizes() const { return itsSizes; }

private:
    std::map<void*, std::uint64_t> itsBlocks;
    std::vector<std::uint64_t> itsSizes;
    long long itsFailAt = -1;
};
