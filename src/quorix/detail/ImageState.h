// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>

#include "image/Renderable.h"
#include "quorix/decode.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace quorix
{
/// A data set that images share. Looking attributes up moves a cursor inside DCMTK, hence the lock.
struct SharedDataSet
{
    mutable std::mutex itsMutex;
    DICOMDataObject itsDataSet;
};

/// What an image holds.
struct ImageState
{
    std::unique_ptr<Renderable> itsRenderable;
    std::shared_ptr<const SharedDataSet> itsDataSet; ///< null for bare images
    int itsFrame = 0;
    int itsScale = 1;
    std::vector<Warning> itsWarnings{};

    static Image MakeImage(ImageState theState);
};
} // namespace quorix
