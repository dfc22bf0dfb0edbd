// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

/// A file being written. Every failure, a full disk found out late included, is an OutputError.
class OutputFile
{
public:
    explicit OutputFile(const std::string& thePath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const void* theBytes, std::size_t theCount);
    void Close();

    /// For libraries that write by themselves; they leave their errors to Close. Borrowed.
    std::FILE* GetFile() const { return itsFile; }

private:
    std::FILE* itsFile;
};
