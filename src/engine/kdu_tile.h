// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_types.h"
#include "toolkit/base/BaseTypes.h"

namespace j2k
{
class Resolution;
class Subband;
} // namespace j2k

/// A subband of an open tile, to be handed to kdu_decoder. A handle, valid until the tile is closed.
class QUORIX_API kdu_subband
{
public:
    kdu_subband() = default;
    /// For the engine's own classes.
    explicit kdu_subband(j2k::Subband* theSubband) : itsSubband(theSubband) {}

    /// Whether the handle names a subband. All else may be called only then.
    bool exists() const { return itsSubband != nullptr; }

    /// Position and extent on the subband's own grid (T.800 B-15); with a region those of the part that is
    /// decoded for it, margins of the wavelet included.
    void get_dims(kdu_dims& theDims) const;

    /// For the engine's own classes.
    j2k::Subband* get_state() const { return itsSubband; }

private:
    j2k::Subband* itsSubband = nullptr;
};

/// One resolution of a tile's component. A handle, valid until the tile is closed.
class QUORIX_API kdu_resolution
{
public:
    kdu_resolution() = default;
    /// For the engine's own classes.
    explicit kdu_resolution(j2k::Resolution* theResolution) : itsResolution(theResolution) {}

    /// Whether the handle names a resolution. All else may be called only then.
    bool exists() const { return itsResolution != nullptr; }

    /// 0 for the lowest resolution, which is the LL band alone; each level above adds three subbands.
    int which() const;

    /// Position and extent of the image at this resolution (T.800 B-14); with a region those of the part of
    /// it that is decoded, and below the highest resolution of what it takes.
    void get_dims(kdu_dims& theDims) const;

    /// Resolution 0: band 0 is LL. Above it: 1 HL, 2 LH, 3 HH, and 0 does not exist.
    kdu_subband access_subband(int theBand) const;

    /// The next lower resolution; does not exist below 0.
    kdu_resolution access_next() const;

    /// For the engine's own classes.
    j2k::Resolution* get_state() const { return itsResolution; }

private:
    j2k::Resolution* itsResolution = nullptr;
};

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

    /// Bits per sample; with isInternal one more where a reversible component transform widens chrominance.
    int get_bit_depth(bool isInternal = false) const;

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
