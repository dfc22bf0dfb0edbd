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
    /// For the engine's own classes.
    kdu_tile(j2k::CodestreamState* theCodestream, j2k::Tile* theTile)
        : itsCodestream(theCodestream), itsTile(theTile)
    {
    }

    /// Whether the handle names a tile. All else but close() may be called only then.
    bool exists() const { return itsTile != nullptr; }

    /// Components that are decoded.
    int get_num_components() const;

    /// Whether a component transform (RCT or ICT) is to be undone over the first three components.
    bool get_ycc() const;

    /// Component theComponent, counted from 0; does not exist outside.
    kdu_tile_comp access_component(int theComponent) const;

    /// Frees everything that belongs to the tile. What was made over its resolutions must be gone.
    void close();

private:
    j2k::CodestreamState* itsCodestream = nullptr;
    j2k::Tile* itsTile = nullptr;
};
