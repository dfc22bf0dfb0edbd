// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include <signal.h>

/// Ends the program in good order on SIGTERM, SIGINT and SIGHUP.
///
/// After a signal no work is begun. Work in hand has some seconds to finish; then, or when a second signal
/// asks for it, unfinished files are removed and the process ends where it is. So the program ends soon even
/// when it waits for an input that does not come. Thread-safe.
class StopSignal
{
public:
    static constexpr int kExitStatus = 5;

    /// To be called before any thread is started: signals then wait for an object of this class. A signal
    /// that the caller had ignored stays so.
    static void Block();

    /// theName: what the program calls itself when it says that it stops.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    bool IsRaised() const { return itsRaised; }

    /// What removes unfinished files; called at most once, from another thread.
    void SetCleanup(std::function<void()> theCleanup);

    /// Work that is finished before the program ends, if it does not take too long.
    class Work
    {
    public:
        explicit Work(StopSignal& theSignal) : itsSignal(theSignal), itsBegun(theSignal.Begin()) {}
        ~Work()
        {
            if (itsBegun)
            {
                itsSignal.End();
            }
        }
        Work(const Work&) = delete;
        Work& operator=(const Work&) = delete;

        /// False when a signal was first: nothing is to be begun.
        bool IsBegun() const { return itsBegun; }

    private:
        StopSignal& itsSignal;
        bool itsBegun;
    };

private:
    bool Begin();
    void End();
    void Watch();
    void WaitForWork();

    static sigset_t theSignals;

    std::mutex itsMutex;
    std::condition_variable itsChange;
    std::function<void()> itsCleanup;
    int itsWorkInHand = 0;
    std::atomic<bool> itsRaised{false};
    bool itsEnded = false;
    std::thread itsThread; ///< last: it uses the others
};
