// SPDX-License-Identifier: Apache-2.0
// Decoder::UpdateDICOMHeader: the data set made to describe the pixels that the codec delivers.
#include <cstdint>
#include <limits>
#include <string>

#include "decoding/Decoder.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ScratchpadKeys.h"

namespace
{
/// The interpretation before any decoding; the first decode records it, an empty one too.
RWCString OriginalInterpretation(DICOMDataObject& theDataSet)
{
    RWCString anOriginal;
    if (!theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, anOriginal))
    {
        theDataSet.GetString(DICOMTags::PhotometricInterpretation, anOriginal);
        theDataSet.SetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, anOriginal);
    }
    return anOriginal;
}

RWCString NewInterpretation(Decoder::ColorModel theModel, bool isConvertedToRGB, const RWCString& theOriginal)
{
    switch (theModel)
    {
    case Decoder::COLOR_MODEL_GREY:
        return theOriginal == "MONOCHROME1" ? theOriginal : "MONOCHROME2";
    case Decoder::COLOR_MODEL_RGB:
        return isConvertedToRGB ? "RGB" : theOriginal;
    case Decoder::COLOR_MODEL_YBR_FULL_422:
    case Decoder::COLOR_MODEL_YBR_FULL:
    case Decoder::COLOR_MODEL_YBR_RCT:
    case Decoder::COLOR_MODEL_YBR_ICT:
        return theOriginal;
    default:
        throw StreamIOException("Decoder::UpdateDICOMHeader(): decompressed color space not "
                                "COLOR_MODEL_GREY or COLOR_MODEL_RGB",
                                DLRC_GENERAL_FAILURE, 0);
    }
}

void RemovePalette(DICOMDataObject& theDataSet)
{
    if (theDataSet.Contains(DICOMTags::RedPaletteColorLookupTableDescriptor) &&
        theDataSet.Contains(DICOMTags::GreenPaletteColorLookupTableDescriptor) &&
        theDataSet.Contains(DICOMTags::BluePaletteColorLookupTableDescriptor))
    {
        DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(theDataSet);
        return;
    }
    // Deliberately the red descriptor three times over: an incomplete palette keeps its green and blue
    // descriptors, and readers of such data sets rely on finding them.
    for (int aPass = 0; aPass < 3; ++aPass)
    {
        theDataSet.RemoveVR(DICOMTags::RedPaletteColorLookupTableDescriptor);
    }
}

void UpdateSamplesPerPixel(DICOMDataObject& theDataSet, int theCodecSamples)
{
    std::uint16_t aSamples = 0;
    theDataSet.GetUnsignedShort(DICOMTags::SamplesPerPixel, aSamples);
    RWCString anOriginal;
    if (!theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, anOriginal) &&
        aSamples >= 1 && aSamples <= 4)
    {
        theDataSet.SetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, std::to_string(aSamples));
    }
    if (aSamples >= 1 && aSamples < theCodecSamples)
    {
        RWCString aUID;
        theDataSet.GetString(DICOMTags::SOPInstanceUID, aUID);
        RWCString aMessage;
        DecompressionLibUtils::ErrMessage(
            aMessage,
            "Decoder::UpdateDICOMHeader(): SamplesPerPixel value exists in DICOM header is lesser than JP2 "
            "header for the SOP:%s. SamplesPerPixel in DICOM Header = %d , SamplesPerPixel in JP2 Header = "
            "%d ",
            aUID.c_str(), static_cast<int>(aSamples), theCodecSamples);
        throw StreamIOException(aMessage, DLRC_GENERAL_FAILURE, 0);
    }
    theDataSet.PutUnsignedShort(DICOMTags::SamplesPerPixel, static_cast<std::uint16_t>(theCodecSamples));
}

void UpdatePlanarConfiguration(DICOMDataObject& theDataSet)
{
    RWCString anOriginal;
    if (!theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPlanarConfig, anOriginal))
    {
        std::uint16_t aPlanar = 0;
        theDataSet.GetUnsignedShort(DICOMTags::PlanarConfiguration, aPlanar);
        theDataSet.SetScratchpadValue(ScratchpadKeys::DecompOrigPlanarConfig, aPlanar != 0 ? "1" : "0");
    }
    // Codecs deliver colour-by-pixel.
    theDataSet.PutUnsignedShort(DICOMTags::PlanarConfiguration, 0);
}

/// Larger dimensions would come back from the data set, which has 16 bits for each, as smaller ones, and the
/// picture sheared.
void CheckDimensions(const Decoder& theDecoder)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint16_t>::max();
    if (theDecoder.GetImageHeight() > kMost || theDecoder.GetImageWidth() > kMost)
    {
        throw StreamIOException("Decoder::UpdateDICOMHeader(): a data set cannot describe " +
                                    std::to_string(theDecoder.GetImageHeight()) + " rows of " +
                                    std::to_string(theDecoder.GetImageWidth()) + " pixels",
                                DLRC_DECODER_ERROR, 0);
    }
}
} // namespace

void Decoder::MarkIrreversible()
{
    itsCompressionReversible = CR_IRREVERSIBLE;
    if (itsDICOMDataObject != nullptr)
    {
        itsDICOMDataObject->PutString(DICOMTags::LossyImageCompression, "01");
    }
}

void Decoder::UpdateDICOMHeader()
{
    if (itsDICOMDataObject == nullptr)
    {
        return;
    }
    CheckDimensions(*this);
    DICOMDataObject& aDataSet = *itsDICOMDataObject;
    if (itsCompressionReversible == CR_IRREVERSIBLE)
    {
        aDataSet.PutString(DICOMTags::LossyImageCompression, "01");
    }
    const bool isConvertedToRGB = IsDecoderConvertsColorToRGB();
    const RWCString anOriginal = OriginalInterpretation(aDataSet);
    const RWCString anInterpretation =
        NewInterpretation(GetDecompressedColorspace(), isConvertedToRGB, anOriginal);
    // Deliberately this word order and not the standard's "PALETTE COLOR": true palette images keep their
    // palette for the conversion that follows decoding.
    if (isConvertedToRGB && anOriginal == "COLOR PALETTE")
    {
        RemovePalette(aDataSet);
    }
    aDataSet.PutString(DICOMTags::PhotometricInterpretation, anInterpretation);
    aDataSet.PutUnsignedShort(DICOMTags::Rows, static_cast<std::uint16_t>(GetImageHeight()));
    aDataSet.PutUnsignedShort(DICOMTags::Columns, static_cast<std::uint16_t>(GetImageWidth()));
    UpdateSamplesPerPixel(aDataSet, itsSamplesPerPixel);
    aDataSet.PutUnsignedShort(DICOMTags::BitsAllocated,
                              static_cast<std::uint16_t>(itsBitsAllocatedPerSample));

    std::uint16_t aRepresentation = 0;
    if (IsSupportsOutputPixelSignConversion() != 0 ||
        !aDataSet.GetUnsignedShort(DICOMTags::PixelRepresentation, aRepresentation))
    {
        aDataSet.PutUnsignedShort(DICOMTags::PixelRepresentation, IsSigned() != 0 ? 1 : 0);
    }
    if (itsSamplesPerPixel == 3)
    {
        UpdatePlanarConfiguration(aDataSet);
    }
}
