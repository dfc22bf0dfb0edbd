// SPDX-License-Identifier: Apache-2.0
#include "TemporaryFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "OutputError.h"

namespace
{
std::atomic<unsigned> theNextNumber{0};

std::string Reason(int theError)
{
    return std::generic_category().message(theError);
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
    const std::filesystem::path aFolder = std::filesystem::path(theTarget).parent_path();
    for (;;)
    {
        const std::string aName =
            ".quorix-" + std::to_string(::getpid()) + "-" + std::to_string(theNextNumber++) + ".tmp";
        itsPath = (aFolder / aName).string();
        const int aDescriptor = ::open(itsPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (aDescriptor >= 0)
        {
            ::close(aDescriptor);
            return;
        }
        if (errno != EEXIST)
        {
            throw OutputError(Reason(errno));
        }
    }
}

TemporaryFile::~TemporaryFile()
{
    if (!itsPath.empty())
    {
        ::unlink(itsPath.c_str());
    }
}

void TemporaryFile::Commit()
{
    if (std::rename(itsPath.c_str(), itsTarget.c_str()) != 0)
    {
        throw OutputError(Reason(errno));
    }
    itsPath.clear();
}
