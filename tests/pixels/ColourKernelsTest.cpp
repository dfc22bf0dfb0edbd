// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/ColourKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "support/ForEachTarget.h"
#include "support/PlainColour.h"

// Every instruction set that this machine can run must give the bits of the plain formula: all inputs
// there are, and all lengths around the sizes of vectors, on buffers that end exactly where they end.

namespace
{
using Bytes = std::vector<std::uint8_t>;
using Kernel = std::function<void(const std::uint8_t*, std::uint8_t*)>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kLuminanceStep = 15; // 0 and 255 are still among them
#else
constexpr int kLuminanceStep = 1;
#endif

/// A byte written too many is seen by the mark behind the output.
void Expect(const char* theWhat, const Bytes& theInput, Bytes theExpected, const Kernel& theKernel)
{
    theExpected.push_back(0xa5);
    Bytes anOutput(theExpected.size(), 0xa5);
    theKernel(theInput.data(), anOutput.data());
    ASSERT_TRUE(anOutput == theExpected) << theWhat << ", " << theExpected.size() - 1;
}

/// Y0 Y1 Cb Cr groups to Y, Cb, Cr pixels.
Bytes Unpack422(const Bytes& theGroups)
{
    Bytes aPixels;
    for (std::size_t i = 0; i < theGroups.size(); i += 4)
    {
        const std::uint8_t* const g = &theGroups[i];
        aPixels.insert(aPixels.end(), {g[0], g[2], g[3], g[1], g[2], g[3]});
    }
    return aPixels;
}

Bytes Flip(Bytes theBytes)
{
    for (std::uint8_t& aByte : theBytes)
    {
        aByte ^= 0x80;
    }
    return theBytes;
}
} // namespace

TEST(ColourKernels, EveryPixelAndEvery422GroupIsThePlainFormula)
{
    for (int aY = 0; aY < 256; aY += kLuminanceStep)
    {
        Bytes aPixels, aGroups;
        for (int i = 0; i < 65536; ++i)
        {
            const auto y = static_cast<std::uint8_t>(aY);
            const auto cb = static_cast<std::uint8_t>(i >> 8), cr = static_cast<std::uint8_t>(i & 0xff);
            aPixels.insert(aPixels.end(), {y, cb, cr});
            aGroups.insert(aGroups.end(), {y, static_cast<std::uint8_t>(255 - aY), cb, cr});
        }
        const Bytes anRGB = PlainYBRToRGB(aPixels);
        const Bytes aGroupsRGB = PlainYBRToRGB(Unpack422(aGroups));
        const Bytes aFlipped = Flip(aPixels), aFlippedRGB = Flip(anRGB);
        SCOPED_TRACE(aY);
        ForEachTarget(
            [&]
            {
                Expect("unsigned", aPixels, anRGB,
                       [](auto* in, auto* out) { ColourKernels::ConvertYBRFull(in, out, 65536, 0); });
                Expect("signed", aFlipped, aFlippedRGB,
                       [](auto* in, auto* out) { ColourKernels::ConvertYBRFull(in, out, 65536, 0x80); });
                Expect("4:2:2", aGroups, aGroupsRGB,
                       [](auto* in, auto* out) { ColourKernels::ConvertYBRFull422(in, out, 65536, 0); });
            });
    }
}

// Vectors and the plain loops behind them share the work at every length; an overrun of either end is
// seen by the address sanitizer.
TEST(ColourKernels, EveryLengthIsConvertedAndNothingBehindIt)
{
    const auto checkLength = [](std::size_t n)
    {
        Bytes aNoise(6 * n);
        std::uint32_t aState = 12345;
        for (std::uint8_t& aByte : aNoise)
        {
            aState = aState * 1664525u + 1013904223u;
            aByte = static_cast<std::uint8_t>(aState >> 24);
        }
        Bytes aMix, aClamped, aMasked, aFromWords, aFromPlanes;
        for (std::size_t i = 0; i < n; ++i)
        {
            aMix.insert(aMix.end(), {aNoise[i], aNoise[n + i], aNoise[2 * n + i]});
            for (const std::size_t k : {6 * i, 6 * i + 2, 6 * i + 4})
            {
                const int aLittle = aNoise[k] + 256 * aNoise[k + 1], aBig = aNoise[k + 1] + 256 * aNoise[k];
                aClamped.push_back(static_cast<std::uint8_t>(std::min(aLittle / 16, 255)));
                aMasked.push_back(static_cast<std::uint8_t>(aBig / 2 % 32 * 8));
            }
        }
        const auto aWord = [&](std::size_t k) { return aNoise[2 * k] + 256.0f * aNoise[2 * k + 1]; };
        const auto aSwapped = [&](std::size_t k)
        { return static_cast<float>((256 * aNoise[2 * k] + aNoise[2 * k + 1]) ^ 0x8000); };
        const auto anAdd = [](Bytes& theBytes, float y, float cb, float cr, int theFlip)
        {
            for (const float v :
                 {y + 1.402f * (cr - 32768.0f), y - 0.344136f * (cb - 32768.0f) - 0.714136f * (cr - 32768.0f),
                  y + 1.772f * (cb - 32768.0f)})
            {
                const int aValue = static_cast<int>(std::clamp(v, 0.0f, 65535.0f)) ^ theFlip;
                theBytes.push_back(static_cast<std::uint8_t>(aValue >> 8));
            }
        };
        for (std::size_t i = 0; i < n; ++i)
        {
            anAdd(aFromWords, aWord(3 * i), aWord(3 * i + 1), aWord(3 * i + 2), 0);
            anAdd(aFromPlanes, aSwapped(i), aSwapped(n + i), aSwapped(2 * n + i), 0x8000);
        }
        const Bytes aPixels(aNoise.data(), aNoise.data() + 3 * n);
        const Bytes aGroups(aNoise.data(), aNoise.data() + 4 * n);
        Expect("pixels", aPixels, PlainYBRToRGB(aPixels),
               [n](auto* in, auto* out) { ColourKernels::ConvertYBRFull(in, out, n, 0); });
        Expect("planes", aPixels, PlainYBRToRGB(aMix),
               [n](auto* in, auto* out)
               { ColourKernels::ConvertYBRFullPlanes(in, in + n, in + 2 * n, out, n, 0); });
        Expect("words", aNoise, aFromWords,
               [n](auto* in, auto* out) { ColourKernels::ConvertYBRFullWords(in, out, n, {}); });
        Expect("planes of swapped, signed words", aNoise, aFromPlanes,
               [n](auto* in, auto* out) {
                   ColourKernels::ConvertYBRFullWords(in, out, n, {true, 0x8000, 1, n});
               });
        Expect("4:2:2", aGroups, PlainYBRToRGB(Unpack422(aGroups)),
               [n](auto* in, auto* out) { ColourKernels::ConvertYBRFull422(in, out, n, 0); });
        Expect("interleaved", aPixels, aMix,
               [n](auto* in, auto* out) { ColourKernels::InterleavePlanes(in, in + n, in + 2 * n, out, n); });
        Expect("clamped words", aNoise, aClamped,
               [n](auto* in, auto* out) {
                   ColourKernels::ReduceWords(in, out, 3 * n, {false, false, 4, 255, 0});
               });
        Expect("masked words", aNoise, aMasked,
               [n](auto* in, auto* out) {
                   ColourKernels::ReduceWords(in, out, 3 * n, {true, true, 1, 31, 3});
               });
    };
    ForEachTarget(
        [&]
        {
            for (std::size_t n = 0; n < 140; ++n)
            {
                checkLength(n);
            }
        });
}
