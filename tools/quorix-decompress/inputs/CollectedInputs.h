// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <vector>

#include "inputs/InputQueue.h"

/// The inputs of the command line, folders searched.
class CollectedInputs final : public InputQueue
{
public:
    /// theFiles is borrowed.
    explicit CollectedInputs(const std::vector<std::string>& theFiles) : itsFiles(theFiles) {}

    bool Next(Input& theInput) override
    {
        const std::size_t anIndex = itsNext++;
        if (anIndex >= itsFiles.size())
        {
            return false;
        }
        theInput = {itsFiles[anIndex], anIndex, ""};
        return true;
    }

private:
    const std::vector<std::string>& itsFiles;
    std::atomic<std::size_t> itsNext{0};
};
