// SPDX-License-Identifier: Apache-2.0
// Functions that the C library has got since the version that the natives of jar and tarball are linked for, as far
// as these natives and the C++ runtime inside them call them. Hidden: nobody else meets them.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>

// 2.33: stat and its kin were macros around these.
#ifdef __x86_64__
enum
{
    kStatVersion = 1
};
#else
enum
{
    kStatVersion = 0
};
#endif
int __xstat(int theVersion, const char* thePath, struct stat* theStatus);
int __lxstat(int theVersion, const char* thePath, struct stat* theStatus);
int __fxstat(int theVersion, int theDescriptor, struct stat* theStatus);

int stat(const char* thePath, struct stat* theStatus)
{
    return __xstat(kStatVersion, thePath, theStatus);
}

int lstat(const char* thePath, struct stat* theStatus)
{
    return __lxstat(kStatVersion, thePath, theStatus);
}

int fstat(int theDescriptor, struct stat* theStatus)
{
    return __fxstat(kStatVersion, theDescriptor, theStatus);
}

// On 64-bit machines the same structure.
int fstat64(int theDescriptor, struct stat64* theStatus)
{
    return __fxstat(kStatVersion, theDescriptor, (struct stat*)theStatus);
}

// 2.36, for std::random_device.
uint32_t arc4random(void)
{
    uint32_t aWord;
    while (getrandom(&aWord, sizeof aWord, 0) != (ssize_t)sizeof aWord)
    {
        if (errno != EINTR)
        {
            abort();
        }
    }
    return aWord;
}

// 2.32: "no" makes the C++ runtime count references atomically, as it did before.
char __libc_single_threaded = 0;

// 2.35: how the unwinder finds the tables of the code at an address.
struct Search
{
    uintptr_t itsAddress;
    struct dl_find_object* itsResult;
};

static int look(struct dl_phdr_info* theInfo, size_t theSize, void* theSearch)
{
    const struct Search* aSearch = theSearch;
    const ElfW(Phdr)* aTables = NULL;
    int isHere = 0;
    for (int i = 0; i < theInfo->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)* aHeader = &theInfo->dlpi_phdr[i];
        const uintptr_t aBegin = theInfo->dlpi_addr + aHeader->p_vaddr;
        if (aHeader->p_type == PT_LOAD && aSearch->itsAddress - aBegin < aHeader->p_memsz)
        {
            isHere = 1;
            aSearch->itsResult->dlfo_map_start = (void*)aBegin;
            aSearch->itsResult->dlfo_map_end = (void*)(aBegin + aHeader->p_memsz);
        }
        else if (aHeader->p_type == PT_GNU_EH_FRAME)
        {
            aTables = aHeader;
        }
    }
    if (!isHere || aTables == NULL)
    {
        return isHere ? -1 : 0;
    }
    aSearch->itsResult->dlfo_eh_frame = (void*)(theInfo->dlpi_addr + aTables->p_vaddr);
    (void)theSize;
    return 1;
}

int _dl_find_object(void* theAddress, struct dl_find_object* theResult)
{
    struct Search aSearch = {(uintptr_t)theAddress, theResult};
    memset(theResult, 0, sizeof *theResult);
    return dl_iterate_phdr(look, &aSearch) == 1 ? 0 : -1;
}
