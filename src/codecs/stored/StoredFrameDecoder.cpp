// SPDX-License-Identifier: Apache-2.0
#include "codecs/stored/StoredFrameDecoder.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "codecs/sources/PlanarSamples.h"
#include "engine/kdu_compressed_source.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ScratchpadKeys.h"

namespace
{
constexpr std::uint64_t kMostAtOnce = std::numeric_limits<int>::max();

/// Reads until theCount bytes are there or the source ends; answers how many there were.
std::uint64_t ReadFully(kdu_compressed_source& theSource, std::uint8_t* theBytes, std::uint64_t theCount)
{
    std::uint64_t aDone = 0;
    int aCount = 1;
    while (aDone < theCount && aCount > 0)
    {
        aCount = std::max(
            theSource.read(theBytes + aDone, static_cast<int>(std::min(theCount - aDone, kMostAtOnce))), 0);
        aDone += static_cast<std::uint64_t>(aCount);
    }
    return aDone;
}
} // namespace

StoredFrameDecoder::StoredFrameDecoder(const char* theName) : itsName(theName)
{
    itsCompressionReversible = CR_REVERSIBLE;
}

void StoredFrameDecoder::Fail(const RWCString& theText, DLResultCode theCode) const
{
    throw StreamIOException(RWCString(itsName) + "::" + theText, theCode, 0);
}

void StoredFrameDecoder::FailShort(std::uint64_t theBytes) const
{
    Fail("Decode: the frame has " + std::to_string(theBytes) + " bytes of " + std::to_string(GetOutputSize()),
         DLRC_PIXEL_DATA_TOO_SHORT);
}

std::uint16_t StoredFrameDecoder::ReadAttribute(DICOMTag theTag, const char* theName) const
{
    std::uint16_t aValue = 0;
    if (GetDICOMDataObject() == nullptr || !GetDICOMDataObject()->GetUnsignedShort(theTag, aValue))
    {
        Fail(RWCString("SetSource: unable to get ") + theName + " from dicom header",
             DLRC_PIXEL_DATA_TOO_SHORT);
    }
    return aValue;
}

void StoredFrameDecoder::SetSourceImpl()
{
    itsRows = ReadAttribute(DICOMTags::Rows, "Rows");
    itsColumns = ReadAttribute(DICOMTags::Columns, "Columns");
    itsSamplesPerPixel = ReadAttribute(DICOMTags::SamplesPerPixel, "SamplesPerPixel");
    itsBitsAllocatedPerSample = ReadAttribute(DICOMTags::BitsAllocated, "BitsAllocated");
    itsBitsStoredPerSample = ReadAttribute(DICOMTags::BitsStored, "BitsStored");
    itsRecommendedBitsStoredPerSample = itsBitsStoredPerSample;
    itsHighBit = ReadAttribute(DICOMTags::HighBit, "HighBit");
    itsSigned = ReadAttribute(DICOMTags::PixelRepresentation, "PixelRepresentation") == 1 ? 1 : 0;
    ReadColour();
    const bool isWhole =
        itsBitsAllocatedPerSample == 8 || itsBitsAllocatedPerSample == 16 || itsBitsAllocatedPerSample == 32;
    const bool isSingleBits = itsBitsAllocatedPerSample == 1 && itsSamplesPerPixel == 1;
    if ((itsSamplesPerPixel != 1 && itsSamplesPerPixel != 3) || (!isWhole && !isSingleBits))
    {
        Fail("SetSource: no frame has " + std::to_string(itsSamplesPerPixel) + " samples of " +
             std::to_string(itsBitsAllocatedPerSample) + " bits allocated a pixel");
    }
}

/// The set may have been rewritten for an earlier frame; the frames were not.
void StoredFrameDecoder::ReadColour()
{
    const DICOMDataObject& aSet = *GetDICOMDataObject();
    RWCString anOriginal;
    if (aSet.GetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, anOriginal) && anOriginal == "1")
    {
        itsSamplesPerPixel = 1;
    }
    const bool isGrey = itsSamplesPerPixel == 1 && GetOriginalPhotometricInterpretation() == COLOR_MODEL_GREY;
    itsDecompressedColorspace = isGrey ? COLOR_MODEL_GREY : COLOR_MODEL_RGB;
    itsRecommendedDecompressedColorspace = itsDecompressedColorspace;
    if (aSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPlanarConfig, anOriginal))
    {
        itsIsPlanar = itsSamplesPerPixel == 3 && anOriginal == "1";
        return;
    }
    std::int32_t aPlanar = 0;
    itsIsPlanar =
        itsSamplesPerPixel == 3 && aSet.GetInteger(DICOMTags::PlanarConfiguration, aPlanar) && aPlanar != 0;
}

std::uint64_t StoredFrameDecoder::GetOutputSize() const
{
    // No factor has more than 16 bits, nor their product more than 2^40.
    const std::uint64_t aSamples =
        std::uint64_t{itsRows} * itsColumns * static_cast<std::uint64_t>(itsSamplesPerPixel);
    return (aSamples * static_cast<std::uint64_t>(itsBitsAllocatedPerSample) + 7) / 8;
}

PixelRegion StoredFrameDecoder::GetDecodedRegion() const
{
    return itsIsPlanar ? Decoder::GetDecodedRegion() : RowsToDecode();
}

void StoredFrameDecoder::Decode(unsigned int, void* theBuffer, std::uint64_t theSize)
{
    const std::uint64_t aSize = GetOutputSize();
    if (theBuffer == nullptr || theSize < aSize)
    {
        Fail("Decode: destination buffer size < " + std::to_string(aSize), DLRC_PIXEL_DATA_TOO_SHORT);
    }
    auto* const aPixels = static_cast<std::uint8_t*>(theBuffer);
    if (!itsIsPlanar)
    {
        const std::uint64_t aRowBits =
            GetDecodedRegion().itsWidth *
            static_cast<std::uint64_t>(itsSamplesPerPixel * itsBitsAllocatedPerSample);
        ReadFrame(aPixels, (GetDecodedRegion().itsHeight * aRowBits + 7) / 8);
        return;
    }
    std::vector<std::uint8_t> aPlanes(aSize);
    ReadFrame(aPlanes.data(), aSize);
    PlanarSamples::Interleave(aPlanes, static_cast<std::size_t>(itsBitsAllocatedPerSample) / 8, aPixels);
}

void StoredFrameDecoder::CheckPadding(std::uint64_t theCount) const
{
    if (theCount > 1)
    {
        Fail("Decode: more than one byte follows the " + std::to_string(GetOutputSize()) +
             " bytes of the frame");
    }
}

UncompressedFrameDecoder::UncompressedFrameDecoder() : StoredFrameDecoder("UncompressedFrameDecoder") {}

void UncompressedFrameDecoder::ReadFrame(std::uint8_t* theFrame, std::uint64_t theSize)
{
    const std::uint64_t aCount = ReadFully(GetSource(), theFrame, theSize);
    if (aCount < theSize)
    {
        FailShort(aCount);
    }
    if (theSize < GetOutputSize())
    {
        return;
    }
    std::uint8_t aRest[2] = {};
    CheckPadding(ReadFully(GetSource(), aRest, sizeof(aRest)));
}
