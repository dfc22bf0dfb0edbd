// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{
[[noreturn]] void ThrowSystemError()
{
    throw OutputError(std::generic_category().message(errno));
}
} // namespace

OutputFile::OutputFile(TemporaryFile& theFile)
    : itsTemporary(theFile), itsFile(std::fopen(theFile.GetPath().c_str(), "wb"))
{
    if (itsFile == nullptr)
    {
        ThrowSystemError();
    }
}

OutputFile::~OutputFile()
{
    if (itsFile != nullptr)
    {
        std::fclose(itsFile);
    }
}

void OutputFile::Write(const void* theBytes, std::size_t theCount)
{
    itsTemporary.Claim(theCount);
    if (theCount > 0 && std::fwrite(theBytes, 1, theCount, itsFile) != theCount)
    {
        ThrowSystemError();
    }
}

void OutputFile::Close()
{
    const bool isFlushed = std::fflush(itsFile) == 0 && std::ferror(itsFile) == 0;
    const int anError = errno;
    const bool isClosed = std::fclose(itsFile) == 0;
    itsFile = nullptr;
    if (!isFlushed || !isClosed)
    {
        errno = isFlushed ? errno : anError;
        ThrowSystemError();
    }
}

namespace
{
std::mutex theMutex; // for the three below
std::set<std::string> theLiveFiles;
unsigned theNextNumber = 0;
std::uint64_t theClaimedBytes = 0;

std::string theCommonFolder;               // empty for none; constant once work begins
std::uint64_t theMaximumBytes = INT64_MAX; // likewise

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
        std::string aPath = (theFolder / aName).string();
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
    if (theTarget == kStandardOutput)
    {
        itsPath = MakeFile(std::filesystem::temp_directory_path(anError));
        return;
    }
    const auto aStatus = std::filesystem::status(theTarget, anError);
    if (std::filesystem::exists(aStatus) && !std::filesystem::is_regular_file(aStatus))
    {
        throw RefusedOutput("there is something by that name that is no file");
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
        theClaimedBytes -= itsClaimed;
    }
}

void TemporaryFile::Claim(std::uint64_t theBytes)
{
    const std::lock_guard aLock(theMutex);
    if (theBytes > theMaximumBytes - theClaimedBytes)
    {
        throw RefusedOutput("--max-output: all files together would have more than " +
                            std::to_string(theMaximumBytes) + " bytes");
    }
    theClaimedBytes += theBytes;
    itsClaimed += theBytes;
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
    if (itsTarget == kStandardOutput)
    {
        CopyToStandardOutput(); // and remains a temporary file
        return;
    }
    const std::lock_guard aLock(theMutex);
    if (std::rename(itsPath.c_str(), itsTarget.c_str()) != 0)
    {
        throw OutputError(Reason(errno));
    }
    theLiveFiles.erase(itsPath);
    itsPath.clear();
}

void TemporaryFile::CopyToStandardOutput() const
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> aFile(std::fopen(itsPath.c_str(), "rb"),
                                                                &std::fclose);
    std::vector<char> aBuffer(std::size_t{1} << 16);
    std::size_t aCount = 0;
    while (aFile != nullptr && (aCount = std::fread(aBuffer.data(), 1, aBuffer.size(), aFile.get())) > 0 &&
           std::fwrite(aBuffer.data(), 1, aCount, stdout) == aCount)
    {
    }
    if (aFile == nullptr || std::feof(aFile.get()) == 0 || std::fflush(stdout) != 0)
    {
        throw OutputError(Reason(errno));
    }
}

void TemporaryFile::SetFolder(const std::string& theFolder)
{
    theCommonFolder = theFolder;
}

void TemporaryFile::SetMaximum(std::uint64_t theBytes)
{
    theMaximumBytes = theBytes;
}

void TemporaryFile::RemoveAll()
{
    theMutex.lock(); // for ever
    for (const std::string& aPath : theLiveFiles)
    {
        ::unlink(aPath.c_str());
    }
}

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
