// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/AbsentPixel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/Renderable.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
/// From a share of light to a share of the sample's range (IEC 61966-2-1).
double ToSample(double theLight)
{
    const double aLight = std::clamp(theLight, 0.0, 1.0);
    return aLight <= 0.0031308 ? 12.92 * aLight : 1.055 * std::pow(aLight, 1.0 / 2.4) - 0.055;
}
} // namespace

AbsentPixel::AbsentPixel(const DICOMDataObject& theDataSet)
{
    std::vector<std::uint8_t> aBytes;
    if (!theDataSet.GetBytes(DICOMTags::RecommendedAbsentPixelCIELabValue, aBytes) || aBytes.size() != 6)
    {
        return;
    }
    const auto aShare = [&](std::size_t theIndex)
    { return (aBytes[2 * theIndex] + 256.0 * aBytes[2 * theIndex + 1]) / 65535.0; };
    itsColour = FromCIELab(100.0 * aShare(0), 255.0 * aShare(1) - 128.0, 255.0 * aShare(2) - 128.0);
}

/// CIE 15 to XYZ of the white that profiles go by (D50), and from there by Bradford's adaptation to sRGB.
AbsentPixel::Colour AbsentPixel::FromCIELab(double theLightness, double theA, double theB)
{
    const auto aCube = [](double theRoot)
    {
        constexpr double kEdge = 6.0 / 29.0;
        return theRoot > kEdge ? theRoot * theRoot * theRoot : 3.0 * kEdge * kEdge * (theRoot - 4.0 / 29.0);
    };
    const double aMiddle = (theLightness + 16.0) / 116.0;
    const double aX = 0.96422 * aCube(aMiddle + theA / 500.0);
    const double aY = aCube(aMiddle);
    const double aZ = 0.82521 * aCube(aMiddle - theB / 200.0);
    return {ToSample(3.1338561 * aX - 1.6168667 * aY - 0.4906146 * aZ),
            ToSample(-0.9787684 * aX + 1.9161415 * aY + 0.0334540 * aZ),
            ToSample(0.0719453 * aX - 0.2289914 * aY + 1.4052427 * aZ)};
}

/// The bits of a sample as bright as the colour.
std::uint32_t AbsentPixel::GetGrey(const Renderable& theImage) const
{
    const double aBrightness = itsColour ? itsColour->itsGreen : 0.0;
    const bool isInverted = theImage.getPhotometricInterpretation() == Renderable::MONOCHROME1;
    const int aStored = std::clamp<int>(theImage.getBitsStored(), 1, 32);
    const double aRange = std::ldexp(1.0, aStored) - 1.0;
    const double aLowest = theImage.isSigned() ? -std::ldexp(1.0, aStored - 1) : 0.0;
    const double aValue = aLowest + std::round(aRange * (isInverted ? 1.0 - aBrightness : aBrightness));
    const int aShift = std::clamp<int>(theImage.getHighBit() + 1 - aStored, 0, 31);
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(aValue)) << aShift;
}

void AbsentPixel::FillImage(Renderable& theImage) const
{
    std::array<std::uint8_t, 4> aPixel{};
    std::size_t aBytes = 0;
    if (theImage.getSamplesPerPixel() == 3)
    {
        const Colour aColour = itsColour.value_or(Colour{1.0, 1.0, 1.0});
        for (const double aSample : {aColour.itsRed, aColour.itsGreen, aColour.itsBlue})
        {
            aPixel.at(aBytes++) = static_cast<std::uint8_t>(std::lround(255.0 * aSample));
        }
    }
    else
    {
        const std::uint32_t aGrey = GetGrey(theImage);
        aBytes = static_cast<std::size_t>(std::max(theImage.getBitsAllocated() / 8, 1));
        for (std::size_t i = 0; i < aBytes; ++i)
        {
            const std::size_t aPlace = theImage.isPixelDataLittleEndian() ? i : aBytes - 1 - i;
            aPixel.at(aPlace) = static_cast<std::uint8_t>(aGrey >> (8 * i));
        }
        if (theImage.getBitsAllocated() == 1)
        {
            aPixel[0] = aGrey != 0 ? 0xff : 0;
        }
    }
    auto* const aPixels = static_cast<std::uint8_t*>(theImage.getPixelData());
    const std::uint64_t aSize = theImage.getPixelDataSize();
    std::uint64_t aFilled = std::min<std::uint64_t>(aBytes, aSize);
    std::memcpy(aPixels, aPixel.data(), aFilled);
    while (aFilled < aSize)
    {
        const std::uint64_t aCount = std::min(aFilled, aSize - aFilled);
        std::memcpy(aPixels + aFilled, aPixels, aCount);
        aFilled += aCount;
    }
}
