// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DICOMDataObject.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "toolkit/dicom/PrivateElements.h"

DICOMDataObject::~DICOMDataObject() = default;

void DICOMDataObject::SetRedColorPalette(std::unique_ptr<ColorPalette> thePalette)
{
    itsRedPalette = std::move(thePalette);
}

void DICOMDataObject::SetGreenColorPalette(std::unique_ptr<ColorPalette> thePalette)
{
    itsGreenPalette = std::move(thePalette);
}

void DICOMDataObject::SetBlueColorPalette(std::unique_ptr<ColorPalette> thePalette)
{
    itsBluePalette = std::move(thePalette);
}

void DICOMDataObject::ForgetDecoding()
{
    DICOMObject::ForgetDecoding();
    itsRedPalette.reset();
    itsGreenPalette.reset();
    itsBluePalette.reset();
}

bool DICOMDataObject::IsMarkedLossy() const
{
    RWCString aLossy;
    return GetString(DICOMTags::LossyImageCompression, aLossy) && !aLossy.empty() && aLossy != "00";
}

bool DICOMDataObject::IsMarkedLossless() const
{
    std::int32_t aFlag = 0;
    return GetPrivateInteger(PrivateElements::Creator, PrivateElements::LosslessCmpFlag, aFlag) && aFlag == 1;
}

int DICOMDataObject::GetLossyImageCompressionRatio(const TransferSyntaxType*, int, int, bool) const
{
    RWCString aText;
    if (!GetString(DICOMTags::LossyImageCompressionRatio, aText))
    {
        return 0;
    }
    const std::size_t aBackslash = aText.rfind('\\');
    aText.erase(0, aBackslash == RWCString::npos ? 0 : aBackslash + 1);
    aText.erase(0, aText.find_first_not_of(" +"));
    double aRatio = 0;
    const auto aResult = std::from_chars(aText.data(), aText.data() + aText.size(), aRatio);
    if (aResult.ec != std::errc() || aResult.ptr != aText.data() + aText.size())
    {
        return 0;
    }
    const double aRounded = std::floor(aRatio + 0.5);
    return aRounded >= 0 && aRounded <= 2147483647.0 ? static_cast<int>(aRounded) : 0;
}
