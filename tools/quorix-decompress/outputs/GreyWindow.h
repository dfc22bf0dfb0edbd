// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "image/Renderable.h"
#include "run/Options.h"
#include "toolkit/dicom/DICOMDataObject.h"

/// The 8-bit view of grey values (PS3.3 C.11.2.1.2.1, linear).
///
/// An automatic window spans the image's own range of stored values. A given window is in the units of
/// the data set's Rescale Slope and Intercept, where it has them. MONOCHROME1, whose lowest value is
/// white, comes out inverted. Immutable.
class GreyWindow
{
public:
    /// theImage: one sample a pixel. theDataSet (null allowed): where rescale values and Pixel Padding
    /// Value are looked up; padding does not count in an automatic window.
    GreyWindow(const WindowOption& theOption, const Renderable& theImage, const DICOMDataObject* theDataSet);

    /// 0 (black) to 255 (white) for a stored value.
    std::uint8_t Map(std::int64_t theStoredValue) const;

private:
    void SetAutomatic(const Renderable& theImage, const DICOMDataObject* theDataSet);

    double itsCenter;
    double itsWidth;
    double itsSlope = 1.0;
    double itsIntercept = 0.0;
    bool itsInverted;
};
