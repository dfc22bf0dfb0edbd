// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "ProgressBar.h"

/// Everything the program says, and the exit status that follows from it.
///
/// Lines are written whole, whichever thread they come from. Thread-safe.
class Reporter
{
public:
    /// theOutput: where results go; borrowed.
    Reporter(std::FILE* theOutput, bool theProgress);

    /// Results on standard output; theText ends with a line feed.
    void PrintResult(const std::string& theText);

    /// One line on standard error.
    void PrintError(const std::string& theText);

    void CountDecoded();
    void CountFailedInput();
    void CountUnwritten();

    void SetTotal(std::uint64_t theTotal);
    void AddToTotal(std::uint64_t theCount);
    void AddDone(std::uint64_t theCount);

    /// Takes the progress bar away and finds out whether all results could be printed. The exit status.
    int Finish();

private:
    std::mutex itsMutex;
    std::FILE* itsOutput;
    ProgressBar itsProgress;
    std::uint64_t itsDecoded = 0;
    std::uint64_t itsFailedInputs = 0;
    std::uint64_t itsUnwritten = 0;
};
