// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A file under a temporary name: beside the one it is to become, or in a folder for all of them.
///
/// Whoever looks at the final name finds the whole file or none. What is not committed is removed.
class TemporaryFile
{
public:
    /// Makes an empty file, whose permissions a new file normally has. Throws OutputError, also where
    /// theTarget is there already and no plain file (a device, a folder).
    explicit TemporaryFile(const std::string& theTarget);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& GetPath() const { return itsPath; }

    /// Has the contents written to the disk, so that after a crash the final name has all of them. Throws
    /// OutputError.
    void Sync() const;

    /// Gives the file its final name, replacing what had it. Throws OutputError.
    void Commit();

    /// All files are made in theFolder from now on; it must be on one file system with the targets, whose
    /// folders are made where they are missing. To be called before work begins.
    static void SetFolder(const std::string& theFolder);

    /// Removes all files that are not committed and lets none be made or committed any more. For a process
    /// that ends here. Thread-safe.
    static void RemoveAll();

private:
    std::string itsTarget;
    std::string itsPath; ///< empty once committed
};
