// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "engine/kdu_compressed_source.h"
#include "jp2/JP2Colours.h"
#include "toolkit/base/BaseTypes.h"

/// A sequential source seen as a file of the JP2 family (ISO/IEC 15444-1 Annex I).
///
/// Borrows the source from open to close. Bytes that a caller has looked at already can be put in front.
/// What the source throws passes through; an error it returns is reported as one of the engine. Not
/// thread-safe.
class QUORIX_API jp2_family_src
{
public:
    /// theSource stands at the first byte of the file.
    void open(kdu_compressed_source* theSource);

    /// Puts bytes that were read from the source already in front of it, before anything has been read here.
    void put_back(const std::uint8_t* theBytes, std::size_t theCount);

    /// Forgets the source; it is not closed.
    void close();

    /// Whether a source is open.
    bool exists() const { return itsSource != nullptr; }

    /// Reads exactly theCount bytes, fewer only at the end of the source.
    std::size_t read(std::uint8_t* theBytes, std::size_t theCount);

    /// Bytes read so far: the position in the file.
    std::uint64_t get_pos() const { return itsPosition; }

private:
    kdu_compressed_source* itsSource = nullptr;
    std::vector<std::uint8_t> itsFront;
    std::size_t itsFrontPosition = 0;
    std::uint64_t itsPosition = 0;
};

/// Where in a file a box begins. Sequential files know the first box only.
struct jp2_locator
{
    std::uint64_t itsFilePosition = 0; ///< bytes from the start of the file
};

/// The codestream of a JP2 file (ISO/IEC 15444-1 Annex I): reads signature, file type and header boxes up to
/// the contents of the contiguous codestream box.
///
/// What is wrong with the boxes is reported as an error of the engine, see kdu_customize_errors, with a text
/// that begins "Error in Kakadu File Format Support:". Boxes that are not needed are skipped;
/// those of colours, palettes and channels are kept as they are. Borrows the file from open to close. Not
/// thread-safe.
class QUORIX_API jp2_source
{
public:
    /// The length of a codestream that reaches to the end of the file.
    static constexpr std::uint64_t kUnknownLength = std::numeric_limits<std::uint64_t>::max();

    /// theFile stands at its first byte, which is where theLocator must point.
    void open(jp2_family_src* theFile, jp2_locator theLocator = jp2_locator());

    /// Leaves the file at the first byte of the codestream.
    void read_header();

    /// Forgets the file.
    void close();

    /// Whether a file is open.
    bool exists() const { return itsFile != nullptr; }

    /// After read_header: bytes of the codestream box's contents, or kUnknownLength.
    std::uint64_t get_codestream_length() const { return itsCodestreamLength; }

    /// After read_header: what the image header box says, right or wrong; the codestream decides.
    /// @{
    std::uint32_t get_width() const { return itsWidth; }
    std::uint32_t get_height() const { return itsHeight; }
    int get_num_components() const { return itsComponents; }
    /// @}

    /// After read_header: what the header says of colours.
    const JP2Colours& get_colours() const { return itsColours; }

    /// A file without a header box is read as well: the codestream says what is needed.
    void accept_missing_header() { itsMayLackHeader = true; }

    /// After read_header: whether the file has none.
    bool lacks_header() const { return itsLacksHeader; }

private:
    bool itsMayLackHeader = false;
    bool itsLacksHeader = false;
    class HeaderReader;

    jp2_family_src* itsFile = nullptr;
    std::uint64_t itsCodestreamLength = 0;
    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    int itsComponents = 0;
    JP2Colours itsColours;
};
