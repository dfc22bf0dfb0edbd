// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/VR.h"
#include "toolkit/dicom/detail/StreamFilters.h"

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

class DcmElement;
class DcmItem;
class DcmSequenceOfItems;

/// Reads the values of elements, sequences with all their items included, from a stream.
///
/// Lengths are checked against what surrounds them and against what the stream still has before memory
/// is taken; nesting is followed with a stack of its own. How deep it may go and how much the values of one
/// data set may take, Limits says. Errors are StreamIOExceptions (code 38) that name the tag;
/// what the stream throws passes through. Internal to this room; not thread-safe.
class ElementParser
{
public:
    static constexpr std::size_t MAXIMUM_ELEMENTS_OF_ITEM = 32768;
    static constexpr std::size_t MAXIMUM_ELEMENTS = std::size_t{4} << 20;

    /// Each element that comes after a greater one costs a search through all before it.
    static constexpr std::size_t MAXIMUM_OUT_OF_ORDER = 1024;

    /// theStream is borrowed. isInflated: it comes out of deflated data, of which few bytes ask for much.
    ElementParser(PeekableInputStream& theStream, bool isInflated);

    /// The element whose header has just been read. Null for one that was passed over: encapsulated
    /// pixel data inside an icon or a private element, which nobody could read from memory.
    std::unique_ptr<DcmElement> ReadElement(const ElementHeader& theHeader);

    /// Passes over an item of undefined length that no sequence is around, up to its delimiter. theHeader:
    /// its own, which has just been read; theEncoding: of the elements in it. All limits of sequences hold
    /// for it.
    void PassItem(const ElementHeader& theHeader, ElementEncoding theEncoding);

    /// Counts an element of one item or data set, whose greatest tag so far is theGreatest. Throws where
    /// too many of the whole data set are out of order.
    void CheckOrder(DICOMTag theTag, DICOMTag& theGreatest);

private:
    static constexpr std::uint64_t NO_END = ~std::uint64_t{0};

    /// A sequence (itsItem is null) or an item that is being read.
    struct Frame
    {
        DcmSequenceOfItems* itsSequence;
        DcmItem* itsItem;
        DICOMTag itsTag;      ///< of the sequence
        std::uint64_t itsEnd; ///< in bytes consumed of the stream; NO_END when nothing bounds it
        ElementEncoding itsEncoding;
        bool itsGuessEncoding; ///< items of an UN element: implicit by the standard, explicit at times
        bool itsSignedPixels;
        std::size_t itsElementCount;
        DICOMTag itsGreatestTag; ///< of the item's elements
    };

    std::unique_ptr<DcmElement> ReadLeaf(const ElementHeader& theHeader, bool& isPixelSigned);
    std::unique_ptr<DcmElement> ReadSequence(const ElementHeader& theHeader);
    std::vector<Frame> MakeFrames(DcmElement& theRoot, const ElementHeader& theHeader) const;
    std::unique_ptr<DcmElement> ReadValue(const ElementHeader& theHeader, std::uint16_t theTypeCode,
                                          DLEndian::Endian theEndian);
    void CheckValue(const ElementHeader& theHeader);
    void CheckInflated(const ElementHeader& theHeader);
    void PassFragments(DICOMTag theTag);

    void Step(std::vector<Frame>& theFrames);
    void StepSequence(std::vector<Frame>& theFrames, const ElementHeader& theHeader);
    void StepItem(std::vector<Frame>& theFrames, const ElementHeader& theHeader);
    void PushSequence(std::vector<Frame>& theFrames, DcmSequenceOfItems& theSequence,
                      const ElementHeader& theHeader) const;
    void CountElement(Frame& theFrame, const ElementHeader& theHeader);
    std::uint64_t EndOf(const ElementHeader& theHeader, std::uint64_t theOuterEnd) const;

    PeekableInputStream& itsStream;
    const Limits itsLimits = Limits::Get();
    std::uint64_t itsBytesLeft = itsLimits.itsAttributeBytes;
    const bool itsIsInflated;
    std::uint64_t itsElementBytes = 0; ///< what the elements themselves take, as far as they count
    std::size_t itsElementsLeft = MAXIMUM_ELEMENTS;
    std::size_t itsOutOfOrderLeft = MAXIMUM_OUT_OF_ORDER;
    bool itsSignedPixels = false;
};
