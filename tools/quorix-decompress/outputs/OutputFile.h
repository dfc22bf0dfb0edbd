// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

/// An output could not be written.
class OutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// An output that is not to be written, whatever the system says: the format asked for cannot hold the image,
/// a name or a limit stands against it. A fault of the input, or of what was asked for.
class RefusedOutput : public OutputError
{
public:
    using OutputError::OutputError;
};

/// A file under a temporary name: beside the one it is to become, or in a folder for all of them.
///
/// Whoever looks at the final name finds the whole file or none. What is not committed is removed.
class TemporaryFile
{
public:
    /// The target that is no file: what is committed is copied to standard output.
    static constexpr const char* kStandardOutput = "-";

    /// Makes an empty file, whose permissions a new file normally has. Throws OutputError, also where
    /// theTarget is there already and no plain file (a device, a folder).
    explicit TemporaryFile(const std::string& theTarget);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& GetPath() const { return itsPath; }

    /// Bytes that were claimed for it.
    std::uint64_t GetSize() const { return itsClaimed; }

    /// To be called before so many bytes are added to the file. Throws OutputError where that would make it
    /// more than all files of this run may have; what is not committed does not count in the end.
    void Claim(std::uint64_t theBytes);

    /// Has the contents written to the disk, so that after a crash the final name has all of them. Throws
    /// OutputError.
    void Sync() const;

    /// Gives the file its final name, replacing what had it. Throws OutputError.
    void Commit();

    /// All files are made in theFolder from now on; it must be on one file system with the targets, whose
    /// folders are made where they are missing. To be called before work begins.
    static void SetFolder(const std::string& theFolder);

    /// What all files of this run may have. To be called before work begins.
    static void SetMaximum(std::uint64_t theBytes);

    /// Removes all files that are not committed and lets none be made or committed any more. For a process
    /// that ends here. Thread-safe.
    static void RemoveAll();

private:
    void CopyToStandardOutput() const;

    std::string itsTarget;
    std::string itsPath; ///< empty once committed
    std::uint64_t itsClaimed = 0;
};

/// The contents of a temporary file being written. Every failure, a full disk found out late included, is an
/// OutputError.
class OutputFile
{
public:
    /// theFile is borrowed.
    explicit OutputFile(TemporaryFile& theFile);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const void* theBytes, std::size_t theCount);
    void Close();

private:
    TemporaryFile& itsTemporary;
    std::FILE* itsFile;
};

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
