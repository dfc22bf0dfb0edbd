// SPDX-License-Identifier: Apache-2.0
// One RLE frame into a buffer that is there already: what the codec costs.

#include "Frames.h"

namespace
{
[[maybe_unused]] const bool isRegistered = []
{
    for (const std::string& aSide : GetSides())
    {
        for (const char* aKind : {"grey8", "grey16", "rgb"})
        {
            const std::string aName = std::string(aKind) + "_" + aSide + "_rle";
            benchmark::RegisterBenchmark(("frame/" + aName + "/ours").c_str(), BenchOurs, aName);
            benchmark::RegisterBenchmark(("frame/" + aName + "/dcmtk").c_str(), BenchDcmtk, aName);
        }
    }
    return true;
}();
} // namespace
