// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/ElementParser.h"

#include <algorithm>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcsequen.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementValue.h"

namespace
{
/// Values up to this size are read without asking the stream how much it still has.
constexpr std::size_t kSmallValue = 64u << 10;

[[noreturn]] void Fail(const RWCString& theWhat, DICOMTag theTag)
{
    throw StreamIOException("DataSetReader::Next: " + theWhat + ElementHeader::Format(theTag),
                            DLRC_PARSE_ERROR, 0);
}

/// A sequence of undefined length, or one that says so. An UN element of undefined length is a sequence
/// too (PS3.5 6.2.2).
bool IsSequence(const ElementHeader& theHeader)
{
    if (theHeader.itsTypeCode == VR::TYPE_SQ)
    {
        return true;
    }
    return theHeader.HasUndefinedLength() && theHeader.itsTag != DICOMTags::PixelData &&
           (theHeader.itsTypeCode == VR::TYPE_UN || !theHeader.itsEncoding.itsExplicitVR);
}

/// Whether an element is an explicit UN whose value the dictionary knows how to read.
bool IsDisguised(const ElementHeader& theHeader, std::uint16_t theKnownCode)
{
    return theHeader.itsEncoding.itsExplicitVR && theHeader.itsTypeCode == VR::TYPE_UN &&
           theKnownCode != VR::TYPE_UN && theKnownCode != VR::TYPE_SQ;
}
} // namespace

ElementParser::ElementParser(PeekableInputStream& theStream, bool isInflated)
    : itsStream(theStream), itsIsInflated(isInflated)
{
}

std::unique_ptr<DcmElement> ElementParser::ReadElement(const ElementHeader& theHeader)
{
    CheckInflated(theHeader);
    if (IsSequence(theHeader))
    {
        return ReadSequence(theHeader);
    }
    if (theHeader.HasUndefinedLength())
    {
        PassFragments(theHeader.itsTag);
        return nullptr;
    }
    return ReadLeaf(theHeader, itsSignedPixels);
}

std::unique_ptr<DcmElement> ElementParser::ReadLeaf(const ElementHeader& theHeader, bool& isPixelSigned)
{
    std::uint16_t aCode = theHeader.itsTypeCode;
    DLEndian::Endian anEndian = theHeader.itsEncoding.itsEndian;
    if (aCode == VR::TYPE_UN)
    {
        const std::uint16_t aKnownCode = DcmtkBridge::LookUpTypeCode(theHeader.itsTag);
        if (IsDisguised(theHeader, aKnownCode))
        {
            aCode = aKnownCode;
            anEndian = DLEndian::LITTLE_ENDIAN_ORDER; // whatever the transfer syntax (PS3.5 6.2.2)
        }
    }
    if (aCode == DcmtkBridge::TYPE_US_OR_SS)
    {
        aCode = VR::MakeTypeCode(isPixelSigned ? 'S' : 'U', 'S');
    }
    auto anElement = ReadValue(theHeader, aCode, anEndian);
    std::int64_t aNumber = 0;
    if (theHeader.itsTag == DICOMTags::PixelRepresentation && ElementValue(*anElement).GetInteger(aNumber))
    {
        isPixelSigned = aNumber == 1;
    }
    return anElement;
}

void ElementParser::CheckValue(const ElementHeader& theHeader)
{
    const std::size_t aLength = theHeader.itsLength;
    if (aLength > itsBytesLeft)
    {
        const std::uint64_t aLimit = itsLimits.itsAttributeBytes;
        Fail(Limits::Describe(aLimit - itsBytesLeft + aLength, "bytes of attribute values", aLimit) +
                 ", with element ",
             theHeader.itsTag);
    }
    itsBytesLeft -= aLength;
    const long long aRemaining = aLength > kSmallValue ? itsStream.GetRemaining() : -1;
    if (aRemaining >= 0 && static_cast<std::uint64_t>(aRemaining) < aLength)
    {
        Fail("the stream ends inside element ", theHeader.itsTag);
    }
}

std::unique_ptr<DcmElement> ElementParser::ReadValue(const ElementHeader& theHeader,
                                                     std::uint16_t theTypeCode, DLEndian::Endian theEndian)
{
    CheckValue(theHeader);
    const auto aRead = [&](std::uint8_t* theBuffer, std::size_t theLength)
    {
        if (itsStream.ReadFully(theBuffer, theLength) < theLength)
        {
            Fail("the stream ends inside element ", theHeader.itsTag);
        }
    };
    try
    {
        return DcmtkBridge::MakeElement(theHeader.itsTag, theTypeCode, theEndian, theHeader.itsLength, aRead);
    }
    catch (const StreamIOException&)
    {
        throw;
    }
    catch (const DICOMLibException&)
    {
        Fail("no value can be made for element ", theHeader.itsTag);
    }
}

void ElementParser::CheckInflated(const ElementHeader& theHeader)
{
    // An empty item takes about so much.
    constexpr std::uint64_t kElement = 256;
    itsElementBytes += kElement;
    const std::uint64_t aBytes = itsStream.GetConsumed() + itsElementBytes +
                                 (theHeader.HasUndefinedLength() ? 0 : theHeader.itsLength);
    if (itsIsInflated && aBytes > itsLimits.itsInflatedBytes)
    {
        Fail(Limits::Describe(aBytes, "bytes of a deflated data set before its pixel data",
                              itsLimits.itsInflatedBytes) +
                 ", with element ",
             theHeader.itsTag);
    }
}

void ElementParser::PassFragments(DICOMTag theTag)
{
    for (;;)
    {
        const ElementHeader aHeader = ElementHeader::Read(itsStream, {false, DLEndian::LITTLE_ENDIAN_ORDER});
        if (aHeader.itsTag == ElementHeader::SequenceDelimiter)
        {
            return;
        }
        if (aHeader.itsTag != ElementHeader::Item || aHeader.HasUndefinedLength())
        {
            Fail("no fragment where one must be in element ", theTag);
        }
        CheckInflated(aHeader);
        if (itsStream.SkipFully(aHeader.itsLength) < aHeader.itsLength)
        {
            Fail("the stream ends inside element ", theTag);
        }
    }
}

std::unique_ptr<DcmElement> ElementParser::ReadSequence(const ElementHeader& theHeader)
{
    auto aRoot = DcmtkBridge::MakeSequence(theHeader.itsTag);
    std::vector<Frame> aFrames = MakeFrames(*aRoot, theHeader);
    while (aFrames.size() > 1)
    {
        Step(aFrames);
    }
    return aRoot;
}

/// The frame that stands below all, and that of a sequence.
std::vector<ElementParser::Frame> ElementParser::MakeFrames(DcmElement& theRoot,
                                                            const ElementHeader& theHeader) const
{
    std::vector<Frame> aFrames;
    aFrames.push_back({nullptr, nullptr, theHeader.itsTag, NO_END, theHeader.itsEncoding, false,
                       itsSignedPixels, 0, DICOMTag()});
    PushSequence(aFrames, static_cast<DcmSequenceOfItems&>(theRoot), theHeader);
    return aFrames;
}

void ElementParser::PassItem(const ElementHeader& theHeader, ElementEncoding theEncoding)
{
    // Read into a sequence that nobody keeps.
    ElementHeader aHeader = theHeader;
    aHeader.itsEncoding = theEncoding;
    const auto aRoot = DcmtkBridge::MakeSequence(theHeader.itsTag);
    std::vector<Frame> aFrames = MakeFrames(*aRoot, aHeader);
    const std::size_t anEnd = aFrames.size();
    StepSequence(aFrames, theHeader);
    while (aFrames.size() > anEnd)
    {
        Step(aFrames);
    }
}

std::uint64_t ElementParser::EndOf(const ElementHeader& theHeader, std::uint64_t theOuterEnd) const
{
    if (theHeader.HasUndefinedLength())
    {
        return theOuterEnd;
    }
    const std::uint64_t anEnd = itsStream.GetConsumed() + theHeader.itsLength;
    if (anEnd > theOuterEnd)
    {
        Fail("an element runs past the end of the sequence around it: ", theHeader.itsTag);
    }
    return anEnd;
}

void ElementParser::PushSequence(std::vector<Frame>& theFrames, DcmSequenceOfItems& theSequence,
                                 const ElementHeader& theHeader) const
{
    // A sequence and its item are a frame each, and one frame stands below all of them.
    if (theFrames.size() / 2 >= itsLimits.itsNestedSequences)
    {
        Fail(Limits::Describe(theFrames.size() / 2 + 1, "nested sequences", itsLimits.itsNestedSequences) +
                 ", at element ",
             theHeader.itsTag);
    }
    Frame aFrame = theFrames.back();
    aFrame.itsSequence = &theSequence;
    aFrame.itsItem = nullptr;
    aFrame.itsTag = theHeader.itsTag;
    aFrame.itsEnd = EndOf(theHeader, aFrame.itsEnd);
    aFrame.itsGuessEncoding = false;
    if (theHeader.itsTypeCode == VR::TYPE_UN && theHeader.itsEncoding.itsExplicitVR)
    {
        aFrame.itsEncoding = {false, DLEndian::LITTLE_ENDIAN_ORDER};
        aFrame.itsGuessEncoding = true;
    }
    theFrames.push_back(aFrame);
}

void ElementParser::Step(std::vector<Frame>& theFrames)
{
    const Frame& aTop = theFrames.back();
    if (itsStream.GetConsumed() >= aTop.itsEnd)
    {
        theFrames.pop_back();
        return;
    }
    DICOMTag aTag;
    if (!ElementHeader::PeekTag(itsStream, aTop.itsEncoding.itsEndian, aTag))
    {
        Fail("the stream ends inside sequence ", aTop.itsTag);
    }
    const ElementHeader aHeader = ElementHeader::Read(itsStream, aTop.itsEncoding);
    if (aTop.itsItem != nullptr)
    {
        StepItem(theFrames, aHeader);
    }
    else
    {
        StepSequence(theFrames, aHeader);
    }
}

void ElementParser::CountElement(Frame& theFrame, const ElementHeader& theHeader)
{
    CheckInflated(theHeader);
    if (++theFrame.itsElementCount > MAXIMUM_ELEMENTS_OF_ITEM && theFrame.itsItem != nullptr)
    {
        Fail("too many elements in an item of sequence ", theFrame.itsTag);
    }
    if (itsElementsLeft-- == 0)
    {
        Fail("too many elements up to sequence ", theFrame.itsTag);
    }
}

void ElementParser::CheckOrder(DICOMTag theTag, DICOMTag& theGreatest)
{
    if (theTag >= theGreatest)
    {
        theGreatest = theTag;
    }
    else if (itsOutOfOrderLeft-- == 0)
    {
        Fail("too many elements out of order up to ", theTag);
    }
}

void ElementParser::StepSequence(std::vector<Frame>& theFrames, const ElementHeader& theHeader)
{
    if (theHeader.itsTag == ElementHeader::SequenceDelimiter)
    {
        theFrames.pop_back();
        return;
    }
    if (theHeader.itsTag != ElementHeader::Item)
    {
        Fail("no item where one must be in sequence ", theFrames.back().itsTag);
    }
    CountElement(theFrames.back(), theHeader);
    Frame aFrame = theFrames.back();
    aFrame.itsEnd = EndOf(theHeader, aFrame.itsEnd);
    aFrame.itsElementCount = 0;
    aFrame.itsGreatestTag = DICOMTag();
    if (aFrame.itsGuessEncoding)
    {
        aFrame.itsEncoding.itsExplicitVR = ElementHeader::LooksExplicit(itsStream);
    }
    auto anItem = std::make_unique<DcmItem>();
    if (aFrame.itsSequence->append(anItem.get()).bad())
    {
        Fail("an item could not be kept in sequence ", aFrame.itsTag);
    }
    aFrame.itsItem = anItem.release(); // the sequence owns it now
    theFrames.push_back(aFrame);
}

void ElementParser::StepItem(std::vector<Frame>& theFrames, const ElementHeader& theHeader)
{
    Frame& aTop = theFrames.back();
    if (theHeader.itsTag.itsGroup == ElementHeader::Item.itsGroup)
    {
        if (theHeader.itsTag == ElementHeader::Item)
        {
            Fail("an item inside an item of sequence ", aTop.itsTag);
        }
        // A sequence delimiter ends an item whose own delimiter is missing, and the sequence with it.
        theFrames.resize(theFrames.size() - (theHeader.itsTag == ElementHeader::SequenceDelimiter ? 2 : 1),
                         aTop);
        return;
    }
    CountElement(aTop, theHeader);
    CheckOrder(theHeader.itsTag, aTop.itsGreatestTag);
    EndOf(theHeader, aTop.itsEnd);
    std::unique_ptr<DcmElement> anElement;
    if (IsSequence(theHeader))
    {
        anElement = DcmtkBridge::MakeSequence(theHeader.itsTag);
    }
    else if (theHeader.HasUndefinedLength())
    {
        PassFragments(theHeader.itsTag);
        return;
    }
    else
    {
        anElement = ReadLeaf(theHeader, aTop.itsSignedPixels);
    }
    DcmElement& aKept = *anElement;
    if (aTop.itsItem->insert(anElement.get(), OFTrue).bad())
    {
        Fail("an element could not be kept: ", theHeader.itsTag);
    }
    static_cast<void>(anElement.release()); // the item owns it now
    if (IsSequence(theHeader))
    {
        PushSequence(theFrames, static_cast<DcmSequenceOfItems&>(aKept), theHeader);
    }
}
