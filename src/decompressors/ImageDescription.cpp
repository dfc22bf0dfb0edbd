// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/ImageDescription.h"

#include <algorithm>
#include <cmath>
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

std::int32_t CompressionRatio::Calculate(std::uint64_t theDecodedSize, int theScaleFactor,
                                         std::uint64_t theCompressedSize)
{
    if (theCompressedSize == 0)
    {
        return 0;
    }
    // Beyond 2^40 the ratio is at its limit whatever the sizes are, and float would overflow.
    const float aFactor = std::ldexp(1.0F, std::clamp(theScaleFactor, 1, 41) - 1);
    const float aRatio =
        static_cast<float>(theDecodedSize) * aFactor * aFactor / static_cast<float>(theCompressedSize) + 0.5F;
    constexpr auto kLimit = std::numeric_limits<std::int32_t>::max();
    return aRatio < static_cast<float>(kLimit) ? static_cast<std::int32_t>(aRatio) : kLimit;
}
