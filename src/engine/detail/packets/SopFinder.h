// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "engine/detail/packets/TileBody.h"

namespace j2k
{

/// Finds SOP marker segments (T.800 A.8.1) in a tile's body. Nothing else in it looks like one: neither
/// packet headers nor code-blocks have a value above 0xFF8F. Borrows the body.
class SopFinder
{
public:
    static constexpr std::uint64_t kSegmentSize = 6;

    struct Segment
    {
        std::uint64_t itsPosition = 0;
        std::uint16_t itsNumber = 0; ///< Nsop
    };

    explicit SopFinder(const TileBody& theBody) : itsCursor(theBody) {}

    /// The first one at or behind thePosition, which never decreases from call to call: all calls together
    /// read the body once.
    std::optional<Segment> Find(std::uint64_t thePosition);

private:
    BodyCursor itsCursor;
    std::optional<Segment> itsFound;
};

} // namespace j2k
