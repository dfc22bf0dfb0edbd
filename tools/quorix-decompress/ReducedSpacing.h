// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/DICOMDataObject.h"

/// The distances between pixels that a data set states, made true for an image of reduced resolution.
/// Stateless.
class ReducedSpacing
{
public:
    /// Multiplies the spacings (Pixel Spacing, Imager Pixel Spacing and their like) by two theHalvings times.
    /// What cannot be made true is taken out: values that are no numbers, and ultrasound regions, which are
    /// in pixels of the full image. Throws OutputError for data sets that keep their spacings in functional
    /// groups. Nothing happens for 0.
    static void Adapt(DICOMDataObject& theDataSet, int theHalvings);
};
