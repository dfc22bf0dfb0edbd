// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/System.h"

/// Takes blocks from the process heap. Stateless and thread-safe.
class QUORIX_API ProcessHeapMemoryAllocator : public MemoryAllocater
{
public:
    /// Throws BadAllocException; never returns null. The block's bytes are not initialised.
    void* Allocate(std::uint64_t theSize) override;
    void Free(void* theBlock) override;

    /// One for everybody; usable from the first static initialiser to the last static destructor of a
    /// program.
    /// @{
    static ProcessHeapMemoryAllocator& GetDefaultInstance() { return itsDefaultInstance; }
    static ProcessHeapMemoryAllocator& itsDefaultInstance;
    /// @}
};
