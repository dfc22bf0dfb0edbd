// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// The file of --report: JSON lines, added to what earlier runs wrote.
///
/// A line is added as a whole, under a lock that other processes with the same report respect; half a line
/// that a killed process left at the end is taken away first. One thread at a time.
class ReportFile
{
public:
    /// Throws OutputError when the file cannot be opened, and for one that is not empty and no report.
    explicit ReportFile(const std::string& thePath);
    ~ReportFile();
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    /// theLine ends with its line feed. False, and errno, when it could not be written.
    bool Append(const std::string& theLine);

private:
    void Repair();
    bool Write(const std::string& theLine);

    int itsDescriptor;
    bool itsRegular = false; ///< no pipe, no device
};
