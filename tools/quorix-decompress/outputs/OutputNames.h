// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "inputs/InputQueue.h"
#include "run/Options.h"

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

/// Names for outputs of a list: below the output folder, each is where its input is in its own tree, and has
/// the whole name of its input and the extension of its format: study/1.dcm becomes OUT/study/1.dcm.png.
///
/// So an output's name follows from its input's alone, whatever else is in the list, and no two inputs share
/// one. Immutable.
class MirroredNames final : public OutputNames
{
public:
    /// Where this program keeps what it needs, in the output folder.
    static constexpr const char* kOwnName = ".quorix";
    std::string GetOwnFolder() const { return itsFolder + kOwnName; }

    /// Makes the output folder. Throws OutputError when that fails.
    explicit MirroredNames(const Options& theOptions);

    std::string GetPath(const Input& theInput, std::optional<int> theFrame,
                        const std::string& theExtension) const override;
    std::string GetRecordPath(const Input& theInput) const override;

    /// Whether theName is mirrored by its absolute path.
    static bool IsAbsolute(const std::string& theName);

private:
    std::string itsFolder;
    std::string itsResolvedFolder; ///< with a slash at its end
    std::string itsFormat;
};
