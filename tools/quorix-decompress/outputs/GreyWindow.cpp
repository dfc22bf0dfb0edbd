// SPDX-License-Identifier: Apache-2.0
#include "outputs/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "pixels/DecompressionLibUtils.h"

namespace
{
constexpr DICOMTag kPixelPaddingValue{0x0028, 0x0120};

struct Range
{
    std::int64_t itsMin;
    std::int64_t itsMax;
};

/// The real values as a plain 16-bit image: the statistics take no notice of Bits Stored.
void CopyValues(const SampleReader& theReader, Renderable& theCopy)
{
    theCopy.setRows(static_cast<std::int32_t>(theReader.GetRows()));
    theCopy.setColumns(static_cast<std::int32_t>(theReader.GetColumns()));
    theCopy.setSamplesPerPixel(1);
    theCopy.setPhotometricInterpretation(Renderable::MONOCHROME2);
    theCopy.setBitsAllocated(16);
    theCopy.setBitsStored(16);
    theCopy.setHighBit(15);
    theCopy.setSigned(theReader.IsSigned());
    theCopy.allocatePixelData();
    auto* anOutput = static_cast<std::uint16_t*>(theCopy.getPixelData());
    std::vector<std::int64_t> aRow;
    for (std::uint32_t aRowIndex = 0; aRowIndex < theReader.GetRows(); ++aRowIndex)
    {
        theReader.ReadRow(aRowIndex, aRow);
        anOutput = std::transform(aRow.begin(), aRow.end(), anOutput,
                                  [](std::int64_t theValue) { return static_cast<std::uint16_t>(theValue); });
    }
}

/// Samples wider than 16 bits, for which the library has no statistics.
Range RangeOfWideSamples(const SampleReader& theReader)
{
    Range aRange{std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()};
    std::vector<std::int64_t> aRow;
    for (std::uint32_t aRowIndex = 0; aRowIndex < theReader.GetRows(); ++aRowIndex)
    {
        theReader.ReadRow(aRowIndex, aRow);
        const auto [aMin, aMax] = std::minmax_element(aRow.begin(), aRow.end());
        aRange = {std::min(aRange.itsMin, *aMin), std::max(aRange.itsMax, *aMax)};
    }
    return aRange;
}

Range RangeOf(const Renderable& theImage, std::uint32_t thePaddingValue)
{
    const SampleReader aReader(theImage);
    if (aReader.GetBitsStored() > 16)
    {
        return RangeOfWideSamples(aReader);
    }
    Renderable aCopy;
    CopyValues(aReader, aCopy);
    unsigned int aMin = 0;
    unsigned int aMax = 0;
    const auto Calculate = [&](unsigned int thePadding)
    {
        DecompressionLibUtils::CalculateMinMax(aCopy, thePadding, aMin, aMax, false, 0.0F, 0);
        return Range{static_cast<std::int32_t>(aMin), static_cast<std::int32_t>(aMax)};
    };
    const Range aRange = Calculate(thePaddingValue);
    // An image that is padding throughout is shown as it is.
    return aRange.itsMin <= aRange.itsMax ? aRange : Calculate(0);
}
} // namespace

GreyWindow::GreyWindow(const WindowOption& theOption, const Renderable& theImage,
                       const DICOMDataObject* theDataSet)
    : itsCenter(theOption.itsCenter), itsWidth(theOption.itsWidth), itsRescale(theImage.getRescale()),
      itsInverted(theImage.getPhotometricInterpretation() == Renderable::MONOCHROME1)
{
    if (theOption.itsAutomatic)
    {
        SetAutomatic(theImage, theDataSet);
    }
}

void GreyWindow::SetAutomatic(const Renderable& theImage, const DICOMDataObject* theDataSet)
{
    std::int32_t aPadding = 0;
    if (theDataSet != nullptr)
    {
        theDataSet->GetInteger(kPixelPaddingValue, aPadding);
    }
    const Range aRange = RangeOf(theImage, static_cast<std::uint32_t>(aPadding));
    // In stored values, so that the lowest becomes 0 and the highest 255 exactly. A falling slope turns
    // the order of the values round.
    itsInverted = itsInverted != (itsRescale.itsSlope < 0.0);
    itsRescale = {};
    itsCenter = (static_cast<double>(aRange.itsMin) + static_cast<double>(aRange.itsMax) + 1.0) / 2.0;
    itsWidth = static_cast<double>(aRange.itsMax) - static_cast<double>(aRange.itsMin) + 1.0;
}

std::uint8_t GreyWindow::Map(std::int64_t theStoredValue) const
{
    const double aValue = itsRescale.Apply(static_cast<double>(theStoredValue));
    const double aMiddle = itsCenter - 0.5;
    const double aHalf = (itsWidth - 1.0) / 2.0;
    double anOutput = 0.0;
    if (aValue > aMiddle + aHalf)
    {
        anOutput = 255.0;
    }
    else if (aValue > aMiddle - aHalf)
    {
        anOutput = ((aValue - aMiddle) / (itsWidth - 1.0) + 0.5) * 255.0;
    }
    const auto aLevel = static_cast<std::uint8_t>(std::lround(std::clamp(anOutput, 0.0, 255.0)));
    return itsInverted ? static_cast<std::uint8_t>(255 - aLevel) : aLevel;
}
