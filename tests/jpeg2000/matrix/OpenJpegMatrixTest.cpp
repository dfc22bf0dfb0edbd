// SPDX-License-Identifier: Apache-2.0
// Seeded streams with everything an encoder offers, against OpenJPEG's decoder.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "support/LongRun.h"
#include "support/jpeg2000/EngineDecode.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
constexpr int kStreamsInAGroup = 100;

/// What rounding costs, and a little for lines of float.
constexpr double kLargestError = 0.6;

/// How a stream is to be decoded by both.
struct Decoding
{
    OpenJpeg::DecodeOptions itsPeers;
    EngineOptions itsOurs;
};

/// Whether every component has samples left; OpenJPEG refuses what has none.
bool HasSamples(const PlanarImage& theImage, unsigned int theDiscardLevels)
{
    const auto hasSamples = [=](std::uint32_t theStart, std::uint32_t theEnd, std::uint32_t theStep)
    {
        const std::uint32_t aLast = (1U << theDiscardLevels) - 1;
        const auto aPlace = [=](std::uint32_t theBorder)
        { return ((theBorder + theStep - 1) / theStep + aLast) >> theDiscardLevels; };
        return aPlace(theEnd) > aPlace(theStart);
    };
    return std::all_of(theImage.itsComponents.begin(), theImage.itsComponents.end(),
                       [&](const PlanarComponent& theComponent)
                       {
                           return hasSamples(theImage.itsX0, theImage.itsX1, theComponent.itsXRsiz) &&
                                  hasSamples(theImage.itsY0, theImage.itsY1, theComponent.itsYRsiz);
                       });
}

Decoding RollDecoding(const RandomStream& theStream, Dice& theDice)
{
    const OpenJpeg::Options& anOptions = theStream.itsOptions;
    Decoding aDecoding;
    if (theDice.Chance(60))
    {
        aDecoding.itsPeers.itsDiscardLevels =
            static_cast<unsigned int>(theDice.Roll(0, anOptions.itsResolutions - 1));
        while (!HasSamples(theStream.itsImage, aDecoding.itsPeers.itsDiscardLevels))
        {
            --aDecoding.itsPeers.itsDiscardLevels;
        }
    }
    if (theDice.Chance(40))
    {
        aDecoding.itsPeers.itsMaxLayers =
            static_cast<unsigned int>(theDice.Roll(1, static_cast<int>(anOptions.itsRates.size())));
    }
    aDecoding.itsOurs.itsDiscardLevels = static_cast<int>(aDecoding.itsPeers.itsDiscardLevels);
    aDecoding.itsOurs.itsMaxLayers = static_cast<int>(aDecoding.itsPeers.itsMaxLayers);
    aDecoding.itsOurs.itsMode = static_cast<EngineMode>(theDice.Roll(0, 2));
    if (aDecoding.itsOurs.itsMode == EngineMode::Fussy &&
        (anOptions.itsTileParts != 0 || aDecoding.itsOurs.itsMaxLayers != 0))
    {
        // The encoder leaves out packets at the end of tile-parts, and a limit on layers cuts segments short.
        aDecoding.itsOurs.itsMode = EngineMode::Fast;
    }
    aDecoding.itsOurs.itsTakesShorts = theDice.Chance(80);
    aDecoding.itsOurs.itsLargestRead = theDice.Chance(30) ? theDice.Roll(1, 50) : 1 << 20;
    return aDecoding;
}

std::uint32_t GetNumber(const OpenJpeg::Bytes& theBytes, std::size_t thePosition, std::size_t theCount)
{
    std::uint32_t aValue = 0;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aValue = aValue << 8 | theBytes.at(thePosition + i);
    }
    return aValue;
}

/// Whether every tile has as many tile-parts as its SOT marker segments say, which the encoder gets wrong now
/// and then; OpenJPEG's decoder then stops early.
bool CountsItsTileParts(const OpenJpeg::Bytes& theBytes)
{
    constexpr std::uint32_t kSOT = 0xFF90;
    std::size_t aPosition = 2;
    while (GetNumber(theBytes, aPosition, 2) != kSOT)
    {
        aPosition += 2 + GetNumber(theBytes, aPosition + 2, 2);
    }
    std::map<std::uint32_t, std::pair<std::uint32_t, std::uint32_t>> aParts; // announced, there
    for (; GetNumber(theBytes, aPosition, 2) == kSOT; aPosition += GetNumber(theBytes, aPosition + 6, 4))
    {
        auto& [anAnnounced, aFound] = aParts[GetNumber(theBytes, aPosition + 4, 2)];
        anAnnounced = std::max(anAnnounced, GetNumber(theBytes, aPosition + 11, 1));
        ++aFound;
    }
    return std::all_of(aParts.begin(), aParts.end(),
                       [](const auto& thePart) { return thePart.second.first == thePart.second.second; });
}

/// OpenJPEG scales the high-pass samples of the 9/7 transform by a constant of five digits: full swings of
/// deep samples are off by some units, twice as many with every bit. Ours are next to what is exact, see
/// below.
std::int32_t GetTolerance(const RandomStream& theStream)
{
    int aDepth = 0;
    for (const PlanarComponent& aComponent : theStream.itsImage.itsComponents)
    {
        aDepth = std::max(aDepth, aComponent.itsDepth);
    }
    return theStream.itsOptions.itsIrreversible ? 1 << std::max(aDepth - 14, 0) : 0;
}

void ExpectNextToExact(const PlanarImage& theImage, const std::vector<std::vector<double>>& theExact)
{
    ASSERT_EQ(theImage.itsComponents.size(), theExact.size());
    for (std::size_t c = 0; c < theExact.size(); ++c)
    {
        const std::vector<std::int32_t>& aSamples = theImage.itsComponents[c].itsSamples;
        ASSERT_EQ(aSamples.size(), theExact[c].size());
        double aWorst = 0;
        for (std::size_t i = 0; i < aSamples.size(); ++i)
        {
            aWorst = std::max(aWorst, std::abs(aSamples[i] - theExact[c][i]));
        }
        EXPECT_LE(aWorst, kLargestError) << "component " << c;
    }
}

bool ComesBack(const RandomStream& theStream, const OpenJpeg::Bytes& theBytes)
{
    const auto anImage = OpenJpeg::Decode(theBytes);
    return anImage.has_value() && CountsItsTileParts(theBytes) &&
           (!theStream.IsLossless() || DescribeDifference(*anImage, theStream.itsImage, 0).empty());
}

/// Nothing where OpenJPEG's encoder cannot do it, or where OpenJPEG itself does not get its image back: a few
/// streams in a hundred.
std::optional<OpenJpeg::Bytes> Encode(const RandomStream& theStream)
{
    try
    {
        // Tile-parts go wrong now and then, which a lossy image would not show.
        RandomStream aLossless = theStream;
        aLossless.itsOptions.itsIrreversible = false;
        aLossless.itsOptions.itsRates = {1};
        if (theStream.itsOptions.itsTileParts != 0 && !theStream.IsLossless() &&
            !ComesBack(aLossless, OpenJpeg::Encode(aLossless.itsImage, aLossless.itsOptions)))
        {
            return std::nullopt;
        }
        auto aBytes = OpenJpeg::Encode(theStream.itsImage, theStream.itsOptions);
        return ComesBack(theStream, aBytes) ? std::optional(std::move(aBytes)) : std::nullopt;
    }
    catch (const std::runtime_error& anError)
    {
        return std::nullopt;
    }
}

/// A limit on the bytes of a layer now and then makes the encoder cut off the symbol behind a pass: fussy
/// decoding may report that and nothing else, and the other modes have to decode it.
PlanarImage DecodeWithoutLostSymbols(const RandomStream& theStream, const OpenJpeg::Bytes& theBytes,
                                     EngineOptions theOptions)
{
    try
    {
        return EngineDecode(theBytes, theOptions);
    }
    catch (const EngineWarning& aWarning)
    {
        const std::string aText = aWarning.what();
        if (theStream.itsOptions.itsRates.back() <= 1 ||
            aText.find("wrong segmentation symbol") == std::string::npos)
        {
            throw;
        }
    }
    theOptions.itsMode = EngineMode::Fast;
    return EngineDecode(theBytes, theOptions);
}

void ExpectAsPeer(const RandomStream& theStream, const OpenJpeg::Bytes& theBytes, const Decoding& theDecoding)
{
    const auto aPeers = OpenJpeg::Decode(theBytes, theDecoding.itsPeers);
    ASSERT_TRUE(aPeers.has_value());
    PlanarImage anImage;
    ASSERT_NO_THROW(anImage = DecodeWithoutLostSymbols(theStream, theBytes, theDecoding.itsOurs));
    EXPECT_EQ(DescribeDifference(anImage, *aPeers, GetTolerance(theStream)), "");
    if (theStream.itsOptions.itsIrreversible)
    {
        ExpectNextToExact(anImage, EngineDecodePlainly(theBytes, theDecoding.itsOurs));
    }
}

class OpenJpegMatrix : public testing::TestWithParam<int>
{
};

TEST_P(OpenJpegMatrix, DecodesAsOpenJpegDoes)
{
    Dice aDice(static_cast<std::uint32_t>(GetParam()));
    int aUsable = 0;
    for (int i = 0; i < Rounds(kStreamsInAGroup) && !HasFailure(); ++i)
    {
        const RandomStream aStream = MakeRandomStream(aDice);
        const Decoding aDecoding = RollDecoding(aStream, aDice);
        SCOPED_TRACE("stream " + std::to_string(i) + ": " + aStream.Describe() + ", discarding " +
                     std::to_string(aDecoding.itsOurs.itsDiscardLevels) + " levels, layers " +
                     std::to_string(aDecoding.itsOurs.itsMaxLayers));
        if (const auto aBytes = Encode(aStream))
        {
            ++aUsable;
            ExpectAsPeer(aStream, *aBytes, aDecoding);
        }
    }
    EXPECT_TRUE(HasFailure() || aUsable > Rounds(kStreamsInAGroup) * 8 / 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, OpenJpegMatrix, testing::Range(1, 21));
} // namespace
