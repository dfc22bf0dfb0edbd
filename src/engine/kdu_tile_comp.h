// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_resolution.h"
#include "toolkit/base/Export.h"

namespace j2k
{
class TileComponent;
}

/// One component of an open tile. A handle, valid until the tile is closed.
class QUORIX_API kdu_tile_comp
{
public:
    kdu_tile_comp() = default;
    /// For the engine's own classes.
    explicit kdu_tile_comp(j2k::TileComponent* theComponent) : itsComponent(theComponent) {}

    /// Whether the handle names a component. All else may be called only then.
    bool exists() const { return itsComponent != nullptr; }

    /// Whether the 5/3 transform (true) or the 9/7 transform is used.
    bool get_reversible() const;

    /// Bits per sample; with theInternal one more where a reversible component transform widens chrominance.
    int get_bit_depth(bool theInternal = false) const;

    /// Whether samples are signed before compression.
    bool get_signed() const;

    /// Whether the coefficients that are really there are so small that neither the wavelet transform nor
    /// the component transform can leave 16 bits: lines of kdu_sample16 are then exact. Reversible only.
    bool fits_short_lines() const;

    /// Resolutions that are decoded, counted from 1.
    int get_num_resolutions() const;

    /// Resolution theLevel, 0 being the lowest, which does not exist outside; without an argument the highest
    /// that is decoded.
    /// @{
    kdu_resolution access_resolution(int theLevel) const;
    kdu_resolution access_resolution() const;
    /// @}

private:
    j2k::TileComponent* itsComponent = nullptr;
};
