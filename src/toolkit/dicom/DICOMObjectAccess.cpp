// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/DICOMObjectAccess.h"

#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementValue.h"

std::vector<DICOMTag> DICOMObjectAccess::FindPrivateBlocks(const DICOMObject& theObject,
                                                           const RWCString& theCreator)
{
    std::vector<DICOMTag> aBlocks;
    ForEach(
        theObject,
        [&](DcmElement& theElement)
        {
            const DICOMTag aTag = DcmtkBridge::TagOf(theElement);
            RWCString aName;
            // Whatever its value representation is called, a creator is text.
            if (aTag.itsGroup % 2 != 0 && aTag.itsElement >= FIRST_BLOCK && aTag.itsElement <= LAST_BLOCK &&
                ElementValue(theElement, VR::MakeTypeCode('L', 'O')).GetText(aName) && aName == theCreator)
            {
                aBlocks.push_back(aTag);
            }
        });
    return aBlocks;
}
