// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

/// A data set and short ways to fill and read it.
class DataSetMaker
{
public:
    explicit DataSetMaker(DLEndian::Endian theEndian = DLEndian::LITTLE_ENDIAN_ORDER)
        : itsDataSet(theEndian),
          itsFactory(itsDataSet.GetDataDictionary(), theEndian, VR::GetDefaultMemoryAllocater())
    {
    }

    DICOMDataObject& operator*() { return itsDataSet; }
    DICOMDataObject* operator->() { return &itsDataSet; }
    MVRFactory& GetFactory() { return itsFactory; }

    void SetText(DICOMTag theTag, const RWCString& theValue)
    {
        itsDataSet.ReplaceVR(itsFactory.CreateString(theTag, theValue));
    }

    void SetNumber(DICOMTag theTag, std::uint16_t theValue)
    {
        itsDataSet.ReplaceVR(itsFactory.CreateUnsignedShort(theTag, theValue));
    }

    /// "(absent)" when absent.
    RWCString GetText(DICOMTag theTag) const
    {
        RWCString aText;
        return itsDataSet.GetString(theTag, aText) ? aText : "(absent)";
    }

    /// -1 when absent.
    int GetNumber(DICOMTag theTag) const
    {
        std::int32_t aNumber = -1;
        itsDataSet.GetInteger(theTag, aNumber);
        return aNumber;
    }

    /// "(absent)" when absent.
    RWCString GetScratch(const RWCString& theName) const
    {
        RWCString aText;
        return itsDataSet.GetScratchpadValue(theName, aText) ? aText : "(absent)";
    }

    /// -1 when absent.
    int GetPrivateNumber(const RWCString& theName) const
    {
        std::int32_t aNumber = -1;
        itsDataSet.GetPrivateInteger("QUORIX0", theName, aNumber);
        return aNumber;
    }

    void SetPrivateNumber(const RWCString& theName, std::uint16_t theValue)
    {
        itsDataSet.ReplaceVR(itsFactory.CreatePrivateUnsignedShort(itsDataSet, "QUORIX0", theName, theValue));
    }

private:
    DICOMDataObject itsDataSet;
    MVRFactory itsFactory;
};
