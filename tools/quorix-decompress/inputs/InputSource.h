// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "toolkit/io/InputStream.h"

/// One input: a file, or standard input read into memory.
///
/// A frame is decoded from a stream of its own, so an input must be readable from its start many times;
/// what cannot be (standard input, named pipes) is therefore held in memory. One thread at a time.
class InputSource
{
public:
    /// thePath: a path, or "-" for standard input. Nothing is opened yet.
    explicit InputSource(std::string thePath);

    const std::string& GetPath() const { return itsPath; }
    bool IsStandardInput() const { return itsPath == "-"; }

    /// Reads into memory what cannot be read twice. Throws StreamIOException: code 3 for an input that
    /// cannot be opened, code 67 for one that is no file or cannot be read.
    void Load();

    /// A new stream over the whole input, at its start; this object must outlive it. Call Load first.
    /// Throws StreamIOException (code 3).
    std::unique_ptr<InputStream> Open() const;

    /// The first theCount bytes, fewer where the input is shorter.
    std::vector<unsigned char> ReadHead(std::size_t theCount) const;

    /// Bytes in the whole input, 0 where unknown.
    unsigned long long GetLength() const;

private:
    void ReadIntoMemory(int theDescriptor);

    std::string itsPath;
    bool itsInMemory = false;
    std::vector<unsigned char> itsBytes;
};
