// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/Export.h"

/// Whole blocks straight from the operating system's virtual memory.
///
/// Every block is its own anonymous mapping, zero-filled and page-aligned; large ones ask for huge pages. The
/// lengths are kept in a registry behind a lock, because releasing a mapping needs its length; all operations
/// may be called from any thread.
class QUORIX_API VirtualMemory
{
public:
    /// Maps theSize bytes, rounded up to whole pages; 0 gives one page. Null on failure (rounding that
    /// overflows included), with errno telling why.
    static void* VirtualAlloc(std::uint64_t theSize);

    /// Unmaps a block of VirtualAlloc. False for a pointer that VirtualAlloc did not give out.
    static bool VirtualFree(void* theBlock);

    /// The operating system's last error code of this thread.
    static int GetLastError();
};
