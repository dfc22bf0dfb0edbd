// SPDX-License-Identifier: Apache-2.0
#include "support/EngineDecode.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "engine/kdu_colour_transforms.h"
#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "support/OpenCodestream.h"

namespace
{
/// One component of an open tile on its way into its plane.
struct Lane
{
    kdu_tile_comp itsComponent;
    kdu_dims itsArea; ///< of the tile, on the plane
    bool itsUseShorts = false;
    std::optional<kdu_synthesis> itsSynthesis;
    std::optional<kdu_decoder> itsDecoder;
    kdu_line_buf itsLine;
    PlanarComponent* itsPlane = nullptr;

    bool HasLine(int theRow) const { return theRow < itsArea.size.y && itsArea.size.x > 0; }
};

void MakeSource(Lane& theLane, kdu_sample_allocator& theAllocator)
{
    const kdu_resolution aResolution = theLane.itsComponent.access_resolution();
    if (aResolution.which() > 0)
    {
        theLane.itsSynthesis.emplace(aResolution, &theAllocator, theLane.itsUseShorts);
    }
    else
    {
        theLane.itsDecoder.emplace(aResolution.access_subband(0), &theAllocator, theLane.itsUseShorts);
    }
    theLane.itsLine.pre_create(&theAllocator, theLane.itsArea.size.x, theLane.itsComponent.get_reversible(),
                               theLane.itsUseShorts);
}

void UndoColour(std::vector<Lane>& theLanes)
{
    const kdu_line_buf& aLine = theLanes[0].itsLine;
    if (aLine.get_buf16() != nullptr)
    {
        kdu_convert_ycc_to_rgb_rev16(aLine.get_buf16(), theLanes[1].itsLine.get_buf16(),
                                     theLanes[2].itsLine.get_buf16(), aLine.get_width());
    }
    else
    {
        (aLine.is_absolute() ? kdu_convert_ycc_to_rgb_rev32 : kdu_convert_ycc_to_rgb_irrev32)(
            aLine.get_buf32(), theLanes[1].itsLine.get_buf32(), theLanes[2].itsLine.get_buf32(),
            aLine.get_width());
    }
}

/// A sample as a number of the component's depth, not yet shifted or clamped.
double GetSample(const kdu_line_buf& theLine, int theIndex, int theDepth)
{
    if (theLine.get_buf16() != nullptr)
    {
        return theLine.get_buf16()[theIndex].ival;
    }
    const kdu_sample32 aSample = theLine.get_buf32()[theIndex];
    return theLine.is_absolute() ? static_cast<double>(aSample.ival)
                                 : std::ldexp(static_cast<double>(aSample.fval), theDepth);
}

void StoreLine(const Lane& theLane, int theRow)
{
    PlanarComponent& aPlane = *theLane.itsPlane;
    const double aShift = aPlane.itsSigned ? 0 : std::ldexp(1.0, aPlane.itsDepth - 1);
    const std::size_t aStart = static_cast<std::size_t>(theLane.itsArea.pos.y + theRow) * aPlane.itsWidth +
                               static_cast<std::size_t>(theLane.itsArea.pos.x);
    for (int i = 0; i < theLane.itsArea.size.x; ++i)
    {
        const double aValue = std::floor(GetSample(theLane.itsLine, i, aPlane.itsDepth) + aShift + 0.5);
        aPlane.itsSamples.at(aStart + static_cast<std::size_t>(i)) =
            static_cast<std::int32_t>(std::clamp<double>(aValue, aPlane.GetLowest(), aPlane.GetHighest()));
    }
}

std::vector<Lane> MakeLanes(OpenCodestream& theCodestream, const kdu_tile& theTile, bool theTakesShorts,
                            PlanarImage& theImage)
{
    std::vector<Lane> aLanes(static_cast<std::size_t>(theTile.get_num_components()));
    for (std::size_t i = 0; i < aLanes.size(); ++i)
    {
        kdu_dims aWhole;
        theCodestream->get_dims(static_cast<int>(i), aWhole);
        aLanes[i].itsComponent = theTile.access_component(static_cast<int>(i));
        aLanes[i].itsComponent.access_resolution().get_dims(aLanes[i].itsArea);
        aLanes[i].itsArea.pos.x -= aWhole.pos.x;
        aLanes[i].itsArea.pos.y -= aWhole.pos.y;
        aLanes[i].itsUseShorts = theTakesShorts && aLanes[i].itsComponent.fits_short_lines();
        aLanes[i].itsPlane = &theImage.itsComponents.at(i);
    }
    return aLanes;
}

void DecodeTile(OpenCodestream& theCodestream, const kdu_tile& theTile, bool theTakesShorts,
                PlanarImage& theImage)
{
    kdu_sample_allocator anAllocator;
    std::vector<Lane> aLanes = MakeLanes(theCodestream, theTile, theTakesShorts, theImage);
    int aHeight = 0;
    for (Lane& aLane : aLanes)
    {
        MakeSource(aLane, anAllocator);
        aHeight = std::max(aHeight, aLane.itsArea.size.y);
    }
    anAllocator.finalize();
    std::for_each(aLanes.begin(), aLanes.end(), [](Lane& theLane) { theLane.itsLine.create(); });
    for (int aRow = 0; aRow < aHeight; ++aRow)
    {
        for (Lane& aLane : aLanes)
        {
            if (aLane.HasLine(aRow))
            {
                aLane.itsSynthesis ? aLane.itsSynthesis->pull(aLane.itsLine)
                                   : aLane.itsDecoder->pull(aLane.itsLine);
            }
        }
        if (theTile.get_ycc() && aLanes[0].HasLine(aRow))
        {
            UndoColour(aLanes);
        }
        for (const Lane& aLane : aLanes)
        {
            if (aLane.HasLine(aRow))
            {
                StoreLine(aLane, aRow);
            }
        }
    }
}

void SetMode(OpenCodestream& theCodestream, EngineMode theMode)
{
    switch (theMode)
    {
    case EngineMode::Fast:
        return theCodestream->set_fast();
    case EngineMode::Resilient:
        return theCodestream->set_resilient();
    case EngineMode::Fussy:
        return theCodestream->set_fussy();
    }
}

PlanarImage MakeResult(OpenCodestream& theCodestream)
{
    PlanarImage anImage;
    for (int i = 0; i < theCodestream->get_num_components(); ++i)
    {
        kdu_dims aDims;
        theCodestream->get_dims(i, aDims);
        const kdu_coords aSubsampling = theCodestream->get_subsampling(i);
        anImage.itsComponents.push_back({static_cast<std::uint32_t>(std::max(aDims.size.x, 0)),
                                         static_cast<std::uint32_t>(std::max(aDims.size.y, 0)),
                                         theCodestream->get_bit_depth(i),
                                         theCodestream->get_signed(i),
                                         static_cast<std::uint32_t>(aSubsampling.x),
                                         static_cast<std::uint32_t>(aSubsampling.y),
                                         {}});
    }
    return anImage;
}

void MakePlanes(PlanarImage& theImage, std::uint64_t theMostSamples)
{
    std::uint64_t aSamples = 0;
    for (PlanarComponent& aComponent : theImage.itsComponents)
    {
        const std::uint64_t anArea = std::uint64_t{aComponent.itsWidth} * aComponent.itsHeight;
        aSamples += std::min(anArea, theMostSamples + 1);
        if (aSamples > theMostSamples || aComponent.itsDepth > 30)
        {
            throw EngineReport{false, "more samples or bits than the test wants"};
        }
        aComponent.itsSamples.resize(anArea);
    }
}
} // namespace

PlanarImage EngineDecode(const std::vector<std::uint8_t>& theStream, const EngineOptions& theOptions)
{
    OpenCodestream aCodestream(theStream, theOptions.itsLargestRead);
    SetMode(aCodestream, theOptions.itsMode);
    aCodestream->apply_input_restrictions(0, 0, theOptions.itsDiscardLevels, theOptions.itsMaxLayers,
                                          theOptions.itsRegion ? &*theOptions.itsRegion : nullptr);
    PlanarImage anImage = MakeResult(aCodestream);
    kdu_dims aTiles;
    aCodestream->get_valid_tiles(aTiles);
    for (int aRow = 0; aRow < aTiles.size.y; ++aRow)
    {
        for (int aColumn = 0; aColumn < aTiles.size.x; ++aColumn)
        {
            kdu_tile aTile = aCodestream->open_tile({aTiles.pos.x + aColumn, aTiles.pos.y + aRow});
            if (aRow == 0 && aColumn == 0)
            {
                // As a codec does it: the first tile is open before there is a buffer.
                MakePlanes(anImage, theOptions.itsMostSamples);
            }
            DecodeTile(aCodestream, aTile, theOptions.itsTakesShorts, anImage);
            aTile.close();
        }
    }
    return anImage;
}
