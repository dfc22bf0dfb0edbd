// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "InputCollector.h"
#include "Options.h"

/// Decides what every output is called, before anything is decoded.
///
/// The names depend on the list of inputs alone, not on which is finished first. No two inputs share a
/// name, and no output has the name of an input. Immutable once made; threads may share it.
class OutputPlanner
{
public:
    /// Makes the output folder where one is needed. Throws OutputError when that fails.
    OutputPlanner(const Options& theOptions, const InputCollector& theInputs);

    /// The output of input theIndex. theFrame: set when the input has several frames in files of their
    /// own. theExtension with its dot. Throws OutputError where an input would be overwritten.
    std::string GetPath(std::size_t theIndex, std::optional<int> theFrame,
                        const std::string& theExtension) const;

private:
    void PlanNames(const std::vector<std::string>& theFiles, const Options& theOptions);
    bool IsInput(const std::string& thePath) const;

    std::string itsFolder;             ///< empty when there is one output file with a name of its own
    std::string itsFile;               ///< that name
    std::vector<std::string> itsNames; ///< by input, without extension
    std::set<std::string> itsInputs;   ///< resolved paths
};
