// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_tile.h"

#include "engine/detail/CodestreamState.h"
#include "engine/detail/packets/Tile.h"

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
    const bool anExists =
        theComponent >= 0 && static_cast<std::size_t>(theComponent) < itsTile->GetComponentCount();
    return anExists ? kdu_tile_comp(&itsTile->GetComponent(static_cast<std::size_t>(theComponent)))
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
