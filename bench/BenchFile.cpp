// SPDX-License-Identifier: Apache-2.0
// The whole path from a Part 10 stream to a finished Renderable, buffer allocation included.

#include "DcmtkPeer.h"
#include "Part10.h"
#include "image/Renderable.h"
#include "toolkit/io/LFStream.h"

namespace
{
void DcmtkNative(benchmark::State& theState, const std::string& theName)
{
    const Bytes aFile = ReadInput(theName);
    std::size_t aSize = 0;
    for (auto _ : theState)
    {
        aSize = DcmtkPeer::LoadNative(aFile);
        benchmark::DoNotOptimize(aSize);
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(aSize) * theState.iterations());
}

void OneOfMany(benchmark::State& theState, const std::string& theName)
{
    for (auto _ : theState)
    {
        LFInputStream aStream(InputPath(theName).c_str(), LFStream::MODE_READ_BINARY,
                              LFStream::SHARE_DENY_NONE, 4096);
        DecodePart10(theState, aStream, static_cast<int>(theState.range(0)));
    }
}

void Region(benchmark::State& theState, const std::string& theName,
            const std::optional<PixelRegion>& theRegion)
{
    for (auto _ : theState)
    {
        LFInputStream aStream(InputPath(theName).c_str(), LFStream::MODE_READ_BINARY,
                              LFStream::SHARE_DENY_NONE, 65536);
        DecodePart10(theState, aStream, 0, theRegion);
    }
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const char* aName : {"grey8_1024", "grey8_2048", "grey16_2048", "rgb_2048", "ybr_full_2048",
                              "grey16_512", "grey16_512_rle", "grey16_2048_rle", "jpeg/rgb_baseline444_2048",
                              "jpeg/grey16_lossless1_2048", "grey16_2048_jpeg2000"})
    {
        const std::string anInput = aName;
        const std::string aCase = anInput.substr(anInput.find('/') + 1); // npos + 1 is 0
        benchmark::RegisterBenchmark(("file/" + aCase + "/ours").c_str(), BenchPart10, anInput);
    }
    // 512 x 512 pixels at the top and in the middle, beside all there are; from a file.
    for (const char* aName :
         {"grey16_2048", "grey16_2048_rle", "jpeg/rgb_baseline444_2048", "jpeg/grey16_lossless1_2048"})
    {
        const std::string anInput = aName;
        const std::string aCase = "region/" + anInput.substr(anInput.find('/') + 1);
        benchmark::RegisterBenchmark((aCase + "/whole").c_str(), Region, anInput, std::nullopt);
        benchmark::RegisterBenchmark((aCase + "/top").c_str(), Region, anInput, PixelRegion{0, 0, 512, 512});
        benchmark::RegisterBenchmark((aCase + "/middle").c_str(), Region, anInput,
                                     PixelRegion{768, 768, 512, 512});
    }
    for (const char* aName : {"grey8_1024", "grey8_2048", "grey16_2048", "rgb_2048", "grey16_512"})
    {
        benchmark::RegisterBenchmark((std::string("file/") + aName + "/dcmtk").c_str(), DcmtkNative,
                                     std::string(aName));
    }
    for (const char* aName : {"frames1000", "frames1000_rle_table", "frames1000_rle"})
    {
        benchmark::RegisterBenchmark((std::string("seek/") + aName + "/frame").c_str(), OneOfMany,
                                     std::string(aName))
            ->Arg(0)
            ->Arg(500)
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RegisterBenchmark("seek/tiles2000_htj2k/frame", OneOfMany, "tiles2000_htj2k")
        ->Arg(0)
        ->Arg(500)
        ->Arg(1999)
        ->Unit(benchmark::kMicrosecond);
    return true;
}();
} // namespace
