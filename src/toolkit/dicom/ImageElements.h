// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "toolkit/dicom/DICOMObject.h"

/// Puts the elements of an image into its data set, as they are read.
///
/// A data set is that of one image. Where it held the SOP Instance UID of another one, nothing of that image
/// may decide how this one's pixels are taken: its palettes go, those among the elements and those in memory,
/// and so does what the scratch pad has of decoding (see ScratchpadKeys). The data set is borrowed. Not
/// thread-safe.
class QUORIX_API ImageElements
{
public:
    /// theDataSet is as it was before the image's first element.
    explicit ImageElements(DICOMObject& theDataSet) : itsDataSet(theDataSet) {}

    /// DICOMObject::ReplaceVR, in the order of the stream, whatever order that is.
    void Put(std::unique_ptr<VR> theElement);

private:
    void ForgetEarlierImage();

    DICOMObject& itsDataSet;
    std::vector<DICOMTag> itsPaletteTags; ///< which this image has brought
};
