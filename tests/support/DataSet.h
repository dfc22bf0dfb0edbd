// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "support/TemporaryFile.h"
#include "support/Words.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

/// A data set with short ways to fill and read it.
class DataSet : public DICOMDataObject
{
public:
    using Bytes = std::vector<std::uint8_t>;
    using DICOMDataObject::DICOMDataObject;

    MVRFactory Factory() const { return {GetDataDictionary(), GetEndian(), VR::GetDefaultMemoryAllocater()}; }

    /// "(absent)" and kNone stand for no such element.
    /// @{
    DataSet& SetText(DICOMTag theTag, const RWCString& theValue)
    {
        RemoveVR(theTag);
        ReplaceVR(theValue == "(absent)" ? nullptr : Factory().CreateString(theTag, theValue));
        return *this;
    }

    DataSet& SetNumbers(DICOMTag theTag, const std::vector<std::uint16_t>& theValues)
    {
        ReplaceVR(Factory().CreateUnsignedShorts(theTag, theValues));
        return *this;
    }

    DataSet& SetNumber(DICOMTag theTag, int theValue)
    {
        RemoveVR(theTag);
        return theValue == kNone ? *this : SetNumbers(theTag, {static_cast<std::uint16_t>(theValue)});
    }
    /// @}

    /// Describes unsigned grey pixels.
    DataSet& SetGrey(int theRows, int theColumns, int theBitsAllocated, int theBitsStored)
    {
        for (const auto& [aTag, aValue] : {std::pair(DICOMTags::Rows, theRows),
                                           {DICOMTags::Columns, theColumns},
                                           {DICOMTags::BitsAllocated, theBitsAllocated},
                                           {DICOMTags::BitsStored, theBitsStored},
                                           {DICOMTags::HighBit, theBitsStored - 1},
                                           {DICOMTags::PixelRepresentation, 0},
                                           {DICOMTags::SamplesPerPixel, 1}})
        {
            SetNumber(aTag, aValue);
        }
        return SetText(DICOMTags::PhotometricInterpretation, "MONOCHROME2");
    }

    DataSet& SetBytes(DICOMTag theTag, const Bytes& theValue, std::uint16_t theTypeCode = VR::TYPE_OW)
    {
        ReplaceVR(Factory().CreateBytes(theTag, theTypeCode, theValue));
        return *this;
    }

    DataSet& SetPrivate(const RWCString& theName, std::uint16_t theValue)
    {
        ReplaceVR(Factory().CreatePrivateUnsignedShort(*this, "QUORIX0", theName, theValue));
        return *this;
    }

    /// Loads a file with this content: "(loaded)", or the result code and the system error.
    std::string Load(const Bytes& theFile, DICOMTag theStopTag = DICOMTags::None)
    {
        return LoadFile(TemporaryFile(theFile).GetName(), theStopTag);
    }
    std::string LoadFile(const RWCString& thePath, DICOMTag theStopTag = DICOMTags::None)
    {
        DLResultCode aCode = DLRC_GENERAL_FAILURE;
        int anError = -1;
        const bool isLoaded = LoadFromFile(thePath, aCode, anError, theStopTag);
        const auto aText = std::to_string(aCode) + ", " + std::to_string(anError);
        return isLoaded && aText == "0, 0" ? "(loaded)" : aText;
    }

    /// "(absent)" when there is no such text.
    /// @{
    RWCString Text(DICOMTag theTag) const
    {
        return Get([&](RWCString& theText) { GetString(theTag, theText); });
    }
    RWCString ItemText(DICOMTag theSequence, std::size_t theItem, DICOMTag theTag) const
    {
        return Get([&](RWCString& theText) { GetSequenceItemString(theSequence, theItem, theTag, theText); });
    }
    RWCString PrivateText(const RWCString& theName) const
    {
        return Get([&](RWCString& theText) { GetPrivateString("QUORIX0", theName, theText); });
    }
    RWCString Scratch(const RWCString& theName) const
    {
        return Get([&](RWCString& theText) { GetScratchpadValue(theName, theText); });
    }
    /// @}

    /// kNone when there is no such number.
    /// @{
    static constexpr std::int32_t kNone = -4711;
    std::int32_t Number(DICOMTag theTag) const
    {
        std::int32_t aNumber = kNone;
        GetInteger(theTag, aNumber);
        return aNumber;
    }
    std::int32_t PrivateNumber(const RWCString& theName) const
    {
        std::int32_t aNumber = kNone;
        GetPrivateInteger("QUORIX0", theName, aNumber);
        return aNumber;
    }
    /// @}

    /// The bytes of a value, {0xde, 0xad} when there is none.
    Bytes Value(DICOMTag theTag) const
    {
        Bytes aBytes{0xde, 0xad};
        GetBytes(theTag, aBytes);
        return aBytes;
    }

private:
    template <class Getter>
    static RWCString Get(const Getter& theGetter)
    {
        RWCString aText = "(absent)";
        theGetter(aText);
        return aText;
    }
};
