// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/Export.h"

/// Where pixel buffers come from and go back to.
///
/// A buffer is always released through the allocator it was taken from, often on another thread and in
/// another part of the system; implementations must therefore be safe to call from any thread.
class QUORIX_API MemoryAllocater
{
public:
    virtual ~MemoryAllocater();

    /// A block of at least theSize bytes, owned by the caller until Free. Throws (BadAllocException or
    /// DLRuntimeException) rather than returning null.
    virtual void* Allocate(std::uint64_t theSize) = 0;

    /// Gives a block back. Null is allowed and does nothing.
    virtual void Free(void* theBlock) = 0;

    /// Whether every block of Allocate is zero-filled; false unless an allocator says so. Declared last of
    /// the virtual operations, so that those before it keep their places.
    virtual bool IsMemoryZeroed() const;
};
