// SPDX-License-Identifier: Apache-2.0
// Before 2.34 the C library left a program's own constructors to the program.
#include <stddef.h>

typedef int Main(int, char**, char**);
typedef void Constructor(int, char**, char**);

extern Constructor* const __init_array_start[] __attribute__((visibility("hidden")));
extern Constructor* const __init_array_end[] __attribute__((visibility("hidden")));

static void construct(int theCount, char** theArguments, char** theEnvironment)
{
    for (Constructor* const* aConstructor = __init_array_start; aConstructor != __init_array_end; ++aConstructor)
    {
        (*aConstructor)(theCount, theArguments, theEnvironment);
    }
}

int __real___libc_start_main(Main* theMain, int theCount, char** theArguments, Constructor* theInit,
                             void (*theFini)(void), void (*theLoaderFini)(void), void* theStackEnd);

// Linked with --wrap=__libc_start_main, so that it stands between the start file and the C library.
int __wrap___libc_start_main(Main* theMain, int theCount, char** theArguments, Constructor* theInit,
                             void (*theFini)(void), void (*theLoaderFini)(void), void* theStackEnd)
{
    (void)theInit;
    return __real___libc_start_main(theMain, theCount, theArguments, construct, theFini, theLoaderFini, theStackEnd);
}
