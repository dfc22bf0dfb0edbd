// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_tile_comp.h"
#include "toolkit/base/Export.h"

namespace j2k
{
class CodestreamState;
class Tile;
} // namespace j2k

/// An open tile. A handle into its kdu_codestream, valid until close().
class QUORIX_API kdu_tile
{
public:
    kdu_tile() = default;
    kdu_tile(j2k::CodestreamState* theCodestream, j2k::Tile* theTile)
        : itsCodestream(theCodestream), itsTile(theTile)
    {
    }

    bool exists() const { return itsTile != nullptr; }
    int get_num_components() const;

    /// Whether a component transform (RCT or ICT) is to be undone over the first three components.
    bool get_ycc() const;
    kdu_tile_comp access_component(int theComponent) const;

    /// Frees everything that belongs to the tile. What was made over its resolutions must be gone.
    void close();

private:
    j2k::CodestreamState* itsCodestream = nullptr;
    j2k::Tile* itsTile = nullptr;
};
