// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

/// Turns the inputs of the command line into a list of files, folders searched.
///
/// Folders are searched with their subfolders for DICOM files, with a preamble or without, in the order of
/// their names; links to folders are not followed.
class InputCollector
{
public:
    struct Failure
    {
        std::string itsPath;
        std::string itsMessage;
    };

    void Collect(const std::vector<std::string>& theInputs);

    /// Paths in order, "-" for standard input. Existence has not been checked.
    const std::vector<std::string>& GetFiles() const { return itsFiles; }

    /// Files of folders that are no DICOM files.
    const std::vector<std::string>& GetPassedOver() const { return itsPassedOver; }

    /// Folders that could not be read or had no DICOM file.
    const std::vector<Failure>& GetFailures() const { return itsFailures; }

    bool HasFolders() const { return itsHasFolders; }

private:
    void CollectFolder(const std::string& theFolder);

    std::vector<std::string> itsFiles;
    std::vector<std::string> itsPassedOver;
    std::vector<Failure> itsFailures;
    bool itsHasFolders = false;
};
