// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/ColourKernels.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <vector>

#include "support/ForEachTarget.h"

// Every instruction set that this machine can run must give the bits of the plain formula: all inputs
// there are, and all lengths around the sizes of vectors, on buffers that end exactly where they end.

namespace
{
using Bytes = std::vector<std::uint8_t>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kLuminanceStep = 15; // 0 and 255 are still among them
#else
constexpr int kLuminanceStep = 1;
#endif

std::uint8_t Clamp(float theValue)
{
    const int aValue = static_cast<int>(theValue);
    return static_cast<std::uint8_t>(aValue < 0 ? 0 : aValue > 255 ? 255 : aValue);
}

void ConvertPlainly(const std::uint8_t* theYCbCr, std::uint8_t* theRGB)
{
    const auto aY = static_cast<float>(theYCbCr[0]);
    const auto aCb = static_cast<float>(theYCbCr[1] - 128);
    const auto aCr = static_cast<float>(theYCbCr[2] - 128);
    theRGB[0] = Clamp(aY + 1.402f * aCr);
    theRGB[1] = Clamp(aY - 0.344136f * aCb - 0.714136f * aCr);
    theRGB[2] = Clamp(aY + 1.772f * aCb);
}

/// All 65536 chrominance pairs with one luminance value.
struct AllChroma
{
    explicit AllChroma(int theY)
    {
        for (int i = 0; i < 65536; ++i)
        {
            const std::array<std::uint8_t, 3> aPixel = {static_cast<std::uint8_t>(theY),
                                                        static_cast<std::uint8_t>(i >> 8),
                                                        static_cast<std::uint8_t>(i & 0xff)};
            itsTriplets.insert(itsTriplets.end(), aPixel.begin(), aPixel.end());
            ConvertPlainly(aPixel.data(), itsRGB.data() + 3 * i);
        }
    }

    Bytes itsTriplets;
    Bytes itsRGB = Bytes(3 * 65536);
};

Bytes Flip(Bytes theBytes)
{
    for (std::uint8_t& aByte : theBytes)
    {
        aByte ^= 0x80;
    }
    return theBytes;
}

Bytes MakeNoise(std::size_t theSize)
{
    Bytes aBytes(theSize);
    std::uint32_t aState = 12345;
    for (std::uint8_t& aByte : aBytes)
    {
        aState = aState * 1664525u + 1013904223u;
        aByte = static_cast<std::uint8_t>(aState >> 24);
    }
    return aBytes;
}
} // namespace

TEST(ColourKernels, EveryTripletIsThePlainFormula)
{
    for (int aY = 0; aY < 256; aY += kLuminanceStep)
    {
        const AllChroma anInput(aY);
        const Bytes aFlippedInput = Flip(anInput.itsTriplets);
        const Bytes aFlippedRGB = Flip(anInput.itsRGB);
        ForEachTarget(
            [&]
            {
                Bytes anOutput(3 * 65536);
                ColourKernels::ConvertYBRFull(anInput.itsTriplets.data(), anOutput.data(), 65536, 0);
                ASSERT_TRUE(anOutput == anInput.itsRGB) << "Y = " << aY;
                ColourKernels::ConvertYBRFull(aFlippedInput.data(), anOutput.data(), 65536, 0x80);
                ASSERT_TRUE(anOutput == aFlippedRGB) << "signed, Y = " << aY;
            });
    }
}

TEST(ColourKernels, Every422GroupIsThePlainFormula)
{
    for (int aY = 0; aY < 128; aY += kLuminanceStep)
    {
        const AllChroma aFirst(aY);
        const AllChroma aSecond(255 - aY);
        Bytes anInput;
        Bytes anExpected;
        for (std::size_t i = 0; i < 3 * 65536; i += 3)
        {
            anInput.insert(anInput.end(), {aFirst.itsTriplets[i], aSecond.itsTriplets[i],
                                           aFirst.itsTriplets[i + 1], aFirst.itsTriplets[i + 2]});
            anExpected.insert(anExpected.end(), &aFirst.itsRGB[i], &aFirst.itsRGB[i] + 3);
            anExpected.insert(anExpected.end(), &aSecond.itsRGB[i], &aSecond.itsRGB[i] + 3);
        }
        ForEachTarget(
            [&]
            {
                Bytes anOutput(6 * 65536);
                ColourKernels::ConvertYBRFull422(anInput.data(), anOutput.data(), 65536, 0);
                ASSERT_TRUE(anOutput == anExpected) << "Y = " << aY;
            });
    }
}

// Vectors and the plain loops behind them share the work at every length; an overrun of either end is
// seen by the address sanitizer, a byte written too many by the mark behind the output.
TEST(ColourKernels, EveryLengthIsConvertedAndNothingBehindIt)
{
    const auto check = [](std::size_t thePixels, std::size_t theInputSize, const Bytes& theExpected,
                          const std::function<void(const std::uint8_t*, std::uint8_t*)>& theKernel)
    {
        const Bytes anInput = MakeNoise(theInputSize);
        Bytes anOutput(theExpected.size() + 1, 0xa5);
        theKernel(anInput.data(), anOutput.data());
        EXPECT_EQ(anOutput.back(), 0xa5) << thePixels;
        anOutput.pop_back();
        EXPECT_EQ(anOutput, theExpected) << thePixels;
    };
    const auto checkLength = [&](std::size_t n)
    {
        const Bytes aNoise = MakeNoise(6 * n);
        Bytes aTriplets(3 * n), aPlanes(3 * n), aGroups(6 * n), aMix(3 * n), aLow(3 * n), aHigh(3 * n);
        for (std::size_t i = 0; i < n; ++i)
        {
            const std::uint8_t aPixel[3] = {aNoise[i], aNoise[n + i], aNoise[2 * n + i]};
            ConvertPlainly(&aNoise[3 * i], &aTriplets[3 * i]);
            ConvertPlainly(aPixel, &aPlanes[3 * i]);
            std::copy(aPixel, aPixel + 3, &aMix[3 * i]);
            for (std::size_t j = 0; j < 2; ++j)
            {
                const std::uint8_t aShared[3] = {aNoise[4 * i + j], aNoise[4 * i + 2], aNoise[4 * i + 3]};
                ConvertPlainly(aShared, &aGroups[6 * i + 3 * j]);
            }
        }
        for (std::size_t i = 0; i < 3 * n; ++i)
        {
            aLow[i] = aNoise[2 * i];
            aHigh[i] = aNoise[2 * i + 1];
        }
        check(n, 3 * n, aTriplets,
              [n](auto* in, auto* out) { ColourKernels::ConvertYBRFull(in, out, n, 0); });
        check(n, 3 * n, aPlanes,
              [n](auto* in, auto* out)
              { ColourKernels::ConvertYBRFullPlanes(in, in + n, in + 2 * n, out, n, 0); });
        check(n, 4 * n, aGroups,
              [n](auto* in, auto* out) { ColourKernels::ConvertYBRFull422(in, out, n, 0); });
        check(n, 3 * n, aMix,
              [n](auto* in, auto* out) { ColourKernels::InterleavePlanes(in, in + n, in + 2 * n, out, n); });
        check(n, 6 * n, aLow, [n](auto* in, auto* out) { ColourKernels::KeepHalves(in, out, 3 * n, false); });
        check(n, 6 * n, aHigh, [n](auto* in, auto* out) { ColourKernels::KeepHalves(in, out, 3 * n, true); });
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
