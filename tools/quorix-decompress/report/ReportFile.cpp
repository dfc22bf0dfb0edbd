// SPDX-License-Identifier: Apache-2.0
#include "report/ReportFile.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "outputs/OutputFile.h"

namespace
{
off_t SizeOf(int theDescriptor)
{
    struct stat aStatus = {};
    return ::fstat(theDescriptor, &aStatus) == 0 ? aStatus.st_size : 0;
}

/// Held for the time of one line. Without locks (some network file systems) lines are still written at once.
class Lock
{
public:
    explicit Lock(int theDescriptor) : itsDescriptor(theDescriptor)
    {
        while (::flock(itsDescriptor, LOCK_EX) != 0 && errno == EINTR)
        {
        }
    }
    ~Lock()
    {
        const int anError = errno;
        ::flock(itsDescriptor, LOCK_UN);
        errno = anError;
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    int itsDescriptor;
};
} // namespace

ReportFile::ReportFile(const std::string& thePath)
{
    struct stat aStatus = {};
    const bool isOther = ::stat(thePath.c_str(), &aStatus) == 0 && !S_ISREG(aStatus.st_mode);
    itsDescriptor =
        ::open(thePath.c_str(), (isOther ? O_WRONLY : O_RDWR | O_CREAT) | O_APPEND | O_CLOEXEC, 0666);
    if (itsDescriptor < 0)
    {
        throw OutputError(thePath +
                          ": unable to write the report: " + std::generic_category().message(errno));
    }
    itsRegular = !isOther;
    char aFirst = '{';
    if (itsRegular && ::pread(itsDescriptor, &aFirst, 1, 0) == 1 && aFirst != '{')
    {
        ::close(itsDescriptor);
        throw OutputError(thePath + ": there is a file by that name that is no report");
    }
}

ReportFile::~ReportFile()
{
    ::close(itsDescriptor);
}

void ReportFile::Repair()
{
    off_t anEnd = SizeOf(itsDescriptor);
    char aBuffer[4096];
    bool isTorn = false;
    while (anEnd > 0)
    {
        const off_t aStart = std::max<off_t>(0, anEnd - static_cast<off_t>(sizeof(aBuffer)));
        const ssize_t aCount =
            ::pread(itsDescriptor, aBuffer, static_cast<std::size_t>(anEnd - aStart), aStart);
        if (aCount != anEnd - aStart || (!isTorn && aBuffer[aCount - 1] == '\n'))
        {
            return;
        }
        isTorn = true;
        const char* const aLimit = aBuffer + aCount;
        const char* aLineFeed = aLimit;
        while (aLineFeed != aBuffer && aLineFeed[-1] != '\n')
        {
            --aLineFeed;
        }
        anEnd = aStart + (aLineFeed - aBuffer);
        if (aLineFeed != aBuffer)
        {
            break;
        }
    }
    if (isTorn)
    {
        // A report that cannot be shortened goes on after the half line.
        [[maybe_unused]] const int anIgnored = ::ftruncate(itsDescriptor, anEnd);
    }
}

bool ReportFile::Write(const std::string& theLine)
{
    std::size_t aDone = 0;
    while (aDone < theLine.size())
    {
        const ssize_t aCount = ::write(itsDescriptor, theLine.data() + aDone, theLine.size() - aDone);
        if (aCount < 0 && errno != EINTR)
        {
            return false;
        }
        aDone += aCount > 0 ? static_cast<std::size_t>(aCount) : 0;
    }
    return true;
}

bool ReportFile::Append(const std::string& theLine)
{
    if (!itsRegular)
    {
        return Write(theLine);
    }
    const Lock aLock(itsDescriptor);
    Repair();
    if (!Write(theLine))
    {
        const int anError = errno;
        Repair(); // what a full disk took of the line
        errno = anError;
        return false;
    }
    return true;
}
