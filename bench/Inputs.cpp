// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

std::string InputPath(const std::string& theName, const std::string& theExtension)
{
    const char* const aFolder = std::getenv("QUORIX_BENCH_INPUTS");
    return std::string(aFolder == nullptr ? "." : aFolder) + "/" + theName + theExtension;
}

Bytes ReadInput(const std::string& theName, const std::string& theExtension)
{
    const std::string aPath = InputPath(theName, theExtension);
    std::ifstream aFile(aPath, std::ios::binary);
    if (!aFile)
    {
        std::fprintf(stderr, "cannot read %s; run scripts/bench\n", aPath.c_str());
        std::exit(1);
    }
    return {std::istreambuf_iterator<char>(aFile), {}};
}

std::vector<std::string> GetSides()
{
    std::vector<std::string> aSides = {"512", "1024", "2048"};
    if (std::getenv("QUORIX_BENCH_QUICK") == nullptr)
    {
        aSides.emplace_back("4096");
    }
    return aSides;
}
