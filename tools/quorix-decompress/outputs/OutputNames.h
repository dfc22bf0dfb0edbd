// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "inputs/InputQueue.h"

/// Decides what every output is called. Thread-safe.
class OutputNames
{
public:
    virtual ~OutputNames() = default;

    /// The output of theInput. theFrame: set when the input's frames are in files of their own.
    /// theExtension with its dot. Throws OutputError where there is no place for it.
    virtual std::string GetPath(const Input& theInput, std::optional<int> theFrame,
                                const std::string& theExtension) const = 0;

    /// The file that keeps what was made of theInput; empty where nothing is kept. Throws OutputError.
    virtual std::string GetRecordPath(const Input& theInput) const = 0;

    /// "_f0007": what frame 7 has in its name.
    static std::string FrameSuffix(int theFrame);
};
