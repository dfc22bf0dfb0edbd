// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "codecs/jpeg/detail/JPEGLosslessScan.h"

namespace
{

using Bytes = std::vector<std::uint8_t>;

/// Delivers bytes for ever, a few at a time; what comes after a marker is the next interval.
class EndlessSource final : public JPEGLosslessSource
{
public:
    explicit EndlessSource(unsigned int theSeed) : itsRandom(theSeed) {}

    Bytes Peek() override
    {
        if (itsBytes.empty())
        {
            itsBytes.resize(1 + itsRandom() % 40);
            for (std::uint8_t& aByte : itsBytes)
            {
                const auto aValue = static_cast<std::uint8_t>(itsRandom());
                aByte = itsRandom() % 8 == 0 ? (itsRandom() % 2 == 0 ? 0xff : 0) : aValue;
            }
        }
        return {itsBytes.data(), itsBytes.size()};
    }
    void Advance(std::size_t theCount) override
    {
        itsBytes.erase(itsBytes.begin(), itsBytes.begin() + static_cast<std::ptrdiff_t>(theCount));
    }
    int GetMarker() const override { return itsMarker; }
    void SetMarker(int theMarker) override { itsMarker = theMarker; }
    void Restart(std::size_t) override { itsMarker = itsRandom() % 4 == 0 ? itsMarker : 0; }
    void WarnOfBadCode() override { ++itsBadCodes; }
    void WarnOfMissingData() override { ++itsMissing; }

    int itsBadCodes = 0;
    int itsMissing = 0;

private:
    std::mt19937 itsRandom;
    std::vector<std::uint8_t> itsBytes;
    int itsMarker = 0;
};

// The library refuses such tables; the decoder must not depend on that.
TEST(JPEGLosslessScan, SurvivesAnyTableAndAnyData)
{
    int aBadCodes = 0;
    int aMissing = 0;
    for (unsigned int aRound = 0; aRound < 600; ++aRound)
    {
        std::mt19937 aRandom(aRound);
        JPEGLosslessScan::Parameters aScan;
        aScan.itsWidth = 1 + aRandom() % 300;
        aScan.itsHeight = 1 + aRandom() % 12;
        aScan.itsPrecision = 2 + static_cast<int>(aRandom() % 15);
        aScan.itsPredictor = 1 + static_cast<int>(aRandom() % 7);
        aScan.itsPointTransform = static_cast<int>(aRandom() % 16);
        aScan.itsRestartRows = aRandom() % 4;
        aScan.itsImageComponents = 1 + aRandom() % 4;
        aScan.itsComponents = 1 + aRandom() % aScan.itsImageComponents;
        aScan.itsSampleBytes = 1 + aRandom() % 2;
        for (std::size_t c = 0; c < aScan.itsComponents; ++c)
        {
            std::array<std::uint8_t, 17> aCounts{};
            std::array<std::uint8_t, 256> aCategories{};
            std::generate(aCounts.begin(), aCounts.end(), [&]() { return aRandom() % 3; });
            aCounts[1 + aRandom() % 16] = static_cast<std::uint8_t>(aRandom() % 256);
            const unsigned int aLargest = aRandom() % 2 == 0 ? 17 : 256;
            std::generate(aCategories.begin(), aCategories.end(), [&]() { return aRandom() % aLargest; });
            aScan.itsTables[c] = std::make_shared<JPEGLosslessTable>(
                aCounts, aCategories, JPEGLosslessTable::ChooseLookBits(aRound % 2 == 0 ? 1 : 1u << 20));
            aScan.itsPlaces[c] = aScan.itsImageComponents - 1 - c;
        }
        // Exactly as large as it has to be, for the memory checker.
        std::vector<std::uint16_t> anImage(
            (aScan.itsWidth * aScan.itsHeight * aScan.itsImageComponents * aScan.itsSampleBytes + 1) / 2);
        aScan.itsImage = reinterpret_cast<std::uint8_t*>(anImage.data());
        EndlessSource aSource(aRound);
        JPEGLosslessScan(aScan, aSource).Decode();
        aBadCodes += aSource.itsBadCodes != 0 ? 1 : 0;
        aMissing += aSource.itsMissing != 0 ? 1 : 0;
    }
    EXPECT_GT(aBadCodes, 50);
    EXPECT_GT(aMissing, 50);
}

// Where the data end in the middle, the row is filled up as if with zero bits and those that follow are
// grey, until the next restart marker.
TEST(JPEGLosslessScan, MissingDataEndWithTheInterval)
{
    class MarkerSource final : public JPEGLosslessSource
    {
    public:
        Bytes Peek() override { return {itsBytes.data() + itsPlace, itsBytes.size() - itsPlace}; }
        void Advance(std::size_t theCount) override { itsPlace += theCount; }
        int GetMarker() const override { return itsMarker; }
        void SetMarker(int theMarker) override { itsMarker = theMarker; }
        void Restart(std::size_t) override { itsMarker = 0; }
        void WarnOfBadCode() override {}
        void WarnOfMissingData() override { ++itsWarnings; }
        int itsWarnings = 0;
        int itsMarker = 0;

    private:
        // "+1" is 101, "0" is 0: eight bits make the first row and half of the second.
        std::vector<std::uint8_t> itsBytes = {0x80 | 0x20, 0xff, 0xd0, 0x00, 0xff, 0xd9};
        std::size_t itsPlace = 0;
    };
    std::array<std::uint8_t, 17> aCounts{};
    std::array<std::uint8_t, 256> aCategories{};
    aCounts[1] = aCounts[2] = 1;
    aCategories[1] = 1;
    JPEGLosslessScan::Parameters aScan;
    aScan.itsWidth = 4;
    aScan.itsHeight = 4;
    aScan.itsPrecision = 8;
    aScan.itsRestartRows = 3;
    aScan.itsTables[0] =
        std::make_shared<JPEGLosslessTable>(aCounts, aCategories, JPEGLosslessTable::ChooseLookBits(16));
    std::vector<std::uint8_t> anImage(16, 1);
    aScan.itsImage = anImage.data();
    MarkerSource aSource;
    JPEGLosslessScan(aScan, aSource).Decode();
    const std::vector<std::uint8_t> anExpected = {129, 129, 129, 129, 129, 129, 129, 129,
                                                  128, 128, 128, 128, 128, 128, 128, 128};
    EXPECT_EQ(anImage, anExpected);
    EXPECT_EQ(aSource.itsWarnings, 1);
}

} // namespace
