// SPDX-License-Identifier: Apache-2.0
// The inverse wavelet and component transforms of the JPEG 2000 engine, without its block decoding; bytes of
// samples in the lines' representation.

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "engine/detail/lines/Synthesis.h"
#include "engine/kdu_colour_transforms.h"

namespace
{
constexpr std::uint32_t kSide = 2048;
constexpr unsigned int kLevels = 5;

/// Hands out the lines of a stripe over and over, as high as a row of code-blocks.
template <class Sample>
class StripeSource final : public j2k::LineSource<Sample>
{
public:
    explicit StripeSource(std::uint32_t theWidth)
        : itsWidth(theWidth), itsSamples(static_cast<std::size_t>(theWidth) * kHeight)
    {
        std::mt19937 aGenerator(1);
        std::generate(itsSamples.begin(), itsSamples.end(),
                      [&aGenerator] { return static_cast<Sample>(aGenerator() % 64u); });
    }

    const Sample* Pull() override
    {
        return itsSamples.data() + static_cast<std::size_t>(itsLine++ % kHeight) * itsWidth;
    }

private:
    static constexpr std::uint32_t kHeight = 64;
    std::uint32_t itsWidth;
    std::uint32_t itsLine = 0;
    std::vector<Sample> itsSamples;
};

template <class Sample>
std::unique_ptr<j2k::LineSource<Sample>> MakeChain(kdu_sample_allocator& theAllocator)
{
    std::unique_ptr<j2k::LineSource<Sample>> aSource =
        std::make_unique<StripeSource<Sample>>(kSide >> kLevels);
    for (unsigned int l = kLevels; l-- > 0;)
    {
        const std::uint32_t aSide = kSide >> l;
        j2k::SynthesisInputs<Sample> anInputs = {std::move(aSource),
                                                 std::make_unique<StripeSource<Sample>>(aSide / 2),
                                                 std::make_unique<StripeSource<Sample>>(aSide / 2),
                                                 std::make_unique<StripeSource<Sample>>(aSide / 2)};
        const j2k::Rect anArea = {0, 0, aSide, aSide};
        aSource = std::make_unique<j2k::Synthesis<Sample>>(anArea, anArea, std::move(anInputs), theAllocator);
    }
    return aSource;
}

template <class Sample>
void Wavelet(benchmark::State& theState)
{
    std::vector<Sample> aLine(kSide);
    for (auto _ : theState)
    {
        theState.PauseTiming();
        kdu_sample_allocator anAllocator;
        const std::unique_ptr<j2k::LineSource<Sample>> aSource = MakeChain<Sample>(anAllocator);
        anAllocator.finalize();
        theState.ResumeTiming();
        for (std::uint32_t y = 0; y < kSide; ++y)
        {
            std::memcpy(aLine.data(), aSource->Pull(), kSide * sizeof(Sample));
            benchmark::DoNotOptimize(aLine.data());
        }
    }
    theState.SetBytesProcessed(theState.iterations() *
                               static_cast<std::int64_t>(kSide * kSide * sizeof(Sample)));
}

template <class Sample, void (*theTransform)(Sample*, Sample*, Sample*, int)>
void Components(benchmark::State& theState)
{
    std::vector<Sample> aFirst(kSide), aSecond(kSide), aThird(kSide);
    for (auto _ : theState)
    {
        theTransform(aFirst.data(), aSecond.data(), aThird.data(), static_cast<int>(kSide));
        benchmark::ClobberMemory();
    }
    theState.SetBytesProcessed(theState.iterations() * static_cast<std::int64_t>(3 * kSide * sizeof(Sample)));
}

BENCHMARK(Wavelet<std::int16_t>)->Name("wavelet/5-3/16bit")->Unit(benchmark::kMillisecond);
BENCHMARK(Wavelet<std::int32_t>)->Name("wavelet/5-3/32bit")->Unit(benchmark::kMillisecond);
BENCHMARK(Wavelet<float>)->Name("wavelet/9-7/float")->Unit(benchmark::kMillisecond);
BENCHMARK(Components<kdu_sample16, kdu_convert_ycc_to_rgb_rev16>)->Name("components/rct/16bit");
BENCHMARK(Components<kdu_sample32, kdu_convert_ycc_to_rgb_rev32>)->Name("components/rct/32bit");
BENCHMARK(Components<kdu_sample16, kdu_convert_ycc_to_rgb_irrev16>)->Name("components/ict/16bit");
BENCHMARK(Components<kdu_sample32, kdu_convert_ycc_to_rgb_irrev32>)->Name("components/ict/float");
} // namespace
