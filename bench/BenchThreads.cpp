// SPDX-License-Identifier: Apache-2.0
// Requests side by side: each thread takes Part 10 streams in memory to finished images of its own. The time
// is that on the wall, the bytes those of all threads.

#include "Part10.h"

namespace
{
[[maybe_unused]] const bool isRegistered = []
{
    for (const char* aName : {"grey16_2048_rle", "jpeg/rgb_baseline420_2048", "jpeg/grey16_lossless1_2048",
                              "grey16_2048_jpeg2000"})
    {
        const std::string anInput = aName;
        const std::string aCase = anInput.substr(anInput.find('/') + 1); // npos + 1 is 0
        for (const int aThreads : {1, 2, 4})
        {
            benchmark::RegisterBenchmark(("threads/" + aCase).c_str(), BenchPart10, anInput)
                ->Threads(aThreads)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();
} // namespace
