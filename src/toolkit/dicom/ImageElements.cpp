// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ImageElements.h"

#include <algorithm>
#include <utility>

namespace
{
RWCString GetInstanceUID(const DICOMObject& theDataSet)
{
    RWCString aUID;
    theDataSet.GetString(DICOMTags::SOPInstanceUID, aUID);
    return aUID;
}

template <class Tags>
bool Contains(const Tags& theTags, DICOMTag theTag)
{
    return std::find(std::begin(theTags), std::end(theTags), theTag) != std::end(theTags);
}
} // namespace

void ImageElements::Put(std::unique_ptr<VR> theElement)
{
    const DICOMTag aTag = theElement->GetTag();
    if (Contains(DICOMTags::kPalette, aTag) && !Contains(itsPaletteTags, aTag))
    {
        itsPaletteTags.push_back(aTag);
    }
    if (aTag != DICOMTags::SOPInstanceUID)
    {
        itsDataSet.ReplaceVR(std::move(theElement));
        return;
    }
    const RWCString anEarlierUID = GetInstanceUID(itsDataSet);
    itsDataSet.ReplaceVR(std::move(theElement));
    const RWCString aUID = GetInstanceUID(itsDataSet);
    if (!anEarlierUID.empty() && !aUID.empty() && anEarlierUID != aUID)
    {
        ForgetEarlierImage();
    }
}

void ImageElements::ForgetEarlierImage()
{
    itsDataSet.ForgetDecoding();
    for (const DICOMTag aTag : DICOMTags::kPalette)
    {
        if (!Contains(itsPaletteTags, aTag))
        {
            itsDataSet.RemoveVR(aTag);
        }
    }
}
