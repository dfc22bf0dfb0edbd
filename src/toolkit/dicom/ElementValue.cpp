// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/ElementValue.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcelem.h>

#include "toolkit/dicom/detail/DcmtkBridge.h"

namespace
{
enum class Kind
{
    UNSIGNED,
    SIGNED,
    FLOATING
};

struct NumericType
{
    std::uint16_t itsTypeCode;
    std::size_t itsWidth;
    Kind itsKind;
};

constexpr NumericType kNumericTypes[] = {
    {VR::MakeTypeCode('U', 'S'), 2, Kind::UNSIGNED}, {VR::MakeTypeCode('S', 'S'), 2, Kind::SIGNED},
    {VR::MakeTypeCode('U', 'L'), 4, Kind::UNSIGNED}, {VR::MakeTypeCode('S', 'L'), 4, Kind::SIGNED},
    {VR::MakeTypeCode('U', 'V'), 8, Kind::UNSIGNED}, {VR::MakeTypeCode('S', 'V'), 8, Kind::SIGNED},
    {VR::MakeTypeCode('F', 'L'), 4, Kind::FLOATING}, {VR::MakeTypeCode('F', 'D'), 8, Kind::FLOATING},
};

const NumericType* FindNumeric(std::uint16_t theTypeCode)
{
    for (const NumericType& aType : kNumericTypes)
    {
        if (aType.itsTypeCode == theTypeCode)
        {
            return &aType;
        }
    }
    return nullptr;
}

void TrimEnd(RWCString& theText)
{
    while (!theText.empty() && (theText.back() == ' ' || theText.back() == '\0'))
    {
        theText.pop_back();
    }
}

/// A little-endian integer, sign-extended where the type is signed.
std::uint64_t DecodeInteger(const std::uint8_t* theBytes, const NumericType& theType)
{
    std::uint64_t aValue = 0;
    std::uint64_t aSign = 0;
    for (std::size_t anIndex = theType.itsWidth; anIndex > 0; --anIndex)
    {
        aValue = (aValue << 8) | theBytes[anIndex - 1];
        aSign = aSign == 0 ? 0x80 : aSign << 8;
    }
    return theType.itsKind == Kind::SIGNED ? (aValue ^ aSign) - aSign : aValue;
}

template <class Number>
void AppendNumber(RWCString& theText, Number theNumber)
{
    std::array<char, 64> aBuffer{};
    const auto aResult = std::to_chars(aBuffer.data(), aBuffer.data() + aBuffer.size(), theNumber);
    theText.append(aBuffer.data(), aResult.ptr);
}

void AppendDecoded(RWCString& theText, const std::uint8_t* theBytes, const NumericType& theType)
{
    const std::uint64_t aBits = DecodeInteger(theBytes, theType);
    if (theType.itsKind == Kind::UNSIGNED)
    {
        AppendNumber(theText, aBits);
    }
    else if (theType.itsKind == Kind::SIGNED)
    {
        AppendNumber(theText, static_cast<std::int64_t>(aBits));
    }
    else if (theType.itsWidth == 4)
    {
        AppendNumber(theText, std::bit_cast<float>(static_cast<std::uint32_t>(aBits)));
    }
    else
    {
        AppendNumber(theText, std::bit_cast<double>(aBits));
    }
}

/// The whole text must be the number; blanks around it and a plus sign are allowed.
template <class Number>
bool ParseWhole(const RWCString& theText, Number& theNumber)
{
    const std::size_t aFirst = theText.find_first_not_of(' ');
    if (aFirst == RWCString::npos)
    {
        return false;
    }
    const char* aBegin = theText.data() + aFirst;
    const char* anEnd = theText.data() + theText.find_last_not_of(' ') + 1;
    if (*aBegin == '+' && anEnd - aBegin > 1 && aBegin[1] != '-')
    {
        ++aBegin;
    }
    const auto aResult = std::from_chars(aBegin, anEnd, theNumber);
    return aResult.ec == std::errc() && aResult.ptr == anEnd;
}

bool ParseDecimal(const RWCString& theText, std::int64_t& theValue)
{
    constexpr double aLimit = 9e18; // well inside 64 bits; callers narrow further
    double aNumber = 0;
    if (!ParseWhole(theText, aNumber) || !(std::fabs(aNumber) < aLimit))
    {
        return false;
    }
    theValue = static_cast<std::int64_t>(aNumber);
    return true;
}
} // namespace

ElementValue::ElementValue(DcmElement& theElement)
    : ElementValue(theElement, DcmtkBridge::TypeCodeOf(theElement) == VR::TYPE_UN
                                   ? DcmtkBridge::LookUpTypeCode(DcmtkBridge::TagOf(theElement))
                                   : VR::TYPE_UN)
{
}

ElementValue::ElementValue(DcmElement& theElement, std::uint16_t theTypeCodeOfUnknown)
    : itsElement(theElement), itsTypeCode(DcmtkBridge::TypeCodeOf(theElement)),
      itsUnknown(itsTypeCode == VR::TYPE_UN)
{
    if (itsUnknown)
    {
        itsTypeCode = theTypeCodeOfUnknown == DcmtkBridge::TYPE_US_OR_SS ? VR::MakeTypeCode('U', 'S')
                                                                         : theTypeCodeOfUnknown;
    }
}

bool ElementValue::IsUnsignedShort(DcmElement& theElement, std::uint16_t theValue)
{
    Uint16 aValue = 0;
    return theElement.getVR() == EVR_US && theElement.getLength() == sizeof aValue &&
           theElement.getUint16(aValue).good() && aValue == theValue;
}

bool ElementValue::IsText(DcmElement& theElement, std::uint16_t theTypeCode, const RWCString& theValue)
{
    RWCString aText;
    return DcmtkBridge::TypeCodeOf(theElement) == theTypeCode && ElementValue(theElement).GetRawText(aText) &&
           aText == theValue;
}

bool ElementValue::GetBytes(DLEndian::Endian theEndian, std::vector<std::uint8_t>& theValue) const
{
    if (!itsElement.isLeaf())
    {
        return false;
    }
    RWCString aText;
    if (!itsUnknown && DcmtkBridge::IsString(itsTypeCode))
    {
        if (!GetRawText(aText))
        {
            return false;
        }
        if (aText.size() % 2 != 0)
        {
            aText.push_back(itsTypeCode == VR::MakeTypeCode('U', 'I') ? '\0' : ' ');
        }
        theValue.assign(aText.begin(), aText.end());
        return true;
    }
    std::vector<std::uint8_t> aBytes(itsElement.getLength(EXS_LittleEndianExplicit));
    const E_ByteOrder anOrder = theEndian == DLEndian::BIG_ENDIAN_ORDER ? EBO_BigEndian : EBO_LittleEndian;
    if (!aBytes.empty() &&
        itsElement.getPartialValue(aBytes.data(), 0, static_cast<Uint32>(aBytes.size()), nullptr, anOrder)
            .bad())
    {
        return false;
    }
    theValue.swap(aBytes);
    return true;
}

bool ElementValue::GetRawText(RWCString& theValue) const
{
    if (itsUnknown)
    {
        std::vector<std::uint8_t> aBytes;
        if (!GetBytes(DLEndian::LITTLE_ENDIAN_ORDER, aBytes))
        {
            return false;
        }
        theValue.assign(aBytes.begin(), aBytes.end());
        return true;
    }
    char* aText = nullptr;
    Uint32 aLength = 0;
    if (itsElement.getString(aText, aLength).bad())
    {
        return false;
    }
    theValue = aText != nullptr ? RWCString(aText, aLength) : RWCString();
    return true;
}

bool ElementValue::GetText(RWCString& theValue) const
{
    if (DcmtkBridge::IsString(itsTypeCode))
    {
        RWCString aText;
        if (!GetRawText(aText))
        {
            return false;
        }
        TrimEnd(aText);
        theValue.swap(aText);
        return true;
    }
    const NumericType* aType = FindNumeric(itsTypeCode);
    std::vector<std::uint8_t> aBytes;
    if (aType == nullptr || !GetBytes(DLEndian::LITTLE_ENDIAN_ORDER, aBytes))
    {
        return false;
    }
    RWCString aText;
    for (std::size_t anOffset = 0; aBytes.size() - anOffset >= aType->itsWidth; anOffset += aType->itsWidth)
    {
        if (anOffset > 0)
        {
            aText.push_back('\\');
        }
        AppendDecoded(aText, aBytes.data() + anOffset, *aType);
    }
    theValue.swap(aText);
    return true;
}

bool ElementValue::GetInteger(std::int64_t& theValue) const
{
    Uint16 aShort = 0;
    if (itsTypeCode == VR::MakeTypeCode('U', 'S') && !itsUnknown && itsElement.getUint16(aShort).good())
    {
        // What most elements are that anybody asks the number of.
        theValue = aShort;
        return true;
    }
    const NumericType* aType = FindNumeric(itsTypeCode);
    if (aType != nullptr)
    {
        std::vector<std::uint8_t> aBytes;
        if (aType->itsKind == Kind::FLOATING || aType->itsWidth > 4 ||
            !GetBytes(DLEndian::LITTLE_ENDIAN_ORDER, aBytes) || aBytes.size() < aType->itsWidth)
        {
            return false;
        }
        theValue = static_cast<std::int64_t>(DecodeInteger(aBytes.data(), *aType));
        return true;
    }
    const bool isDecimal = itsTypeCode == VR::MakeTypeCode('D', 'S');
    RWCString aText;
    if ((!isDecimal && itsTypeCode != VR::MakeTypeCode('I', 'S')) || !GetText(aText))
    {
        return false;
    }
    aText = aText.substr(0, aText.find('\\'));
    TrimEnd(aText);
    return isDecimal ? ParseDecimal(aText, theValue) : ParseWhole(aText, theValue);
}

ElementVR::ElementVR(std::unique_ptr<DcmElement> theElement, DLEndian::Endian theEndian)
    : VR(DcmtkBridge::TagOf(*theElement), DcmtkBridge::TypeCodeOf(*theElement), theEndian),
      itsElement(std::move(theElement))
{
}

ElementVR::~ElementVR() = default;

std::uint64_t ElementVR::GetLength() const
{
    return itsElement->getLength(EXS_LittleEndianExplicit, EET_ExplicitLength);
}

const void* ElementVR::GetData() const
{
    if (!itsElement->isLeaf())
    {
        return nullptr;
    }
    if (!itsBytesMade)
    {
        ElementValue(*itsElement).GetBytes(GetEndian(), itsBytes);
        itsBytesMade = true;
    }
    // Not null even for an empty value: null means that there are no plain bytes.
    static const std::uint8_t anEmptyValue = 0;
    return itsBytes.empty() ? &anEmptyValue : itsBytes.data();
}

std::unique_ptr<DcmElement> ElementVR::Release()
{
    return std::move(itsElement);
}
