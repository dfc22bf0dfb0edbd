// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"
#include "decoding/FakeDecoder.h"
#include "support/ForEachTarget.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;
using Kind = JPEG2000LineKind;

constexpr Kind kShorts = Kind::SHORTS;
constexpr Kind kFixed = Kind::FIXED_POINT;
constexpr Kind kInts = Kind::INTS;
constexpr Kind kFloats = Kind::FLOATS;
constexpr Kind kKinds[] = {kShorts, kFixed, kInts, kFloats};

struct Output
{
    int itsBits;
    bool itsSigned;
    int itsBytes;
    int itsStride = 1;
};

struct Line
{
    Kind itsKind;
    std::vector<kdu_sample16> its16 = {};
    std::vector<kdu_sample32> its32 = {};

    const void* At(std::size_t theIndex) const
    {
        const bool isWide = itsKind == Kind::INTS || itsKind == Kind::FLOATS;
        return isWide ? static_cast<const void*>(&its32[theIndex]) : &its16[theIndex];
    }

    void Convert(void* theDestination, int theCount, const Output& theOutput) const
    {
        const auto aCall = [&](auto* theConverter, const auto& theSamples)
        {
            theConverter(theSamples.data(), theDestination, theCount, theOutput.itsBits, theOutput.itsSigned,
                         theOutput.itsBytes, theOutput.itsStride);
        };
        switch (itsKind)
        {
        case Kind::SHORTS:
            return aCall(&JPEG2000Decoder::ConvertShortsToOutputSamples, its16);
        case Kind::FIXED_POINT:
            return aCall(&JPEG2000Decoder::ConvertFixedPointToOutputSamples, its16);
        case Kind::INTS:
            return aCall(&JPEG2000Decoder::ConvertIntsToOutputSamples, its32);
        case Kind::FLOATS:
            return aCall(&JPEG2000Decoder::ConvertFloatsToOutputSamples, its32);
        }
    }
};

constexpr std::uint8_t kUntouched = 0xc3;

/// One byte off, so that nothing relies on alignment; exactly as long as what is to be written.
Bytes Converted(const Line& theLine, std::size_t theCount, const Output& theOutput)
{
    const std::size_t aLast =
        theCount == 0 ? 0 : (theCount - 1) * static_cast<std::size_t>(theOutput.itsStride) + 1;
    Bytes aBytes(1 + aLast * static_cast<std::size_t>(theOutput.itsBytes), kUntouched);
    theLine.Convert(aBytes.data() + 1, static_cast<int>(theCount), theOutput);
    return aBytes;
}

/// The same by the loop for strided samples, which has no vectors; the ends below hold it to the rules.
Bytes PlainlyConverted(const Line& theLine, std::size_t theCount, const Output& theOutput)
{
    const Bytes aStrided =
        Converted(theLine, theCount, {theOutput.itsBits, theOutput.itsSigned, theOutput.itsBytes, 5});
    const auto aBytes = static_cast<std::size_t>(theOutput.itsBytes);
    const auto aStride = static_cast<std::size_t>(theOutput.itsStride);
    Bytes aPlain(theCount == 0 ? 1 : 1 + ((theCount - 1) * aStride + 1) * aBytes, kUntouched);
    for (std::size_t i = 0; i < theCount; ++i)
    {
        std::memcpy(&aPlain[1 + i * aBytes * aStride], &aStrided[1 + i * aBytes * 5], aBytes);
    }
    return aPlain;
}

/// All short values, or as many others with every kind of hostile number among them.
Line MakeLine(Kind theKind)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
    const float aNaN = std::nanf("");
    const float anEnd = std::nextafter(0.5F, 0.0F);
    const float kHostileFloats[] = {-0.5F,       0.5F,       0.0F,    -0.0F,    kInfinity, -kInfinity,
                                    aNaN,        -aNaN,      3.0e38F, -3.0e38F, 1.0e-45F,  -1.0e-45F,
                                    0.49609375F, 0.4960937F, -anEnd,  anEnd};
    const std::int32_t kHostileInts[] = {kLowest, -1 - kLowest, kLowest + 1, -32769, -32768, 32767, 32768, 0};
    Line aLine{theKind};
    std::mt19937 aRandom(7);
    for (int i = 0; i < 65536; ++i)
    {
        kdu_sample32 aSample;
        aLine.its16.push_back({static_cast<std::int16_t>(i - 32768)});
        const auto anIndex = static_cast<std::size_t>(i / 61);
        if (theKind == Kind::FLOATS)
        {
            const float aValue = static_cast<float>(static_cast<std::int32_t>(aRandom())) / 4.0e9F;
            aSample.fval = i % 61 == 0 ? kHostileFloats[anIndex % std::size(kHostileFloats)] : aValue;
        }
        else
        {
            aSample.ival =
                i % 61 == 0 ? kHostileInts[anIndex % std::size(kHostileInts)] : i - 32768 + i % 7 * 4096;
        }
        aLine.its32.push_back(aSample);
    }
    return aLine;
}

/// A kind of samples and one of them, how it is put out, and as what.
using EndCase = std::tuple<Kind, double, Output, int>;

// The ends of the range and beyond, half-way places, signs masked to the bits stored, and what is no number.
const EndCase kEndCases[] = {
    {kShorts, -2048, {12, false, 2}, 0},        {kShorts, 2047, {12, false, 2}, 4095},
    {kShorts, 32767, {12, false, 2}, 4095},     {kShorts, -1, {12, true, 2}, 0x0fff},
    {kShorts, -3000, {12, true, 2}, 0x0800},    {kShorts, -1, {5, true, 1}, 0x1f},
    {kShorts, -32768, {16, true, 2}, 0x8000},   {kShorts, -32768, {16, false, 2}, 0},
    {kShorts, -129, {8, true, 1}, 0x80},        {kShorts, 0, {1, false, 1}, 1},
    {kInts, -2147483648.0, {16, false, 2}, 0},  {kInts, 2147483647.0, {16, true, 2}, 0x7fff},
    {kFixed, -4096, {8, false, 1}, 0},          {kFixed, 4095, {8, false, 1}, 255},
    {kFixed, 16, {8, false, 1}, 129},           {kFixed, 15, {8, false, 1}, 128},
    {kFixed, 4095, {13, false, 2}, 8191},       {kFixed, -32, {8, true, 2}, 0xff},
    {kFixed, -32768, {8, true, 1}, 0x80},       {kFloats, -0.5, {12, false, 2}, 0},
    {kFloats, 0.0, {12, false, 2}, 2048},       {kFloats, 0.49999, {12, false, 2}, 4095},
    {kFloats, 1.0e30, {16, false, 2}, 65535},   {kFloats, -0.25, {8, true, 1}, 0xc0},
    {kFloats, -1.2 / 256, {8, true, 1}, 0xff},  {kFloats, -1.0 / 4096, {12, true, 2}, 0x0fff},
    {kFloats, std::nan(""), {12, false, 2}, 0}, {kFloats, std::nan(""), {8, true, 1}, 0x80}};

TEST(JPEG2000Converters, GiveTheirEndsTheCodesOfTheRules)
{
    for (const auto& [aKind, aSource, anOutput, anExpected] : kEndCases)
    {
        kdu_sample32 aSample;
        aSample.ival = static_cast<std::int32_t>(std::isfinite(aSource) ? aSource : 0);
        Line aLine{aKind, {{static_cast<std::int16_t>(aSample.ival)}}, {}};
        if (aKind == Kind::FLOATS)
        {
            aSample.fval = static_cast<float>(aSource);
        }
        aLine.its32.push_back(aSample);
        std::uint16_t aCode = 0;
        const Bytes aBytes = Converted(aLine, 1, anOutput);
        std::memcpy(&aCode, aBytes.data() + 1, static_cast<std::size_t>(anOutput.itsBytes));
        EXPECT_EQ(aCode, anExpected) << static_cast<int>(aKind) << ": " << aSource << ", " << anOutput.itsBits
                                     << " bits";
    }
}

void ExpectPlainlyConverted(const Line& theLine, std::size_t theCount, const Output& theOutput)
{
    const Bytes anExpected = PlainlyConverted(theLine, theCount, theOutput);
    ForEachTarget(
        [&]
        {
            ASSERT_EQ(Converted(theLine, theCount, theOutput), anExpected)
                << static_cast<int>(theLine.itsKind) << ", " << theCount << " samples of "
                << theOutput.itsBits << " bits";
        });
}

TEST(JPEG2000Converters, GiveTheSameBitsOnEveryInstructionSet)
{
    for (const Kind aKind : kKinds)
    {
        const Line aLine = MakeLine(aKind);
        for (int aBits = 1; aBits <= (aKind == Kind::FIXED_POINT ? 13 : 16); ++aBits)
        {
            for (const bool isSigned : {false, true})
            {
                ExpectPlainlyConverted(aLine, 65536, {aBits, isSigned, 2});
                ExpectPlainlyConverted(aLine, aBits > 8 ? 0 : 65536, {std::min(aBits, 8), isSigned, 1});
            }
        }
        for (const Output& anOutput : {Output{8, false, 1}, Output{7, true, 2}, Output{8, false, 1, 3},
                                       Output{12, true, 2, 3}, Output{6, true, 1, 4}})
        {
            for (std::size_t aCount = 0; aCount < 140; ++aCount)
            {
                ExpectPlainlyConverted(aLine, aCount, anOutput);
            }
        }
    }
}

TEST(JPEG2000Converters, TripletsAreThreeSingleLines)
{
    for (const Kind aKind : kKinds)
    {
        const Line aLine = MakeLine(aKind);
        const void* const aLines[] = {aLine.At(0), aLine.At(1000), aLine.At(40000)};
        for (const std::size_t aCount : {0U, 1U, 15U, 64U, 131U, 20000U})
        {
            for (const bool isSigned : {false, true})
            {
                Bytes anExpected(3 * aCount);
                for (std::size_t c = 0; c < 3; ++c)
                {
                    JPEG2000SampleKernels::ToStrided(aKind, aLines[c], anExpected.data() + c, aCount, 8,
                                                     isSigned, 1, 3);
                }
                ForEachTarget(
                    [&]
                    {
                        Bytes aTriplets(3 * aCount);
                        JPEG2000SampleKernels::ToTriplets(aKind, aLines, aTriplets.data(), aCount, 8,
                                                          isSigned);
                        ASSERT_EQ(aTriplets, anExpected) << static_cast<int>(aKind) << " " << aCount;
                    });
            }
        }
    }
}

TEST(JPEG2000Converters, RefuseWhatDoesNotFitInOrder)
{
    constexpr int kLargest = std::numeric_limits<int>::max();
    const std::string aDepth = ": theBitsStoredPerOutputSample > (8 * theBytesPerOutputSample)";
    const std::string aWidth = ": theBytesPerOutputSample > 2";
    constexpr const char* kNames[] = {"Shorts", "FixedPoint", "Ints", "Floats"};
    for (const Kind aKind : kKinds)
    {
        const Line aLine{aKind, {{0}}, {kdu_sample32{}}};
        const bool isFixed = aKind == Kind::FIXED_POINT;
        const std::string aDeep = isFixed ? ": theBitsStoredPerOutputSample > KDU_FIXED_POINT (13)" : aDepth;
        const std::tuple<int, int, std::string> kCases[] = {{9, 1, aDepth},
                                                            {17, 2, aDeep},
                                                            {14, 1, aDeep},
                                                            {8, 3, aWidth},
                                                            {8, 0, aDepth},
                                                            {8, -5, aDepth},
                                                            {0, 0, aWidth},
                                                            {0, 1, ": theBitsStoredPerOutputSample < 1"},
                                                            {kLargest, kLargest, isFixed ? aDeep : aWidth}};
        for (const auto& [aBits, aBytes, aText] : kCases)
        {
            std::uint16_t aSample = 0xabcd;
            const Output anOutput{aBits, true, aBytes};
            ExpectStreamIOException([&] { aLine.Convert(&aSample, 1, anOutput); },
                                    "JPEG2000Decoder::Convert" +
                                        std::string(kNames[static_cast<int>(aKind)]) + "ToOutputSamples" +
                                        aText,
                                    62);
            EXPECT_EQ(aSample, 0xabcd);
        }
    }
}
} // namespace
