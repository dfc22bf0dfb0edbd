// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_tile_comp.h"

#include "engine/detail/packets/TileComponent.h"

bool kdu_tile_comp::get_reversible() const
{
    return itsComponent->IsReversible();
}

int kdu_tile_comp::get_bit_depth(bool theInternal) const
{
    const bool anIsWider = theInternal && itsComponent->IsReversible() && itsComponent->IsChrominance();
    return itsComponent->GetSize().itsDepth + (anIsWider ? 1 : 0);
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
    const bool anExists = theLevel >= 0 && theLevel < get_num_resolutions();
    return anExists ? kdu_resolution(&itsComponent->GetResolution(static_cast<unsigned int>(theLevel)))
                    : kdu_resolution();
}

kdu_resolution kdu_tile_comp::access_resolution() const
{
    return access_resolution(get_num_resolutions() - 1);
}
