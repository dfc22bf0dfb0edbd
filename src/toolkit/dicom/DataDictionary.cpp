// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DataDictionary.h"

#include "toolkit/dicom/PrivateElements.h"
#include "toolkit/dicom/VR.h"

namespace
{
struct NamedElement
{
    const char* itsName;
    DataDictionary::PrivateElement itsElement;
};

constexpr NamedElement kQuorixElements[] = {
    {PrivateElements::OrigSOPInstUID, {0x01, VR::MakeTypeCode('U', 'I')}},
    {PrivateElements::ReconstImageFlag, {0x02, VR::MakeTypeCode('U', 'S')}},
    {PrivateElements::LosslessCmpFlag, {0x03, VR::MakeTypeCode('U', 'S')}},
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
    if (theCreator != PrivateElements::Creator)
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
