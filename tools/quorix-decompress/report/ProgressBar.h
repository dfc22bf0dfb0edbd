// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/System.h"

/// A line on a terminal's standard error: how many images are done, how fast, how long it still takes.
///
/// Draws at most ten times a second. Not thread-safe.
class ProgressBar
{
public:
    /// theEnabled: false makes every call do nothing.
    explicit ProgressBar(bool theEnabled) : itsEnabled(theEnabled) {}

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
