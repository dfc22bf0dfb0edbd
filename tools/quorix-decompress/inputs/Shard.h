// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

/// One of several equal parts of a list: every entry belongs to exactly one of them.
struct Shard
{
    std::uint64_t itsIndex = 0; ///< counted from 0, below itsCount
    std::uint64_t itsCount = 1;

    /// Entries are dealt out in turn, so that every shard gets its share of each folder.
    bool Has(std::uint64_t thePosition) const { return thePosition % itsCount == itsIndex; }

    /// Reads "i/n", "auto" (index and count from Slurm's array variables) or "auto/n" (the index from Slurm
    /// or Kubernetes). Throws std::invalid_argument, with the reason, where that makes no shard.
    static Shard Parse(const std::string& theText);

    /// The name of a variable that says that this is one task of several; empty where there is none.
    static std::string FindTaskVariable();
};
