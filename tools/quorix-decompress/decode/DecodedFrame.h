// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/Reading.h"
#include "toolkit/dicom/DICOMDataObject.h"

class DecompressionResult;

/// One frame as it came out of the library: the image, or why there is none.
struct DecodedFrame
{
    int itsFrame = 0;
    DLResultCode itsResultCode = DLRC_GENERAL_FAILURE;
    int itsSystemError = 0;
    RWCString itsMessage;
    std::vector<DecodeWarning> itsWarnings;
    Reading itsReading = Reading::BY_MEANING;
    std::unique_ptr<Renderable> itsRenderable; ///< set exactly when the frame was decoded

    /// What was read of a DICOM input, made to describe the decoded pixels; null for bare images.
    std::unique_ptr<DICOMDataObject> itsDataSet;

    /// Of the input; empty where nobody knows.
    RWCString itsTransferSyntaxUID;

    /// How often the codec has halved the resolution.
    int itsHalvings = 0;

    /// What part of the image, in pixels at full size, was asked for; nothing for all of it.
    std::optional<PixelRegion> itsRegion;

    /// "JPG" or "JP2" when the input was compressed with loss, else empty.
    RWCString itsCompressionKind;

    bool IsDecoded() const { return itsRenderable != nullptr; }

    /// Whether this is a DICOM object that has no image, and was read to its end.
    bool IsWithoutImage() const;

    /// Whether a data set without Pixel Data is not even meant to have any.
    static bool IsOfNoImage(const DICOMDataObject& theDataSet);

    /// Takes image and outcome over from theResult.
    void Take(DecompressionResult& theResult);

    /// Notes a failure; an image is let go.
    void Fail(DLResultCode theCode, int theSystemError, const RWCString& theMessage);

    /// Notes the exception that is being handled. Call from a catch block.
    void FailWithCurrentException();
};
