// SPDX-License-Identifier: Apache-2.0
#include "inputs/InputCollector.h"

#include <algorithm>
#include <filesystem>

#include "inputs/InputClassifier.h"
#include "inputs/InputSource.h"
#include "toolkit/base/Exceptions.h"

namespace
{
bool IsDICOMFile(const std::filesystem::path& thePath)
{
    try
    {
        const InputSource aSource(thePath.string());
        return InputClassifier::IsDICOM(aSource.ReadHead(InputClassifier::kHeadLength));
    }
    catch (const ExceptionBase&)
    {
        return true; // let the decoding say why it cannot be read
    }
}

/// The entries of one folder by name; theError is set when it cannot be read to its end.
std::vector<std::filesystem::directory_entry> ListFolder(const std::filesystem::path& theFolder,
                                                         std::error_code& theError)
{
    std::vector<std::filesystem::directory_entry> anEntries;
    std::filesystem::directory_iterator anIterator(theFolder, theError);
    while (!theError && anIterator != std::filesystem::directory_iterator())
    {
        anEntries.push_back(*anIterator);
        anIterator.increment(theError);
    }
    std::sort(anEntries.begin(), anEntries.end());
    return anEntries;
}
} // namespace

void InputCollector::Collect(const std::vector<std::string>& theInputs)
{
    for (const std::string& anInput : theInputs)
    {
        std::error_code anError;
        if (anInput != "-" && std::filesystem::is_directory(anInput, anError))
        {
            itsHasFolders = true;
            CollectFolder(anInput);
        }
        else
        {
            itsFiles.push_back(anInput);
        }
    }
}

void InputCollector::CollectFolder(const std::string& theFolder)
{
    const std::size_t aFilesBefore = itsFiles.size();
    const std::size_t aFailuresBefore = itsFailures.size();
    std::vector<std::filesystem::path> aPending{theFolder};
    while (!aPending.empty())
    {
        const std::filesystem::path aFolder = aPending.back();
        aPending.pop_back();
        std::error_code anError;
        std::vector<std::filesystem::path> aSubfolders;
        for (const auto& anEntry : ListFolder(aFolder, anError))
        {
            std::error_code anIgnored;
            if (anEntry.is_directory(anIgnored) && !anEntry.is_symlink(anIgnored))
            {
                aSubfolders.push_back(anEntry.path());
            }
            else if (anEntry.is_regular_file(anIgnored))
            {
                (IsDICOMFile(anEntry.path()) ? itsFiles : itsPassedOver).push_back(anEntry.path().string());
            }
        }
        if (anError)
        {
            itsFailures.push_back({aFolder.string(), "unable to read the folder: " + anError.message()});
        }
        aPending.insert(aPending.end(), aSubfolders.rbegin(), aSubfolders.rend());
    }
    if (itsFiles.size() == aFilesBefore && itsFailures.size() == aFailuresBefore)
    {
        itsFailures.push_back({theFolder, "no DICOM files in this folder"});
    }
}
