// SPDX-License-Identifier: Apache-2.0
// What becomes of the coefficients of irreversible streams, held against the formulas in double precision.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "support/EngineDecode.h"
#include "support/LongRun.h"
#include "support/OpenCodestream.h"
#include "support/jpeg2000/OpenJph.h"
#include "support/jpeg2000/RandomStreams.h"

namespace
{
/// Numbers on a part of a grid.
struct Plane
{
    explicit Plane(const kdu_dims& theArea) : itsArea(theArea)
    {
        itsSamples.resize(static_cast<std::size_t>(theArea.size.x) *
                          static_cast<std::size_t>(theArea.size.y));
    }

    double& At(int theX, int theY)
    {
        return itsSamples.at(static_cast<std::size_t>(theY - itsArea.pos.y) *
                                 static_cast<std::size_t>(itsArea.size.x) +
                             static_cast<std::size_t>(theX - itsArea.pos.x));
    }

    kdu_dims itsArea;
    std::vector<double> itsSamples;
};

/// The inverse 9/7 filter (T.800 F.3.8.2) of theCount numbers, whose first index is theBegin; mirrored at the
/// ends.
template <class Numbers>
void Synthesize(int theBegin, int theCount, const Numbers& theNumbers)
{
    constexpr double kK = 1.230174104914001;
    if (theCount == 1)
    {
        theNumbers(theBegin) /= theBegin % 2 == 0 ? 1 : 2;
        return;
    }
    const auto aMirror = [&](int theIndex)
    {
        const int anEnd = theBegin + theCount - 1;
        return theIndex < theBegin ? 2 * theBegin - theIndex
               : theIndex > anEnd  ? 2 * anEnd - theIndex
                                   : theIndex;
    };
    const auto aStep = [&](int theParity, double theFactor, double theWeight)
    {
        for (int i = theBegin + (theBegin + theParity) % 2; i < theBegin + theCount; i += 2)
        {
            theNumbers(i) = theNumbers(i) * theFactor +
                            theWeight * (theNumbers(aMirror(i - 1)) + theNumbers(aMirror(i + 1)));
        }
    };
    aStep(0, kK, 0);
    aStep(1, 1 / kK, 0);
    aStep(0, 1, -0.443506852043971);
    aStep(1, 1, -0.882911075530934);
    aStep(0, 1, 0.052980118572961);
    aStep(1, 1, 1.586134342059924);
}

/// Numbers of a band go to every theStep-th place of thePlane, theRight and theDown being how far beside it.
void AddBand(const kdu_subband& theSubband, Plane& thePlane, int theStep = 1, int theRight = 0,
             int theDown = 0)
{
    kdu_dims anArea;
    theSubband.get_dims(anArea);
    kdu_sample_allocator anAllocator;
    kdu_decoder aDecoder(theSubband, &anAllocator, false);
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, anArea.size.x, false, false);
    anAllocator.finalize();
    aLine.create();
    for (int y = anArea.pos.y; y < anArea.pos.y + anArea.size.y && anArea.size.x > 0; ++y)
    {
        aDecoder.pull(aLine);
        for (int x = 0; x < anArea.size.x; ++x)
        {
            thePlane.At(theStep * (anArea.pos.x + x) + theRight, theStep * y + theDown) =
                static_cast<double>(aLine.get_buf32()[x].fval);
        }
    }
}

Plane Decode(const kdu_resolution& theResolution)
{
    kdu_dims anArea;
    theResolution.get_dims(anArea);
    Plane aPlane(anArea);
    if (theResolution.which() == 0)
    {
        AddBand(theResolution.access_subband(0), aPlane);
        return aPlane;
    }
    Plane aLow = Decode(theResolution.access_next());
    const auto& [aCorner, aSize] = aLow.itsArea;
    for (int i = 0; i < aSize.x * aSize.y; ++i)
    {
        const int aColumn = aCorner.x + i % aSize.x, aRow = aCorner.y + i / aSize.x;
        aPlane.At(2 * aColumn, 2 * aRow) = aLow.At(aColumn, aRow);
    }
    for (int aBand = 1; aBand < 4; ++aBand)
    {
        AddBand(theResolution.access_subband(aBand), aPlane, 2, aBand % 2, aBand / 2);
    }
    for (int y = anArea.pos.y; y < anArea.pos.y + anArea.size.y; ++y)
    {
        Synthesize(anArea.pos.x, anArea.size.x, [&](int theX) -> double& { return aPlane.At(theX, y); });
    }
    for (int x = anArea.pos.x; x < anArea.pos.x + anArea.size.x; ++x)
    {
        Synthesize(anArea.pos.y, anArea.size.y, [&](int theY) -> double& { return aPlane.At(x, theY); });
    }
    return aPlane;
}

/// The samples of a stream of one tile; T.800 G.3.2 where it has a component transform.
std::vector<Plane> DecodeExactly(const OpenJpeg::Bytes& theStream)
{
    OpenCodestream aCodestream(theStream);
    kdu_tile aTile = aCodestream->open_tile({0, 0});
    std::vector<Plane> aPlanes;
    for (int i = 0; i < aTile.get_num_components(); ++i)
    {
        aPlanes.push_back(Decode(aTile.access_component(i).access_resolution()));
    }
    for (std::size_t i = 0; aTile.get_ycc() && i < aPlanes[0].itsSamples.size(); ++i)
    {
        const double aY = aPlanes[0].itsSamples[i], aCb = aPlanes[1].itsSamples[i],
                     aCr = aPlanes[2].itsSamples[i];
        aPlanes[0].itsSamples[i] = aY + 1.402 * aCr;
        aPlanes[1].itsSamples[i] = aY - 0.344136 * aCb - 0.714136 * aCr;
        aPlanes[2].itsSamples[i] = aY + 1.772 * aCb;
    }
    aTile.close();
    return aPlanes;
}

/// Rounding costs half a unit, lines of float a little more. Code-blocks of either kind.
TEST(ExactWavelet, SamplesAreNextToIt)
{
    constexpr double kLargestError = 0.6;
    Dice aDice(41);
    for (int i = 0; i < Rounds(60) && !HasFailure(); ++i)
    {
        const int aDepth = aDice.Roll(2, 16);
        const bool isColour = aDice.Chance(40);
        OpenJpeg::Options anOptions;
        anOptions.itsIrreversible = true;
        anOptions.itsComponentTransform = isColour;
        anOptions.itsResolutions = aDice.Roll(1, 6);
        anOptions.itsStep = std::ldexp(1.0F, -aDice.Roll(3, 14));
        const PlanarImage anImage = MakeImage(static_cast<std::uint32_t>(aDice.Roll(32, 90)),
                                              static_cast<std::uint32_t>(aDice.Roll(32, 70)),
                                              isColour ? 3 : 1, aDepth, aDice.Chance(50), aDice);
        const auto aStream = (i % 3 != 0 ? OpenJph::Encode : OpenJpeg::Encode)(anImage, anOptions);
        const PlanarImage aDecoded = EngineDecode(aStream);
        const std::vector<Plane> anExact = DecodeExactly(aStream);
        double aWorst = 0;
        for (std::size_t c = 0; c < anExact.size(); ++c)
        {
            const PlanarComponent& aComponent = aDecoded.itsComponents.at(c);
            const double aShift = aComponent.itsSigned ? 0 : std::ldexp(1.0, aDepth - 1);
            for (std::size_t s = 0; s < anExact[c].itsSamples.size(); ++s)
            {
                const double aValue =
                    std::clamp<double>(std::ldexp(anExact[c].itsSamples[s], aDepth) + aShift,
                                       aComponent.GetLowest(), aComponent.GetHighest());
                aWorst = std::max(aWorst, std::abs(aComponent.itsSamples.at(s) - aValue));
            }
        }
        EXPECT_LE(aWorst, kLargestError) << "stream " << i << ", " << aDepth << " bits";
    }
}
} // namespace
