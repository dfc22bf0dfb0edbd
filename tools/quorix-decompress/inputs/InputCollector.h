// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// Turns the inputs of the command line into a list of files, folders searched.
///
/// Folders are searched with their subfolders for files that have a DICOM preamble, in the order of
/// their names; links to folders are not followed, and DICOMDIR, which has no images, is left out.
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

    /// Folders that could not be read or had no DICOM file.
    const std::vector<Failure>& GetFailures() const { return itsFailures; }

    bool HasFolders() const { return itsHasFolders; }

private:
    void CollectFolder(const std::string& theFolder);

    std::vector<std::string> itsFiles;
    std::vector<Failure> itsFailures;
    bool itsHasFolders = false;
};
