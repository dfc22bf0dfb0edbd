// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

std::string InputPath(const std::string& theName)
{
    const char* const aFolder = std::getenv("QUORIX_BENCH_INPUTS");
    return std::string(aFolder == nullptr ? "." : aFolder) + "/" + theName + ".dcm";
}

Bytes ReadInput(const std::string& theName)
{
    std::ifstream aFile(InputPath(theName), std::ios::binary);
    if (!aFile)
    {
        std::fprintf(stderr, "cannot read %s; run scripts/bench\n", InputPath(theName).c_str());
        std::exit(1);
    }
    return {std::istreambuf_iterator<char>(aFile), {}};
}
