// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <utility>

#include "support/ForEachTarget.h"
#include "support/ImageMaker.h"

namespace
{
constexpr unsigned kUntouched = 4711;

ImageSpec Grey(int theBits, int theRows, int theColumns, bool theSigned = false, bool theLittleEndian = true)
{
    return {Renderable::MONOCHROME2, 1, theBits, theRows, theColumns, false, theSigned, theLittleEndian};
}

using Range = std::pair<unsigned, unsigned>;

// The image and its pixels, the padding value, the range.
const std::tuple<const char*, ImageSpec, Bytes, unsigned, Range> kRangeRows[] = {
    {"unsigned 16", Grey(16, 1, 3), Words({65535, 7, 300}), 0, {7, 65535}},
    {"signed 16 is sign-extended", Grey(16, 1, 3, true), Words({-5, 3, 32767}), 0, {4294967291u, 32767}},
    {"unsigned 8", Grey(8, 1, 3), {200, 3, 7}, 0, {3, 200}},
    {"signed 8", Grey(8, 1, 2, true), {0xfd, 4}, 0, {4294967293u, 4}},
    {"big-endian words", Grey(16, 1, 2, false, false), Words({256, 2}, false), 0, {2, 256}},
    {"padding is left out", Grey(16, 1, 3), Words({9, 2000, 5}), 2000, {5, 9}},
    {"padding 0 leaves nothing out", Grey(16, 1, 3), Words({0, 9, 5}), 0, {0, 9}},
    {"signed padding by its low 16 bits", Grey(16, 1, 3, true), Words({-2000, 9, 5}), 63536, {5, 9}},
    {"padding compared in 8 bits", Grey(8, 1, 3), {9, 1, 5}, 0x101, {5, 9}},
    {"padding whose low bits are 0", Grey(8, 1, 3), {9, 0, 5}, 0x100, {5, 9}},
    {"all padding, unsigned 16", Grey(16, 1, 2), Words({7, 7}), 7, {65535, 0}},
    {"all padding, signed 16", Grey(16, 1, 2, true), Words({7, 7}), 7, {32767, 4294934528u}},
    {"all padding, unsigned 8", Grey(8, 1, 2), {7, 7}, 7, {255, 0}},
    {"all padding, signed 8", Grey(8, 1, 2, true), {7, 7}, 7, {127, 4294967168u}},
    {"other widths change nothing", Grey(12, 1, 2), Words({1, 2}), 0, {kUntouched, kUntouched}},
    {"32 bits change nothing", Grey(32, 1, 1), Words({1, 2}), 0, {kUntouched, kUntouched}},
    {"buffer shorter than the geometry", Grey(16, 1000, 1000), Words({5, 9}), 0, {5, 9}},
    {"half a sample at the end", Grey(16, 1, 3), {5, 0, 9, 0, 200}, 0, {5, 9}},
    {"buffer longer than the geometry", Grey(8, 1, 2), {5, 9, 255}, 0, {5, 9}},
    {"negative dimensions", Grey(8, -1, -2), {5, 9}, 0, {255, 0}},
    {"colour is not read", {Renderable::RGB, 3, 8, 1, 1}, {5, 6, 7}, 0, {0, 255}},
    {"colour of 16 bits stored", {Renderable::RGB, 3, 16, 1, 1}, {}, 0, {0, 65535}},
    {"colour of 32 bits stored", {Renderable::RGB, 3, 32, 1, 1}, {}, 0, {0, 4294967295u}},
};

Range GetRange(Renderable& theImage, unsigned thePadding, bool theRemove = false, float thePercent = 0,
               int theShift = 0)
{
    Range aRange{kUntouched, kUntouched};
    DecompressionLibUtils::CalculateMinMax(theImage, thePadding, aRange.first, aRange.second, theRemove,
                                           thePercent, theShift);
    return aRange;
}

TEST(PixelStatistics, CalculateMinMax)
{
    for (const auto& [aName, aSpec, aPixels, aPadding, anExpected] : kRangeRows)
    {
        SCOPED_TRACE(aName);
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aSpec, aPixels);
        EXPECT_EQ(GetRange(*anImage, aPadding), anExpected);
    }
}

/// n samples of 100 but for 42 at a place that moves with n, and 77 at the end.
void CheckLength(int theBits, bool theSigned, int n)
{
    const int aWhere = n - 1 - n / 3;
    std::vector<int> aValues(static_cast<std::size_t>(n), 100);
    aValues[static_cast<std::size_t>(aWhere)] = 42;
    aValues[static_cast<std::size_t>(n - 1)] = 77;
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, Grey(theBits, 1, n, theSigned),
                                   theBits == 16 ? Words(aValues) : Bytes(aValues.begin(), aValues.end()));
    const unsigned aLowest = aWhere == n - 1 ? 77 : 42;
    EXPECT_EQ(GetRange(*anImage, 0), (Range{aLowest, n > 1 ? 100u : 77u}));
    if (n > 2)
    {
        EXPECT_EQ(GetRange(*anImage, 42), (Range{77, 100}));
        EXPECT_EQ(GetRange(*anImage, 100), (Range{42, 77}));
    }
}

// Vectors and the rest behind them look at every sample once, and leave padding out wherever it is.
TEST(PixelStatistics, EveryLengthCountsEverySample)
{
    ForEachTarget(
        []
        {
            for (int n = 1; n < 150; ++n)
            {
                SCOPED_TRACE(n);
                CheckLength(8, false, n);
                CheckLength(8, true, n);
                CheckLength(16, false, n);
                CheckLength(16, true, n);
            }
        });
}

/// The bins that samples are counted in, once for each.
std::vector<std::size_t> GetHits(const ImageSpec& theSpec, const Bytes& thePixels)
{
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, theSpec, thePixels);
    const std::unique_ptr<std::uint32_t[]> aBins(DecompressionLibUtils::CalculateHistogram(*anImage));
    std::vector<std::size_t> aHits;
    for (std::size_t aBin = 0; aBin < (theSpec.itsBits <= 8 ? 256 : 65536); ++aBin)
    {
        aHits.insert(aHits.end(), aBins[aBin], aBin);
    }
    return aHits;
}

using Hits = std::vector<std::size_t>;

TEST(PixelStatistics, HistogramBinsAreBiasedForSignedSamples)
{
    EXPECT_EQ(GetHits(Grey(8, 1, 3), {0, 255, 255}), (Hits{0, 255, 255}));
    EXPECT_EQ(GetHits(Grey(8, 1, 3, true), {0x80, 0, 0x7f}), (Hits{0, 128, 255}));
    EXPECT_EQ(GetHits(Grey(16, 1, 2), Words({0, 65535})), (Hits{0, 65535}));
    EXPECT_EQ(GetHits(Grey(16, 1, 3, true), Words({-32768, 0, 32767})), (Hits{0, 32768, 65535}));
    EXPECT_EQ(GetHits(Grey(16, 1, 1, false, false), Words({0x0102}, false)), (Hits{0x0102}));
    EXPECT_EQ(GetHits(Grey(12, 1, 2), Words({4095, 65535})), (Hits{4095, 65535})) << "words";
    EXPECT_EQ(GetHits(Grey(1, 1, 2), {1, 200}), (Hits{1, 200})) << "bytes";
    EXPECT_EQ(GetHits(Grey(32, 1, 1), Words({7, 9})), (Hits{7})) << "not 16 gigabytes";
    EXPECT_EQ(GetHits(Grey(16, 9, 9), Words({3})), (Hits{3})) << "buffer shorter than the geometry";
    CountingAllocator anAllocator;
    EXPECT_EQ(DecompressionLibUtils::CalculateHistogram(*MakeImage(anAllocator, {}, Bytes(6))), nullptr);
}

/// A 100 x 100 image: most of it 1000 … 2000, theCount pixels at each of two extremes.
std::unique_ptr<Renderable> MakeBody(CountingAllocator& theAllocator, int theLow, int theHigh, int theCount,
                                     bool theSigned)
{
    std::vector<int> aValues(10000);
    for (int i = 0; i < 10000; ++i)
    {
        aValues[static_cast<std::size_t>(i)] = i < theCount       ? theLow
                                               : i < 2 * theCount ? theHigh
                                                                  : 1000 + i % 1001;
    }
    return MakeImage(theAllocator, Grey(16, 100, 100, theSigned), Words(aValues));
}

Range GetBodyRange(int theLow, int theHigh, int theCount, bool theSigned, float thePercent, int theShift)
{
    CountingAllocator anAllocator;
    const auto anImage = MakeBody(anAllocator, theLow, theHigh, theCount, theSigned);
    return GetRange(*anImage, 0, true, thePercent, theShift);
}

// About ten pixels have each value of the body, so more than 50 of them lie at 1005 and above 1995: the
// sixth bin from either end.
TEST(PixelStatistics, BurnInsAreTrimmed)
{
    const Range aTrimmed{1005, 1995}, anUntrimmed{0, 4095};
    EXPECT_EQ(GetBodyRange(0, 4095, 1, false, 0.5f, 10), aTrimmed);
    EXPECT_EQ(GetBodyRange(0, 4095, 50, false, 0.5f, 10), (Range{1000, 2000})) << "as many as the threshold";
    EXPECT_EQ(GetBodyRange(0, 4095, 29, false, 0.29f, 10), (Range{1000, 2000})) << "29 in single precision";
    EXPECT_EQ(GetBodyRange(0, 4095, 51, false, 0.5f, 10), anUntrimmed) << "one more than the threshold";
    EXPECT_EQ(GetBodyRange(0, 4095, 1, false, 0.5f, 2100), anUntrimmed) << "a shift as large as the minimum";
    EXPECT_EQ(GetBodyRange(-3000, 4095, 1, true, 0.5f, 10), aTrimmed);
    EXPECT_EQ(GetBodyRange(-3000, 4095, 51, true, 0.5f, 10), (Range{4294964296u, 4095})) << "below zero";
    EXPECT_EQ(GetBodyRange(0, 4095, 1, false, 0.5f, 0), anUntrimmed) << "no minimum shift";
    for (const float aPercent : {0.0f, 0.0000009f, 101.0f, -5.0f, std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity()})
    {
        EXPECT_EQ(GetBodyRange(0, 4095, 1, false, aPercent, 10), anUntrimmed) << aPercent;
    }
}

// Ranges that the caller brings may have nothing to do with the image.
TEST(PixelStatistics, AdjustTakesAnyRange)
{
    const auto adjust = [](Range theRange, bool theSigned, float thePercent = 0.5f, int theShift = 10)
    {
        CountingAllocator anAllocator;
        DecompressionLibUtils::AdjustMinMaxToRemoveBurnIns(*MakeBody(anAllocator, 1500, 1500, 1, theSigned),
                                                           theRange.first, theRange.second, thePercent,
                                                           theShift);
        return theRange;
    };
    EXPECT_EQ(adjust({0, 4294967295u}, false), (Range{1005, 1995}));
    EXPECT_EQ(adjust({70000, 80000}, false), (Range{70000, 1995}));
    EXPECT_EQ(adjust({65535, 0}, false), (Range{65535, 0}));
    EXPECT_EQ(adjust({4294934528u, 32767}, true), (Range{1005, 1995}));
    EXPECT_EQ(adjust({0, 3000}, false, 0.5f, 1004), (Range{1005, 1995})) << "either end moves by 1005";
    EXPECT_EQ(adjust({0, 3000}, false, 0.5f, 1005), (Range{0, 3000}));
    EXPECT_EQ(adjust({0, 3000}, false, 0.000002f), (Range{1000, 2000}));
    EXPECT_EQ(adjust({0, 3000}, false, -0.0000009f), (Range{0, 3000}));
    // Bytes have a bias of their own: one sample of -128 and one of 127 among 98 of 5.
    CountingAllocator anAllocator;
    Bytes aBytes(100, 5);
    aBytes[3] = 0x80;
    aBytes[7] = 0x7f;
    const auto aSigned = MakeImage(anAllocator, Grey(8, 10, 10, true), aBytes);
    EXPECT_EQ(GetRange(*aSigned, 0, true, 1.0f, 10), (Range{5, 5}));
    const auto anImage = MakeImage(anAllocator, {}, Bytes(6));
    Range aRange{3, 200};
    DecompressionLibUtils::AdjustMinMaxToRemoveBurnIns(*anImage, aRange.first, aRange.second, 50.0f, 1);
    EXPECT_EQ(aRange, (Range{3, 200})) << "colour images have no histogram";
}
} // namespace
