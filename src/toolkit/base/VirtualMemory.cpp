// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/VirtualMemory.h"

#include <cerrno>
#include <cstddef>
#include <limits>
#include <mutex>
#include <unordered_map>

#include <sys/mman.h>
#include <unistd.h>

namespace
{
struct Registry
{
    std::mutex itsMutex;
    std::unordered_map<void*, std::size_t> itsLengths;
};

// Never destroyed: a static object of a caller may release its last image after our own statics are gone.
Registry& TheRegistry()
{
    static Registry* const aRegistry = new Registry;
    return *aRegistry;
}

std::uint64_t PageSize()
{
    static const std::uint64_t aPageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return aPageSize;
}
} // namespace

void* VirtualMemory::VirtualAlloc(std::uint64_t theSize)
{
    const std::uint64_t aPageSize = PageSize();
    if (theSize > std::numeric_limits<std::size_t>::max() - aPageSize)
    {
        errno = ENOMEM;
        return nullptr;
    }
    const std::uint64_t aPageCount = theSize == 0 ? 1 : (theSize + aPageSize - 1) / aPageSize;
    const std::size_t aLength = static_cast<std::size_t>(aPageCount * aPageSize);
    void* const aBlock = mmap(nullptr, aLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (aBlock == MAP_FAILED)
    {
        return nullptr;
    }
    try
    {
        Registry& aRegistry = TheRegistry();
        const std::lock_guard aLock(aRegistry.itsMutex);
        aRegistry.itsLengths.emplace(aBlock, aLength);
    }
    catch (...)
    {
        munmap(aBlock, aLength);
        errno = ENOMEM;
        return nullptr;
    }
    return aBlock;
}

bool VirtualMemory::VirtualFree(void* theBlock)
{
    std::size_t aLength = 0;
    {
        Registry& aRegistry = TheRegistry();
        const std::lock_guard aLock(aRegistry.itsMutex);
        const auto anEntry = aRegistry.itsLengths.find(theBlock);
        if (anEntry == aRegistry.itsLengths.end())
        {
            errno = EINVAL;
            return false;
        }
        aLength = anEntry->second;
        aRegistry.itsLengths.erase(anEntry);
    }
    return munmap(theBlock, aLength) == 0;
}

int VirtualMemory::GetLastError()
{
    return errno;
}
