// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/ElementVR.h"

#include <utility>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcelem.h>

#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementValue.h"

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
