// SPDX-License-Identifier: Apache-2.0
#include "report/ManifestComparison.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "outputs/OutputFile.h"

namespace
{
using nlohmann::ordered_json;

constexpr std::size_t kBuckets = 128;

/// A frame's name in a manifest: its file and its number.
using Key = std::pair<std::string, std::string>;

std::string Dump(const ordered_json& theValue)
{
    return theValue.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json Parse(const std::string& thePath, const std::string& theLine)
{
    ordered_json anEntry = ordered_json::parse(theLine, nullptr, false);
    if (!anEntry.is_object() || !anEntry.contains("file") || !anEntry["file"].is_string() ||
        !anEntry.contains("frame"))
    {
        throw OutputError(thePath + ": no line of a manifest: " + theLine.substr(0, 60));
    }
    return anEntry;
}

/// The lines of one manifest, in temporary files that go with this object.
class Buckets
{
public:
    explicit Buckets(const std::string& thePath)
    {
        std::ifstream aFile(thePath, std::ios::binary);
        std::string aLine;
        while (std::getline(aFile, aLine))
        {
            const std::string aName = Parse(thePath, aLine)["file"].get<std::string>();
            aLine += '\n';
            std::FILE* const aBucket = GetFile(std::hash<std::string>()(aName) % kBuckets);
            if (std::fwrite(aLine.data(), 1, aLine.size(), aBucket) != aLine.size())
            {
                Fail("a temporary file");
            }
        }
        if (!aFile.eof())
        {
            Fail(thePath);
        }
    }

    /// What is in one of them: what was found of each frame.
    std::map<Key, std::string> Load(std::size_t theBucket)
    {
        std::map<Key, std::string> anEntries;
        if (itsFiles[theBucket] == nullptr)
        {
            return anEntries;
        }
        std::rewind(itsFiles[theBucket].get());
        std::string aLine;
        for (int aByte = 0; (aByte = std::fgetc(itsFiles[theBucket].get())) != EOF;)
        {
            if (aByte != '\n')
            {
                aLine += static_cast<char>(aByte);
                continue;
            }
            ordered_json anEntry = Parse("", aLine);
            const Key aKey(anEntry["file"].get<std::string>(),
                           anEntry["frame"].is_null() ? "" : Dump(anEntry["frame"]));
            anEntry.erase("file");
            anEntry.erase("frame");
            anEntries[aKey] = Dump(anEntry);
            aLine.clear();
        }
        return anEntries;
    }

private:
    [[noreturn]] static void Fail(const std::string& theWhat)
    {
        throw OutputError(theWhat + ": " + std::generic_category().message(errno));
    }

    std::FILE* GetFile(std::size_t theBucket)
    {
        if (itsFiles[theBucket] == nullptr)
        {
            itsFiles[theBucket].reset(std::tmpfile());
        }
        if (itsFiles[theBucket] == nullptr)
        {
            Fail("a temporary file");
        }
        return itsFiles[theBucket].get();
    }

    struct Closer
    {
        void operator()(std::FILE* theFile) const { std::fclose(theFile); }
    };
    std::array<std::unique_ptr<std::FILE, Closer>, kBuckets> itsFiles;
};
} // namespace

std::string ManifestComparison::Difference::ToText() const
{
    return itsFile + (itsFrame.empty() ? "" : ": frame " + itsFrame) + ": " + itsKind +
           (itsWas.empty() ? "" : ", was " + itsWas) + (itsIs.empty() ? "" : ", is " + itsIs);
}

std::string ManifestComparison::Difference::ToLine() const
{
    const auto OrNull = [](const std::string& theText)
    { return theText.empty() ? ordered_json() : ordered_json::parse(theText); };
    const ordered_json aDifference = {{"kind", itsKind},
                                      {"file", itsFile},
                                      {"frame", OrNull(itsFrame)},
                                      {"was", OrNull(itsWas)},
                                      {"is", OrNull(itsIs)}};
    return Dump({{"difference", aDifference}}) + "\n";
}

std::uint64_t ManifestComparison::Run(const std::string& theOld, const std::string& theNew,
                                      const std::function<void(const Difference&)>& theListener)
{
    Buckets anOld(theOld);
    Buckets aNew(theNew);
    std::uint64_t aCount = 0;
    const auto Tell =
        [&](const char* theKind, const Key& theKey, const std::string& theWas, const std::string& theIs)
    {
        ++aCount;
        theListener({theKind, theKey.first, theKey.second, theWas, theIs});
    };
    for (std::size_t i = 0; i < kBuckets; ++i)
    {
        std::map<Key, std::string> anEntries = anOld.Load(i);
        for (const auto& [aKey, anIs] : aNew.Load(i))
        {
            const auto aWas = anEntries.extract(aKey);
            if (aWas.empty())
            {
                Tell("new", aKey, "", anIs);
            }
            else if (aWas.mapped() != anIs)
            {
                Tell("changed", aKey, aWas.mapped(), anIs);
            }
        }
        for (const auto& [aKey, aWas] : anEntries)
        {
            Tell("missing", aKey, aWas, "");
        }
    }
    return aCount;
}
