// SPDX-License-Identifier: Apache-2.0
#include "support/jpeg2000/EngineDecode.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "engine/kdu_codestream.h"
#include "engine/kdu_colour_transforms.h"
#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "engine/kdu_message.h"
#include "engine/kdu_sample_allocator.h"
#include "engine/kdu_synthesis.h"
#include "support/ByteSource.h"
#include "support/PlainWavelet.h"

namespace
{
template <typename Exception>
class ThrowingMessage final : public kdu_message
{
public:
    using kdu_message::put_text;
    void put_text(const char* theText) override { GetText() += theText; }

    void flush(bool theEndOfMessage) override
    {
        if (theEndOfMessage)
        {
            std::string aText;
            aText.swap(GetText());
            throw Exception(aText);
        }
    }

private:
    static std::string& GetText()
    {
        static thread_local std::string aText;
        return aText;
    }
};

void InstallMessages()
{
    static ThrowingMessage<EngineWarning> aWarning;
    static ThrowingMessage<EngineError> anError;
    kdu_customize_warnings(&aWarning);
    kdu_customize_errors(&anError);
}

/// Ends the codestream however its use ends.
class OpenCodestream
{
public:
    explicit OpenCodestream(kdu_compressed_source& theSource) { CreateOrDestroy(theSource); }
    ~OpenCodestream() { itsCodestream.destroy(); }
    OpenCodestream(const OpenCodestream&) = delete;
    OpenCodestream& operator=(const OpenCodestream&) = delete;

    kdu_codestream* operator->() { return &itsCodestream; }
    kdu_codestream& Get() { return itsCodestream; }

private:
    void CreateOrDestroy(kdu_compressed_source& theSource)
    {
        try
        {
            itsCodestream.create(&theSource);
        }
        catch (...)
        {
            itsCodestream.destroy();
            throw;
        }
    }

    kdu_codestream itsCodestream;
};

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

void PullLine(Lane& theLane)
{
    if (theLane.itsSynthesis)
    {
        theLane.itsSynthesis->pull(theLane.itsLine);
    }
    else
    {
        theLane.itsDecoder->pull(theLane.itsLine);
    }
}

void UndoColour(Lane* theLanes, int theWidth)
{
    const kdu_line_buf& aLine = theLanes[0].itsLine;
    if (aLine.get_buf16() != nullptr)
    {
        (aLine.is_absolute() ? kdu_convert_ycc_to_rgb_rev16 : kdu_convert_ycc_to_rgb_irrev16)(
            aLine.get_buf16(), theLanes[1].itsLine.get_buf16(), theLanes[2].itsLine.get_buf16(), theWidth);
    }
    else
    {
        (aLine.is_absolute() ? kdu_convert_ycc_to_rgb_rev32 : kdu_convert_ycc_to_rgb_irrev32)(
            aLine.get_buf32(), theLanes[1].itsLine.get_buf32(), theLanes[2].itsLine.get_buf32(), theWidth);
    }
}

/// A sample as a number of the component's depth, not yet shifted or clamped.
double GetSample(const kdu_line_buf& theLine, int theIndex, int theDepth)
{
    if (theLine.get_buf16() != nullptr)
    {
        const double aValue = theLine.get_buf16()[theIndex].ival;
        return theLine.is_absolute() ? aValue : std::ldexp(aValue, theDepth - KDU_FIXED_POINT);
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

std::vector<Lane> MakeLanes(kdu_codestream& theCodestream, const kdu_tile& theTile, bool theTakesShorts,
                            PlanarImage& theImage)
{
    std::vector<Lane> aLanes(static_cast<std::size_t>(theTile.get_num_components()));
    for (std::size_t i = 0; i < aLanes.size(); ++i)
    {
        kdu_dims aWhole;
        theCodestream.get_dims(static_cast<int>(i), aWhole);
        aLanes[i].itsComponent = theTile.access_component(static_cast<int>(i));
        aLanes[i].itsComponent.access_resolution().get_dims(aLanes[i].itsArea);
        aLanes[i].itsArea.pos.x -= aWhole.pos.x;
        aLanes[i].itsArea.pos.y -= aWhole.pos.y;
        aLanes[i].itsUseShorts = theTakesShorts && aLanes[i].itsComponent.fits_short_lines();
        aLanes[i].itsPlane = &theImage.itsComponents.at(i);
    }
    if (theTile.get_ycc())
    {
        const bool useShorts = aLanes[0].itsUseShorts && aLanes[1].itsUseShorts && aLanes[2].itsUseShorts;
        std::for_each_n(aLanes.begin(), 3, [useShorts](Lane& theLane) { theLane.itsUseShorts = useShorts; });
    }
    return aLanes;
}

void DecodeRow(const kdu_tile& theTile, std::vector<Lane>& theLanes, int theRow)
{
    for (Lane& aLane : theLanes)
    {
        if (aLane.HasLine(theRow))
        {
            PullLine(aLane);
        }
    }
    if (theTile.get_ycc() && theLanes[0].HasLine(theRow))
    {
        UndoColour(theLanes.data(), theLanes[0].itsArea.size.x);
    }
    for (const Lane& aLane : theLanes)
    {
        if (aLane.HasLine(theRow))
        {
            StoreLine(aLane, theRow);
        }
    }
}

void DecodeTile(kdu_codestream& theCodestream, const kdu_tile& theTile, bool theTakesShorts,
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
        DecodeRow(theTile, aLanes, aRow);
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
        PlanarComponent aComponent;
        aComponent.itsWidth = static_cast<std::uint32_t>(std::max(aDims.size.x, 0));
        aComponent.itsHeight = static_cast<std::uint32_t>(std::max(aDims.size.y, 0));
        aComponent.itsDepth = theCodestream->get_bit_depth(i);
        aComponent.itsSigned = theCodestream->get_signed(i);
        aComponent.itsXRsiz = static_cast<std::uint32_t>(aSubsampling.x);
        aComponent.itsYRsiz = static_cast<std::uint32_t>(aSubsampling.y);
        anImage.itsComponents.push_back(std::move(aComponent));
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
        if (aSamples > theMostSamples)
        {
            throw OutputTooLarge("more samples than the test wants");
        }
        if (aComponent.itsDepth > 30)
        {
            throw OutputTooLarge("more bits than the test wants");
        }
        aComponent.itsSamples.resize(anArea);
    }
}
/// theUse for every tile that is open.
template <typename Use>
PlanarImage DecodeTiles(const std::vector<std::uint8_t>& theStream, const EngineOptions& theOptions,
                        const Use& theUse)
{
    InstallMessages();
    ByteSource aSource(theStream, theOptions.itsLargestRead);
    OpenCodestream aCodestream(aSource);
    SetMode(aCodestream, theOptions.itsMode);
    aCodestream->apply_input_restrictions(0, 0, theOptions.itsDiscardLevels, theOptions.itsMaxLayers,
                                          nullptr);
    PlanarImage anImage = MakeResult(aCodestream);
    kdu_dims aTiles;
    aCodestream->get_valid_tiles(aTiles);
    // As a codec does it: the first tile is open before there is a buffer.
    kdu_tile aTile = aCodestream->open_tile(aTiles.pos);
    MakePlanes(anImage, theOptions.itsMostSamples);
    for (int aRow = 0; aRow < aTiles.size.y; ++aRow)
    {
        for (int aColumn = 0; aColumn < aTiles.size.x; ++aColumn)
        {
            if (aRow != 0 || aColumn != 0)
            {
                aTile = aCodestream->open_tile({aTiles.pos.x + aColumn, aTiles.pos.y + aRow});
            }
            theUse(aCodestream.Get(), aTile, anImage);
            aTile.close();
        }
    }
    return anImage;
}

PlainPlane MakePlane(const kdu_dims& theDims)
{
    return {theDims.pos.x, theDims.pos.y, theDims.size.x, theDims.size.y};
}

/// The coefficients of an irreversible component.
PlainPlane ReadBand(const kdu_subband& theBand)
{
    kdu_dims aDims;
    theBand.get_dims(aDims);
    PlainPlane aPlane = MakePlane(aDims);
    kdu_sample_allocator anAllocator;
    kdu_decoder aDecoder(theBand, &anAllocator, false);
    kdu_line_buf aLine;
    aLine.pre_create(&anAllocator, aDims.size.x, false, false);
    anAllocator.finalize();
    aLine.create();
    for (int y = 0; y < aDims.size.y && aDims.size.x > 0; ++y)
    {
        aDecoder.pull(aLine);
        for (int x = 0; x < aDims.size.x; ++x)
        {
            aPlane.itsSamples.push_back(static_cast<double>(aLine.get_buf32()[x].fval));
        }
    }
    return aPlane;
}

PlainPlane SynthesizePlainly(const kdu_tile_comp& theComponent)
{
    std::vector<kdu_resolution> aResolutions;
    for (kdu_resolution aResolution = theComponent.access_resolution(); aResolution.exists();
         aResolution = aResolution.access_next())
    {
        aResolutions.push_back(aResolution);
    }
    PlainPlane aPlane = ReadBand(aResolutions.back().access_subband(0));
    for (aResolutions.pop_back(); !aResolutions.empty(); aResolutions.pop_back())
    {
        kdu_dims aDims;
        aResolutions.back().get_dims(aDims);
        const PlainPlane aLow = std::exchange(aPlane, MakePlane(aDims));
        PlainSynthesize(aPlane,
                        {aLow, ReadBand(aResolutions.back().access_subband(1)),
                         ReadBand(aResolutions.back().access_subband(2)),
                         ReadBand(aResolutions.back().access_subband(3))},
                        false);
    }
    return aPlane;
}

/// T.800 G.3.2.
void UndoColourPlainly(std::vector<PlainPlane>& thePlanes)
{
    for (std::size_t i = 0; i < thePlanes[0].itsSamples.size(); ++i)
    {
        const double aY = thePlanes[0].itsSamples[i];
        const double aCb = thePlanes[1].itsSamples[i];
        const double aCr = thePlanes[2].itsSamples[i];
        thePlanes[0].itsSamples[i] = aY + 1.402 * aCr;
        thePlanes[1].itsSamples[i] = aY - 0.344136 * aCb - 0.714136 * aCr;
        thePlanes[2].itsSamples[i] = aY + 1.772 * aCb;
    }
}

void StorePlainly(const Lane& theLane, const PlainPlane& theTile, std::vector<double>& theSamples)
{
    const PlanarComponent& aPlane = *theLane.itsPlane;
    const double aShift = aPlane.itsSigned ? 0 : std::ldexp(1.0, aPlane.itsDepth - 1);
    theSamples.resize(aPlane.itsSamples.size());
    for (std::size_t i = 0; i < theTile.itsSamples.size(); ++i)
    {
        const auto aWidth = static_cast<std::size_t>(theTile.itsWidth);
        const std::size_t aRow = static_cast<std::size_t>(theLane.itsArea.pos.y) + i / aWidth;
        const std::size_t aColumn = static_cast<std::size_t>(theLane.itsArea.pos.x) + i % aWidth;
        theSamples.at(aRow * aPlane.itsWidth + aColumn) =
            std::clamp<double>(std::ldexp(theTile.itsSamples[i], aPlane.itsDepth) + aShift,
                               aPlane.GetLowest(), aPlane.GetHighest());
    }
}
} // namespace

PlanarImage EngineDecode(const std::vector<std::uint8_t>& theStream, const EngineOptions& theOptions)
{
    return DecodeTiles(theStream, theOptions,
                       [&](kdu_codestream& theCodestream, const kdu_tile& theTile, PlanarImage& theImage)
                       { DecodeTile(theCodestream, theTile, theOptions.itsTakesShorts, theImage); });
}

std::vector<std::vector<double>> EngineDecodePlainly(const std::vector<std::uint8_t>& theStream,
                                                     const EngineOptions& theOptions)
{
    std::vector<std::vector<double>> aSamples;
    DecodeTiles(theStream, theOptions,
                [&](kdu_codestream& theCodestream, const kdu_tile& theTile, PlanarImage& theImage)
                {
                    const std::vector<Lane> aLanes = MakeLanes(theCodestream, theTile, false, theImage);
                    std::vector<PlainPlane> aTiles;
                    for (const Lane& aLane : aLanes)
                    {
                        aTiles.push_back(SynthesizePlainly(aLane.itsComponent));
                    }
                    if (theTile.get_ycc())
                    {
                        UndoColourPlainly(aTiles);
                    }
                    aSamples.resize(aLanes.size());
                    for (std::size_t i = 0; i < aLanes.size(); ++i)
                    {
                        StorePlainly(aLanes[i], aTiles[i], aSamples[i]);
                    }
                });
    return aSamples;
}
