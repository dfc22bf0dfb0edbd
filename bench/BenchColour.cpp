// SPDX-License-Identifier: Apache-2.0
// Colour conversion to interleaved 8-bit RGB; bytes of output. The buffer exchange is part of it.

#include <cstring>
#include <random>

#include <benchmark/benchmark.h>

#include "DcmtkPeer.h"
#include "Inputs.h"
#include "image/ProcessHeapMemoryAllocator.h"
#include "image/Renderable.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
constexpr int kSide = 2048;
constexpr std::size_t kPixels = static_cast<std::size_t>(kSide) * kSide;

Bytes RandomBytes(std::size_t theCount)
{
    std::mt19937 aGenerator(1);
    Bytes aBytes(theCount);
    for (std::uint8_t& aByte : aBytes)
    {
        aByte = static_cast<std::uint8_t>(aGenerator());
    }
    return aBytes;
}

void Convert(benchmark::State& theState, Renderable::PhotometricInterpretation theKind, int theBitsAllocated,
             bool thePlanarFlag)
{
    DICOMDataObject aDataSet;
    const std::size_t aSize =
        Renderable::calculateRequiredBufferSize(kSide, kSide, theBitsAllocated, 3, theKind);
    const Bytes anInput = RandomBytes(aSize);
    // The heap keeps its pages warm, so that the arithmetic shows and not the operating system.
    ProcessHeapMemoryAllocator& anAllocator = ProcessHeapMemoryAllocator::GetDefaultInstance();
    for (auto _ : theState)
    {
        theState.PauseTiming();
        Renderable anImage(anAllocator);
        anImage.setRows(kSide);
        anImage.setColumns(kSide);
        anImage.setSamplesPerPixel(3);
        anImage.setBitsAllocated(static_cast<std::int16_t>(theBitsAllocated));
        anImage.setBitsStored(static_cast<std::int16_t>(theBitsAllocated));
        anImage.setPhotometricInterpretation(theKind);
        anImage.setPlanarConfiguration(thePlanarFlag);
        anImage.allocatePixelData();
        std::memcpy(anImage.getPixelData(), anInput.data(), aSize);
        theState.ResumeTiming();
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aDataSet, anImage);
        benchmark::DoNotOptimize(anImage.getPixelData());
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(kPixels * 3) * theState.iterations());
}

void Plain(benchmark::State& theState)
{
    const Bytes anInput = RandomBytes(kPixels * 3);
    Bytes anOutput(kPixels * 3);
    const auto clamp = [](float theValue)
    { return static_cast<std::uint8_t>(theValue < 0.0f ? 0.0f : (theValue > 255.0f ? 255.0f : theValue)); };
    for (auto _ : theState)
    {
        for (std::size_t aByte = 0; aByte < anInput.size(); aByte += 3)
        {
            const float aY = anInput[aByte];
            const float aCb = static_cast<float>(anInput[aByte + 1]) - 128.0f;
            const float aCr = static_cast<float>(anInput[aByte + 2]) - 128.0f;
            anOutput[aByte] = clamp(aY + 1.402f * aCr);
            anOutput[aByte + 1] = clamp(aY - 0.344136f * aCb - 0.714136f * aCr);
            anOutput[aByte + 2] = clamp(aY + 1.772f * aCb);
        }
        benchmark::DoNotOptimize(anOutput.data());
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(kPixels * 3) * theState.iterations());
}

void Dcmtk(benchmark::State& theState)
{
    const DcmtkPeer aPeer(ReadInput("ybr_full_2048"));
    Bytes anOutput(kPixels * 3);
    for (auto _ : theState)
    {
        if (!aPeer.RenderColour(anOutput.data(), anOutput.size()))
        {
            theState.SkipWithError("DCMTK reports an error");
            break;
        }
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(kPixels * 3) * theState.iterations());
}

BENCHMARK_CAPTURE(Convert, ybr_full_8bit / ours, Renderable::YBR_FULL, 8, false)
    ->Name("colour/ybr_full_8bit/ours");
BENCHMARK(Plain)->Name("colour/ybr_full_8bit/plain");
BENCHMARK(Dcmtk)->Name("colour/ybr_full_8bit/dcmtk");
BENCHMARK_CAPTURE(Convert, ybr_full_8bit_planes / ours, Renderable::YBR_FULL, 8, true)
    ->Name("colour/ybr_full_8bit_planes/ours");
BENCHMARK_CAPTURE(Convert, ybr_full_422_8bit / ours, Renderable::YBR_FULL_422, 8, false)
    ->Name("colour/ybr_full_422_8bit/ours");
BENCHMARK_CAPTURE(Convert, ybr_full_16bit / ours, Renderable::YBR_FULL, 16, false)
    ->Name("colour/ybr_full_16bit/ours");
BENCHMARK_CAPTURE(Convert, rgb_8bit_planes / ours, Renderable::RGB, 8, true)
    ->Name("colour/rgb_8bit_planes/ours");
BENCHMARK_CAPTURE(Convert, rgb_16bit / ours, Renderable::RGB, 16, false)->Name("colour/rgb_16bit/ours");
} // namespace
