// SPDX-License-Identifier: Apache-2.0
#include "run/MemoryLimit.h"

#include <algorithm>
#include <fstream>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "toolkit/base/Limits.h"

namespace
{
/// Bytes of private memory that the process has now: the sixth figure of statm, in pages.
std::uint64_t PrivateBytes()
{
    std::ifstream aFile("/proc/self/statm");
    std::uint64_t aPages = 0;
    for (int aFigure = 0; aFigure < 6; ++aFigure)
    {
        if (!(aFile >> aPages))
        {
            return 0;
        }
    }
    return aPages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

std::uint64_t StackBytes()
{
    pthread_attr_t anAttributes;
    std::size_t aSize = 0;
    ::pthread_attr_init(&anAttributes);
    ::pthread_attr_getstacksize(&anAttributes, &aSize);
    ::pthread_attr_destroy(&anAttributes);
    return aSize;
}
} // namespace

void MemoryLimit::Apply(const Options& theOptions)
{
    Limits aLimits = Limits::Get();
    if (const auto aPixels = theOptions.GetMaximumPixels())
    {
        aLimits.itsPixelsPerFrame = *aPixels;
    }
    if (const auto aMemory = theOptions.GetMaximumMemory())
    {
        aLimits.itsBytesPerFrame = *aMemory;
        aLimits.itsAttributeBytes = std::min(aLimits.itsAttributeBytes, *aMemory);
        aLimits.itsInflatedBytes = std::min(aLimits.itsInflatedBytes, *aMemory);
        LimitProcess(*aMemory, static_cast<std::uint64_t>(theOptions.GetJobs()));
    }
    Limits::Set(aLimits);
}

void MemoryLimit::LimitProcess(std::uint64_t theBytes, std::uint64_t theThreads)
{
    const std::uint64_t aBase = PrivateBytes() + (theThreads + 1) * StackBytes();
    rlimit aLimit = {};
    if (::getrlimit(RLIMIT_DATA, &aLimit) == 0)
    {
        aLimit.rlim_cur =
            std::min<rlim_t>(aLimit.rlim_max, aBase + std::min<std::uint64_t>(theBytes, RLIM_INFINITY / 2));
        ::setrlimit(RLIMIT_DATA, &aLimit);
    }
}
