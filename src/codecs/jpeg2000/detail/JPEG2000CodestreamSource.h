// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "engine/kdu_compressed_source.h"
#include "jp2/JP2Colours.h"

/// The codestream inside what a codec's source delivers: the source itself, or the codestream box of a JP2
/// file.
///
/// A look at the first four bytes tells which; they are delivered again, so every byte is read from the
/// source once. Nothing behind a codestream box of known length is read. The source is borrowed. Not
/// thread-safe.
class JPEG2000CodestreamSource final : public kdu_compressed_source
{
public:
    explicit JPEG2000CodestreamSource(kdu_compressed_source& theSource) : itsSource(theSource) {}

    /// To be called once, before the first read. What is wrong with the boxes of a JP2 file is reported as an
    /// error of the engine; isHeaderOptional: a missing header box is none.
    void FindCodestream(bool isHeaderOptional);

    /// Whether a JP2 file without a header box was found.
    bool LacksHeader() const { return itsLacksHeader; }

    /// What the header of a JP2 file says of colours: nothing for a bare codestream.
    const JP2Colours& GetColours() const { return itsColours; }

    int read(kdu_byte* theBuffer, int theCount) override;
    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

private:
    void ReadBoxes(bool isHeaderOptional);

    kdu_compressed_source& itsSource;
    std::array<std::uint8_t, 4> itsFront{}; ///< bytes that were looked at
    bool itsLacksHeader = false;
    JP2Colours itsColours;
    std::size_t itsFrontSize = 0;
    std::size_t itsFrontPosition = 0;
    std::uint64_t itsRemaining = std::numeric_limits<std::uint64_t>::max(); ///< that may still be read
};
