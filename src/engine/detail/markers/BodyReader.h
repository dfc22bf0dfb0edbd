// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/detail/markers/ByteReader.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// Reads the bodies of tile-parts: what stands between SOD and the next marker. Borrows the bytes' reader.
///
/// Packets hold no two bytes above 0xFF8F but SOP and EPH, so SOT and EOC can be found in them.
class BodyReader
{
public:
    explicit BodyReader(ByteReader& theBytes) : itsBytes(theBytes) {}

    /// Appends theCount bytes in pieces that grow with what has arrived. False where the source ends before.
    bool ReadCounted(std::uint64_t theCount, std::vector<BodyChunk>& theBody);

    /// Appends everything before the next SOT or EOC, or the end of the source, and reads not a byte further
    /// than needed to see the marker.
    void ReadToMarker(bool theStartsTilePart, std::vector<BodyChunk>& theBody);

    /// Looks for SOT and EOC in the chunks from theFirst on; the first that is there and all behind it are
    /// put back. False where there is none.
    bool CutAtMarker(std::vector<BodyChunk>& theBody, std::size_t theFirst);

private:
    bool IsTilePartNext();

    ByteReader& itsBytes;
};

} // namespace j2k
