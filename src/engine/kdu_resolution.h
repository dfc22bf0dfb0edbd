// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_types.h"
#include "toolkit/base/Export.h"

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

    /// Position and extent on the subband's own grid (T.800 B-15).
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

    /// Position and extent of the image at this resolution (T.800 B-14).
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
