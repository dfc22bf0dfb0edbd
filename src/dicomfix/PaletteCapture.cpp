// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <memory>

#include "toolkit/dicom/ColorPalette.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
/// One channel's palette out of the attributes, or null when they make no sense.
std::unique_ptr<ColorPalette> ReadPalette(char theChannel, const DICOMDataObject& theDataSet)
{
    auto aPalette = std::make_unique<ColorPalette>(theChannel, 0, 0, 8);
    aPalette->Init(theDataSet);
    return aPalette->IsValid() ? std::move(aPalette) : nullptr;
}
} // namespace

void DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(DICOMDataObject& theDataSet)
{
    theDataSet.SetRedColorPalette(ReadPalette('R', theDataSet));
    theDataSet.SetGreenColorPalette(ReadPalette('G', theDataSet));
    theDataSet.SetBlueColorPalette(ReadPalette('B', theDataSet));
    for (const DICOMTag aTag : DICOMTags::kPalette)
    {
        theDataSet.RemoveVR(aTag);
    }
}
