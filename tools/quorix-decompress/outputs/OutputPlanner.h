// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "inputs/InputCollector.h"
#include "outputs/OutputNames.h"
#include "run/Options.h"

/// Decides what the outputs of the command line's inputs are called, before anything is decoded.
///
/// The names depend on the list of inputs alone, not on which is finished first. No two inputs share a
/// name, and no output has the name of an input. Immutable once made; threads may share it.
class OutputPlanner final : public OutputNames
{
public:
    /// Makes the output folder where one is needed. Throws OutputError when that fails.
    OutputPlanner(const Options& theOptions, const InputCollector& theInputs);

    /// Throws OutputError where an input would be overwritten.
    std::string GetPath(const Input& theInput, std::optional<int> theFrame,
                        const std::string& theExtension) const override;

    std::string GetRecordPath(const Input&) const override { return ""; }

private:
    void PlanNames(const std::vector<std::string>& theFiles, const Options& theOptions);
    bool IsInput(const std::string& thePath) const;

    std::string itsFolder;             ///< empty when there is one output file with a name of its own
    std::string itsFile;               ///< that name
    std::vector<std::string> itsNames; ///< by input, without extension
    std::set<std::string> itsInputs;   ///< resolved paths
};
