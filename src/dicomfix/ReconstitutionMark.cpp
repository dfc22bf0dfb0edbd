// SPDX-License-Identifier: Apache-2.0
#include "dicomfix/detail/ReconstitutionMark.h"

#include "pixels/DecompressionLibUtils.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

const RWCString& ReconstitutionMark::GetCreator()
{
    static const RWCString kCreator = "QUORIX0";
    return kCreator;
}

void ReconstitutionMark::Write(DICOMDataObject& theDataSet, const MVRFactory& theFactory)
{
    theDataSet.ReplaceVR(
        theFactory.CreatePrivateUnsignedShort(theDataSet, GetCreator(), "ReconstImageFlag", 1));
}

void ReconstitutionMark::RemoveLosslessFlag(DICOMDataObject& theDataSet)
{
    theDataSet.RemovePrivateVR(GetCreator(), "LosslessCmpFlag");
}

RWCString ReconstitutionMark::GetOriginalInstanceUID(const DICOMDataObject& theDataSet)
{
    RWCString aUID;
    theDataSet.GetPrivateString(GetCreator(), "OrigSOPInstUID", aUID);
    return aUID;
}

void DecompressionLibUtils::MarkReconstituted(DICOMDataObject* theDataSet)
{
    if (theDataSet == nullptr)
    {
        return;
    }
    const MVRFactory aFactory(theDataSet->GetDataDictionary(), theDataSet->GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    ReconstitutionMark::Write(*theDataSet, aFactory);
}
