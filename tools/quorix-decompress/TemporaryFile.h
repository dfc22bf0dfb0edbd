// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A file under a temporary name beside the one it is to become.
///
/// Whoever looks at the final name finds the whole file or none. What is not committed is removed.
class TemporaryFile
{
public:
    /// Makes an empty file in theTarget's folder, whose permissions a new file normally has. Throws
    /// OutputError, also where theTarget is there already and no plain file (a device, a folder).
    explicit TemporaryFile(const std::string& theTarget);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& GetPath() const { return itsPath; }

    /// Gives the file its final name, replacing what had it. Throws OutputError.
    void Commit();

private:
    std::string itsTarget;
    std::string itsPath; ///< empty once committed
};
