// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "toolkit/io/LFStream.h"

/// Another process that holds a lock on a file until Release ends it; the lock must go with it.
class LockHolder
{
public:
    LockHolder(const char* theName, LFStream::LockMode theMode)
    {
        int aReady[2];
        if (::pipe(aReady) != 0 || (itsChild = ::fork()) < 0)
        {
            return;
        }
        if (itsChild == 0)
        {
            LFStream aStream(LFStream::UNBUFFERED);
            const bool isLocked = aStream.open(theName, LFStream::MODE_IN | LFStream::MODE_OUT, 64) &&
                                  aStream.Lock(0.0, theMode) != 0;
            ::sleep(::write(aReady[1], &isLocked, sizeof isLocked) > 0 ? 60 : 0);
            ::_exit(0);
        }
        const bool isTold = ::read(aReady[0], &itsIsLocked, sizeof itsIsLocked) == sizeof itsIsLocked;
        itsIsLocked = itsIsLocked && isTold;
        ::close(aReady[0]);
        ::close(aReady[1]);
    }
    ~LockHolder() { Release(); }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    bool IsLocked() const { return itsIsLocked; }

    void Release()
    {
        if (itsChild > 0)
        {
            ::kill(itsChild, SIGKILL);
            ::waitpid(itsChild, nullptr, 0);
            itsChild = -1;
        }
    }

private:
    pid_t itsChild = -1;
    bool itsIsLocked = false;
};
