// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/base/System.h"

/// Every target defines this: one run over the bytes. It returns 0, or ends the program where the library
/// breaks a promise.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize);

using Bytes = std::vector<std::uint8_t>;

/// A promise of the library that has to hold for every input.
inline void Require(bool theCondition, const char* thePromise)
{
    if (!theCondition)
    {
        std::fprintf(stderr, "Broken promise: %s\n", thePromise);
        std::abort();
    }
}

/// The bytes of one run. Its parameters are taken from the end, so that what is left is a file as it would
/// come from outside, from its first byte on.
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* theData, std::size_t theSize) : itsData(theData), itsSize(theSize) {}

    /// The last byte that is left; 0 when there is none.
    unsigned TakeByte() { return itsSize == 0 ? 0u : itsData[--itsSize]; }

    int TakeNumber(int theLowest, int theHighest)
    {
        return theLowest + static_cast<int>(TakeByte()) % (theHighest - theLowest + 1);
    }

    bool TakeFlag() { return TakeByte() % 2 != 0; }

    template <class Item, std::size_t theCount>
    const Item& TakeOne(const Item (&theItems)[theCount])
    {
        return theItems[TakeByte() % theCount];
    }

    /// What is left, in a block of exactly its size.
    Bytes GetRest() const { return Bytes(itsData, itsData + itsSize); }

private:
    const std::uint8_t* itsData;
    std::size_t itsSize;
};

/// Blocks of exactly the size asked for, filled so that what nobody wrote shows, all of which have to come
/// back.
class FuzzAllocator final : public MemoryAllocater
{
public:
    explicit FuzzAllocator(int theFill = 0xa5) : itsFill(theFill) {}
    ~FuzzAllocator() override { Require(itsBlocks.empty(), "every block is given back"); }

    void* Allocate(std::uint64_t theSize) override
    {
        void* const aBlock = theSize > kLargest ? nullptr : std::malloc(theSize);
        if (aBlock == nullptr)
        {
            throw BadAllocException(theSize);
        }
        std::memset(aBlock, itsFill, theSize);
        itsBlocks[aBlock] = theSize;
        return aBlock;
    }

    void Free(void* theBlock) override
    {
        Require(theBlock == nullptr || itsBlocks.erase(theBlock) == 1, "only blocks that are out come back");
        std::free(theBlock);
    }

    bool HasBlocks() const { return !itsBlocks.empty(); }

private:
    static constexpr std::uint64_t kLargest = std::uint64_t{1} << 26;

    int itsFill;
    std::map<void*, std::uint64_t> itsBlocks;
};

/// Images as large as a fuzzer has time for.
inline void SetFuzzLimits(std::uint64_t theBytesPerFrame = std::uint64_t{1} << 21)
{
    Limits aLimits;
    aLimits.itsPixelsPerFrame = std::uint64_t{1} << 18;
    aLimits.itsBytesPerFrame = theBytesPerFrame;
    aLimits.itsAttributeBytes = std::uint64_t{1} << 24;
    Limits::Set(aLimits);
}
