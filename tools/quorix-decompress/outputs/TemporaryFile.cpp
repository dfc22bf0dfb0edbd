// SPDX-License-Identifier: Apache-2.0
#include "outputs/TemporaryFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "outputs/OutputError.h"

namespace
{
std::mutex theMutex; // for the two below
std::set<std::string> theLiveFiles;
unsigned theNextNumber = 0;

std::string theCommonFolder; // empty for none; constant once work begins

std::string Reason(int theError)
{
    return std::generic_category().message(theError);
}

/// Makes an empty file that nobody else has and notes it.
std::string MakeFile(const std::filesystem::path& theFolder)
{
    const std::lock_guard aLock(theMutex);
    for (;;)
    {
        const std::string aName =
            ".quorix-" + std::to_string(::getpid()) + "-" + std::to_string(theNextNumber++) + ".tmp";
        const std::string aPath = (theFolder / aName).string();
        const auto anEntry = theLiveFiles.insert(aPath).first;
        const int aDescriptor = ::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (aDescriptor >= 0)
        {
            ::close(aDescriptor);
            return aPath;
        }
        const int anError = errno;
        theLiveFiles.erase(anEntry);
        if (anError != EEXIST)
        {
            throw OutputError(Reason(anError));
        }
    }
}
} // namespace

TemporaryFile::TemporaryFile(const std::string& theTarget) : itsTarget(theTarget)
{
    std::error_code anError;
    const auto aStatus = std::filesystem::status(theTarget, anError);
    if (std::filesystem::exists(aStatus) && !std::filesystem::is_regular_file(aStatus))
    {
        throw OutputError("there is something by that name that is no file");
    }
    const std::filesystem::path aParent = std::filesystem::path(theTarget).parent_path();
    if (!theCommonFolder.empty())
    {
        std::filesystem::create_directories(aParent, anError);
        if (anError)
        {
            throw OutputError(aParent.string() + ": " + anError.message());
        }
    }
    itsPath = MakeFile(theCommonFolder.empty() ? aParent : std::filesystem::path(theCommonFolder));
}

TemporaryFile::~TemporaryFile()
{
    if (!itsPath.empty())
    {
        const std::lock_guard aLock(theMutex);
        ::unlink(itsPath.c_str());
        theLiveFiles.erase(itsPath);
    }
}

void TemporaryFile::Sync() const
{
    const int aDescriptor = ::open(itsPath.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isWritten = aDescriptor >= 0 && ::fsync(aDescriptor) == 0;
    const int anError = errno;
    if (aDescriptor >= 0)
    {
        ::close(aDescriptor);
    }
    if (!isWritten)
    {
        throw OutputError(Reason(anError));
    }
}

void TemporaryFile::Commit()
{
    const std::lock_guard aLock(theMutex);
    if (std::rename(itsPath.c_str(), itsTarget.c_str()) != 0)
    {
        throw OutputError(Reason(errno));
    }
    theLiveFiles.erase(itsPath);
    itsPath.clear();
}

void TemporaryFile::SetFolder(const std::string& theFolder)
{
    theCommonFolder = theFolder;
}

void TemporaryFile::RemoveAll()
{
    theMutex.lock(); // for ever
    for (const std::string& aPath : theLiveFiles)
    {
        ::unlink(aPath.c_str());
    }
}
