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

    /// How often this tile's progressions may pass a packet by or have none at all: a few bytes of POC can
    /// name very many of both, for every tile anew.
    std::uint64_t GetMostVisits() const
    {
        return (std::uint64_t(1) << 12) + ((itsBodyBytes + itsPackedHeaders.size()) << 8);
    }

    /// Data is missing at the end (a short codestream); packets that are not there decode as empty.
    bool itsTruncated = false;
};

} // namespace j2k
