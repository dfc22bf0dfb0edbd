// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/VR.h"
#include "toolkit/dicom/detail/PeekableInputStream.h"

/// How elements stand in a stream.
struct ElementEncoding
{
    bool itsExplicitVR = true;
    DLEndian::Endian itsEndian = DLEndian::LITTLE_ENDIAN_ORDER;
};

/// What stands before an element's value: tag, value representation and length (PS3.5 7.1).
///
/// Internal to this room.
struct ElementHeader
{
    static constexpr std::uint32_t UNDEFINED_LENGTH = 0xffffffff;
    static constexpr DICOMTag Item{0xfffe, 0xe000};
    static constexpr DICOMTag ItemDelimiter{0xfffe, 0xe00d};
    static constexpr DICOMTag SequenceDelimiter{0xfffe, 0xe0dd};

    DICOMTag itsTag;
    std::uint16_t itsTypeCode = 0; ///< from the dictionary where the stream has none; 0 for items
    std::uint32_t itsLength = 0;
    ElementEncoding itsEncoding; ///< of this element; explicit data sets may hold implicit elements

    bool HasUndefinedLength() const { return itsLength == UNDEFINED_LENGTH; }

    /// Looks at the next tag. False at the end of the stream. Throws StreamIOException (code 38) where
    /// fewer than four bytes are left.
    static bool PeekTag(PeekableInputStream& theStream, DLEndian::Endian theEndian, DICOMTag& theTag);

    /// Reads a header. Throws StreamIOException (code 38) where the stream ends before or inside it.
    static ElementHeader Read(PeekableInputStream& theStream, ElementEncoding theEncoding);

    /// Finds out how a data set without file meta information is encoded by its first element; false
    /// when it does not look like a data set.
    static bool Guess(PeekableInputStream& theStream, ElementEncoding& theEncoding);

    /// Whether the next element carries the letters of a known value representation.
    static bool LooksExplicit(PeekableInputStream& theStream);

    /// "(gggg,eeee)"
    static RWCString Format(DICOMTag theTag);
};
