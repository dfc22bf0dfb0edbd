// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/Part10ImageAttributes.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ScratchpadKeys.h"

namespace
{
/// Reads mandatory attributes. Every missing one overwrites the text of the one before, so that the last
/// one missing is reported.
class MandatoryAttributes
{
public:
    explicit MandatoryAttributes(const DICOMDataObject& theDataSet) : itsDataSet(theDataSet) {}

    void Integer(DICOMTag theTag, const char* theName, std::int32_t& theValue)
    {
        if (!itsDataSet.GetInteger(theTag, theValue))
        {
            Missing(theName);
        }
    }

    void String(DICOMTag theTag, const char* theName, RWCString& theValue)
    {
        if (!itsDataSet.GetString(theTag, theValue))
        {
            Missing(theName);
        }
    }

    void SetError(const RWCString& theText) { itsError = theText; }

    void ThrowIfMissing() const
    {
        if (!itsError.empty())
        {
            throw StreamIOException(itsError, DLRC_PARSE_ERROR, 0);
        }
    }

private:
    void Missing(const char* theName)
    {
        DecompressionLibUtils::ErrMessage(itsError, "DC3 Tag not found: %s", theName);
    }

    const DICOMDataObject& itsDataSet;
    RWCString itsError;
};

/// What the data set says, unless an earlier decode has overwritten it and kept the original.
bool ReadPlanar(const DICOMDataObject& theDataSet, MandatoryAttributes& theReader)
{
    RWCString anOriginal;
    if (theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPlanarConfig, anOriginal))
    {
        return anOriginal == "1";
    }
    std::int32_t aPlanar = 0;
    if (!theDataSet.GetInteger(DICOMTags::PlanarConfiguration, aPlanar))
    {
        theReader.SetError("Missing PlanarConfiguration attribute");
    }
    return aPlanar != 0;
}
} // namespace

void Part10ImageAttributes::Read(const DICOMDataObject& theDataSet)
{
    MandatoryAttributes aReader(theDataSet);
    aReader.Integer(DICOMTags::Rows, "Rows", itsRows);
    aReader.Integer(DICOMTags::Columns, "Columns", itsColumns);
    aReader.Integer(DICOMTags::BitsAllocated, "BitsAllocated", itsBitsAllocated);
    aReader.Integer(DICOMTags::BitsStored, "BitsStored", itsBitsStored);
    itsLossy = theDataSet.IsMarkedLossy();
    itsForcedLossless = theDataSet.IsMarkedLossless();
    aReader.Integer(DICOMTags::HighBit, "HighBit", itsHighBit);
    aReader.Integer(DICOMTags::PixelRepresentation, "PixelRepresentation", itsPixelRepresentation);
    if (!theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, itsPhotometricInterpretation))
    {
        aReader.String(DICOMTags::PhotometricInterpretation, "PhotometricInterpretation",
                       itsPhotometricInterpretation);
    }
    aReader.Integer(DICOMTags::SamplesPerPixel, "SamplesPerPixel", itsSamplesPerPixel);
    RWCString anOriginalSamples;
    if (theDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, anOriginalSamples) &&
        anOriginalSamples == "1")
    {
        itsSamplesPerPixel = 1;
    }
    itsPlanar = itsSamplesPerPixel == 3 && ReadPlanar(theDataSet, aReader);
    itsNumberOfFrames = ReadNumberOfFrames(theDataSet);
    aReader.ThrowIfMissing();
    Limits::CheckFrames(static_cast<std::uint64_t>(itsNumberOfFrames));
}

void Part10ImageAttributes::ReadDecoded(const DICOMDataObject& theDataSet)
{
    MandatoryAttributes aReader(theDataSet);
    aReader.Integer(DICOMTags::Rows, "Rows", itsRows);
    aReader.Integer(DICOMTags::Columns, "Columns", itsColumns);
    aReader.Integer(DICOMTags::SamplesPerPixel, "SamplesPerPixel", itsSamplesPerPixel);
    aReader.Integer(DICOMTags::BitsAllocated, "BitsAllocated", itsBitsAllocated);
    aReader.Integer(DICOMTags::BitsStored, "BitsStored", itsBitsStored);
    aReader.Integer(DICOMTags::HighBit, "HighBit", itsHighBit);
    aReader.Integer(DICOMTags::PixelRepresentation, "PixelRepresentation", itsPixelRepresentation);
    aReader.ThrowIfMissing();
}

std::int32_t Part10ImageAttributes::ReadNumberOfFrames(const DICOMDataObject& theDataSet)
{
    RWCString aText;
    if (!theDataSet.GetString(DICOMTags::NumberOfFrames, aText))
    {
        return 1;
    }
    constexpr long kLimit = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(std::strtol(aText.c_str(), nullptr, 10), 1L, kLimit));
}

std::uint64_t
Part10ImageAttributes::GetFrameSize(Renderable::PhotometricInterpretation theInterpretation) const
{
    constexpr std::int64_t kLimit = std::numeric_limits<std::int32_t>::max();
    // Odd pixel counts of subsampled images are rounded up by at most three.
    const std::int64_t aPixels = std::int64_t{itsRows} * itsColumns + (itsSamplesPerPixel == 3 ? 3 : 0);
    const bool isSane = itsRows >= 0 && itsColumns >= 0 && itsSamplesPerPixel >= 0 && itsBitsAllocated >= 0 &&
                        itsBitsAllocated <= std::numeric_limits<std::int16_t>::max();
    if (!isSane)
    {
        throw BadAllocException(std::numeric_limits<std::uint64_t>::max());
    }
    Limits::CheckFrame(static_cast<std::uint64_t>(itsRows), static_cast<std::uint64_t>(itsColumns), 0);
    if (aPixels > kLimit || aPixels * itsBitsAllocated > kLimit)
    {
        std::uint64_t aBytes = 0;
        const bool isTooLarge = __builtin_mul_overflow(static_cast<std::uint64_t>(aPixels) / 8,
                                                       static_cast<std::uint64_t>(itsBitsAllocated), &aBytes);
        throw BadAllocException(isTooLarge ? std::numeric_limits<std::uint64_t>::max() : aBytes);
    }
    const std::uint64_t aSize = Renderable::calculateRequiredBufferSize(
        itsRows, itsColumns, itsBitsAllocated, itsSamplesPerPixel, theInterpretation);
    Limits::CheckFrame(0, 0, aSize);
    return aSize;
}
