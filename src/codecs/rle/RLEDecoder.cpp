// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/RLEDecoder.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "codecs/rle/detail/RLEFrameDecoder.h"
#include "engine/kdu_compressed_source.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ScratchpadKeys.h"
#include "toolkit/io/InputStream.h"

namespace
{
constexpr int kHeaderBytes = 64;
constexpr std::uint32_t kFirstOffset = 64;
constexpr std::uint64_t kUnknownSize = std::numeric_limits<std::uint32_t>::max();

[[noreturn]] void FailSource(const char* theText)
{
    throw StreamIOException(RWCString("RLEDecoder::SetSource: ") + theText, DLRC_PIXEL_DATA_TOO_SHORT, 0);
}

/// theSet may be null, which counts as a set without the attribute.
std::uint16_t ReadAttribute(const DICOMDataObject* theSet, DICOMTag theTag, const char* theName)
{
    std::uint16_t aValue = 0;
    if (theSet == nullptr || !theSet->GetUnsignedShort(theTag, aValue))
    {
        FailSource((RWCString("unable to get ") + theName + " from dicom header").c_str());
    }
    return aValue;
}
} // namespace

RLEDecoder::RLEDecoder()
{
    itsCompressionReversible = CR_REVERSIBLE;
    itsScaleFactor = 1;
}

RLEDecoder::~RLEDecoder() = default;
RLEDecoder::RLEDecoder(const RLEDecoder&) = default;
RLEDecoder& RLEDecoder::operator=(const RLEDecoder&) = default;

void RLEDecoder::SetSourceImpl()
{
    ReadGeometry();
    ReadSampleFormat();
    ReadPhotometricInterpretation();
    if (!ReadRLEHeader())
    {
        FailSource("unable to read RLE header fully");
    }
    if (itsComponentCount < 1)
    {
        FailSource("found no components in RLE codestream");
    }
    if (IsByMeaning())
    {
        SettleDepthBySegments();
    }
}

/// One segment for every byte that the data set allocates is what the standard wants, however few bits of
/// them are stored.
void RLEDecoder::SettleDepthBySegments()
{
    const int aBits = ReadAttribute(GetDICOMDataObject(), DICOMTags::BitsAllocated, "BitsAllocated");
    if (aBits % 8 == 0 && aBits > itsBitsAllocatedPerSample &&
        itsComponentCount == aBits / 8 * itsSamplesPerPixel)
    {
        itsBitsAllocatedPerSample = aBits;
    }
}

void RLEDecoder::ReadGeometry()
{
    const DICOMDataObject* const aSet = GetDICOMDataObject();
    itsImageHeight = ReadAttribute(aSet, DICOMTags::Rows, "Rows");
    itsImageWidth = ReadAttribute(aSet, DICOMTags::Columns, "Columns");
    itsSamplesPerPixel = ReadAttribute(aSet, DICOMTags::SamplesPerPixel, "SamplesPerPixel");
    RWCString anOriginal;
    if (aSet->GetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, anOriginal) && anOriginal == "1")
    {
        // The set was rewritten for an earlier decode of this image; the codestream was not.
        itsSamplesPerPixel = 1;
    }
}

void RLEDecoder::ReadSampleFormat()
{
    const DICOMDataObject* const aSet = GetDICOMDataObject();
    itsBitsAllocatedPerSample = ReadAttribute(aSet, DICOMTags::BitsAllocated, "BitsAllocated");
    itsBitsStoredPerSample = ReadAttribute(aSet, DICOMTags::BitsStored, "BitsStored");
    itsRecommendedBitsStoredPerSample = itsBitsStoredPerSample;
    // Deliberately not the data set's Bits Allocated: the number of segments follows the bits stored.
    itsBitsAllocatedPerSample = (itsBitsStoredPerSample + 7) / 8 * 8;
    itsHighBit = ReadAttribute(aSet, DICOMTags::HighBit, "HighBit");
    itsSigned = ReadAttribute(aSet, DICOMTags::PixelRepresentation, "PixelRepresentation") == 1 ? 1 : 0;
}

void RLEDecoder::ReadPhotometricInterpretation()
{
    const DICOMDataObject* const aSet = GetDICOMDataObject();
    if (!aSet->GetScratchpadValue(ScratchpadKeys::DecompOrigPhotoInterp, itsPhotometricInterpretation) &&
        !aSet->GetString(DICOMTags::PhotometricInterpretation, itsPhotometricInterpretation))
    {
        FailSource("unable to get PhotometricInterpretation from dicom header");
    }
    const bool isGrey = itsPhotometricInterpretation.size() == 11 &&
                        itsPhotometricInterpretation.compare(0, 10, "MONOCHROME") == 0;
    // YBR and palette images are labelled RGB too: nothing is converted here.
    itsDecompressedColorspace = isGrey ? COLOR_MODEL_GREY : COLOR_MODEL_RGB;
    itsRecommendedDecompressedColorspace = itsDecompressedColorspace;
    itsCompressionReversible = CR_REVERSIBLE;
}

bool RLEDecoder::ReadRLEHeader()
{
    std::array<kdu_byte, kHeaderBytes> aBytes{};
    if (GetSource().read(aBytes.data(), kHeaderBytes) != kHeaderBytes)
    {
        return false;
    }
    MemoryInputStream aStream(aBytes.data(), aBytes.size());
    EndianHandlingReader aReader(aStream, DLEndian::LITTLE_ENDIAN_ORDER);
    std::array<std::uint32_t, kHeaderEntries> anEntries{};
    for (std::uint32_t& anEntry : anEntries)
    {
        if (!aReader.Read(anEntry))
        {
            return false;
        }
    }
    itsComponentCount = static_cast<std::int32_t>(anEntries[0]);
    itsRLEHeader[0] = anEntries[0];
    for (std::size_t i = 1; i < anEntries.size(); ++i)
    {
        itsRLEHeader[i] = std::cmp_greater(i, itsComponentCount) ? 0 : anEntries[i];
    }
    return (itsComponentCount < 1 || itsRLEHeader[1] == kFirstOffset) && itsComponentCount < kHeaderEntries;
}

void RLEDecoder::Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize)
{
    try
    {
        DecodeChecked(theFrameLength, theBuffer, theSize);
    }
    catch (const ExceptionBase& anException)
    {
        // The one place where this library prints. Not printf: the text may hold percent signs.
        if (!IsSilent())
        {
            std::fputs(anException.GetMessageText().c_str(), stdout);
        }
        throw;
    }
}

void RLEDecoder::DecodeChecked(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize)
{
    if (itsComponentCount < 1)
    {
        throw StreamIOException("RLEDecoder::Decode: input contains no compressed data segments",
                                DLRC_DECODER_ERROR, 0);
    }
    // No factor exceeds 16 bits, and at most 15 segments pass: nothing here can overflow.
    const std::uint64_t aBytesPerSample = (static_cast<std::uint64_t>(itsBitsAllocatedPerSample) + 7) / 8;
    const std::uint64_t aBytesPerPixel = aBytesPerSample * static_cast<std::uint64_t>(itsSamplesPerPixel);
    const auto aSegmentCount = static_cast<std::uint64_t>(itsComponentCount);
    if (aSegmentCount != aBytesPerPixel || aSegmentCount >= kHeaderEntries)
    {
        throw StreamIOException("RLEDecoder::Decode: number of segments != bytes per pixel",
                                DLRC_DECODER_ERROR, 0);
    }
    const std::uint64_t aPixelCount = static_cast<std::uint64_t>(itsImageHeight) * itsImageWidth;
    if (theSize < aSegmentCount * aPixelCount)
    {
        throw StreamIOException("RLEDecoder::Decode: destination buffer size < ", DLRC_DECODER_ERROR, 0);
    }
    itsRLEHeader[aSegmentCount + 1] = theFrameLength;

    RLEPixelLayout aLayout;
    aLayout.itsSegmentCount = static_cast<unsigned int>(aSegmentCount);
    aLayout.itsBytesPerSample = static_cast<unsigned int>(aBytesPerSample);
    aLayout.itsPixelCount = aPixelCount;
    aLayout.itsSurplus = aPixelCount - itsImageWidth * RowsToDecode().itsHeight;
    RLEFrameDecoder aDecoder(GetSource(), aLayout, itsRLEHeader.data() + 1,
                             static_cast<std::uint8_t*>(theBuffer), theSize);
    Run(aDecoder, aLayout, theBuffer);
}

void RLEDecoder::Run(RLEFrameDecoder& theDecoder, const RLEPixelLayout& theLayout, void* theBuffer) const
{
    if (IsByMeaning() && HasOddOffset())
    {
        Warn(WarningIdentifier::kNonconformant, "RLE segments begin at odd offsets");
        theDecoder.AllowOddOffsets();
    }
    RWCString aReason = "RLEDecoder::Decode: the segments hold less than a hundredth of the image";
    try
    {
        theDecoder.Decode(RLEPath::AUTOMATIC);
    }
    catch (const StreamIOException& anException)
    {
        if (!IsByMeaning() || !theDecoder.IsCut())
        {
            throw;
        }
        aReason = anException.GetMessageText();
    }
    const std::uint64_t aWhole = theDecoder.CountWholePixels();
    // Where all that is wanted is there nobody looks for the rest.
    const std::uint64_t aMissing =
        aWhole == theLayout.GetWantedCount() ? 0 : theLayout.itsPixelCount - aWhole;
    if ((aMissing > 0 || theDecoder.IsCut()) && !WarnOfMissing(aMissing, theLayout.itsPixelCount))
    {
        throw StreamIOException(aReason, DLRC_DECODER_ERROR, 0);
    }
    if (IsByMeaning())
    {
        // A pixel of which bytes are missing has a wrong value or a wrong colour.
        std::fill_n(static_cast<std::uint8_t*>(theBuffer) + aWhole * theLayout.itsSegmentCount,
                    aMissing * theLayout.itsSegmentCount, std::uint8_t{0});
    }
}

PixelRegion RLEDecoder::GetDecodedRegion() const
{
    return RowsToDecode();
}

bool RLEDecoder::HasOddOffset() const
{
    const auto aFirst = itsRLEHeader.begin() + 1;
    return std::any_of(aFirst, aFirst + itsComponentCount,
                       [](std::uint32_t theOffset) { return theOffset % 2 != 0; });
}

Decoder::ColorModel RLEDecoder::GetCompressedColorspace() const
{
    const RWCString& aName = itsPhotometricInterpretation;
    if (aName == "RGB")
    {
        return COLOR_MODEL_RGB;
    }
    if (aName.size() > 5 && aName.compare(0, 4, "YBR_") == 0)
    {
        return COLOR_MODEL_YBR_FULL;
    }
    // Monochrome is deliberately not recognised: callers go by the decompressed colour space for it.
    return aName == "PALETTE COLOR" ? COLOR_MODEL_PALETTE_COLOR : COLOR_MODEL_UNKNOWN;
}

int RLEDecoder::GetHighBit() const
{
    return static_cast<int>(itsHighBit);
}

std::uint64_t RLEDecoder::GetOutputSize() const
{
    return 0;
}

std::uint32_t RLEDecoder::GetComponentOffset(int theIndex) const
{
    const bool isDeclared = theIndex >= 0 && theIndex <= static_cast<std::int64_t>(itsComponentCount) + 1;
    if (!isDeclared || theIndex > kHeaderEntries)
    {
        return 0;
    }
    return itsRLEHeader[static_cast<std::size_t>(theIndex)];
}

std::uint64_t RLEDecoder::GetComponentSize(int theIndex) const
{
    if (theIndex < 1 || theIndex >= itsComponentCount || theIndex >= kHeaderEntries)
    {
        return kUnknownSize;
    }
    const auto anIndex = static_cast<std::size_t>(theIndex);
    return static_cast<std::uint32_t>(itsRLEHeader[anIndex + 1] - itsRLEHeader[anIndex]);
}
