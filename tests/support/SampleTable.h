// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// One line of the sample images' table of expected results.
struct SampleRow
{
    std::string itsColourSpace;
    std::uint64_t itsWidth = 0;
    std::uint64_t itsHeight = 0;
    int itsComponents = 0;
    int itsBytesPerSample = 0;
    std::string itsSHA256; ///< of the raw samples, lower case
    std::string itsExact;  ///< "yes", "tolerance", "alternative", "info" or "no"
};

/// The folders with samples, each with its table.
enum class SampleSet
{
    Images,
    NewCodecs ///< high-throughput JPEG 2000, JPEG-LS and others that came later
};

/// The table of expected results at one resolution, by file and frame.
class SampleTable
{
public:
    using Frames = std::map<int, std::vector<SampleRow>>;

    /// Where the sample images are; empty when the folder is missing.
    static std::string GetFolder(SampleSet theSet = SampleSet::Images);

    /// Reads the folder's table: the rows with so many resolution levels discarded.
    static SampleTable Load(int theDiscardedLevels = 0, SampleSet theSet = SampleSet::Images);

    const std::map<std::string, Frames>& GetFiles() const { return itsFiles; }

    /// The bytes of a file, its name relative to the folder.
    static std::vector<std::uint8_t> ReadFile(const std::string& theName,
                                              SampleSet theSet = SampleSet::Images);

    /// Relative names of all files in a subfolder, sorted; none where it is missing.
    static std::vector<std::string> ListFolder(const std::string& theSubfolder,
                                               SampleSet theSet = SampleSet::Images);

private:
    std::map<std::string, Frames> itsFiles;
};
