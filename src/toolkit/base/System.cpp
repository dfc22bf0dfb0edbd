// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/System.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <limits>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

MemoryAllocater::~MemoryAllocater() = default;

bool MemoryAllocater::IsMemoryZeroed() const
{
    return false;
}

namespace
{
/// Entries are made and freed outside of the lock: whoever has to wait for memory shall not hold it
/// meanwhile.
struct Registry
{
    using Lengths = std::map<void*, std::size_t>;
    std::mutex itsMutex;
    Lengths itsLengths;
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

constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::uint64_t RoundUp(std::uint64_t theSize, std::uint64_t thePage)
{
    return (theSize + thePage - 1) / thePage * thePage;
}

void* Map(std::size_t theLength, int theExtraFlags)
{
    void* const aBlock =
        mmap(nullptr, theLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | theExtraFlags, -1, 0);
    return aBlock == MAP_FAILED ? nullptr : aBlock;
}

/// Maps a block of whole huge pages, and asks for them. Touching an image for the first time otherwise costs
/// one fault for every 4 KiB, more than many a codec needs to fill them. Nothing is touched here: a file that
/// declares a large image must not cost the memory for it.
void* MapHuge(std::size_t theLength)
{
    void* const aReservation = Map(theLength + kHugePage, 0);
    if (aReservation == nullptr)
    {
        return nullptr;
    }
    auto* const aStart = static_cast<unsigned char*>(aReservation);
    const std::size_t aHead = kHugePage - reinterpret_cast<std::uintptr_t>(aStart) % kHugePage;
    munmap(aStart, aHead);
    if (aHead < kHugePage)
    {
        munmap(aStart + aHead + theLength, kHugePage - aHead);
    }
    // Only a wish: without huge pages the block is as good, and slower.
    madvise(aStart + aHead, theLength, MADV_HUGEPAGE);
    return aStart + aHead;
}
} // namespace

void* VirtualMemory::VirtualAlloc(std::uint64_t theSize)
{
    if (theSize > std::numeric_limits<std::size_t>::max() - 2 * kHugePage)
    {
        errno = ENOMEM;
        return nullptr;
    }
    // What huge pages take beyond the size is never more than the size.
    const bool isHuge = theSize >= kHugePage / 2;
    const auto aLength = static_cast<std::size_t>(
        RoundUp(std::max<std::uint64_t>(theSize, 1), isHuge ? kHugePage : PageSize()));
    void* const aBlock = isHuge ? MapHuge(aLength) : Map(aLength, MAP_POPULATE);
    if (aBlock == nullptr)
    {
        return nullptr;
    }
    try
    {
        Registry::Lengths anEntry{{aBlock, aLength}};
        Registry& aRegistry = TheRegistry();
        const std::lock_guard aLock(aRegistry.itsMutex);
        aRegistry.itsLengths.merge(anEntry);
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
    Registry::Lengths::node_type anEntry;
    {
        Registry& aRegistry = TheRegistry();
        const std::lock_guard aLock(aRegistry.itsMutex);
        anEntry = aRegistry.itsLengths.extract(theBlock);
    }
    if (anEntry.empty())
    {
        errno = EINVAL;
        return false;
    }
    return munmap(theBlock, anEntry.mapped()) == 0;
}

int VirtualMemory::GetLastError()
{
    return errno;
}

namespace
{
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::int64_t Now()
{
    timespec aTime{};
    clock_gettime(CLOCK_MONOTONIC, &aTime);
    return static_cast<std::int64_t>(aTime.tv_sec) * kNanosecondsPerSecond + aTime.tv_nsec;
}

double Seconds(std::int64_t theNanoseconds)
{
    return static_cast<double>(theNanoseconds) / static_cast<double>(kNanosecondsPerSecond);
}
} // namespace

DMTickCounter::DMTickCounter() : itsStart(Now()), itsLapStart(itsStart) {}

void DMTickCounter::Reset()
{
    itsStart = itsLapStart = Now();
}

double DMTickCounter::Lap()
{
    const std::int64_t aNow = Now();
    const double aLap = Seconds(aNow - itsLapStart);
    itsLapStart = aNow;
    return aLap;
}

double DMTickCounter::Total() const
{
    return Seconds(Now() - itsStart);
}
