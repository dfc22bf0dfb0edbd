// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/base/Limits.h"
#include "toolkit/dicom/detail/ElementHeader.h"

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

    /// theStream is borrowed.
    explicit ElementParser(PeekableInputStream& theStream);

    /// The element whose header has just been read. Null for one that was passed over: encapsulated
    /// pixel data inside an icon or a private element, which nobody could read from memory.
    std::unique_ptr<DcmElement> ReadElement(const ElementHeader& theHeader);

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

    std::unique_ptr<DcmElement> ReadLeaf(const ElementHeader& theHeader, bool& theSignedPixels);
    std::unique_ptr<DcmElement> ReadSequence(const ElementHeader& theHeader);
    std::vector<std::uint8_t> ReadBytes(const ElementHeader& theHeader);
    void PassFragments(DICOMTag theTag);

    void Step(std::vector<Frame>& theFrames);
    void StepSequence(std::vector<Frame>& theFrames, const ElementHeader& theHeader);
    void StepItem(std::vector<Frame>& theFrames, const ElementHeader& theHeader);
    void PushSequence(std::vector<Frame>& theFrames, DcmSequenceOfItems& theSequence,
                      const ElementHeader& theHeader) const;
    void CountElement(Frame& theFrame);
    std::uint64_t EndOf(const ElementHeader& theHeader, std::uint64_t theOuterEnd) const;

    PeekableInputStream& itsStream;
    const Limits itsLimits = Limits::Get();
    std::uint64_t itsBytesLeft = itsLimits.itsAttributeBytes;
    std::size_t itsElementsLeft = MAXIMUM_ELEMENTS;
    std::size_t itsOutOfOrderLeft = MAXIMUM_OUT_OF_ORDER;
    bool itsSignedPixels = false;
};
