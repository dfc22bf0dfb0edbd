// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/VR.h"

class DcmElement;
class DcmItem;

/// What this room asks of DCMTK: its dictionary and its elements, both without a stream.
///
/// Internal to this room: never included by a public header. Thread-safe.
class DcmtkBridge
{
public:
    /// What the dictionary says of elements that are US or SS, depending on Pixel Representation.
    static constexpr std::uint16_t TYPE_US_OR_SS = VR::MakeTypeCode('x', 's');

    /// Keeps DCMTK's own loggers quiet. Must have been called before DCMTK has anything to complain of;
    /// calling it again costs nothing. Affects DCMTK's "dcmtk.dcmdata" logger of the whole process.
    static void SilenceLogging();

    /// The value representation that the dictionary has for a tag: UN when it does not know the tag,
    /// TYPE_US_OR_SS where the data set has to decide. The tags that this library reads are known even
    /// where DCMTK found no dictionary file.
    static std::uint16_t LookUpTypeCode(DICOMTag theTag);

    /// The type of an element that is made of text: the dictionary's, or LO where that is none of text.
    static std::uint16_t LookUpTextTypeCode(DICOMTag theTag);

    /// The dictionary's keyword, such as PatientName; empty for private and unknown tags and for group
    /// lengths.
    static RWCString LookUpKeyword(DICOMTag theTag);

    /// An element with a value of theLength bytes in byte order theEndian, copied. Type codes that DCMTK
    /// does not know become UN. Throws DICOMLibException (code 6) where DCMTK refuses.
    static std::unique_ptr<DcmElement> MakeElement(DICOMTag theTag, std::uint16_t theTypeCode,
                                                   DLEndian::Endian theEndian, const void* theValue,
                                                   std::size_t theLength);

    /// The next bytes of a value, theLength of them. What it throws is thrown on.
    using ValueSource = std::function<void(std::uint8_t* theBuffer, std::size_t theLength)>;

    /// As above, with the value asked for piece by piece: it is never in memory twice.
    static std::unique_ptr<DcmElement> MakeElement(DICOMTag theTag, std::uint16_t theTypeCode,
                                                   DLEndian::Endian theEndian, std::size_t theLength,
                                                   const ValueSource& theSource);

    /// An element with text, padded to an even length as its type wants it.
    static std::unique_ptr<DcmElement> MakeText(DICOMTag theTag, std::uint16_t theTypeCode,
                                                const RWCString& theText);

    /// An element of type US with one value.
    static std::unique_ptr<DcmElement> MakeUnsignedShort(DICOMTag theTag, std::uint16_t theValue);

    /// A sequence without items.
    static std::unique_ptr<DcmElement> MakeSequence(DICOMTag theTag);

    static DICOMTag TagOf(DcmElement& theElement);
    static std::uint16_t TypeCodeOf(DcmElement& theElement);

    /// The element of an item, or null. Borrowed.
    static DcmElement* Find(DcmItem& theItem, DICOMTag theTag);

    /// Whether the two letters are a value representation of PS3.5 6.2, and whether its explicit form
    /// has a length of four bytes (7.1.2).
    static bool IsKnownTypeCode(std::uint16_t theTypeCode);
    static bool IsLongForm(std::uint16_t theTypeCode);
    static bool IsString(std::uint16_t theTypeCode);
};
