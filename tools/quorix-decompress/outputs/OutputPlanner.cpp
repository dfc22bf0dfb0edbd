// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputPlanner.h"

#include <algorithm>
#include <filesystem>

#include "outputs/OutputFile.h"

namespace
{
bool IsDigit(char theCharacter)
{
    return theCharacter >= '0' && theCharacter <= '9';
}

/// The file name without an extension. Names that are UIDs have dots too: an ending that is all digits
/// is not taken for an extension.
std::string StemOf(const std::string& thePath)
{
    if (thePath == "-")
    {
        return "stdin";
    }
    const std::filesystem::path aName = std::filesystem::path(thePath).filename();
    const std::string anExtension = aName.extension().string();
    const bool isExtension = anExtension.size() > 1 && anExtension.size() <= 6 &&
                             !std::all_of(anExtension.begin() + 1, anExtension.end(), IsDigit);
    return isExtension ? aName.stem().string() : aName.string();
}

/// The part of theName before what looks like a frame's suffix; empty where there is none.
std::string BeforeFrameSuffix(const std::string& theName)
{
    const auto aDigits = std::find_if_not(theName.rbegin(), theName.rend(), IsDigit).base();
    const auto aPosition = static_cast<std::size_t>(aDigits - theName.begin());
    const bool isSuffix =
        theName.size() - aPosition >= 4 && aPosition > 2 && theName.compare(aPosition - 2, 2, "_f") == 0;
    return isSuffix ? theName.substr(0, aPosition - 2) : "";
}

std::string Resolved(const std::string& thePath)
{
    std::error_code anError;
    const auto aPath = std::filesystem::weakly_canonical(thePath, anError);
    return anError ? thePath : aPath.string();
}

std::vector<std::string> ExtensionsOf(OutputFormat theFormat)
{
    switch (theFormat)
    {
    case OutputFormat::PNG:
        return {".png"};
    case OutputFormat::PNM:
        return {".pgm", ".ppm"};
    case OutputFormat::RAW:
        return {".raw"};
    case OutputFormat::REND:
        return {".rend"};
    case OutputFormat::DICOM:
        return {".dcm"};
    case OutputFormat::NONE:
        break;
    }
    return {};
}

void MakeFolder(const std::string& theFolder)
{
    std::error_code anError;
    std::filesystem::create_directories(theFolder, anError);
    if (!std::filesystem::is_directory(theFolder))
    {
        throw OutputError(theFolder + ": unable to make the output folder" +
                          (anError ? ": " + anError.message() : ""));
    }
}
} // namespace

OutputPlanner::OutputPlanner(const Options& theOptions, const InputCollector& theInputs)
{
    if (theOptions.IsInfo() || theOptions.GetFormat() == OutputFormat::NONE)
    {
        return;
    }
    const std::string& anOutput = theOptions.GetOutput();
    if (anOutput == TemporaryFile::kStandardOutput)
    {
        itsFile = anOutput;
        return;
    }
    const bool isOneInput = theOptions.GetInputs().size() == 1 && !theInputs.HasFolders();
    for (const std::string& aFile : theInputs.GetFiles())
    {
        itsInputs.insert(Resolved(aFile));
    }
    if (isOneInput && !anOutput.empty() && !anOutput.ends_with('/') &&
        !std::filesystem::is_directory(anOutput))
    {
        itsFile = anOutput;
        return;
    }
    itsFolder = anOutput.empty() ? "." : anOutput;
    MakeFolder(itsFolder);
    PlanNames(theInputs.GetFiles(), theOptions);
}

bool OutputPlanner::IsInput(const std::string& thePath) const
{
    return itsInputs.contains(Resolved(thePath));
}

void OutputPlanner::PlanNames(const std::vector<std::string>& theFiles, const Options& theOptions)
{
    const std::vector<std::string> anExtensions = ExtensionsOf(theOptions.GetFormat());
    std::set<std::string> aTaken;
    std::set<std::string> aStems;
    for (const std::string& aFile : theFiles)
    {
        aStems.insert(StemOf(aFile));
    }
    const auto IsFree = [&](const std::string& theName)
    {
        const std::string aPath = (std::filesystem::path(itsFolder) / theName).string();
        // "a_f0001" must not meet frame 1 of "a".
        const bool isFrameOfAnother =
            theOptions.GetFrames().HasSeveral() && aStems.contains(BeforeFrameSuffix(theName));
        return !aTaken.contains(theName) && !isFrameOfAnother &&
               std::none_of(anExtensions.begin(), anExtensions.end(),
                            [&](const std::string& theExtension) { return IsInput(aPath + theExtension); });
    };
    for (const std::string& aFile : theFiles)
    {
        const std::string aStem = StemOf(aFile);
        std::string aName = aStem;
        for (unsigned aNumber = 2; !IsFree(aName); ++aNumber)
        {
            aName = aStem + "-" + std::to_string(aNumber);
        }
        aTaken.insert(aName);
        itsNames.push_back(aName);
    }
}

std::string OutputPlanner::GetPath(const Input& theInput, std::optional<int> theFrame,
                                   const std::string& theExtension) const
{
    const std::string aSuffix = theFrame ? FrameSuffix(*theFrame) : "";
    std::string aPath;
    if (itsFile == TemporaryFile::kStandardOutput)
    {
        return itsFile;
    }
    if (!itsFile.empty())
    {
        std::filesystem::path aFile(itsFile);
        const std::string aName = aFile.stem().string() + aSuffix + aFile.extension().string();
        aPath = theFrame ? aFile.replace_filename(aName).string() : itsFile;
    }
    else
    {
        aPath = (std::filesystem::path(itsFolder) / (itsNames.at(theInput.itsIndex) + aSuffix + theExtension))
                    .string();
        if (itsFolder == ".")
        {
            aPath.erase(0, 2);
        }
    }
    if (IsInput(aPath))
    {
        throw RefusedOutput("the output would overwrite an input");
    }
    return aPath;
}
