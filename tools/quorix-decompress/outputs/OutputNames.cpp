// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputNames.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "outputs/OutputFile.h"

std::string OutputNames::FrameSuffix(int theFrame)
{
    char aText[16];
    std::snprintf(aText, sizeof(aText), "_f%04d", theFrame);
    return aText;
}

namespace
{
using std::filesystem::path;

/// theName without its root, "." and empty parts. ".." is resolved first, links and all.
path Mirrored(const std::string& theName)
{
    path aName(theName);
    if (std::find(aName.begin(), aName.end(), "..") != aName.end())
    {
        aName = std::filesystem::weakly_canonical(std::filesystem::absolute(aName).parent_path()) /
                aName.filename();
    }
    path aResult;
    for (const path& aPart : aName.relative_path())
    {
        if (!aPart.empty() && aPart != ".")
        {
            aResult /= aPart;
        }
    }
    if (aResult.empty() || aName.filename().empty() || aName.filename() == "." || aName.filename() == "..")
    {
        throw RefusedOutput("this is no file's name");
    }
    if (*aResult.begin() == MirroredNames::kOwnName)
    {
        throw RefusedOutput("the output would be among the program's own files");
    }
    return aResult;
}

std::string WithSlash(const path& thePath)
{
    const std::string aText = thePath.string();
    return aText.ends_with('/') ? aText : aText + "/";
}
} // namespace

bool MirroredNames::IsAbsolute(const std::string& theName)
{
    const path aName(theName);
    return aName.is_absolute() || std::find(aName.begin(), aName.end(), "..") != aName.end();
}

MirroredNames::MirroredNames(const Options& theOptions)
    : itsFolder(WithSlash(theOptions.GetOutput())), itsFormat(theOptions.GetFormatName())
{
    std::error_code anError;
    std::filesystem::create_directories(itsFolder, anError);
    // Why it could not be made, not that it is therefore not there.
    const path aResolved = anError ? path() : std::filesystem::canonical(itsFolder, anError);
    if (anError || !std::filesystem::is_directory(aResolved))
    {
        throw OutputError(itsFolder + ": unable to make the output folder" +
                          (anError ? ": " + anError.message() : ""));
    }
    itsResolvedFolder = WithSlash(aResolved);
}

std::string MirroredNames::GetPath(const Input& theInput, std::optional<int> theFrame,
                                   const std::string& theExtension) const
{
    return itsFolder + Mirrored(theInput.itsPath).string() + (theFrame ? FrameSuffix(*theFrame) : "") +
           theExtension;
}

std::string MirroredNames::GetRecordPath(const Input& theInput) const
{
    // An output may be called like another input where both are in the same folder.
    std::error_code anError;
    const path anInput = std::filesystem::weakly_canonical(theInput.itsPath, anError);
    if (!anError && anInput.string().starts_with(itsResolvedFolder))
    {
        throw RefusedOutput("the input is in the output folder");
    }
    return GetOwnFolder() + "/records/" + Mirrored(theInput.itsPath).string() + "." + itsFormat + ".json";
}
