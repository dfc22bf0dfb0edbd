// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputRecord.h"

#include <algorithm>
#include <cerrno>
#include <fstream>

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "outputs/OutputFile.h"
#include "toolkit/base/Exceptions.h"

namespace
{
using nlohmann::ordered_json;

std::int64_t TimeOf(const struct stat& theStatus)
{
    return std::int64_t{theStatus.st_mtim.tv_sec} * 1'000'000'000 + theStatus.st_mtim.tv_nsec;
}

/// Names need not be UTF-8; two that differ in other bytes only have records of different names anyway.
std::string Dump(const ordered_json& theValue)
{
    return theValue.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}
} // namespace

OutputRecord::OutputRecord(std::string thePath, std::string theBase, const std::string& theInput,
                           const Options& theOptions)
    : itsPath(std::move(thePath)), itsBase(std::move(theBase)), itsInput(theInput),
      itsOptions(theOptions.Describe()), itsHasOutputs(theOptions.HasOutputs())
{
    struct stat aStatus = {};
    if (::stat(theInput.c_str(), &aStatus) != 0)
    {
        throw StreamIOException("unable to open the file", DLRC_FILE_NOT_FOUND, errno);
    }
    if (!S_ISREG(aStatus.st_mode))
    {
        throw StreamIOException("not a file", DLRC_IO_ERROR, 0);
    }
    itsSize = static_cast<std::uint64_t>(aStatus.st_size);
    itsTime = TimeOf(aStatus);
}

std::string OutputRecord::Describe() const
{
    return Dump({{"version", QUORIX_VERSION},
                 {"options", itsOptions},
                 {"input", itsInput},
                 {"size", itsSize},
                 {"time", itsTime}});
}

/// False for no record or a damaged one. Its outputs are then those up to where it could be understood.
bool OutputRecord::Read(Contents& theContents) const
{
    std::ifstream aFile(itsPath, std::ios::binary);
    const ordered_json aRecord = ordered_json::parse(aFile, nullptr, false);
    if (!aRecord.is_object() || !aRecord.contains("of") || !aRecord.contains("outputs"))
    {
        return false;
    }
    try
    {
        theContents.itsDescription = Dump(aRecord["of"]);
        theContents.itsOutcome = aRecord.value("outcome", "");
        for (const ordered_json& anOutput : aRecord["outputs"])
        {
            Output anEntry{anOutput.at("suffix").get<std::string>(), anOutput.at("size").get<std::uint64_t>(),
                           anOutput.at("time").get<std::int64_t>()};
            if (anEntry.itsSuffix.empty() || anEntry.itsSuffix.find('/') != std::string::npos)
            {
                return false;
            }
            theContents.itsOutputs.push_back(std::move(anEntry));
        }
    }
    catch (const ordered_json::exception&)
    {
        return false;
    }
    return true;
}

std::optional<Outcome> OutputRecord::FindCurrent() const
{
    Contents aRecord;
    if (!Read(aRecord) || aRecord.itsDescription != Describe())
    {
        return std::nullopt;
    }
    const std::optional<Outcome> anOutcome = FindOutcome(aRecord.itsOutcome);
    const bool isCurrent =
        anOutcome && aRecord.itsOutputs.empty() == (!itsHasOutputs || *anOutcome != Outcome::DECODED) &&
        std::all_of(aRecord.itsOutputs.begin(), aRecord.itsOutputs.end(),
                    [&](const Output& theOutput)
                    {
                        struct stat aStatus = {};
                        return ::stat((itsBase + theOutput.itsSuffix).c_str(), &aStatus) == 0 &&
                               S_ISREG(aStatus.st_mode) &&
                               static_cast<std::uint64_t>(aStatus.st_size) == theOutput.itsSize &&
                               TimeOf(aStatus) == theOutput.itsTime;
                    });
    return isCurrent ? anOutcome : std::nullopt;
}

void OutputRecord::Discard() const
{
    Contents aRecord;
    Read(aRecord);
    for (const Output& anOutput : aRecord.itsOutputs)
    {
        ::unlink((itsBase + anOutput.itsSuffix).c_str());
    }
    ::unlink(itsPath.c_str());
}

void OutputRecord::AddOutput(const std::string& thePath, const std::string& theFile)
{
    struct stat aStatus = {};
    if (!thePath.starts_with(itsBase) || ::stat(theFile.c_str(), &aStatus) != 0)
    {
        throw OutputError("the output is gone");
    }
    itsOutputs.push_back(
        {thePath.substr(itsBase.size()), static_cast<std::uint64_t>(aStatus.st_size), TimeOf(aStatus)});
}

void OutputRecord::Save(Outcome theOutcome) const
{
    ordered_json anOutputs = ordered_json::array();
    for (const Output& anOutput : itsOutputs)
    {
        anOutputs.push_back(
            {{"suffix", anOutput.itsSuffix}, {"size", anOutput.itsSize}, {"time", anOutput.itsTime}});
    }
    const std::string aText = Dump({{"of", ordered_json::parse(Describe())},
                                    {"outcome", GetName(theOutcome)},
                                    {"outputs", std::move(anOutputs)}}) +
                              "\n";
    TemporaryFile aTemporary(itsPath);
    OutputFile aFile(aTemporary);
    aFile.Write(aText.data(), aText.size());
    aFile.Close();
    aTemporary.Commit();
}
