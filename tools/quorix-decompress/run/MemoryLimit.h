// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "run/Options.h"

/// --max-pixels and --max-memory.
class MemoryLimit
{
public:
    /// Sets what a file may ask for, and how much memory the process may have on top of what it has now and
    /// what its threads need. To be called once, before work begins.
    static void Apply(const Options& theOptions);

private:
    static void LimitProcess(std::uint64_t theBytes, std::uint64_t theThreads);
};
