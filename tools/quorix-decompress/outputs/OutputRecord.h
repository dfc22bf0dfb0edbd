// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/RunSummary.h"
#include "run/Options.h"

/// What was made of one input, kept in a small file: from which state of the input, with which options and
/// which version of the program, and what the outputs looked like when they were finished.
///
/// It is written after the outputs and removed before they are made anew. One thread.
class OutputRecord
{
public:
    /// thePath: the record's file. theBase: what the names of all outputs begin with. Looks at the input as
    /// it is now. Throws StreamIOException: code 3 for an input that is not there, code 67 for no file.
    OutputRecord(std::string thePath, std::string theBase, const std::string& theInput,
                 const Options& theOptions);

    /// What became of the input, where there is a record, everything is as it says, and the outputs are all
    /// there and unchanged in size and time. An input that was not decoded, and all of them where nothing is
    /// written, have a record without outputs.
    std::optional<Outcome> FindCurrent() const;

    /// Removes the record and what it lists: outputs of another state of the input must not be taken for
    /// those of this one.
    void Discard() const;

    /// Notes an output that is finished as theFile and will be called thePath. By that name another process
    /// with the same input may replace it at any time. Throws OutputError.
    void AddOutput(const std::string& thePath, const std::string& theFile);

    /// Throws OutputError.
    void Save(Outcome theOutcome) const;

private:
    struct Output
    {
        std::string itsSuffix; ///< what comes after the base
        std::uint64_t itsSize = 0;
        std::int64_t itsTime = 0; ///< nanoseconds
    };

    struct Contents
    {
        std::string itsDescription;
        std::string itsOutcome;
        std::vector<Output> itsOutputs;
    };

    std::string Describe() const;
    bool Read(Contents& theContents) const;

    std::string itsPath;
    std::string itsBase;
    std::string itsInput;
    std::string itsOptions;
    bool itsHasOutputs;
    std::uint64_t itsSize = 0;
    std::int64_t itsTime = 0;
    std::vector<Output> itsOutputs;
};
