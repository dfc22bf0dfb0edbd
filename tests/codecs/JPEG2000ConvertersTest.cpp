// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"
#include "support/ForEachTarget.h"
#include "toolkit/base/StreamIOException.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;
using Kind = JPEG2000LineKind;

struct Output
{
    int itsBits;
    bool itsSigned;
    int itsBytes;
    int itsStride = 1;
};

/// What one sample must become, straight from the rules: clamp, then level or mask.
int PlainInteger(std::int64_t theValue, const Output& theOutput)
{
    const std::int64_t aHalf = std::int64_t{1} << (theOutput.itsBits - 1);
    const std::int64_t aValue = theValue <= -aHalf ? -aHalf : theValue >= aHalf - 1 ? aHalf - 1 : theValue;
    const std::int64_t aMask = 2 * aHalf - 1;
    return static_cast<int>(theOutput.itsSigned ? aValue & aMask : aValue + aHalf);
}

int PlainFixedPoint(int theValue, const Output& theOutput)
{
    const int aShift = 13 - theOutput.itsBits;
    const int anOffset = ((1 << aShift) + (theOutput.itsSigned ? 0 : 1 << (theOutput.itsBits + aShift))) / 2;
    const int aHigh = 4096 - (1 << aShift);
    const int aMask = (1 << theOutput.itsBits) - 1;
    const int aLowest = theOutput.itsSigned ? 1 << (theOutput.itsBits - 1) : 0;
    const int aCode = theValue <= -4096  ? aLowest
                      : theValue < aHigh ? (theValue + anOffset) >> aShift
                                         : (aHigh + anOffset) >> aShift;
    return aCode & aMask;
}

int PlainFloat(float theValue, const Output& theOutput)
{
    const auto aScale = static_cast<float>(1 << theOutput.itsBits);
    const int aHighest = (1 << theOutput.itsBits) - 1;
    int aCode = 0;
    if (theValue >= 0.5F - 1.0F / aScale)
    {
        aCode = aHighest;
    }
    else if (theValue > -0.5F)
    {
        const float aScaled = theValue * aScale;
        aCode = static_cast<int>(aScaled + (0.5F * aScale + 0.5F));
    }
    return theOutput.itsSigned ? (aCode - (1 << (theOutput.itsBits - 1))) & aHighest : aCode;
}

/// The samples of one line, and the words that they are written as.
struct Line
{
    Kind itsKind;
    std::vector<kdu_sample16> its16 = {};
    std::vector<kdu_sample32> its32 = {};

    bool IsWide() const { return itsKind == Kind::INTS || itsKind == Kind::FLOATS; }
    std::size_t GetSize() const { return IsWide() ? its32.size() : its16.size(); }

    int PlainCode(std::size_t theIndex, const Output& theOutput) const
    {
        switch (itsKind)
        {
        case Kind::SHORTS:
            return PlainInteger(its16[theIndex].ival, theOutput);
        case Kind::FIXED_POINT:
            return PlainFixedPoint(its16[theIndex].ival, theOutput);
        case Kind::INTS:
            return PlainInteger(its32[theIndex].ival, theOutput);
        case Kind::FLOATS:
            return PlainFloat(its32[theIndex].fval, theOutput);
        }
        return -1;
    }

    void Convert(void* theDestination, int theCount, const Output& theOutput) const
    {
        const auto Call = [&](auto* theConverter, const auto& theSamples)
        {
            theConverter(theSamples.data(), theDestination, theCount, theOutput.itsBits, theOutput.itsSigned,
                         theOutput.itsBytes, theOutput.itsStride);
        };
        switch (itsKind)
        {
        case Kind::SHORTS:
            return Call(&JPEG2000Decoder::ConvertShortsToOutputSamples, its16);
        case Kind::FIXED_POINT:
            return Call(&JPEG2000Decoder::ConvertFixedPointToOutputSamples, its16);
        case Kind::INTS:
            return Call(&JPEG2000Decoder::ConvertIntsToOutputSamples, its32);
        case Kind::FLOATS:
            return Call(&JPEG2000Decoder::ConvertFloatsToOutputSamples, its32);
        }
    }
};

constexpr std::uint8_t kUntouched = 0xc3;

/// One byte off, so that nothing relies on alignment; exactly as long as what is to be written.
Bytes ConvertedBytes(const Line& theLine, std::size_t theCount, const Output& theOutput)
{
    const std::size_t aLast =
        theCount == 0 ? 0 : (theCount - 1) * static_cast<std::size_t>(theOutput.itsStride) + 1;
    Bytes aBytes(1 + aLast * static_cast<std::size_t>(theOutput.itsBytes), kUntouched);
    theLine.Convert(aBytes.data() + 1, static_cast<int>(theCount), theOutput);
    return aBytes;
}

Bytes PlainBytes(const Line& theLine, std::size_t theCount, const Output& theOutput)
{
    const std::size_t aLast =
        theCount == 0 ? 0 : (theCount - 1) * static_cast<std::size_t>(theOutput.itsStride) + 1;
    Bytes aBytes(1 + aLast * static_cast<std::size_t>(theOutput.itsBytes), kUntouched);
    for (std::size_t i = 0; i < theCount; ++i)
    {
        const auto aCode = static_cast<std::uint16_t>(theLine.PlainCode(i, theOutput));
        const auto aByte = static_cast<std::uint8_t>(aCode);
        const auto aBytesPerSample = static_cast<std::size_t>(theOutput.itsBytes);
        std::uint8_t* const aSample =
            aBytes.data() + 1 + i * aBytesPerSample * static_cast<std::size_t>(theOutput.itsStride);
        std::memcpy(aSample, theOutput.itsBytes == 1 ? static_cast<const void*>(&aByte) : &aCode,
                    aBytesPerSample);
    }
    return aBytes;
}

/// All short values, or as many others with every kind of hostile number among them.
Line MakeLine(Kind theKind)
{
    Line aLine{theKind};
    std::mt19937 aRandom(7);
    for (int i = 0; i < 65536; ++i)
    {
        kdu_sample32 aSample;
        aLine.its16.push_back({static_cast<std::int16_t>(i - 32768)});
        if (theKind == Kind::FLOATS)
        {
            aSample.fval = static_cast<float>(static_cast<std::int32_t>(aRandom())) / 4.0e9F *
                           (i % 64 == 0 ? 9.0F : 1.0F);
        }
        else
        {
            aSample.ival = i % 64 == 0 ? static_cast<std::int32_t>(aRandom()) : i - 32768 + i % 7 * 4096;
        }
        aLine.its32.push_back(aSample);
    }
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
    const float kFloats[] = {-0.5F,
                             0.5F,
                             0.0F,
                             -0.0F,
                             std::nextafter(-0.5F, 0.0F),
                             std::nextafter(0.5F, 0.0F),
                             kInfinity,
                             -kInfinity,
                             std::nanf(""),
                             -std::nanf(""),
                             3.0e38F,
                             -3.0e38F,
                             1.0e-45F,
                             -1.0e-45F,
                             0.49609375F,
                             0.4960937F};
    const std::int32_t kInts[] = {kLowest, -1 - kLowest, kLowest + 1, -32769, -32768, 32767, 32768, 0};
    for (std::size_t i = 0; i < 1024; ++i)
    {
        if (theKind == Kind::FLOATS)
        {
            aLine.its32[i * 61].fval = kFloats[i % std::size(kFloats)];
        }
        else
        {
            aLine.its32[i * 61].ival = kInts[i % std::size(kInts)];
        }
    }
    return aLine;
}

constexpr Kind kKinds[] = {Kind::SHORTS, Kind::FIXED_POINT, Kind::INTS, Kind::FLOATS};

struct EndCase
{
    const char* itsName;
    Kind itsKind;
    double itsSource;
    Output itsOutput;
    int itsCode;
};

const EndCase kEndCases[] = {{"ShortsLowestUnsigned", Kind::SHORTS, -2048, {12, false, 2}, 0},
                             {"ShortsHighestUnsigned", Kind::SHORTS, 2047, {12, false, 2}, 4095},
                             {"ShortsBeyondUnsigned", Kind::SHORTS, 32767, {12, false, 2}, 4095},
                             {"ShortsSignedMasked", Kind::SHORTS, -1, {12, true, 2}, 0x0fff},
                             {"ShortsSignedMaskedLowest", Kind::SHORTS, -3000, {12, true, 2}, 0x0800},
                             {"ShortsSignedByteMasked", Kind::SHORTS, -1, {5, true, 1}, 0x1f},
                             {"ShortsSignedFullWord", Kind::SHORTS, -32768, {16, true, 2}, 0x8000},
                             {"ShortsFullWordUnsigned", Kind::SHORTS, -32768, {16, false, 2}, 0},
                             {"ShortsSignedFullByte", Kind::SHORTS, -129, {8, true, 1}, 0x80},
                             {"ShortsOneBit", Kind::SHORTS, 0, {1, false, 1}, 1},
                             {"IntsFarBelow", Kind::INTS, -2147483648.0, {16, false, 2}, 0},
                             {"IntsFarAboveSigned", Kind::INTS, 2147483647.0, {16, true, 2}, 0x7fff},
                             {"FixedPointLowest", Kind::FIXED_POINT, -4096, {8, false, 1}, 0},
                             {"FixedPointHighest", Kind::FIXED_POINT, 4095, {8, false, 1}, 255},
                             {"FixedPointHalfWay", Kind::FIXED_POINT, 16, {8, false, 1}, 129},
                             {"FixedPointBelowHalfWay", Kind::FIXED_POINT, 15, {8, false, 1}, 128},
                             {"FixedPointNoShift", Kind::FIXED_POINT, 4095, {13, false, 2}, 8191},
                             {"FixedPointSignedMasked", Kind::FIXED_POINT, -32, {8, true, 2}, 0xff},
                             {"FixedPointSignedLowest", Kind::FIXED_POINT, -32768, {8, true, 1}, 0x80},
                             {"FloatsLowest", Kind::FLOATS, -0.5, {12, false, 2}, 0},
                             {"FloatsMiddle", Kind::FLOATS, 0.0, {12, false, 2}, 2048},
                             {"FloatsHighest", Kind::FLOATS, 0.49999, {12, false, 2}, 4095},
                             {"FloatsBeyond", Kind::FLOATS, 1.0e30, {16, false, 2}, 65535},
                             {"FloatsExactNegative", Kind::FLOATS, -0.25, {8, true, 1}, 0xc0},
                             {"FloatsSignedRounded", Kind::FLOATS, -1.2 / 256, {8, true, 1}, 0xff},
                             {"FloatsSignedMasked", Kind::FLOATS, -1.0 / 4096, {12, true, 2}, 0x0fff},
                             {"FloatsNoNumber", Kind::FLOATS, std::nan(""), {12, false, 2}, 0},
                             {"FloatsNoNumberSigned", Kind::FLOATS, std::nan(""), {8, true, 1}, 0x80}};

TEST(JPEG2000Converters, GiveTheirEndsTheCodesOfTheRules)
{
    for (const EndCase& aCase : kEndCases)
    {
        kdu_sample32 aSample;
        aSample.ival = 0;
        Line aLine{aCase.itsKind, {{0}}, {}};
        if (aCase.itsKind == Kind::FLOATS)
        {
            aSample.fval = static_cast<float>(aCase.itsSource);
        }
        else
        {
            aSample.ival = static_cast<std::int32_t>(aCase.itsSource);
            aLine.its16[0].ival = static_cast<std::int16_t>(aSample.ival);
        }
        aLine.its32.push_back(aSample);
        std::uint16_t aCode = 0;
        const Bytes aBytes = ConvertedBytes(aLine, 1, aCase.itsOutput);
        std::memcpy(&aCode, aBytes.data() + 1, static_cast<std::size_t>(aCase.itsOutput.itsBytes));
        EXPECT_EQ(aCode, aCase.itsCode) << aCase.itsName;
    }
}

TEST(JPEG2000Converters, GiveTheBitsOfTheRulesOnEveryInstructionSet)
{
    for (const Kind aKind : kKinds)
    {
        const Line aLine = MakeLine(aKind);
        for (int aBits = 1; aBits <= (aKind == Kind::FIXED_POINT ? 13 : 16); ++aBits)
        {
            for (const int aBytes : {1, 2})
            {
                for (const bool isSigned : {false, true})
                {
                    const Output anOutput{aBits, isSigned, aBytes};
                    if (aBits > 8 * aBytes)
                    {
                        continue;
                    }
                    const Bytes anExpected = PlainBytes(aLine, aLine.GetSize(), anOutput);
                    ForEachTarget(
                        [&]
                        {
                            ASSERT_EQ(ConvertedBytes(aLine, aLine.GetSize(), anOutput), anExpected)
                                << static_cast<int>(aKind) << " " << aBits << " " << aBytes << " "
                                << isSigned;
                        });
                }
            }
        }
    }
}

TEST(JPEG2000Converters, WriteTheirOwnSamplesOnly)
{
    for (const Kind aKind : kKinds)
    {
        const Line aLine = MakeLine(aKind);
        for (const Output& anOutput : {Output{8, false, 1}, Output{7, true, 2}, Output{8, false, 1, 3},
                                       Output{12, true, 2, 3}, Output{6, true, 1, 4}})
        {
            for (std::size_t aCount = 0; aCount < 140; ++aCount)
            {
                ForEachTarget(
                    [&]
                    {
                        ASSERT_EQ(ConvertedBytes(aLine, aCount, anOutput),
                                  PlainBytes(aLine, aCount, anOutput))
                            << static_cast<int>(aKind) << " " << aCount;
                    });
            }
        }
    }
}

TEST(JPEG2000Converters, TripletsAreThreeSingleLines)
{
    for (const Kind aKind : kKinds)
    {
        const Line aLine = MakeLine(aKind);
        const std::size_t aSampleSize = aLine.IsWide() ? sizeof(kdu_sample32) : sizeof(kdu_sample16);
        const auto* const aSamples =
            aLine.IsWide() ? static_cast<const void*>(aLine.its32.data()) : aLine.its16.data();
        const auto* const aBytes = static_cast<const std::uint8_t*>(aSamples);
        const void* const aLines[] = {aBytes, aBytes + 1000 * aSampleSize, aBytes + 40000 * aSampleSize};
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
    struct Refusal
    {
        int itsBits;
        int itsBytes;
        const char* itsText;
    };
    constexpr const char* kDepth = ": theBitsStoredPerOutputSample > (8 * theBytesPerOutputSample)";
    constexpr const char* kWidth = ": theBytesPerOutputSample > 2";
    constexpr const char* kNames[] = {"Shorts", "FixedPoint", "Ints", "Floats"};
    for (const Kind aKind : kKinds)
    {
        const Line aLine{aKind, {{0}}, {kdu_sample32{}}};
        const bool isFixed = aKind == Kind::FIXED_POINT;
        const char* const aDeep = isFixed ? ": theBitsStoredPerOutputSample > KDU_FIXED_POINT (13)" : kDepth;
        for (const Refusal& aRefusal :
             {Refusal{9, 1, kDepth}, Refusal{17, 2, aDeep}, Refusal{14, 1, aDeep}, Refusal{8, 3, kWidth},
              Refusal{8, 0, kDepth}, Refusal{8, -5, kDepth}, Refusal{0, 0, kWidth},
              Refusal{0, 1, ": theBitsStoredPerOutputSample < 1"},
              Refusal{std::numeric_limits<int>::max(), std::numeric_limits<int>::max(),
                      isFixed ? aDeep : kWidth}})
        {
            std::uint16_t aSample = 0xabcd;
            try
            {
                aLine.Convert(&aSample, 1, {aRefusal.itsBits, true, aRefusal.itsBytes});
                FAIL() << aRefusal.itsBits << " in " << aRefusal.itsBytes;
            }
            catch (const StreamIOException& anException)
            {
                EXPECT_EQ(anException.GetMessageText(), RWCString("JPEG2000Decoder::Convert") +
                                                            kNames[static_cast<int>(aKind)] +
                                                            "ToOutputSamples" + aRefusal.itsText);
                EXPECT_EQ(anException.GetResultCode(), 62);
                EXPECT_EQ(aSample, 0xabcd);
            }
        }
    }
}
} // namespace
