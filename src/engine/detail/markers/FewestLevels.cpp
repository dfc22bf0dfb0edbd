// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/FewestLevels.h"

#include <algorithm>

namespace j2k
{

FewestLevels::FewestLevels(const TileCoding& theMain, std::uint32_t theTiles)
    : itsFewestOfMain(kMaxLevels), itsComponents(theMain.itsComponents.size()), itsTilesOnMain(theTiles)
{
    for (const ComponentCoding& aComponent : theMain.itsComponents)
    {
        itsFewestOfMain = std::min<unsigned int>(itsFewestOfMain, aComponent.itsLevels);
    }
}

void FewestLevels::AddTile(const CodingSegments& theTile)
{
    const bool anAreAllNamed = theTile.itsComponentStyles.size() == itsComponents;
    for (const auto& [aComponent, aStyle] : theTile.itsComponentStyles)
    {
        itsFewestOfTiles = std::min<unsigned int>(itsFewestOfTiles, aStyle.itsLevels);
    }
    if (theTile.itsStyle && !anAreAllNamed)
    {
        itsFewestOfTiles = std::min<unsigned int>(itsFewestOfTiles, theTile.itsStyle->itsLevels);
    }
    if (theTile.itsStyle || anAreAllNamed)
    {
        --itsTilesOnMain;
    }
}

unsigned int FewestLevels::Get() const
{
    return itsTilesOnMain > 0 ? std::min(itsFewestOfMain, itsFewestOfTiles) : itsFewestOfTiles;
}

} // namespace j2k
