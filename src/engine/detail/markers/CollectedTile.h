// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// What has been read of one tile so far.
struct CollectedTile
{
    std::uint32_t itsTileParts = 0;     ///< that came
    std::uint32_t itsExpectedParts = 0; ///< 0 while no tile-part told
    bool itsIsCutShort = false;         ///< a tile-part ended before its length was reached
    CodingSegments itsCoding;
    std::vector<BodyChunk> itsBody;
    bool itsHasPackedHeaders = false;
    std::vector<std::uint8_t> itsPackedHeaders;

    bool HasAllParts() const { return itsExpectedParts > 0 && itsTileParts >= itsExpectedParts; }
};

} // namespace j2k
