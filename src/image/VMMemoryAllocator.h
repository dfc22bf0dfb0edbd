// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/System.h"

/// Takes every block directly from the operating system's virtual memory and counts the live ones.
///
/// Pixel buffers are large and are freed far from where they were allocated: a mapping of its own for
/// each never fragments a heap and goes back to the system at once. All state belongs to the class;
/// instances are interchangeable. Thread-safe.
class QUORIX_API VMMemoryAllocator : public MemoryAllocater
{
public:
    /// Throws BadAllocException or DLRuntimeException; never returns null.
    void* Allocate(std::uint64_t theSize) override;
    void Free(void* theBlock) override;

    /// Blocks are fresh pages. A derived class that hands out used ones overrides this.
    bool IsMemoryZeroed() const override { return true; }

    /// One for everybody.
    static VMMemoryAllocator& GetDefaultInstance() { return itsDefaultInstance; }

    /// A fresh, zero-filled block of theSize bytes (0 gives one page). Throws DLRuntimeException.
    static void* VMAlloc(std::uint64_t theSize);

    /// Releases a block and returns non-zero on success. Null is answered with 0 and changes nothing; an
    /// unknown pointer is answered with 0 and still counts one block less.
    static int VMFree(void* theBlock);

    /// Blocks that are out now, and the highest that number has been.
    /// @{
    static std::uint64_t GetNumHeapBlocks();
    static std::uint64_t GetMaxNumHeapBlocks();
    /// @}

    /// What GetDefaultInstance gives. Usable from the first static initialiser to the last static destructor
    /// of a program.
    static VMMemoryAllocator& itsDefaultInstance;

private:
    static CriticalSection itsHeapCriticalSection;
    static std::uint64_t itsNumHeapBlocks;
    static std::uint64_t itsMaxNumHeapBlocks;
};
