// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/TileComponent.h"

#include <algorithm>

namespace j2k
{

TileComponent::TileComponent(Tile& theTile, const ComponentSize& theSize, const ComponentCoding& theCoding,
                             const Rect& theTileRect, const Rect& theRect, unsigned int theDiscardLevels)
    : itsSize(theSize), itsRect(theRect), itsReversible(theCoding.itsReversible),
      itsDecodedResolutions(theCoding.itsLevels + 1 -
                            std::min<unsigned int>(theDiscardLevels, theCoding.itsLevels))
{
    const ReferenceScale aScale = {theTileRect.itsX0, theTileRect.itsY0, theSize.itsXRsiz, theSize.itsYRsiz,
                                   0};
    itsResolutions.reserve(theCoding.itsLevels + 1U);
    Resolution* aNext = nullptr;
    for (unsigned int aLevel = 0; aLevel <= theCoding.itsLevels; ++aLevel)
    {
        itsResolutions.push_back(
            std::make_unique<Resolution>(theTile, theCoding, theRect, aLevel, aScale, aNext));
        aNext = itsResolutions.back().get();
    }
}

} // namespace j2k
