// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "inputs/InputCollector.h"

/// One input as it was named.
struct Input
{
    std::string itsPath;
    std::size_t itsIndex = 0; ///< its place among all inputs
    std::string itsRefusal;   ///< why nothing is to be made of it; mostly empty
};

/// Hands out inputs to the threads that ask for one. Thread-safe.
class InputQueue
{
public:
    virtual ~InputQueue() = default;

    /// False when there are no more. Throws OutputError when more cannot be found out.
    virtual bool Next(Input& theInput) = 0;
};

/// The inputs of the command line, folders searched.
class CollectedInputs final : public InputQueue
{
public:
    /// theFiles is borrowed.
    explicit CollectedInputs(const std::vector<std::string>& theFiles) : itsFiles(theFiles) {}

    bool Next(Input& theInput) override
    {
        const std::size_t anIndex = itsNext++;
        if (anIndex >= itsFiles.size())
        {
            return false;
        }
        theInput = {itsFiles[anIndex], anIndex, ""};
        return true;
    }

private:
    const std::vector<std::string>& itsFiles;
    std::atomic<std::size_t> itsNext{0};
};

/// Reads the names in a list one after the other, however long it is: it is never in memory as a whole.
///
/// Names end with a NUL where there is a NUL among the first bytes (no name is longer than those), and with
/// a line feed otherwise. Empty names are left out. Not thread-safe.
class ListReader
{
public:
    /// thePath: a file, or "-" for standard input. Throws OutputError when it cannot be opened.
    explicit ListReader(const std::string& thePath);
    ~ListReader();
    ListReader(const ListReader&) = delete;
    ListReader& operator=(const ListReader&) = delete;

    /// False at the end. A name too long for any file is cut, but stays too long. Throws OutputError when
    /// the list cannot be read to its end.
    bool Next(std::string& theName);

private:
    bool Fill();
    void FindSeparator();
    bool ReadName(std::string& theName);

    std::string itsPath;
    int itsDescriptor;
    std::vector<char> itsBuffer;
    std::size_t itsPosition = 0;
    std::size_t itsEnd = 0;
    bool itsStarted = false;
    char itsSeparator = '\n';
};

/// One shard of the files in a list, read while it is worked on.
///
/// The names must be all relative or all absolute ones, as the first is: outputs are named after them, and
/// "/a/b" and "a/b" would have the same. A name with ".." counts as absolute. Others are handed out with a
/// refusal.
class ListedInputs final : public InputQueue
{
public:
    /// Throws OutputError when the list cannot be opened.
    ListedInputs(const std::string& theList, const Shard& theShard);

    bool Next(Input& theInput) override;

private:
    std::mutex itsMutex;
    ListReader itsReader;
    Shard itsShard;
    std::size_t itsPosition = 0;
    std::optional<bool> itsAbsolute;
    bool itsEnded = false;
};
