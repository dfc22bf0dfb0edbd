// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DataDictionary.h"

#include "toolkit/dicom/VR.h"

namespace
{
struct NamedElement
{
    const char* itsName;
    DataDictionary::PrivateElement itsElement;
};

constexpr const char* kQuorixCreator = "QUORIX0";

constexpr NamedElement kQuorixElements[] = {
    {"OrigSOPInstUID", {0x01, VR::MakeTypeCode('U', 'I')}},
    {"ReconstImageFlag", {0x02, VR::MakeTypeCode('U', 'S')}},
    {"LosslessCmpFlag", {0x03, VR::MakeTypeCode('U', 'S')}},
};
} // namespace

const DataDictionary& DataDictionary::GetDefaultInstance()
{
    static const DataDictionary aDictionary;
    return aDictionary;
}

const DataDictionary::PrivateElement* DataDictionary::FindPrivateElement(const RWCString& theCreator,
                                                                         const RWCString& theName) const
{
    if (theCreator != kQuorixCreator)
    {
        return nullptr;
    }
    for (const NamedElement& anElement : kQuorixElements)
    {
        if (theName == anElement.itsName)
        {
            return &anElement.itsElement;
        }
    }
    return nullptr;
}
