// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <mutex>

#include "toolkit/base/BaseTypes.h"

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

/// A recursive mutual-exclusion lock: the thread that holds it may enter again.
class QUORIX_API CriticalSection
{
public:
    /// Waits until no other thread is inside.
    void Enter() { itsMutex.lock(); }

    /// To be called once for every Enter, by the same thread.
    void Leave() { itsMutex.unlock(); }

private:
    std::recursive_mutex itsMutex;
};

/// Holds a critical section for the length of a scope.
class CriticalSectionWhileInScope
{
public:
    /// Enters theSection, which is borrowed.
    explicit CriticalSectionWhileInScope(CriticalSection& theSection) : itsSection(theSection)
    {
        itsSection.Enter();
    }
    ~CriticalSectionWhileInScope() { itsSection.Leave(); }
    CriticalSectionWhileInScope(const CriticalSectionWhileInScope&) = delete;
    CriticalSectionWhileInScope& operator=(const CriticalSectionWhileInScope&) = delete;

private:
    CriticalSection& itsSection;
};

/// A lap timer on the monotonic clock. Starts when constructed. Not thread-safe.
class QUORIX_API DMTickCounter
{
public:
    DMTickCounter();

    /// Back to zero: the next lap and the total count from now.
    void Reset();

    /// Seconds since the last lap (or since the start), and begins a new lap.
    double Lap();

    /// Seconds since the start; laps are not disturbed.
    double Total() const;

private:
    std::int64_t itsStart;
    std::int64_t itsLapStart;
};

/// Holds one object of static storage that is built before any dynamic initialisation (declare the holder
/// constinit) and never destroyed: static objects of callers may use it before our own statics exist and
/// after those are gone.
template <class Type>
union NeverDestroyed
{
    constexpr NeverDestroyed() : itsObject() {}
    ~NeverDestroyed() {}

    Type itsObject; ///< the one object
};
