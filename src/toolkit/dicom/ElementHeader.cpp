// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/ElementParser.h"

#include <cstdio>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"

namespace
{
std::uint16_t Get16(const unsigned char* theBytes, DLEndian::Endian theEndian)
{
    const bool isBig = theEndian == DLEndian::BIG_ENDIAN_ORDER;
    return static_cast<std::uint16_t>(isBig ? theBytes[0] << 8 | theBytes[1]
                                            : theBytes[1] << 8 | theBytes[0]);
}

std::uint32_t Get32(const unsigned char* theBytes, DLEndian::Endian theEndian)
{
    const std::uint32_t aFirst = Get16(theBytes, theEndian);
    const std::uint32_t aSecond = Get16(theBytes + 2, theEndian);
    return theEndian == DLEndian::BIG_ENDIAN_ORDER ? aFirst << 16 | aSecond : aSecond << 16 | aFirst;
}

DICOMTag GetTag(const unsigned char* theBytes, DLEndian::Endian theEndian)
{
    return {Get16(theBytes, theEndian), Get16(theBytes + 2, theEndian)};
}

std::uint16_t GetTypeCode(const unsigned char* theBytes)
{
    return static_cast<std::uint16_t>(theBytes[0] << 8 | theBytes[1]);
}

bool IsUpperCase(unsigned char theLetter)
{
    return theLetter >= 'A' && theLetter <= 'Z';
}

/// What writers put where they did not know the value representation, with a length of two bytes.
bool IsPlaceholder(std::uint16_t theTypeCode)
{
    return theTypeCode == VR::MakeTypeCode('?', '?') || theTypeCode == VR::MakeTypeCode(' ', ' ') ||
           theTypeCode == VR::MakeTypeCode('-', '-');
}

[[noreturn]] void ThrowEndInHeader(DICOMTag theTag)
{
    throw StreamIOException("DataSetReader::Next: the stream ends inside the header of element " +
                                ElementHeader::Format(theTag),
                            DLRC_PARSE_ERROR, 0);
}

/// The bytes of a header, which must all be there; theTag only names the element in the message.
const unsigned char* Require(PeekableInputStream& theStream, std::size_t theCount, DICOMTag theTag)
{
    const unsigned char* aData = nullptr;
    if (theStream.Peek(aData, theCount) < theCount)
    {
        ThrowEndInHeader(theTag);
    }
    return aData;
}

/// Reads what follows the tag where the value representation is stated. False, with nothing consumed, when
/// no letters stand there.
bool ReadExplicit(PeekableInputStream& theStream, ElementHeader& theHeader)
{
    const unsigned char* aData = Require(theStream, 8, theHeader.itsTag);
    const std::uint16_t aCode = GetTypeCode(aData + 4);
    const bool hasLetters = IsUpperCase(aData[4]) && IsUpperCase(aData[5]);
    if (!hasLetters && !IsPlaceholder(aCode))
    {
        return false;
    }
    // Value representations of the future have the long form (PS3.5 6.2).
    const bool isKnown = DcmtkBridge::IsKnownTypeCode(aCode);
    const bool isLong = isKnown ? DcmtkBridge::IsLongForm(aCode) : hasLetters;
    const DLEndian::Endian anEndian = theHeader.itsEncoding.itsEndian;
    if (isLong)
    {
        aData = Require(theStream, 12, theHeader.itsTag);
        theHeader.itsLength = Get32(aData + 8, anEndian);
    }
    else
    {
        theHeader.itsLength = Get16(aData + 6, anEndian);
    }
    theHeader.itsTypeCode = isKnown ? aCode : VR::TYPE_UN;
    theStream.Skip(isLong ? 12 : 8);
    return true;
}
} // namespace

RWCString ElementHeader::Format(DICOMTag theTag)
{
    char aText[16];
    std::snprintf(aText, sizeof aText, "(%04x,%04x)", static_cast<unsigned>(theTag.itsGroup),
                  static_cast<unsigned>(theTag.itsElement));
    return aText;
}

bool ElementHeader::PeekTag(PeekableInputStream& theStream, DLEndian::Endian theEndian, DICOMTag& theTag)
{
    const unsigned char* aData = nullptr;
    const std::size_t aCount = theStream.Peek(aData, 4);
    if (aCount == 0)
    {
        return false;
    }
    if (aCount < 4)
    {
        throw StreamIOException("DataSetReader::Next: the stream ends inside a tag", DLRC_PARSE_ERROR, 0);
    }
    theTag = ::GetTag(aData, theEndian);
    return true;
}

ElementHeader ElementHeader::Read(PeekableInputStream& theStream, ElementEncoding theEncoding)
{
    ElementHeader aHeader;
    aHeader.itsEncoding = theEncoding;
    if (!PeekTag(theStream, theEncoding.itsEndian, aHeader.itsTag))
    {
        throw StreamIOException("DataSetReader::Next: the stream ends where an element was expected",
                                DLRC_PARSE_ERROR, 0);
    }
    const bool isItem = aHeader.itsTag.itsGroup == Item.itsGroup;
    if (theEncoding.itsExplicitVR && !isItem && ReadExplicit(theStream, aHeader))
    {
        return aHeader;
    }
    aHeader.itsEncoding.itsExplicitVR = false;
    aHeader.itsLength = Get32(Require(theStream, 8, aHeader.itsTag) + 4, theEncoding.itsEndian);
    aHeader.itsTypeCode = isItem ? std::uint16_t{0} : DcmtkBridge::LookUpTypeCode(aHeader.itsTag);
    theStream.Skip(8);
    DICOMTag aNext;
    // Only the dictionary calls it a sequence; a value without an item is somebody's mistake, and opaque.
    if (aHeader.itsTypeCode == VR::TYPE_SQ && !aHeader.HasUndefinedLength() && aHeader.itsLength > 0 &&
        PeekTag(theStream, theEncoding.itsEndian, aNext) && aNext != Item && aNext != SequenceDelimiter)
    {
        aHeader.itsTypeCode = VR::TYPE_UN;
    }
    return aHeader;
}

bool ElementHeader::LooksExplicit(PeekableInputStream& theStream)
{
    const unsigned char* aData = nullptr;
    return theStream.Peek(aData, 8) == 8 && DcmtkBridge::IsKnownTypeCode(GetTypeCode(aData + 4));
}

bool ElementHeader::Guess(PeekableInputStream& theStream, ElementEncoding& theEncoding)
{
    const unsigned char* aData = nullptr;
    if (theStream.Peek(aData, 8) < 8)
    {
        return false;
    }
    // Data sets begin with a low group number, so the smaller reading is the right one.
    constexpr std::uint16_t aHighestFirstGroup = 0x00ff;
    const DICOMTag aLittle = ::GetTag(aData, DLEndian::LITTLE_ENDIAN_ORDER);
    const DICOMTag aBig = ::GetTag(aData, DLEndian::BIG_ENDIAN_ORDER);
    const bool isBigEndian = aBig.itsGroup < aLittle.itsGroup;
    const DICOMTag aTag = isBigEndian ? aBig : aLittle;
    if (aTag.itsGroup == 0 || aTag.itsGroup > aHighestFirstGroup)
    {
        return false;
    }
    theEncoding.itsEndian = isBigEndian ? DLEndian::BIG_ENDIAN_ORDER : DLEndian::LITTLE_ENDIAN_ORDER;
    theEncoding.itsExplicitVR = LooksExplicit(theStream);
    constexpr std::uint32_t aLongestFirstValue = 0xffff; // of a first element, not a sequence
    return theEncoding.itsExplicitVR ||
           (!isBigEndian && Get32(aData + 4, theEncoding.itsEndian) <= aLongestFirstValue);
}
