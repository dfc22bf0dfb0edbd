// SPDX-License-Identifier: Apache-2.0
// The whole road from a Part 10 stream to a finished Renderable, buffer allocation included.

#include <benchmark/benchmark.h>

#include "DcmtkPeer.h"
#include "Inputs.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/LFInputStream.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
std::uint64_t DecodeFrame(benchmark::State& theState, InputStream& theStream, int theFrame)
{
    DICOMDataObject aDataSet;
    DecompressionRequest aRequest(&theStream, &aDataSet, "", false, 1, theFrame, "", false);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    if (aResult.getRenderable() == nullptr)
    {
        theState.SkipWithError(aResult.getMessage().c_str());
        return 0;
    }
    return aResult.getRenderable()->getPixelDataSize();
}

void Ours(benchmark::State& theState, const std::string& theName)
{
    const Bytes aFile = ReadInput(theName);
    std::uint64_t aSize = 0;
    for (auto _ : theState)
    {
        MemoryInputStream aStream(aFile.data(), aFile.size());
        aSize = DecodeFrame(theState, aStream, 0);
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(aSize) * theState.iterations());
}

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

void OneOfThousand(benchmark::State& theState, const std::string& theName)
{
    for (auto _ : theState)
    {
        LFInputStream aStream(InputPath(theName).c_str(), LFStream::MODE_READ_BINARY,
                              LFStream::SHARE_DENY_NONE, 4096);
        DecodeFrame(theState, aStream, static_cast<int>(theState.range(0)));
    }
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const char* aName : {"grey8_2048", "grey16_2048", "rgb_2048", "ybr_full_2048", "grey16_2048_rle",
                              "rgb_2048_baseline444", "grey16_2048_lossless", "grey16_512", "grey16_512_rle"})
    {
        benchmark::RegisterBenchmark((std::string("file/") + aName + "/ours").c_str(), Ours,
                                     std::string(aName));
    }
    for (const char* aName : {"grey8_2048", "grey16_2048", "rgb_2048", "grey16_512"})
    {
        benchmark::RegisterBenchmark((std::string("file/") + aName + "/dcmtk").c_str(), DcmtkNative,
                                     std::string(aName));
    }
    for (const char* aName : {"frames1000", "frames1000_rle_table", "frames1000_rle"})
    {
        benchmark::RegisterBenchmark((std::string("seek/") + aName + "/frame").c_str(), OneOfThousand,
                                     std::string(aName))
            ->Arg(0)
            ->Arg(500)
            ->Unit(benchmark::kMicrosecond);
    }
    return true;
}();
} // namespace
