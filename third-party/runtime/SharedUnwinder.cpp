// SPDX-License-Identifier: Apache-2.0
// The library has an unwinder of its own inside, for processes without one. A C++ program has one already,
// and an exception that leaves the library for its program, or passes through it from a callback, must be
// handled by one alone: two of them do not know each other's state. So all calls go through the table below
// (--wrap), which points to the process's unwinder where there is one, and what counts exceptions in flight
// is shared likewise.
#include <dlfcn.h>
#include <sys/mman.h>

#include <cstddef>
#include <iterator>

// Every entry of the unwinder that this library's code and its C++ runtime call.
#define QUORIX_UNWINDER(theApply)                                                                            \
    theApply(0, _Unwind_DeleteException) theApply(1, _Unwind_GetDataRelBase) theApply(2, _Unwind_GetIPInfo)  \
        theApply(3, _Unwind_GetLanguageSpecificData) theApply(4, _Unwind_GetRegionStart)                     \
            theApply(5, _Unwind_GetTextRelBase) theApply(6, _Unwind_RaiseException)                          \
                theApply(7, _Unwind_Resume) theApply(8, _Unwind_Resume_or_Rethrow)                           \
                    theApply(9, _Unwind_SetGR) theApply(10, _Unwind_SetIP)

// They look at their callers' frames, so the way to them is a jump, which leaves none.
#ifdef __x86_64__
#define QUORIX_JUMP(theSlot) "endbr64\n jmp *quorix_unwinder+8*" #theSlot "(%rip)\n"
#else
#define QUORIX_JUMP(theSlot)                                                                                 \
    "bti c\n adrp x16, quorix_unwinder+8*" #theSlot "\n ldr x16, [x16, :lo12:quorix_unwinder+8*" #theSlot    \
    "]\n br x16\n"
#endif
#define QUORIX_FORWARD(theSlot, theName)                                                                     \
    asm(".text\n.globl __wrap_" #theName "\n.hidden __wrap_" #theName "\n.type __wrap_" #theName             \
        ", %function\n__wrap_" #theName ":\n" QUORIX_JUMP(theSlot) ".size __wrap_" #theName                  \
                                                                   ", .-__wrap_" #theName "\n");
#define QUORIX_DECLARE(theSlot, theName) void __real_##theName();
#define QUORIX_OWN(theSlot, theName) &__real_##theName,
#define QUORIX_NAME(theSlot, theName) #theName,

extern "C"
{
    QUORIX_UNWINDER(QUORIX_DECLARE)

#ifdef __x86_64__
    constexpr std::size_t kPage = 4096;
#else
    constexpr std::size_t kPage = 65536; // the largest that there is
#endif
    struct alignas(kPage) Unwinder
    {
        void (*itsEntries[11])();
        void* (*itsGlobals)();
        void* (*itsGlobalsFast)();
    };
    // Changed once, below, and then read-only.
    __attribute__((visibility("hidden")))
    Unwinder quorix_unwinder = {{QUORIX_UNWINDER(QUORIX_OWN)}, nullptr, nullptr};

    // What the C++ runtime keeps for each thread: the exceptions caught and the number in flight.
    struct ExceptionGlobals
    {
        void* itsCaught;
        unsigned itsUncaught;
    };
    static thread_local ExceptionGlobals theOwnGlobals;

    __attribute__((visibility("hidden"))) void* __cxa_get_globals()
    {
        return quorix_unwinder.itsGlobals ? quorix_unwinder.itsGlobals() : &theOwnGlobals;
    }

    __attribute__((visibility("hidden"))) void* __cxa_get_globals_fast()
    {
        return quorix_unwinder.itsGlobalsFast ? quorix_unwinder.itsGlobalsFast() : &theOwnGlobals;
    }
}

QUORIX_UNWINDER(QUORIX_FORWARD)

namespace
{
template <typename Function>
Function* Find(const char* theName)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, theName));
}

// Before any other code of the library runs. All entries are taken, or none.
__attribute__((constructor(101))) void ShareUnwinder()
{
    static constexpr const char* kNames[] = {QUORIX_UNWINDER(QUORIX_NAME)};
    Unwinder aFound{};
    bool isComplete = true;
    for (std::size_t i = 0; i < std::size(kNames); ++i)
    {
        aFound.itsEntries[i] = Find<void()>(kNames[i]);
        isComplete = isComplete && aFound.itsEntries[i] != nullptr;
    }
    aFound.itsGlobals = Find<void*()>("__cxa_get_globals");
    aFound.itsGlobalsFast = Find<void*()>("__cxa_get_globals_fast");
    if (isComplete && aFound.itsGlobals != nullptr && aFound.itsGlobalsFast != nullptr)
    {
        quorix_unwinder = aFound;
    }
    mprotect(&quorix_unwinder, sizeof quorix_unwinder, PROT_READ);
}
} // namespace
