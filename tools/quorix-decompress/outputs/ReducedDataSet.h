// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/DICOMDataObject.h"

/// The data set of an image, made true for a reduced resolution of it. Stateless.
class ReducedDataSet
{
public:
    /// Multiplies the spacings (Pixel Spacing, Imager Pixel Spacing and their like) by two theHalvings times
    /// and makes the image a derived one with an SOP Instance UID of its own. What cannot be made true is
    /// taken out: spacings that are no numbers, and what is stated in pixels of the full image (ultrasound
    /// regions, shutters, overlays). Throws OutputError for data sets that keep their spacings in functional
    /// groups. Nothing happens for 0.
    static void Adapt(DICOMDataObject& theDataSet, int theHalvings);
};
