// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdio>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "inputs/InputCollector.h"
#include "inputs/InputQueue.h"
#include "outputs/OutputFile.h"
#include "outputs/OutputNames.h"
#include "outputs/OutputPlanner.h"
#include "report/FrameReport.h"
#include "report/ManifestComparison.h"
#include "report/Reporter.h"
#include "run/DecodeJob.h"
#include "run/MemoryLimit.h"
#include "run/Options.h"
#include "run/StopSignal.h"

namespace
{
void Work(const DecodeJob::Context& theContext, InputQueue& theQueue)
{
    Input anInput;
    try
    {
        while (!theContext.itsStop.IsRaised() && theQueue.Next(anInput))
        {
            DecodeJob(theContext, anInput).Run();
        }
    }
    catch (const std::exception& anException)
    {
        theContext.itsReporter.PrintError(anException.what());
        theContext.itsReporter.CountInput(Outcome::FAILED, 0, true);
    }
}

void RunJobs(const DecodeJob::Context& theContext, InputQueue& theQueue)
{
    std::vector<std::jthread> aThreads;
    try
    {
        for (int i = theContext.itsFrameThreads; i < theContext.itsOptions.GetJobs(); ++i)
        {
            aThreads.emplace_back([&] { Work(theContext, theQueue); });
        }
    }
    catch (const std::system_error&)
    {
        theContext.itsReporter.PrintError("only " + std::to_string(aThreads.size() + 1) +
                                          " jobs: no more threads to be had");
    }
    Work(theContext, theQueue);
}

void RunInputs(const Options& theOptions, Reporter& theReporter, StopSignal& theStop)
{
    theStop.SetCleanup(
        [&theReporter]
        {
            TemporaryFile::RemoveAll();
            theReporter.Abandon();
        });
    InputCollector anInputs;
    anInputs.Collect(theOptions.GetInputs());
    for (const InputCollector::Failure& aFailure : anInputs.GetFailures())
    {
        theReporter.PrintError(aFailure.itsPath + ": " + aFailure.itsMessage);
        theReporter.CountInput(Outcome::FAILED, 0, true);
    }
    for (const std::string& aPath : anInputs.GetPassedOver())
    {
        theReporter.CountInput(Outcome::NOT_DICOM, 0, false);
        theReporter.PrintFrame(FrameReport(aPath, Outcome::NOT_DICOM, "passed over: not a DICOM file"));
    }
    const OutputPlanner aPlanner(theOptions, anInputs);
    const std::unique_ptr<FrameWriter> aWriter = FrameWriter::Create(theOptions);
    theReporter.SetTotal(anInputs.GetFiles().size());
    CollectedInputs aQueue(anInputs.GetFiles());
    // One input's frames are what there is to share.
    const int aFrameThreads = anInputs.GetFiles().size() == 1 ? theOptions.GetJobs() : 1;
    RunJobs({theOptions, aPlanner, aWriter.get(), theReporter, theStop, aFrameThreads}, aQueue);
}

void RunList(const Options& theOptions, Reporter& theReporter, StopSignal& theStop)
{
    if (const std::string aVariable = Shard::FindTaskVariable(); !aVariable.empty() && !theOptions.HasShard())
    {
        theReporter.PrintError(aVariable + " is set and there is no --shard: this does the whole list");
    }
    std::unique_ptr<ListedInputs> aQueue;
    try
    {
        aQueue = std::make_unique<ListedInputs>(theOptions.GetList(), theOptions.GetShard());
    }
    catch (const OutputError& anError)
    {
        theReporter.PrintError(anError.what());
        theReporter.CountInput(Outcome::FAILED, 0, true);
        return;
    }
    const std::unique_ptr<FrameWriter> aWriter = FrameWriter::Create(theOptions);
    if (!theOptions.KeepsRecords())
    {
        RunJobs(
            {theOptions, OutputPlanner(theOptions, InputCollector()), aWriter.get(), theReporter, theStop},
            *aQueue);
        return;
    }
    const MirroredNames aNames(theOptions);
    const auto aScratch = std::make_shared<ScratchFolder>(aNames.GetOwnFolder() + "/tmp");
    TemporaryFile::SetFolder(aScratch->GetPath());
    theStop.SetCleanup(
        [aScratch, &theReporter]
        {
            TemporaryFile::RemoveAll();
            aScratch->Remove();
            theReporter.Abandon();
        });
    RunJobs({theOptions, aNames, aWriter.get(), theReporter, theStop}, *aQueue);
}

/// False where there is a difference.
bool CompareManifests(const Options& theOptions, Reporter& theReporter)
{
    const std::uint64_t aCount =
        ManifestComparison::Run(theOptions.GetAuditAgainst(), theOptions.GetAudit(),
                                [&](const ManifestComparison::Difference& theDifference)
                                {
                                    theReporter.PrintLine(theDifference.ToLine());
                                    theReporter.PrintError(theDifference.ToText());
                                });
    theReporter.PrintError(std::to_string(aCount) + " differences from " + theOptions.GetAuditAgainst());
    return aCount == 0;
}

int Run(const Options& theOptions)
{
    Reporter aReporter(theOptions.IsPiped() ? stderr : stdout, theOptions.IsJSON(), theOptions.IsProgress());
    StopSignal aStop;
    bool isSame = true;
    try
    {
        MemoryLimit::Apply(theOptions);
        if (const auto aMaximum = theOptions.GetMaximumOutput())
        {
            TemporaryFile::SetMaximum(*aMaximum);
        }
        if (!theOptions.GetReport().empty())
        {
            aReporter.OpenReport(theOptions.GetReport());
        }
        if (!theOptions.GetAudit().empty() && theOptions.HasInputs())
        {
            aReporter.OpenManifest(theOptions.GetAudit());
        }
        if (theOptions.HasInputs())
        {
            (theOptions.GetList().empty() ? RunInputs : RunList)(theOptions, aReporter, aStop);
        }
        if (!theOptions.GetAuditAgainst().empty() && !aStop.IsRaised())
        {
            isSame = CompareManifests(theOptions, aReporter);
        }
    }
    catch (const OutputError& anError)
    {
        aReporter.PrintError(anError.what());
        return 3;
    }
    if (aStop.IsRaised())
    {
        aReporter.PrintError("stopped by a signal");
    }
    const int aStatus = aReporter.Finish(theOptions.IsQuiet());
    if (aStop.IsRaised())
    {
        return StopSignal::kExitStatus;
    }
    return aStatus == 0 && !isSame ? 2 : aStatus;
}
} // namespace

int main(int theArgumentCount, char** theArguments)
{
    StopSignal::Block();
    // A file that may not grow any more is then a write error like any other.
    std::signal(SIGXFSZ, SIG_IGN);
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
