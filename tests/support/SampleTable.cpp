// SPDX-License-Identifier: Apache-2.0
#include "support/SampleTable.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{
std::vector<std::string> SplitLine(const std::string& theLine)
{
    std::vector<std::string> aFields;
    std::istringstream aLine(theLine);
    for (std::string aField; std::getline(aLine, aField, '\t');)
    {
        aFields.push_back(aField);
    }
    aFields.resize(std::max<std::size_t>(aFields.size(), 13));
    return aFields;
}

bool IsNumber(const std::string& theText)
{
    return std::isdigit(static_cast<unsigned char>(theText[0])) != 0;
}
} // namespace

std::string SampleTable::GetFolder(SampleSet theSet)
{
    const std::string aFolder =
        QUORIX_SAMPLES_DIR + std::string(theSet == SampleSet::Images ? "" : "-codecs");
    return std::filesystem::exists(aFolder + "/expected.tsv") ? aFolder : "";
}

SampleTable SampleTable::Load(int theDiscardedLevels, SampleSet theSet)
{
    const std::string aReduction = std::to_string(theDiscardedLevels);
    SampleTable aTable;
    std::ifstream aFile(GetFolder(theSet) + "/expected.tsv");
    std::string aLine;
    std::getline(aFile, aLine); // the heading
    while (std::getline(aFile, aLine))
    {
        const std::vector<std::string> aFields = SplitLine(aLine);
        Frames& aFrames = aTable.itsFiles[aFields[0]]; // files with nothing but notes are files all the same
        if (IsNumber(aFields[1]) && aFields[2] == aReduction && IsNumber(aFields[5]))
        {
            aFrames[std::stoi(aFields[1])].push_back({aFields[4], std::stoull(aFields[5]),
                                                      std::stoull(aFields[6]), std::stoi(aFields[7]),
                                                      std::stoi(aFields[8]), aFields[10], aFields[11]});
        }
    }
    return aTable;
}

std::vector<std::uint8_t> SampleTable::ReadFile(const std::string& theName, SampleSet theSet)
{
    std::ifstream aFile(GetFolder(theSet) + "/" + theName, std::ios::binary);
    return {std::istreambuf_iterator<char>(aFile), {}};
}

std::vector<std::string> SampleTable::ListFolder(const std::string& theSubfolder, SampleSet theSet)
{
    std::vector<std::string> aNames;
    std::error_code anError;
    for (const auto& anEntry :
         std::filesystem::directory_iterator(GetFolder(theSet) + "/" + theSubfolder, anError))
    {
        if (anEntry.is_regular_file())
        {
            aNames.push_back(theSubfolder + "/" + anEntry.path().filename().string());
        }
    }
    std::sort(aNames.begin(), aNames.end());
    return aNames;
}
