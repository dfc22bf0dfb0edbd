// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_codestream.h"

#include "engine/detail/CodestreamState.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace
{

const j2k::ComponentSize& GetComponent(const j2k::CodestreamState& theState, int theComponent)
{
    const auto& someComponents = theState.GetReader().GetImageSize().itsComponents;
    if (theComponent < 0 || static_cast<std::size_t>(theComponent) >= someComponents.size())
    {
        theState.GetReports().Error("There is no component " + std::to_string(theComponent));
    }
    return someComponents[static_cast<std::size_t>(theComponent)];
}

kdu_dims ToDims(const j2k::Rect& theRect)
{
    kdu_dims aResult;
    aResult.pos = {static_cast<int>(theRect.itsX0), static_cast<int>(theRect.itsY0)};
    aResult.size = {static_cast<int>(theRect.GetWidth()), static_cast<int>(theRect.GetHeight())};
    return aResult;
}

/// theDims inside the image, without anything where it is null.
std::optional<j2k::Rect> ToRegion(const kdu_dims* theDims, const j2k::CodestreamState& theState)
{
    if (theDims == nullptr)
    {
        return std::nullopt;
    }
    const auto aPlace = [](std::int64_t theCoordinate)
    { return static_cast<std::uint32_t>(std::max<std::int64_t>(theCoordinate, 0)); };
    const auto& [aPosition, aSize] = *theDims;
    const j2k::Rect aWanted{aPlace(aPosition.x), aPlace(aPosition.y),
                            aPlace(std::int64_t{aPosition.x} + aSize.x),
                            aPlace(std::int64_t{aPosition.y} + aSize.y)};
    const j2k::Rect aRegion = aWanted.CutTo(theState.GetReader().GetImageSize().itsImage);
    if (aRegion.IsEmpty())
    {
        theState.GetReports().Error("The region is outside of the image");
    }
    return aRegion;
}

/// What is decoded, on the reference grid.
j2k::Rect GetPart(const j2k::CodestreamState& theState)
{
    return theState.GetRestrictions().itsRegion.value_or(theState.GetReader().GetImageSize().itsImage);
}

} // namespace

j2k::CodestreamState& kdu_codestream::GetState() const
{
    if (itsState == nullptr)
    {
        throw std::logic_error("kdu_codestream: there is no codestream");
    }
    return *itsState;
}

void kdu_codestream::create(kdu_compressed_source* theSource)
{
    if (theSource == nullptr)
    {
        throw std::invalid_argument("kdu_codestream::create: there is no source");
    }
    destroy();
    auto aState = std::make_unique<j2k::CodestreamState>(*theSource);
    aState->GetReader().ReadMainHeader();
    // A handle that is copied freely cannot own by type; destroy() ends what is released here.
    itsState = aState.release();
}

void kdu_codestream::destroy()
{
    const std::unique_ptr<j2k::CodestreamState> aState(itsState);
    itsState = nullptr;
}

void kdu_codestream::set_fast()
{
    GetState().GetReports().SetTolerance(j2k::Tolerance::Fast);
}

void kdu_codestream::set_resilient(bool)
{
    // Whether every packet is expected to have a SOP marker changes nothing: those that are there serve.
    GetState().GetReports().SetTolerance(j2k::Tolerance::Resilient);
}

void kdu_codestream::set_fussy()
{
    GetState().GetReports().SetTolerance(j2k::Tolerance::Fussy);
}

int kdu_codestream::get_num_components(bool isOutputWanted) const
{
    const std::size_t aCount = GetState().GetReader().GetImageSize().itsComponents.size();
    const std::size_t aLimit = GetState().GetRestrictions().itsMaxComponents;
    return static_cast<int>(isOutputWanted && aLimit > 0 ? std::min(aLimit, aCount) : aCount);
}

int kdu_codestream::get_fewest_levels(bool isAllRead)
{
    if (isAllRead)
    {
        GetState().GetReader().ReadAll();
    }
    return static_cast<int>(GetState().GetReader().GetFewestLevels());
}

void kdu_codestream::apply_input_restrictions(int theFirstComponent, int theMaxComponents,
                                              int theDiscardLevels, int theMaxLayers,
                                              const kdu_dims* theRegion, kdu_component_access_mode)
{
    j2k::CodestreamState& aState = GetState();
    if (theFirstComponent != 0)
    {
        aState.GetReports().Error("Decoding from a component other than the first on is not supported");
    }
    const std::optional<j2k::Rect> aRegion = ToRegion(theRegion, aState);
    // Only a restriction is worth waiting for the tile headers.
    const int aDiscard = theDiscardLevels > 0 ? std::min(theDiscardLevels, get_fewest_levels(true)) : 0;
    j2k::TileRestrictions& someRestrictions = aState.GetRestrictions();
    someRestrictions.itsDiscardLevels = static_cast<unsigned int>(aDiscard);
    someRestrictions.itsRegion = aRegion;
    aState.GetReader().KeepOnly(aState.GetReader().GetImageSize().FindTiles(GetPart(aState)));
    someRestrictions.itsMaxLayers = static_cast<unsigned int>(std::max(theMaxLayers, 0));
    someRestrictions.itsMaxComponents =
        theMaxComponents < get_num_components() ? static_cast<std::size_t>(std::max(theMaxComponents, 0)) : 0;
}

void kdu_codestream::get_dims(int theComponent, kdu_dims& theDims) const
{
    const j2k::CodestreamState& aState = GetState();
    GetComponent(aState, theComponent);
    const j2k::Rect aRect = aState.GetReader().GetImageSize().ToComponent(
        GetPart(aState), static_cast<std::size_t>(theComponent));
    theDims = ToDims(aRect.Reduce(aState.GetRestrictions().itsDiscardLevels));
}

bool kdu_codestream::get_signed(int theComponent) const
{
    return GetComponent(GetState(), theComponent).itsSigned;
}

int kdu_codestream::get_bit_depth(int theComponent) const
{
    return GetComponent(GetState(), theComponent).itsDepth;
}

kdu_coords kdu_codestream::get_subsampling(int theComponent) const
{
    const j2k::ComponentSize& aComponent = GetComponent(GetState(), theComponent);
    return {aComponent.itsXRsiz, aComponent.itsYRsiz};
}

void kdu_codestream::get_valid_tiles(kdu_dims& theIndices) const
{
    theIndices = ToDims(GetState().GetReader().GetImageSize().FindTiles(GetPart(GetState())));
}

int kdu_codestream::get_truncated_tiles() const
{
    return static_cast<int>(GetState().GetReports().CountTruncatedTiles());
}

double kdu_codestream::get_missing_tiles() const
{
    return GetState().GetReports().GetMissingTiles().value_or(-1);
}

const char* kdu_codestream::get_first_damage() const
{
    return GetState().GetReports().GetFirstDamage().c_str();
}

kdu_tile kdu_codestream::open_tile(kdu_coords theIndex)
{
    j2k::CodestreamState& aState = GetState();
    const j2k::ImageSize& anImage = aState.GetReader().GetImageSize();
    const j2k::Rect someTiles = anImage.FindTiles(GetPart(aState));
    const auto aColumn = static_cast<std::uint32_t>(theIndex.x);
    const auto aRow = static_cast<std::uint32_t>(theIndex.y);
    if (!someTiles.Contains(aColumn, aRow))
    {
        aState.GetReports().Error("There is no tile (" + std::to_string(theIndex.x) + ", " +
                                  std::to_string(theIndex.y) + ")");
    }
    return kdu_tile(itsState, &aState.OpenTile(aRow * anImage.itsTilesAcross + aColumn));
}
