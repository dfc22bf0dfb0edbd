// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

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
