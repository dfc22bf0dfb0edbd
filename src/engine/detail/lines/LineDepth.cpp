// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/LineDepth.h"

#include <string>

#include "engine/detail/packets/Tile.h"

namespace j2k
{

void CheckLineDepth(const Subband& theLL)
{
    // A subband does not know its component.
    Tile& aTile = theLL.GetTile();
    for (std::size_t c = 0; c < aTile.GetComponentCount(); ++c)
    {
        const TileComponent& aComponent = aTile.GetComponent(c);
        const unsigned int aDepth = aComponent.GetSize().itsDepth;
        if (&aComponent.GetResolution(0).GetSubband(0) == &theLL && aDepth > kDeepestLines)
        {
            aTile.GetReports().Error("Component " + std::to_string(c) + " of tile " +
                                     std::to_string(aTile.GetIndex()) + " has " + std::to_string(aDepth) +
                                     " bits per sample; reversibly coded ones of more than " +
                                     std::to_string(kDeepestLines) + " are not supported");
        }
    }
}

} // namespace j2k
