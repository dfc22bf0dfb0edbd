// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// JPEG 2000: the codestream.

#include "engine/kdu_tile.h"
#include "engine/kdu_types.h"
#include "toolkit/base/BaseTypes.h"

class kdu_compressed_source;

namespace j2k
{
class CodestreamState;
}

/// How components are counted and addressed. No multi-component transforms beyond RCT and ICT are
/// supported, so both views show the same components.
enum kdu_component_access_mode
{
    KDU_WANT_CODESTREAM_COMPONENTS,
    KDU_WANT_OUTPUT_COMPONENTS
};

/// One JPEG 2000 codestream (ISO/IEC 15444-1) being decoded from a sequential source.
///
/// A handle: copies name the same codestream, which lives until destroy(). create reads the main header,
/// open_tile reads on until the tile's data is complete; nothing seeks, and nothing behind the end of the
/// codestream is read. Every failure is reported through the installed kdu_message objects. An exception of
/// the source or of a message object passes through; destroy() remains possible. Not thread-safe: one
/// codestream, one thread; codestreams share nothing.
class QUORIX_API kdu_codestream
{
public:
    /// Whether the handle names a codestream: after create, and until destroy() of this very handle.
    bool exists() const { return itsState != nullptr; }

    /// Reads the main header from theSource, which is borrowed until destroy(). Ends what the handle named
    /// before. When it fails, the handle names nothing and exists() is false. Every other member function
    /// but destroy() is a std::logic_error then.
    void create(kdu_compressed_source* theSource);

    /// Ends the codestream and every tile of it; harmless without one.
    void destroy();

    /// Takes everything that can be decoded sensibly; what is missing decodes as zero. The mode until another
    /// is set.
    void set_fast();

    /// As fast, and goes on at the next SOP marker after a damaged packet. Whether every packet is expected
    /// to have one changes nothing: those that are there serve.
    void set_resilient(bool isSOPEverywhere = false);

    /// Refuses every non-conformance from the standard, with a warning. What the main header has shown
    /// already is reported here.
    void set_fussy();

    /// Components of the codestream; with isOutputWanted those that tiles decode.
    int get_num_components(bool isOutputWanted = false) const;

    /// Levels of the wavelet transform that every component of every tile has: the fewest of them all. Where
    /// isAllRead is true the rest of the codestream is read for that; otherwise what has been read counts.
    int get_fewest_levels(bool isAllRead);

    /// Limits what is decoded. theDiscardLevels highest resolutions are left out, at most as many as
    /// get_fewest_levels(true) tells. theMaxLayers: quality layers that are used, 0 for all.
    /// theRegion: a rectangle of the reference grid outside of which nothing is decoded, null for everything;
    /// one that does not meet the image is an error. From then on the codestream, its tiles and all below
    /// them tell the region's places and extents in place of the image's; tiles that the region does not meet
    /// are gone once they were read past.
    /// theFirstComponent must be 0; theMaxComponents at or above the number of
    /// components, or 0, means all of them; a smaller one limits what tiles decode.
    void apply_input_restrictions(int theFirstComponent, int theMaxComponents, int theDiscardLevels,
                                  int theMaxLayers, const kdu_dims* theRegion,
                                  kdu_component_access_mode theAccessMode = KDU_WANT_OUTPUT_COMPONENTS);

    /// Position and extent of a component, or of the region's part of it, on its own grid at the resolution
    /// that is decoded (T.800 B-2, B-15).
    void get_dims(int theComponent, kdu_dims& theDims) const;

    /// Whether the samples of a component are signed before compression.
    bool get_signed(int theComponent) const;

    /// Bits per sample, 1 to 38.
    int get_bit_depth(int theComponent) const;

    /// Horizontal and vertical sampling factors XRsiz and YRsiz.
    kdu_coords get_subsampling(int theComponent) const;

    /// The tiles there are, or those that the region meets: indices run from pos to pos + size - 1 on both
    /// axes.
    void get_valid_tiles(kdu_dims& theIndices) const;

    /// Reads on until the tile is complete, and its packets' headers. The tile lives until its close() or
    /// destroy(). Tiles may be opened in any order, each one once.
    kdu_tile open_tile(kdu_coords theIndex);

    /// What decoding has survived so far; of the packets of a tile that is known once it is open. Tiles whose
    /// data end before their last packet, the sum of the shares of their bytes that are missing (negative
    /// where one of them cannot be told), and the first thing met that makes samples wrong, empty for none.
    /// @{
    int get_truncated_tiles() const;
    double get_missing_tiles() const;
    const char* get_first_damage() const;
    /// @}

private:
    j2k::CodestreamState& GetState() const;

    j2k::CodestreamState* itsState = nullptr;
};
