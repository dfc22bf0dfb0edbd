// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "report/FrameReport.h"
#include "report/ReportFile.h"
#include "report/RunSummary.h"
#include "toolkit/base/System.h"

/// A line on a terminal's standard error: how many images are done, how fast, how long it still takes.
///
/// Draws at most ten times a second, and never more than fits the terminal's width: what had wrapped could
/// not be taken away. Not thread-safe.
class ProgressBar
{
public:
    /// isEnabled: false makes every call do nothing.
    explicit ProgressBar(bool isEnabled) : itsEnabled(isEnabled) {}
    ~ProgressBar() { Clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void SetTotal(std::uint64_t theTotal);
    void AddToTotal(std::uint64_t theCount);
    void AddDone(std::uint64_t theCount);

    /// Takes the line away, so that something else can be printed; the next drawing brings it back.
    void Clear();

private:
    void Draw();

    bool itsEnabled;
    bool itsVisible = false;
    std::uint64_t itsTotal = 0;
    std::uint64_t itsDone = 0;
    double itsLastDrawn = 0.0;
    DMTickCounter itsCounter;
};

/// Everything the program says, and the exit status that follows from it.
///
/// Lines are written whole, whichever thread they come from. Thread-safe.
class Reporter
{
public:
    /// theOutput: where results go; borrowed. hasLines: whether lines of facts go there too.
    Reporter(std::FILE* theOutput, bool hasLines, bool hasProgress);

    /// Lines of facts go there besides. Throws OutputError.
    void OpenReport(const std::string& thePath);

    /// Lines of manifests go there. Throws OutputError.
    void OpenManifest(const std::string& thePath);

    /// Whether anybody wants lines of facts, or of manifests.
    bool IsReporting() const { return itsLines || itsReport != nullptr || itsManifest != nullptr; }

    /// A line of facts with its line feed, for standard output and the report. False when the report could
    /// not be written, which counts as an output.
    bool PrintLine(const std::string& theLine);

    /// What was found of a frame, to all who want it. False as above.
    bool PrintFrame(const FrameReport& theReport);

    /// Results on standard output; theText ends with a line feed.
    void PrintResult(const std::string& theText);

    /// One line on standard error; control characters, which names and messages from files may have, are
    /// left out.
    void PrintError(const std::string& theText);

    /// theText with a blank for each control character, as terminals are to get it.
    static std::string WithoutControls(std::string theText);

    /// "NAME: out of memory" on standard error, without taking any.
    void PrintOutOfMemory(const std::string& theName);

    /// What the summary is made of. isFailure counts for the exit status, as CountUnwritten does.
    /// @{
    void CountInput(Outcome theOutcome, std::uint64_t theSize, bool isFailure);
    void CountSkipped(bool isFailure);
    void CountFrame(const std::string& theCodec, std::uint64_t theSize);
    void CountWarning(const std::string& theIdentifier);
    void CountWritten(std::uint64_t theSize);
    /// @}

    /// The system did not let an output be written.
    void CountUnwritten();

    void SetTotal(std::uint64_t theTotal);
    void AddToTotal(std::uint64_t theCount);
    void AddDone(std::uint64_t theCount);

    /// Takes the progress bar away, gives the summary and finds out whether all results could be printed.
    /// isQuiet: without the summary. The exit status.
    int Finish(bool isQuiet);

    /// Takes the progress bar away in a process that ends here; not where another thread is just printing.
    void Abandon();

private:
    void Print(const std::string& theText);
    bool PrintLineUnlocked(const std::string& theLine);
    bool Append(ReportFile* theFile, const std::string& theLine);
    void PrintSummary();

    std::mutex itsMutex;

    std::FILE* itsOutput;
    bool itsLines;
    std::unique_ptr<ReportFile> itsReport;
    std::unique_ptr<ReportFile> itsManifest;
    bool itsReportFailed = false;
    ProgressBar itsProgress;
    RunSummary itsSummary;
    std::uint64_t itsFailures = 0;
    std::uint64_t itsUnwritten = 0;
};
