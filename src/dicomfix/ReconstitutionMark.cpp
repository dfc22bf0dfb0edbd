// SPDX-License-Identifier: Apache-2.0
#include "dicomfix/detail/ReconstitutionMark.h"

#include "pixels/DecompressionLibUtils.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/PrivateElements.h"

void ReconstitutionMark::Write(DICOMDataObject& theDataSet, const MVRFactory& theFactory)
{
    theDataSet.ReplaceVR(theFactory.CreatePrivateUnsignedShort(theDataSet, PrivateElements::Creator,
                                                               PrivateElements::ReconstImageFlag, 1));
}

void ReconstitutionMark::Remove(DICOMDataObject& theDataSet)
{
    while (theDataSet.RemovePrivateVR(PrivateElements::Creator, PrivateElements::ReconstImageFlag) != nullptr)
    {
    }
}

void ReconstitutionMark::RemoveLosslessFlag(DICOMDataObject& theDataSet)
{
    theDataSet.RemovePrivateVR(PrivateElements::Creator, PrivateElements::LosslessCmpFlag);
}

RWCString ReconstitutionMark::GetOriginalInstanceUID(const DICOMDataObject& theDataSet)
{
    RWCString aUID;
    theDataSet.GetPrivateString(PrivateElements::Creator, PrivateElements::OrigSOPInstUID, aUID);
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
