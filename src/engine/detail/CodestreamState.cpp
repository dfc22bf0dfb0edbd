// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/CodestreamState.h"

#include <utility>

namespace j2k
{

Tile& CodestreamState::OpenTile(std::uint32_t theIndex)
{
    auto aTile = std::make_unique<Tile>(itsReader.GetImageSize(), itsReader.TakeTile(theIndex),
                                        itsRestrictions, itsPasses, itsReports);
    return *(itsOpenTiles[theIndex] = std::move(aTile));
}

void CodestreamState::CloseTile(const Tile& theTile)
{
    itsOpenTiles.erase(theTile.GetIndex());
}

} // namespace j2k
