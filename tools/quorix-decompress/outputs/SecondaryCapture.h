// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMDataObject.h"

/// The data set around a bare image: a Secondary Capture image (PS3.3 A.8.1) of nobody in particular.
class SecondaryCapture
{
public:
    SecondaryCapture() = delete;

    /// Everything but the SOP Instance UID and the description of the pixels; fresh UIDs each time.
    static std::unique_ptr<DICOMDataObject> MakeDataSet();

    /// A UID made of a random UUID (PS3.5 B.2).
    static RWCString MakeUID();
};
