// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/DMTickCounter.h"

#include <ctime>

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
