// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include "dicomfix/detail/LossyHistory.h"
#include "dicomfix/detail/ReconstitutionMark.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/ScratchpadKeys.h"

namespace
{
/// Keeps a former value for later: the first fix-up of a data set wins.
void KeepInScratchpad(DICOMDataObject& theDataSet, const RWCString& theName, const RWCString& theValue)
{
    RWCString anEarlierValue;
    if (!theDataSet.GetScratchpadValue(theName, anEarlierValue))
    {
        theDataSet.SetScratchpadValue(theName, theValue);
    }
}

/// Brings wide samples to the byte order of the element that will hold them, and gives that its type.
void FixPixelOrder(const DICOMDataObject& theDataSet, Renderable& theRenderable, VR* thePixelVR)
{
    const bool isWide = theRenderable.getBitsAllocated() > 8;
    if (thePixelVR != nullptr)
    {
        thePixelVR->SetTypeCode(isWide ? VR::TYPE_OW : VR::TYPE_OB);
    }
    const DLEndian::Endian anEndian =
        thePixelVR != nullptr ? thePixelVR->GetEndian() : theDataSet.GetEndian();
    if (isWide && theRenderable.isPixelDataLittleEndian() != (anEndian == DLEndian::LITTLE_ENDIAN_ORDER))
    {
        theRenderable.swapDataEndian();
    }
}

RWCString GetDecodedInterpretation(const Renderable& theRenderable)
{
    switch (theRenderable.getPhotometricInterpretation())
    {
    case Renderable::MONOCHROME1:
        return "MONOCHROME1";
    case Renderable::MONOCHROME2:
        return "MONOCHROME2";
    default:
        return "RGB";
    }
}

bool HasAllPalettes(const DICOMDataObject& theDataSet)
{
    return theDataSet.GetRedColorPalette() != nullptr && theDataSet.GetGreenColorPalette() != nullptr &&
           theDataSet.GetBlueColorPalette() != nullptr;
}

void FixInterpretation(DICOMDataObject& theDataSet, const Renderable& theRenderable)
{
    const RWCString aNewValue = GetDecodedInterpretation(theRenderable);
    RWCString anOldValue;
    if (!theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, anOldValue))
    {
        anOldValue = aNewValue;
        theDataSet.GetString(DICOMTags::PhotometricInterpretation, anOldValue);
        theDataSet.SetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, anOldValue);
        // Deliberately "COLOR PALETTE", which is not the standard's term: images that carry PALETTE COLOR
        // keep their palette attributes here, and so do data sets whose palettes are all in memory.
        if (anOldValue == "COLOR PALETTE" && !HasAllPalettes(theDataSet))
        {
            DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(theDataSet);
        }
    }
    theDataSet.PutString(DICOMTags::PhotometricInterpretation, aNewValue);
}

void FixPlanarConfiguration(DICOMDataObject& theDataSet, const Renderable& theRenderable)
{
    if (theRenderable.getSamplesPerPixel() != 3)
    {
        return;
    }
    std::uint16_t anOldValue = 0;
    theDataSet.GetUnsignedShort(DICOMTags::PlanarConfiguration, anOldValue);
    KeepInScratchpad(theDataSet, ScratchpadKeys::DecompOrigPlanarConfig, anOldValue != 0 ? "1" : "0");
    theDataSet.PutUnsignedShort(DICOMTags::PlanarConfiguration, 0);
}

void FixSamplesPerPixel(DICOMDataObject& theDataSet, const Renderable& theRenderable)
{
    std::uint16_t anOldValue = 0;
    if (!theDataSet.GetUnsignedShort(DICOMTags::SamplesPerPixel, anOldValue) ||
        anOldValue == theRenderable.getSamplesPerPixel())
    {
        return;
    }
    theDataSet.PutUnsignedShort(DICOMTags::SamplesPerPixel,
                                static_cast<std::uint16_t>(theRenderable.getSamplesPerPixel()));
    if (anOldValue >= 1 && anOldValue <= 4)
    {
        KeepInScratchpad(theDataSet, ScratchpadKeys::DecompOrigSamplesPerPixel, std::to_string(anOldValue));
    }
}

void FixBits(DICOMDataObject& theDataSet, const Renderable& theRenderable)
{
    theDataSet.PutUnsignedShort(DICOMTags::BitsStored,
                                static_cast<std::uint16_t>(theRenderable.getBitsStored()));
    theDataSet.PutUnsignedShort(DICOMTags::HighBit, static_cast<std::uint16_t>(theRenderable.getHighBit()));
}
} // namespace

bool DecompressionLibUtils::FixupDICOMObjectFromRenderable(DICOMDataObject* theDataSet,
                                                           Renderable* theRenderable, MVRFactory& theFactory,
                                                           VR* thePixelVR, const RWCString& theCompression,
                                                           bool isMarkedReconstituted,
                                                           DecompressionResult& /*theResult*/)
{
    return FixupDICOMObjectFromRenderable(theDataSet, theRenderable, theFactory, thePixelVR, theCompression,
                                          isMarkedReconstituted, Reading::BY_CONTRACT);
}

bool DecompressionLibUtils::FixupDICOMObjectFromRenderable(DICOMDataObject* theDataSet,
                                                           Renderable* theRenderable, MVRFactory& theFactory,
                                                           VR* thePixelVR, const RWCString& theCompression,
                                                           bool isMarkedReconstituted, Reading theReading)
{
    if (theDataSet == nullptr || theRenderable == nullptr)
    {
        throw DLRuntimeException(
            "DecompressionLibUtils::FixupDICOMObjectFromRenderable: null data set or Renderable");
    }
    FixPixelOrder(*theDataSet, *theRenderable, thePixelVR);
    FixInterpretation(*theDataSet, *theRenderable);
    FixPlanarConfiguration(*theDataSet, *theRenderable);
    FixSamplesPerPixel(*theDataSet, *theRenderable);
    if (!theCompression.empty())
    {
        LossyHistory(*theDataSet, theFactory, theCompression, theRenderable->getCompressionRatio(),
                     theReading)
            .Write();
    }
    if (isMarkedReconstituted)
    {
        if (theReading == Reading::BY_MEANING)
        {
            ReconstitutionMark::Remove(*theDataSet);
        }
        ReconstitutionMark::Write(*theDataSet, theFactory);
    }
    ReconstitutionMark::RemoveLosslessFlag(*theDataSet);
    FixBits(*theDataSet, *theRenderable);
    return true;
}
