// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/Limits.h"

#include <atomic>
#include <string>

#include "toolkit/base/Exceptions.h"

namespace
{
/// Each figure by itself may be read while another thread sets it.
struct SharedLimits
{
    std::atomic<std::uint64_t> itsPixelsPerFrame{Limits().itsPixelsPerFrame};
    std::atomic<std::uint64_t> itsBytesPerFrame{Limits().itsBytesPerFrame};
    std::atomic<std::uint64_t> itsFrames{Limits().itsFrames};
    std::atomic<std::uint64_t> itsNestedSequences{Limits().itsNestedSequences};
    std::atomic<std::uint64_t> itsAttributeBytes{Limits().itsAttributeBytes};
    std::atomic<std::uint64_t> itsInflatedBytes{Limits().itsInflatedBytes};
    std::atomic<std::uint64_t> itsFragments{Limits().itsFragments};
};

constinit SharedLimits theLimitsInForce;
} // namespace

Limits Limits::Get()
{
    Limits aCopy;
    aCopy.itsPixelsPerFrame = theLimitsInForce.itsPixelsPerFrame;
    aCopy.itsBytesPerFrame = theLimitsInForce.itsBytesPerFrame;
    aCopy.itsFrames = theLimitsInForce.itsFrames;
    aCopy.itsNestedSequences = theLimitsInForce.itsNestedSequences;
    aCopy.itsAttributeBytes = theLimitsInForce.itsAttributeBytes;
    aCopy.itsInflatedBytes = theLimitsInForce.itsInflatedBytes;
    aCopy.itsFragments = theLimitsInForce.itsFragments;
    return aCopy;
}

void Limits::Set(const Limits& theLimits)
{
    theLimitsInForce.itsPixelsPerFrame = theLimits.itsPixelsPerFrame;
    theLimitsInForce.itsBytesPerFrame = theLimits.itsBytesPerFrame;
    theLimitsInForce.itsFrames = theLimits.itsFrames;
    theLimitsInForce.itsNestedSequences = theLimits.itsNestedSequences;
    theLimitsInForce.itsAttributeBytes = theLimits.itsAttributeBytes;
    theLimitsInForce.itsInflatedBytes = theLimits.itsInflatedBytes;
    theLimitsInForce.itsFragments = theLimits.itsFragments;
}

void Limits::CheckFrame(std::uint64_t theRows, std::uint64_t theColumns, std::uint64_t theBytes)
{
    const Limits aLimits = Get();
    std::uint64_t aPixels = 0;
    const bool isWrapped = __builtin_mul_overflow(theRows, theColumns, &aPixels);
    if (isWrapped || aPixels > aLimits.itsPixelsPerFrame)
    {
        throw StreamIOException("The image is too large: " + std::to_string(theRows) + " rows of " +
                                    Describe(theColumns, "pixels", aLimits.itsPixelsPerFrame) + " in all",
                                DLRC_ALLOCATION_FAILED, 0);
    }
    if (theBytes > aLimits.itsBytesPerFrame)
    {
        throw StreamIOException("The image is too large: " +
                                    Describe(theBytes, "bytes", aLimits.itsBytesPerFrame),
                                DLRC_ALLOCATION_FAILED, 0);
    }
}

void Limits::CheckFrames(std::uint64_t theFrames)
{
    const std::uint64_t aLimit = Get().itsFrames;
    if (theFrames > aLimit)
    {
        throw StreamIOException("The data set is too large: " + Describe(theFrames, "frames", aLimit),
                                DLRC_PARSE_ERROR, 0);
    }
}

RWCString Limits::Describe(std::uint64_t theFigure, const char* theWhat, std::uint64_t theLimit)
{
    return std::to_string(theFigure) + " " + theWhat + ", more than the limit of " + std::to_string(theLimit);
}
