// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A folder of this run's own for files that are not finished, in the output folder.
///
/// A run holds a lock for as long as it lives. Folders whose lock is free were left by runs that were killed;
/// the next run takes them away. The lock is advisory and works between processes and, where the file system
/// has it, machines; where there are no locks nothing is taken away.
class ScratchFolder
{
public:
    /// theParent is made where it is missing. Throws OutputError.
    explicit ScratchFolder(const std::string& theParent);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& GetPath() const { return itsPath; }

    /// Removes the folder and what is in it.
    void Remove();

private:
    bool TryMake(const std::string& theParent);

    std::string itsPath;
    int itsLock = -1;
};
