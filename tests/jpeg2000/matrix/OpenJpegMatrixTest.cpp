// SPDX-License-Identifier: Apache-2.0
// Seeded streams with everything an encoder offers, against OpenJPEG's decoder, on every instruction set.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>

#include "support/EngineDecode.h"
#include "support/EngineReports.h"
#include "support/ForEachTarget.h"
#include "support/LongRun.h"
#include "support/jpeg2000/OpenJph.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
constexpr int kStreamsInAGroup = 100;

/// How a stream is to be decoded by both.
struct Decoding
{
    OpenJpeg::DecodeOptions itsPeers;
    EngineOptions itsOurs;
};

Decoding RollDecoding(const RandomStream& theStream, Dice& theDice)
{
    const OpenJpeg::Options& anOptions = theStream.itsOptions;
    Decoding aDecoding;
    if (theDice.Chance(60))
    {
        aDecoding.itsOurs.itsDiscardLevels = theDice.Roll(0, anOptions.itsResolutions - 1);
    }
    if (theDice.Chance(40))
    {
        aDecoding.itsOurs.itsMaxLayers = theDice.Roll(1, static_cast<int>(anOptions.itsRates.size()));
    }
    aDecoding.itsPeers.itsDiscardLevels = static_cast<unsigned int>(aDecoding.itsOurs.itsDiscardLevels);
    aDecoding.itsPeers.itsMaxLayers = static_cast<unsigned int>(aDecoding.itsOurs.itsMaxLayers);
    // A limit on layers or on their bytes cuts segments short, symbols included.
    const bool isWhole = aDecoding.itsOurs.itsMaxLayers == 0 && anOptions.itsRates.back() <= 1;
    aDecoding.itsOurs.itsMode = static_cast<EngineMode>(theDice.Roll(0, isWhole ? 2 : 1));
    aDecoding.itsOurs.itsTakesShorts = theDice.Chance(80);
    aDecoding.itsOurs.itsLargestRead = theDice.Chance(30) ? theDice.Roll(1, 50) : 1 << 20;
    return aDecoding;
}

/// OpenJPEG scales the high-pass samples of the 9/7 transform by a constant of five digits: full swings of
/// deep samples are off by some units, twice as many with every bit.
std::int32_t GetTolerance(const RandomStream& theStream)
{
    int aDepth = 0;
    for (const PlanarComponent& aComponent : theStream.itsImage.itsComponents)
    {
        aDepth = std::max(aDepth, aComponent.itsDepth);
    }
    return theStream.itsOptions.itsIrreversible ? 1 << std::max(aDepth - 14, 0) : 0;
}

/// Nothing where the encoder cannot do it, or where OpenJPEG does not get the image back: a few streams in a
/// hundred.
std::optional<OpenJpeg::Bytes> Encode(const RandomStream& theStream, bool isHighThroughput)
{
    try
    {
        auto aBytes =
            (isHighThroughput ? OpenJph::Encode : OpenJpeg::Encode)(theStream.itsImage, theStream.itsOptions);
        if (theStream.IsLossless())
        {
            const auto anImage = OpenJpeg::Decode(aBytes);
            return anImage && DescribeDifference(*anImage, theStream.itsImage, 0).empty()
                       ? std::optional(std::move(aBytes))
                       : std::nullopt;
        }
        return aBytes;
    }
    catch (const std::runtime_error& anError)
    {
        return std::nullopt;
    }
}

/// What OpenJPH does not offer is taken away.
void RestrictToOpenJph(OpenJpeg::Options& theOptions, Dice& theDice)
{
    theOptions.itsStep = std::ldexp(1.0F, -theDice.Roll(3, 14));
    theOptions.itsBlockStyle = 0;
    theOptions.itsRates = {1};
    theOptions.itsProgressionChanges.clear();
    theOptions.itsRoiShift = 0;
}

/// Somewhere inside the image, from one sample of the reference grid to all of them.
kdu_dims RollRegion(const PlanarImage& theImage, Dice& theDice)
{
    const auto aRoll = [&](std::uint32_t theBegin, std::uint32_t theEnd, int& thePosition, int& theSize)
    {
        const int aLength = static_cast<int>(theEnd - theBegin);
        theSize =
            theDice.Chance(20) ? aLength : theDice.Roll(1, theDice.Chance(50) ? aLength : 1 + aLength / 8);
        thePosition = static_cast<int>(theBegin) + theDice.Roll(0, aLength - theSize);
    };
    kdu_dims aRegion;
    aRoll(theImage.itsX0, theImage.itsX1, aRegion.pos.x, aRegion.size.x);
    aRoll(theImage.itsY0, theImage.itsY1, aRegion.pos.y, aRegion.size.y);
    return aRegion;
}

/// What a region has of a component that was decoded whole: T.800 B-2 and B-15 tell where it lies.
PlanarComponent Cut(const PlanarComponent& theWhole, const PlanarImage& theImage, const kdu_dims& theRegion,
                    int theDiscardLevels)
{
    const auto aPlace = [=](std::uint32_t thePosition, std::uint32_t theSubsampling)
    {
        const std::uint32_t aFull = (thePosition + theSubsampling - 1) / theSubsampling;
        return static_cast<std::ptrdiff_t>((aFull + (1U << theDiscardLevels) - 1) >> theDiscardLevels);
    };
    const auto aColumn = [&](int theX)
    {
        return aPlace(static_cast<std::uint32_t>(theX), theWhole.itsXRsiz) -
               aPlace(theImage.itsX0, theWhole.itsXRsiz);
    };
    const auto aRow = [&](int theY)
    {
        return aPlace(static_cast<std::uint32_t>(theY), theWhole.itsYRsiz) -
               aPlace(theImage.itsY0, theWhole.itsYRsiz);
    };
    const auto [aCorner, aSize] = theRegion;
    const std::ptrdiff_t aLeft = aColumn(aCorner.x), aRight = aColumn(aCorner.x + aSize.x);
    const std::ptrdiff_t aTop = aRow(aCorner.y), aBottom = aRow(aCorner.y + aSize.y);
    PlanarComponent aPart = theWhole;
    aPart.itsWidth = static_cast<std::uint32_t>(aRight - aLeft);
    aPart.itsHeight = static_cast<std::uint32_t>(aBottom - aTop);
    aPart.itsSamples.clear();
    for (std::ptrdiff_t y = aTop; y < aBottom; ++y)
    {
        const auto aLine = theWhole.itsSamples.begin() + y * theWhole.itsWidth;
        aPart.itsSamples.insert(aPart.itsSamples.end(), aLine + aLeft, aLine + aRight);
    }
    return aPart;
}

/// A region of the image, decoded by itself, is the cut of theWhole to the last bit.
void ExpectPart(const OpenJpeg::Bytes& theBytes, const PlanarImage& theImage, PlanarImage theWhole,
                EngineOptions theOptions, Dice& theDice)
{
    const kdu_dims aRegion = RollRegion(theImage, theDice);
    for (PlanarComponent& aComponent : theWhole.itsComponents)
    {
        aComponent = Cut(aComponent, theImage, aRegion, theOptions.itsDiscardLevels);
    }
    theOptions.itsRegion = aRegion;
    PlanarImage aPart;
    ASSERT_NO_THROW(aPart = EngineDecode(theBytes, theOptions));
    ASSERT_EQ(DescribeDifference(aPart, theWhole, 0), "")
        << aRegion.pos.x << ", " << aRegion.pos.y << ", " << aRegion.size.x << ", " << aRegion.size.y;
}

constexpr int kSeeds = 20; ///< of each kind of code-blocks

class OpenJpegMatrix : public testing::TestWithParam<int>
{
};

TEST_P(OpenJpegMatrix, DecodesAsOpenJpegDoes)
{
    const bool isHighThroughput = GetParam() > kSeeds;
    Dice aDice(static_cast<std::uint32_t>(GetParam())), aRegionDice(aDice);
    const std::vector<std::int64_t> aTargets = ListTargets();
    int aUsable = 0;
    for (int i = 0; i < Rounds(kStreamsInAGroup) && !HasFailure(); ++i)
    {
        RandomStream aStream = MakeRandomStream(aDice);
        if (isHighThroughput)
        {
            RestrictToOpenJph(aStream.itsOptions, aDice);
        }
        const Decoding aDecoding = RollDecoding(aStream, aDice);
        SCOPED_TRACE("stream " + std::to_string(i) + ", style " +
                     std::to_string(aStream.itsOptions.itsBlockStyle) + ", discarding " +
                     std::to_string(aDecoding.itsOurs.itsDiscardLevels) + " levels, layers " +
                     std::to_string(aDecoding.itsOurs.itsMaxLayers));
        const auto aBytes = Encode(aStream, isHighThroughput);
        // OpenJPEG refuses to decode components without a sample at a lower resolution, too.
        const auto aPeers = aBytes ? OpenJpeg::Decode(*aBytes, aDecoding.itsPeers) : std::nullopt;
        if (!aPeers)
        {
            continue;
        }
        ++aUsable;
        OnTarget(aTargets[static_cast<std::size_t>(i) % aTargets.size()],
                 [&]
                 {
                     PlanarImage anImage;
                     ASSERT_NO_THROW(anImage = EngineDecode(*aBytes, aDecoding.itsOurs));
                     ASSERT_EQ(DescribeDifference(anImage, *aPeers, GetTolerance(aStream)), "");
                     ExpectPart(*aBytes, aStream.itsImage, anImage, aDecoding.itsOurs, aRegionDice);
                 });
    }
    EXPECT_TRUE(HasFailure() || aUsable > Rounds(kStreamsInAGroup) * 8 / 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, OpenJpegMatrix, testing::Range(1, 2 * kSeeds + 1));

/// Damaged data brings coefficients of any size. Irreversible samples are looked at to their last bits.
TEST(DamagedStreams, EveryInstructionSetGivesTheSameBits)
{
    constexpr std::size_t kDepthOfComponent0 = 42;
    constexpr std::uint8_t kDeep = 27;
    Dice aDice(17), aRegionDice(18);
    for (int i = 0; i < Rounds(60); ++i)
    {
        RandomStream aStream = MakeRandomStream(aDice);
        const auto anEncoded = Encode(aStream, false);
        if (!anEncoded)
        {
            continue;
        }
        auto aBytes = *anEncoded;
        for (int aFlip = 0; aFlip < 8; ++aFlip)
        {
            aBytes[static_cast<std::size_t>(aDice.Roll(static_cast<int>(aBytes.size()) / 2,
                                                       static_cast<int>(aBytes.size()) - 1))] ^= 0x24;
        }
        for (std::size_t c = 0;
             aStream.itsOptions.itsIrreversible && c < aStream.itsImage.itsComponents.size(); ++c)
        {
            aBytes[kDepthOfComponent0 + 3 * c] = 0x80 | kDeep;
        }
        std::optional<PlanarImage> aFirst;
        ForEachTarget(
            [&]
            {
                PlanarImage anImage;
                ReportOf([&] { anImage = EngineDecode(aBytes); });
                aFirst = aFirst ? aFirst : anImage;
                EXPECT_EQ(DescribeDifference(anImage, *aFirst, 0), "") << i;
                if (!anImage.itsComponents.empty())
                {
                    ExpectPart(aBytes, aStream.itsImage, anImage, {}, aRegionDice);
                }
            });
    }
}

/// Samples that swing from end to end: lines of 16 bits may be taken only as far as they are exact.
TEST(ExtremeImages, ComeBack)
{
    Dice aDice(23);
    for (int i = 0; i < Rounds(400); ++i)
    {
        RandomStream aStream;
        const int aDepth = aDice.Roll(10, 22);
        const std::size_t aComponents = aDice.Chance(50) ? 1 : 3;
        aStream.itsImage = MakeImage(33, 30, aComponents, aDepth, true, aDice);
        const int aPattern = aDice.Roll(0, 3);
        for (PlanarComponent& aComponent : aStream.itsImage.itsComponents)
        {
            for (std::size_t s = 0; s < aComponent.itsSamples.size(); ++s)
            {
                const bool isHigh = aPattern == 0   ? aDice.Chance(50)
                                    : aPattern == 1 ? (s % 33 + s / 33) % 2 == 0
                                    : aPattern == 2 ? s % 33 / 4 % 2 == 0
                                                    : s % 33 % 8 == s / 33 % 8;
                aComponent.itsSamples[s] = isHigh ? aComponent.GetHighest() : aComponent.GetLowest();
            }
        }
        aStream.itsOptions.itsResolutions = aDice.Roll(1, 4);
        aStream.itsOptions.itsComponentTransform = aComponents == 3;
        const auto aBytes = OpenJpeg::Encode(aStream.itsImage, aStream.itsOptions);
        ASSERT_EQ(DescribeDifference(EngineDecode(aBytes), aStream.itsImage, 0), "") << i;
    }
}
} // namespace
