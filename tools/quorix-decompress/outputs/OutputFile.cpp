// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputFile.h"

#include <cerrno>
#include <system_error>

#include "outputs/OutputError.h"

namespace
{
[[noreturn]] void ThrowSystemError()
{
    throw OutputError(std::generic_category().message(errno));
}
} // namespace

OutputFile::OutputFile(const std::string& thePath) : itsFile(std::fopen(thePath.c_str(), "wb"))
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
