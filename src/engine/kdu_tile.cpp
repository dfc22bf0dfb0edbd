// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_tile.h"

#include "engine/detail/CodestreamState.h"
#include "engine/detail/packets/Subband.h"
#include "engine/detail/packets/Tile.h"
#include "engine/detail/packets/TileComponent.h"

namespace
{
void ToDims(const j2k::Rect& theRect, kdu_dims& theDims)
{
    theDims.pos.x = static_cast<int>(theRect.itsX0);
    theDims.pos.y = static_cast<int>(theRect.itsY0);
    theDims.size.x = static_cast<int>(theRect.GetWidth());
    theDims.size.y = static_cast<int>(theRect.GetHeight());
}
} // namespace

void kdu_subband::get_dims(kdu_dims& theDims) const
{
    ToDims(itsSubband->GetWindow(), theDims);
}

int kdu_resolution::which() const
{
    return static_cast<int>(itsResolution->GetLevel());
}

void kdu_resolution::get_dims(kdu_dims& theDims) const
{
    ToDims(itsResolution->GetWindow(), theDims);
}

kdu_subband kdu_resolution::access_subband(int theBand) const
{
    const bool isThere = which() == 0 ? theBand == 0 : theBand >= 1 && theBand <= 3;
    const int anIndex = theBand == 0 ? 0 : theBand - 1;
    return isThere ? kdu_subband(&itsResolution->GetSubband(static_cast<unsigned int>(anIndex)))
                   : kdu_subband();
}

kdu_resolution kdu_resolution::access_next() const
{
    return kdu_resolution(itsResolution->GetNext());
}

bool kdu_tile_comp::get_reversible() const
{
    return itsComponent->IsReversible();
}

int kdu_tile_comp::get_bit_depth(bool isInternal) const
{
    const bool isWider = isInternal && itsComponent->IsReversible() && itsComponent->IsChrominance();
    return itsComponent->GetSize().itsDepth + (isWider ? 1 : 0);
}

bool kdu_tile_comp::get_signed() const
{
    return itsComponent->GetSize().itsSigned;
}

bool kdu_tile_comp::fits_short_lines() const
{
    return itsComponent->FitsShortLines();
}

int kdu_tile_comp::get_num_resolutions() const
{
    return static_cast<int>(itsComponent->GetResolutionCount());
}

kdu_resolution kdu_tile_comp::access_resolution(int theLevel) const
{
    const bool isThere = theLevel >= 0 && theLevel < get_num_resolutions();
    return isThere ? kdu_resolution(&itsComponent->GetResolution(static_cast<unsigned int>(theLevel)))
                   : kdu_resolution();
}

kdu_resolution kdu_tile_comp::access_resolution() const
{
    return access_resolution(get_num_resolutions() - 1);
}

int kdu_tile::get_num_components() const
{
    return static_cast<int>(itsTile->GetComponentCount());
}

bool kdu_tile::get_ycc() const
{
    return itsTile->HasComponentTransform();
}

kdu_tile_comp kdu_tile::access_component(int theComponent) const
{
    const bool isThere =
        theComponent >= 0 && static_cast<std::size_t>(theComponent) < itsTile->GetComponentCount();
    return isThere ? kdu_tile_comp(&itsTile->GetComponent(static_cast<std::size_t>(theComponent)))
                   : kdu_tile_comp();
}

void kdu_tile::close()
{
    if (itsTile != nullptr)
    {
        itsCodestream->CloseTile(*itsTile);
        itsTile = nullptr;
    }
}
