// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include "toolkit/base/Export.h"

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
