// SPDX-License-Identifier: Apache-2.0
// Prints how far the process grows, in bytes, while one codestream is read and decoded into a fresh buffer:
//
//   quorix_peak_memory CASE ours|openjpeg
//
// A process of its own for every figure, as the most that it ever had is what the system remembers.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "jpeg2000/Jpeg2000Decoders.h"

namespace
{
/// A figure of /proc/self/status, in bytes.
long ReadStatus(const std::string& theField)
{
    std::ifstream aFile("/proc/self/status");
    for (std::string aLine; std::getline(aFile, aLine);)
    {
        if (aLine.compare(0, theField.size(), theField) == 0)
        {
            return std::stol(aLine.substr(theField.size() + 1)) * 1024;
        }
    }
    return 0;
}
} // namespace

int main(int theCount, char** theArguments)
{
    const auto aCases = GetJpeg2000Cases();
    const auto aCase = std::find_if(aCases.begin(), aCases.end(),
                                    [&](const Jpeg2000Case& theCase)
                                    { return theCount == 3 && theCase.itsName == theArguments[1]; });
    if (aCase == aCases.end())
    {
        std::fprintf(stderr, "usage: quorix_peak_memory CASE ours|openjpeg\n");
        return 1;
    }
    const bool isOurs = std::strcmp(theArguments[2], "ours") == 0;
    const long aBefore = ReadStatus("VmRSS:");
    const Bytes aStream = ReadInput("jpeg2000/" + aCase->itsFile, ".j2k");
    const int aDivisor = 1 << (2 * (aCase->itsScale - 1));
    Bytes anOutput(GetOutputSize(aStream) / static_cast<std::size_t>(aDivisor));
    const std::size_t aSize =
        (isOurs ? DecodeWithOurs : DecodeWithOpenJpeg)(aStream, aCase->itsScale, anOutput);
    const long aGrowth = ReadStatus("VmHWM:") - aBefore;
    std::printf("%ld %zu %zu\n", aGrowth, aSize, aStream.size());
    return aSize == 0 ? 1 : 0;
}
