// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/ImageDescription.h"

#include <algorithm>
#include <limits>

void ImageDescription::WriteTo(Renderable& theImage) const
{
    theImage.setPhotometricInterpretation(itsInterpretation);
    theImage.setRows(itsRows);
    theImage.setColumns(itsColumns);
    theImage.setSamplesPerPixel(itsSamplesPerPixel);
    theImage.setBitsAllocated(static_cast<std::int16_t>(itsBitsAllocated));
    theImage.setBitsStored(static_cast<std::int16_t>(itsBitsStored));
    theImage.setHighBit(static_cast<std::int16_t>(itsHighBit));
    theImage.setSigned(itsIsSigned);
    theImage.setPlanarConfiguration(itsIsPlanar);
    theImage.setPixelAspectRatioVertical(1);
    theImage.setPixelAspectRatioHorizontal(1);
    theImage.setLossyImageCompression(itsIsLossy);
    theImage.setCompressionRatio(itsCompressionRatio);
    constexpr int kMostScale = std::numeric_limits<std::int16_t>::max();
    theImage.setScaleFactor(static_cast<std::int16_t>(std::clamp(itsScaleFactor, 1, kMostScale)));
    theImage.setPixelDataLittleEndian(itsIsLittleEndian);
}
