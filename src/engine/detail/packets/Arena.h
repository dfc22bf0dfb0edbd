// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace j2k
{

/// Memory for many small records that all go at once. What it hands out is zeroed and stays in place until
/// the arena is destroyed; nothing is freed alone, no destructor runs. Throws std::bad_alloc.
class Arena
{
public:
    /// theCount records of all zero bytes; null for none.
    template <class Record>
    Record* Allocate(std::size_t theCount)
    {
        static_assert(std::is_trivially_copyable_v<Record> && std::is_trivially_destructible_v<Record>);
        static_assert(alignof(Record) <= kAlignment);
        if (theCount > (~std::size_t(0) - kAlignment) / sizeof(Record))
        {
            throw std::bad_alloc();
        }
        return theCount == 0 ? nullptr : static_cast<Record*>(Take(theCount * sizeof(Record)));
    }

private:
    static constexpr std::size_t kAlignment = 8;
    static constexpr std::size_t kSmallestChunk = std::size_t(1) << 12;
    static constexpr std::size_t kLargestChunk = std::size_t(1) << 18;

    void* Take(std::size_t theBytes)
    {
        const std::size_t aNeed = (theBytes + kAlignment - 1) / kAlignment * kAlignment;
        if (aNeed > itsLeft)
        {
            AddChunk(aNeed);
        }
        std::byte* const aPlace = itsNext;
        itsNext += aNeed;
        itsLeft -= aNeed;
        return aPlace;
    }

    // Small tiles take little; chunks double up to a limit, and what needs more gets a chunk of its own.
    void AddChunk(std::size_t theBytes)
    {
        const std::size_t aSize = std::max(theBytes, itsChunkSize);
        itsChunks.push_back(std::make_unique<std::byte[]>(aSize));
        itsNext = itsChunks.back().get();
        itsLeft = aSize;
        itsChunkSize = std::min(itsChunkSize * 2, kLargestChunk);
    }

    std::vector<std::unique_ptr<std::byte[]>> itsChunks;
    std::byte* itsNext = nullptr;
    std::size_t itsLeft = 0;
    std::size_t itsChunkSize = kSmallestChunk;
};

} // namespace j2k
