// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/markers/TileCoding.h"

namespace j2k
{

/// Bytes of a tile-part's body as they were read, in pieces whose addresses stay while the tile lives.
struct BodyChunk
{
    std::vector<std::uint8_t> itsBytes;
    std::uint64_t itsOffset = 0;    ///< of the first byte, from the start of the codestream
    bool itsStartsTilePart = false; ///< packets do not cross tile-parts
};

/// Everything that the tile-parts of one tile contained.
struct TileData
{
    std::uint32_t itsIndex = 0;
    TileCoding itsCoding;
    std::vector<BodyChunk> itsBody;
    std::uint64_t itsBodyBytes = 0;

    /// Packet headers out of PPM or PPT marker segments, in order; used instead of those in the body.
    bool itsHasPackedHeaders = false;
    std::vector<std::uint8_t> itsPackedHeaders;

    /// Data is missing at the end (a short codestream); packets that are not there decode as empty.
    bool itsTruncated = false;
};

} // namespace j2k
