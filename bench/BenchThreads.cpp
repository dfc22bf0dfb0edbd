// SPDX-License-Identifier: Apache-2.0
// Requests side by side: each thread takes Part 10 streams in memory to finished images of its own, large
// ones, and small ones, which ask for memory and locks the most often. The time is that on the wall, the
// bytes those of all threads.

#include "Part10.h"

namespace
{
[[maybe_unused]] const bool isRegistered = []
{
    for (const char* aName : {"grey16_2048_rle", "jpeg/rgb_baseline420_2048", "jpeg/grey16_lossless1_2048",
                              "grey16_2048_jpeg2000", "grey16_2048", "small/grey16_128",
                              "small/grey16_rle_128", "small/grey16_lossless1_128"})
    {
        const std::string anInput = aName;
        const std::string aCase = anInput.substr(anInput.find('/') + 1); // npos + 1 is 0
        for (const int aThreads : {1, 2, 4, 8, 16})
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
