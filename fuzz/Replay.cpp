// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over files and folders of files without a fuzzer, each input within its time.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <signal.h>
#include <unistd.h>

#include "FuzzInput.h"

namespace
{
namespace fs = std::filesystem;

std::string theCurrentInput;

void ReportTimeout(int)
{
    constexpr char kText[] = "Out of time: ";
    static_cast<void>(!::write(STDERR_FILENO, kText, sizeof(kText) - 1));
    static_cast<void>(!::write(STDERR_FILENO, theCurrentInput.data(), theCurrentInput.size()));
    ::_exit(1);
}

/// Two seconds, and two more for each MiB.
unsigned GetSeconds(std::size_t theSize)
{
    return 2 + 2 * static_cast<unsigned>((theSize + (1u << 20) - 1) >> 20);
}

void Run(const fs::path& thePath)
{
    std::ifstream aFile(thePath, std::ios::binary);
    const Bytes anInput((std::istreambuf_iterator<char>(aFile)), std::istreambuf_iterator<char>());
    theCurrentInput = thePath.string();
    ::alarm(GetSeconds(anInput.size()));
    LLVMFuzzerTestOneInput(anInput.data(), anInput.size());
    ::alarm(0);
}
} // namespace

int main(int theCount, char** theArguments)
{
    ::signal(SIGALRM, ReportTimeout);
    std::vector<fs::path> aFiles;
    for (int i = 1; i < theCount; ++i)
    {
        if (!fs::is_directory(theArguments[i]))
        {
            aFiles.emplace_back(theArguments[i]);
            continue;
        }
        for (const auto& anEntry : fs::directory_iterator(theArguments[i]))
        {
            aFiles.push_back(anEntry.path());
        }
    }
    std::sort(aFiles.begin(), aFiles.end());
    for (const fs::path& aFile : aFiles)
    {
        std::fprintf(stderr, "%s\n", aFile.c_str());
        Run(aFile);
    }
    std::printf("%zu inputs\n", aFiles.size());
    return aFiles.empty() ? 1 : 0;
}
