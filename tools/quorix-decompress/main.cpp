// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "DecodeJob.h"
#include "InputCollector.h"
#include "Options.h"
#include "OutputError.h"
#include "OutputPlanner.h"
#include "Reporter.h"

namespace
{
/// Keeps standard output for results alone: codecs print some of their errors there, which would end up
/// between the lines. The stream that results go to; never closed before the end of the program.
std::FILE* ReserveStandardOutput()
{
    const int aDescriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    std::FILE* const aFile = aDescriptor >= 0 ? ::fdopen(aDescriptor, "w") : nullptr;
    const int aNowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (aFile == nullptr || aNowhere < 0)
    {
        return stdout;
    }
    ::dup2(aNowhere, STDOUT_FILENO);
    ::close(aNowhere);
    return aFile;
}

void RunJobs(const DecodeJob::Context& theContext, const std::vector<std::string>& theFiles)
{
    std::atomic<std::size_t> aNext{0};
    const auto Work = [&]
    {
        for (std::size_t anIndex = aNext++; anIndex < theFiles.size(); anIndex = aNext++)
        {
            DecodeJob(theContext, theFiles[anIndex], anIndex).Run();
        }
    };
    const std::size_t aCount =
        std::min<std::size_t>(static_cast<std::size_t>(theContext.itsOptions.GetJobs()), theFiles.size());
    std::vector<std::jthread> aThreads;
    for (std::size_t i = 1; i < aCount; ++i)
    {
        aThreads.emplace_back(Work);
    }
    Work();
}

int Run(const Options& theOptions)
{
    Reporter aReporter(ReserveStandardOutput(), theOptions.IsProgress());
    InputCollector anInputs;
    anInputs.Collect(theOptions.GetInputs());
    for (const InputCollector::Failure& aFailure : anInputs.GetFailures())
    {
        aReporter.PrintError(aFailure.itsPath + ": " + aFailure.itsMessage);
        aReporter.CountFailedInput();
    }
    try
    {
        const OutputPlanner aPlanner(theOptions, anInputs);
        const std::unique_ptr<FrameWriter> aWriter = FrameWriter::Create(theOptions);
        aReporter.SetTotal(anInputs.GetFiles().size());
        RunJobs({theOptions, aPlanner, aWriter.get(), aReporter}, anInputs.GetFiles());
    }
    catch (const OutputError& anError)
    {
        aReporter.PrintError(anError.what());
        return 3;
    }
    return aReporter.Finish();
}
} // namespace

int main(int theArgumentCount, char** theArguments)
{
    try
    {
        Options anOptions;
        if (const auto aStatus = anOptions.Parse(theArgumentCount, theArguments))
        {
            return *aStatus;
        }
        return Run(anOptions);
    }
    catch (const std::exception& anException)
    {
        std::fprintf(stderr, "quorix-decompress: %s\n", anException.what());
        return 4;
    }
}
