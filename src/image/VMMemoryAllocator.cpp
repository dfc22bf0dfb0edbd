// SPDX-License-Identifier: Apache-2.0
#include "image/VMMemoryAllocator.h"

#include <algorithm>

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

namespace
{
constinit NeverDestroyed<VMMemoryAllocator> theDefaultInstance;
} // namespace

constinit VMMemoryAllocator& VMMemoryAllocator::itsDefaultInstance = theDefaultInstance.itsObject;
constinit CriticalSection VMMemoryAllocator::itsHeapCriticalSection;
constinit std::uint64_t VMMemoryAllocator::itsNumHeapBlocks = 0;
constinit std::uint64_t VMMemoryAllocator::itsMaxNumHeapBlocks = 0;

void* VMMemoryAllocator::Allocate(std::uint64_t theSize)
{
    try
    {
        return VMAlloc(theSize);
    }
    catch (const BadAllocException&)
    {
        throw;
    }
    catch (const DLRuntimeException&)
    {
        throw;
    }
    catch (...)
    {
        throw BadAllocException(theSize);
    }
}

void VMMemoryAllocator::Free(void* theBlock)
{
    VMFree(theBlock);
}

void* VMMemoryAllocator::VMAlloc(std::uint64_t theSize)
{
    // Only the counters are behind the lock. Mapping and clearing pages takes as long as decoding them may
    // take, and requests side by side would wait for each other's.
    void* const aBlock = VirtualMemory::VirtualAlloc(theSize);
    if (aBlock == nullptr)
    {
        const int anError = VirtualMemory::GetLastError();
        // The heap function and the platform are named deliberately, though the block comes from virtual
        // memory: whoever searches logs for this failure knows it by these words.
        throw DLRuntimeException("VMMemoryAllocator::VMAlloc: Memory allocation of " +
                                 std::to_string(theSize) +
                                 " bytes via ::HeapAlloc failed (low memory condition or fragmentation in "
                                 "image buffer heap prevented allocation) (WIN32 Error Code = " +
                                 std::to_string(anError) + ")");
    }
    const CriticalSectionWhileInScope aScope(itsHeapCriticalSection);
    ++itsNumHeapBlocks;
    itsMaxNumHeapBlocks = std::max(itsMaxNumHeapBlocks, itsNumHeapBlocks);
    return aBlock;
}

int VMMemoryAllocator::VMFree(void* theBlock)
{
    if (theBlock == nullptr)
    {
        return 0;
    }
    const bool isFreed = VirtualMemory::VirtualFree(theBlock);
    const CriticalSectionWhileInScope aScope(itsHeapCriticalSection);
    // Deliberately counted even when nothing was released.
    --itsNumHeapBlocks;
    return isFreed ? 1 : 0;
}

std::uint64_t VMMemoryAllocator::GetNumHeapBlocks()
{
    const CriticalSectionWhileInScope aScope(itsHeapCriticalSection);
    return itsNumHeapBlocks;
}

std::uint64_t VMMemoryAllocator::GetMaxNumHeapBlocks()
{
    const CriticalSectionWhileInScope aScope(itsHeapCriticalSection);
    return itsMaxNumHeapBlocks;
}
