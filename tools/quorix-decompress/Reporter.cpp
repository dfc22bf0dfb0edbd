// SPDX-License-Identifier: Apache-2.0
#include "Reporter.h"

#include <unistd.h>

Reporter::Reporter(std::FILE* theOutput, bool theProgress)
    : itsOutput(theOutput), itsProgress(theProgress && ::isatty(STDERR_FILENO) != 0)
{
}

void Reporter::PrintResult(const std::string& theText)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    std::fwrite(theText.data(), 1, theText.size(), itsOutput);
    std::fflush(itsOutput);
}

void Reporter::PrintError(const std::string& theText)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    std::fprintf(stderr, "%s\n", theText.c_str());
}

void Reporter::CountDecoded()
{
    const std::lock_guard aLock(itsMutex);
    ++itsDecoded;
}

void Reporter::CountFailedInput()
{
    const std::lock_guard aLock(itsMutex);
    ++itsFailedInputs;
}

void Reporter::CountUnwritten()
{
    const std::lock_guard aLock(itsMutex);
    ++itsUnwritten;
}

void Reporter::SetTotal(std::uint64_t theTotal)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.SetTotal(theTotal);
}

void Reporter::AddToTotal(std::uint64_t theCount)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.AddToTotal(theCount);
}

void Reporter::AddDone(std::uint64_t theCount)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.AddDone(theCount);
}

int Reporter::Finish()
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    if (std::fflush(itsOutput) != 0 || std::ferror(itsOutput) != 0)
    {
        std::fputs("standard output: the results could not be written\n", stderr);
        ++itsUnwritten;
    }
    if (itsDecoded == 0)
    {
        return 4;
    }
    if (itsUnwritten > 0)
    {
        return 3;
    }
    return itsFailedInputs > 0 ? 2 : 0;
}
