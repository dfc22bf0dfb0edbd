// SPDX-License-Identifier: Apache-2.0
#include "run/StopSignal.h"

#include <chrono>

#include <unistd.h>

namespace
{
using Clock = std::chrono::steady_clock;

constexpr auto kTimeForWork = std::chrono::seconds(5); // batch systems give 10 and more
constexpr auto kTimeToEnd = std::chrono::seconds(1);   // without work in hand
constexpr timespec kSlice = {0, 20'000'000};
} // namespace

sigset_t StopSignal::theSignals;

void StopSignal::Block()
{
    sigemptyset(&theSignals);
    for (const int aSignal : {SIGTERM, SIGINT, SIGHUP})
    {
        struct sigaction anAction = {};
        if (::sigaction(aSignal, nullptr, &anAction) == 0 && anAction.sa_handler != SIG_IGN)
        {
            sigaddset(&theSignals, aSignal);
        }
    }
    // One that nobody sends is always waited for: it wakes the thread up at the end.
    sigaddset(&theSignals, SIGUSR2);
    ::pthread_sigmask(SIG_BLOCK, &theSignals, nullptr);
}

StopSignal::StopSignal() : itsThread([this] { Watch(); }) {}

StopSignal::~StopSignal()
{
    {
        const std::lock_guard aLock(itsMutex);
        itsEnded = true;
    }
    ::pthread_kill(itsThread.native_handle(), SIGUSR2);
    itsThread.join();
}

void StopSignal::SetCleanup(std::function<void()> theCleanup)
{
    const std::lock_guard aLock(itsMutex);
    itsCleanup = std::move(theCleanup);
}

bool StopSignal::Begin()
{
    const std::lock_guard aLock(itsMutex);
    itsWorkInHand += itsRaised ? 0 : 1;
    return !itsRaised;
}

void StopSignal::End()
{
    const std::lock_guard aLock(itsMutex);
    --itsWorkInHand;
}

void StopSignal::Watch()
{
    int aSignal = 0;
    do
    {
        ::sigwait(&theSignals, &aSignal);
        const std::lock_guard aLock(itsMutex);
        if (itsEnded)
        {
            return;
        }
        itsRaised = aSignal != SIGUSR2;
    } while (!itsRaised);
    WaitForWork();
}

/// Returns when the program ends by itself.
void StopSignal::WaitForWork()
{
    const auto aStart = Clock::now();
    auto anIdleSince = aStart;
    for (;;)
    {
        const int aSignal = ::sigtimedwait(&theSignals, nullptr, &kSlice);
        const std::lock_guard aLock(itsMutex);
        if (itsEnded)
        {
            return;
        }
        const auto aNow = Clock::now();
        anIdleSince = itsWorkInHand > 0 ? aNow : anIdleSince;
        // Batch systems send SIGTERM more than once; a second SIGINT is somebody who will not wait.
        if (aSignal == SIGINT || aNow - aStart > kTimeForWork + kTimeToEnd ||
            (itsWorkInHand > 0 && aNow - aStart > kTimeForWork) || aNow - anIdleSince > kTimeToEnd)
        {
            if (itsCleanup)
            {
                itsCleanup();
            }
            ::_exit(kExitStatus);
        }
    }
}
