// SPDX-License-Identifier: Apache-2.0
#include "decoding/Decoder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "codecs/sources/CompressedSources.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ScratchpadKeys.h"

namespace
{
Decoder::ColorModel ColorModelOf(const RWCString& theInterpretation)
{
    struct Entry
    {
        const char* itsText;
        Decoder::ColorModel itsModel;
    };
    static constexpr Entry kEntries[] = {
        {"MONOCHROME1", Decoder::COLOR_MODEL_GREY},
        {"MONOCHROME2", Decoder::COLOR_MODEL_GREY},
        {"RGB", Decoder::COLOR_MODEL_RGB},
        {"YBR_FULL_422", Decoder::COLOR_MODEL_YBR_FULL_422},
        {"YBR_PARTIAL_422", Decoder::COLOR_MODEL_YBR_PARTIAL_422},
        {"YBR_PARTIAL_420", Decoder::COLOR_MODEL_YBR_PARTIAL_420},
        {"YBR_FULL", Decoder::COLOR_MODEL_YBR_FULL},
        {"YBR_RCT", Decoder::COLOR_MODEL_YBR_RCT},
        {"YBR_ICT", Decoder::COLOR_MODEL_YBR_ICT},
        {"PALETTE COLOR", Decoder::COLOR_MODEL_PALETTE_COLOR},
    };
    for (const Entry& anEntry : kEntries)
    {
        if (theInterpretation == anEntry.itsText)
        {
            return anEntry.itsModel;
        }
    }
    return Decoder::COLOR_MODEL_UNKNOWN;
}

/// The product, or the largest number where it does not fit.
std::uint64_t MultiplySaturating(std::uint64_t theFirst, std::uint64_t theSecond)
{
    std::uint64_t aProduct = 0;
    return __builtin_mul_overflow(theFirst, theSecond, &aProduct) ? std::numeric_limits<std::uint64_t>::max()
                                                                  : aProduct;
}
} // namespace

Decoder::Decoder() = default;
Decoder::Decoder(const Decoder&) = default;
Decoder& Decoder::operator=(const Decoder&) = default;
Decoder::~Decoder() = default;

Decoder::ColorModel Decoder::GetOriginalPhotometricInterpretation() const
{
    if (itsDICOMDataObject == nullptr)
    {
        return COLOR_MODEL_UNKNOWN;
    }
    RWCString anInterpretation;
    if (!itsDICOMDataObject->GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, anInterpretation))
    {
        itsDICOMDataObject->GetString(DICOMTags::PhotometricInterpretation, anInterpretation);
    }
    return ColorModelOf(anInterpretation);
}

std::uint8_t* Decoder::TakeBuffer()
{
    return nullptr;
}

void Decoder::SetBuffer(std::uint8_t*) {}

void Decoder::SetBytesRead(int) {}

int Decoder::GetBytesRead()
{
    return 0;
}

bool Decoder::TakeInputFrom(Decoder&)
{
    return false;
}

PixelRegion Decoder::GetDecodedRegion() const
{
    return {0, 0, GetImageWidth(), GetImageHeight()};
}

PixelRegion Decoder::RowsToDecode() const
{
    PixelRegion aRows{0, 0, GetImageWidth(), GetImageHeight()};
    if (itsRegion && aRows.Contains(*itsRegion))
    {
        aRows.itsHeight = itsRegion->itsY + itsRegion->itsHeight;
    }
    return aRows;
}

void Decoder::CheckRegion(const PixelRegion& theRegion, const PixelRegion& theImage)
{
    if (theRegion.itsWidth == 0 || theRegion.itsHeight == 0 || !theImage.Contains(theRegion))
    {
        throw StreamIOException("no region of " + std::to_string(theRegion.itsWidth) + " x " +
                                    std::to_string(theRegion.itsHeight) + " pixels at column " +
                                    std::to_string(theRegion.itsX) + ", row " +
                                    std::to_string(theRegion.itsY) + ": the image has " +
                                    std::to_string(theImage.itsX + theImage.itsWidth) + " columns and " +
                                    std::to_string(theImage.itsY + theImage.itsHeight) + " rows",
                                DLRC_GENERAL_FAILURE, 0);
    }
}

int Decoder::GetHighBit() const
{
    return itsBitsStoredPerSample - 1;
}

int Decoder::IsSigned() const
{
    return itsSigned;
}

int Decoder::IsSupportsOutputPixelSignConversion() const
{
    return 0;
}

void Decoder::SetCompressionReversible(CompressionReversible) {}

bool Decoder::IsDecoderConvertsColorToRGB()
{
    return false;
}

void Decoder::SetSource(DICOMDataObject* theDataSet, kdu_compressed_source& theSource)
{
    itsDICOMDataObject = theDataSet;
    itsSource = std::make_shared<MeteringKDUCompressedSource>(theSource);
    SetSourceImpl();
    UpdateDICOMHeader();
}

void Decoder::Warn(const char* theIdentifier, const RWCString& theText) const
{
    if (itsReadingContext != nullptr)
    {
        itsReadingContext->Warn(theIdentifier, theText);
    }
}

bool Decoder::GetStatedRepresentation(std::int32_t& theRepresentation) const
{
    if (itsStatedRepresentation)
    {
        theRepresentation = *itsStatedRepresentation;
        return true;
    }
    return itsDICOMDataObject != nullptr &&
           itsDICOMDataObject->GetInteger(DICOMTags::PixelRepresentation, theRepresentation);
}

bool Decoder::WarnOfMissing(std::uint64_t theMissing, std::uint64_t theTotal) const
{
    constexpr std::uint64_t kHundredth = 100;
    if (IsByMeaning() && (theTotal - theMissing) * kHundredth < theTotal)
    {
        return false;
    }
    const double aShare = static_cast<double>(theMissing) / static_cast<double>(theTotal);
    Warn(WarningIdentifier::kTruncated,
         "the data end early: " + Percent(aShare) + " of the picture is missing");
    return true;
}

RWCString Decoder::Percent(double theShare)
{
    const int aRounded = static_cast<int>(std::lround(theShare * 1000));
    const int aTenths = theShare <= 0 ? 0 : theShare >= 1 ? 1000 : std::clamp(aRounded, 1, 999);
    return std::to_string(aTenths / 10) + "." + std::to_string(aTenths % 10) + " %";
}

void Decoder::SetBitsAllocatedPerSample(std::int16_t theBits)
{
    itsBitsAllocatedPerSample = theBits > 8 ? 16 : 8;
}

void Decoder::SetBitsStoredPerSample(int theBits)
{
    // Not std::clamp: the allocated bits are still 0 in a codec that has none yet, and they win then.
    itsBitsStoredPerSample =
        theBits > itsBitsAllocatedPerSample ? itsBitsAllocatedPerSample : std::max(theBits, 1);
}

std::uint64_t Decoder::GetTotalBytesRead() const
{
    return itsSource == nullptr ? 0 : itsSource->GetBytesRead();
}

int Decoder::GetDecompressedBufferSize() const
{
    if (itsSamplesPerPixel < 1 || itsBitsAllocatedPerSample < 1 || itsScaleFactor < 1)
    {
        return -1;
    }
    // Wraps and is narrowed on purpose; GetOutputSize has the true figure.
    return static_cast<int>(GetImageWidth() * GetImageHeight() *
                            static_cast<std::uint64_t>(itsSamplesPerPixel) *
                            static_cast<std::uint64_t>(itsBitsAllocatedPerSample / 8));
}

std::uint64_t Decoder::GetOutputSize() const
{
    if (itsSamplesPerPixel < 1 || itsBitsAllocatedPerSample < 1 || itsScaleFactor < 1)
    {
        return 0;
    }
    const std::uint64_t aPixelCount = MultiplySaturating(GetImageWidth(), GetImageHeight());
    const std::uint64_t aPixelSize = static_cast<std::uint64_t>(itsSamplesPerPixel) *
                                     static_cast<std::uint64_t>(itsBitsAllocatedPerSample / 8);
    return MultiplySaturating(aPixelCount, aPixelSize);
}

kdu_compressed_source& Decoder::GetSource() const
{
    if (itsSource == nullptr)
    {
        throw DLRuntimeException("Decoder::GetSource: no source has been set");
    }
    return *itsSource;
}
