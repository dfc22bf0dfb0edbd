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
