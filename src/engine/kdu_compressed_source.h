// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Where codecs get their bytes from.

#include <cstdint>

#include "toolkit/base/BaseTypes.h"

/// One compressed byte.
using kdu_byte = std::uint8_t;
/// A position in a source.
using kdu_long = std::int64_t;

/// The source can be read from front to back.
constexpr int KDU_SOURCE_CAP_SEQUENTIAL = 1;
/// The source can be sought.
constexpr int KDU_SOURCE_CAP_SEEKABLE = 2;

/// The pull source through which every codec reads its compressed bytes.
///
/// Implementations may throw; codecs let the exception pass. Not thread-safe: one source, one decode.
class QUORIX_API kdu_compressed_source
{
public:
    virtual ~kdu_compressed_source();

    /// Tells the source that nothing more will be read. Returns true when that went well.
    virtual bool close();

    /// KDU_SOURCE_CAP_… values, added.
    virtual int get_capabilities() = 0;

    /// Reads up to theCount bytes. Returns the number delivered, 0 at the end of the data, a negative
    /// value on an error of the source.
    virtual int read(kdu_byte* theBuffer, int theCount) = 0;

    /// Goes to a position relative to the start of the source; false where that is not possible.
    virtual bool seek(kdu_long thePosition);

    /// The current position, or -1 where it is not known.
    virtual kdu_long get_pos();

    /// Limits what is read to one tile's header or to one precinct, for sources that deliver a
    /// codestream piecemeal; false where that is not possible.
    /// @{
    virtual bool set_tile_scope(int theTileIndex, int theTileCount);
    virtual bool set_precinct_scope(kdu_long thePrecinctId);
    /// @}
};
