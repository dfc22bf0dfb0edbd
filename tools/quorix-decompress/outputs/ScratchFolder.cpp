// SPDX-License-Identifier: Apache-2.0
#include "outputs/ScratchFolder.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "outputs/OutputError.h"

namespace
{
constexpr const char* kLockName = "/lock";

/// Whether theDescriptor is still the file of that name.
bool IsThere(int theDescriptor, const std::string& thePath)
{
    struct stat anOpen = {};
    struct stat aNamed = {};
    return ::fstat(theDescriptor, &anOpen) == 0 && ::stat(thePath.c_str(), &aNamed) == 0 &&
           anOpen.st_ino == aNamed.st_ino && anOpen.st_dev == aNamed.st_dev;
}

void RemoveIfAbandoned(const std::filesystem::path& theFolder)
{
    std::error_code anIgnored;
    const int aLock = ::open((theFolder.string() + kLockName).c_str(), O_RDWR | O_CLOEXEC);
    if (aLock < 0)
    {
        ::rmdir(theFolder.c_str()); // only what is empty
        return;
    }
    if (::flock(aLock, LOCK_EX | LOCK_NB) == 0)
    {
        std::filesystem::remove_all(theFolder, anIgnored);
    }
    ::close(aLock);
}
} // namespace

ScratchFolder::ScratchFolder(const std::string& theParent)
{
    std::error_code anError;
    std::filesystem::create_directories(theParent, anError);
    std::filesystem::directory_iterator anIterator(theParent, anError);
    while (!anError && anIterator != std::filesystem::directory_iterator())
    {
        RemoveIfAbandoned(anIterator->path());
        anIterator.increment(anError);
    }
    // Another run that starts now may take a folder away before its lock is held.
    for (int anAttempt = 0; anAttempt < 100; ++anAttempt)
    {
        if (TryMake(theParent))
        {
            return;
        }
    }
    throw OutputError(theParent + ": unable to make a folder: " + std::generic_category().message(errno));
}

ScratchFolder::~ScratchFolder()
{
    Remove();
    ::close(itsLock);
}

void ScratchFolder::Remove()
{
    std::error_code anIgnored;
    std::filesystem::remove_all(itsPath, anIgnored);
}

bool ScratchFolder::TryMake(const std::string& theParent)
{
    itsPath = theParent + "/XXXXXX";
    if (::mkdtemp(itsPath.data()) == nullptr)
    {
        return false;
    }
    const std::string aName = itsPath + kLockName;
    itsLock = ::open(aName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (itsLock < 0)
    {
        return false;
    }
    const bool isFree = ::flock(itsLock, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    if (isFree && IsThere(itsLock, aName))
    {
        return true;
    }
    ::close(itsLock);
    itsLock = -1;
    return false;
}
