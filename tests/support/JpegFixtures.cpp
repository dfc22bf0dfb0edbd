// SPDX-License-Identifier: Apache-2.0
#include "support/JpegFixtures.h"

#include <algorithm>
#include <random>

#include "support/JpegEncoder.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

JpegMarkers MakeMarkers(const JpegSpec& theSpec)
{
    JpegMarkers aMarkers;
    if (theSpec.itsJFIF)
    {
        aMarkers.push_back({0xe0, {'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0}});
    }
    if (theSpec.itsAdobeTransform >= 0)
    {
        const auto aTransform = static_cast<std::uint8_t>(theSpec.itsAdobeTransform);
        aMarkers.push_back({0xee, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, aTransform}});
    }
    for (const int aLength : theSpec.itsCommentLengths)
    {
        aMarkers.push_back({0xfe, Bytes(static_cast<std::size_t>(aLength), 'c')});
    }
    return aMarkers;
}

Bytes Encode(const JpegSpec& theSpec, std::vector<std::uint16_t> theSamples)
{
    if (theSpec.itsProcess != JpegSpec::Process::LOSSLESS)
    {
        return (theSpec.itsPrecision > 8 ? EncodeJpeg12 : EncodeJpeg8)(theSpec, MakeMarkers(theSpec),
                                                                       theSamples);
    }
    // The one build for all precisions predicts the first sample from the middle of 16 bits, a decoder from
    // that of the image's own; all other predictions move along with the samples.
    for (std::uint16_t& aSample : theSamples)
    {
        aSample = static_cast<std::uint16_t>(aSample + 32768 - (1 << (theSpec.itsPrecision - 1)));
    }
    return EncodeJpeg16(theSpec, MakeMarkers(theSpec), theSamples);
}
} // namespace

Bytes MakeJpeg(const JpegSpec& theSpec, const std::vector<std::uint16_t>& theSamples)
{
    Bytes aJpeg = Encode(theSpec, theSamples);
    std::size_t aFrame = 2;
    while (aJpeg.at(aFrame + 1) < 0xc0 || aJpeg[aFrame + 1] > 0xc3)
    {
        aFrame += 2u + static_cast<std::size_t>(aJpeg[aFrame + 2] * 256 + aJpeg[aFrame + 3]);
    }
    aJpeg[aFrame + 1] = static_cast<std::uint8_t>(0xc0 + static_cast<int>(theSpec.itsProcess));
    aJpeg[aFrame + 4] = static_cast<std::uint8_t>(
        theSpec.itsDeclaredPrecision != 0 ? theSpec.itsDeclaredPrecision : theSpec.itsPrecision);
    if (!theSpec.itsEndOfImage)
    {
        aJpeg.resize(aJpeg.size() - 2);
    }
    return aJpeg;
}

std::vector<std::uint16_t> MakeSamples(const JpegSpec& theSpec, unsigned int theSeed)
{
    std::mt19937 aRandom(theSeed);
    const int aMaximum = (1 << theSpec.itsPrecision) - 1;
    std::vector<std::uint16_t> aSamples;
    for (int i = 0; i < theSpec.itsWidth * theSpec.itsHeight * theSpec.itsComponents; ++i)
    {
        const int aPixel = i / theSpec.itsComponents;
        const double aSlope = static_cast<double>(aPixel % theSpec.itsWidth + aPixel / theSpec.itsWidth) /
                              (theSpec.itsWidth + theSpec.itsHeight);
        const int aNoise = static_cast<int>(aRandom() % static_cast<unsigned int>(aMaximum / 8 + 2));
        const int aShift = (i % theSpec.itsComponents) * aMaximum / 5;
        const int aValue = static_cast<int>(aSlope * aMaximum * 1.3) - aMaximum / 8 + aNoise + aShift;
        // A few samples far off exercise the largest differences.
        const bool aSpike = aRandom() % 61 == 0;
        aSamples.push_back(
            static_cast<std::uint16_t>(aSpike ? (aRandom() % 2) * static_cast<unsigned int>(aMaximum)
                                              : static_cast<unsigned int>(std::clamp(aValue, 0, aMaximum))));
    }
    return aSamples;
}

std::vector<std::uint16_t> MakeFlatSamples(const JpegSpec& theSpec, const std::vector<int>& thePixel)
{
    std::vector<std::uint16_t> aSamples;
    for (int i = 0; i < theSpec.itsWidth * theSpec.itsHeight * theSpec.itsComponents; ++i)
    {
        aSamples.push_back(
            static_cast<std::uint16_t>(thePixel.at(static_cast<std::size_t>(i % theSpec.itsComponents))));
    }
    return aSamples;
}
