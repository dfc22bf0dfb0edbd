// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpegls/JPEGLSDecoder.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "codecs/jpegls/detail/JPEGLSLibrary.h"
#include "codecs/jpegls/detail/JPEGLSStream.h"
#include "codecs/sources/PlanarSamples.h"
#include "toolkit/base/Exceptions.h"

namespace
{
[[noreturn]] void Fail(const RWCString& theText)
{
    throw StreamIOException("JPEGLSDecoder::Decode: " + theText, DLRC_DECODER_ERROR, 0);
}

/// How many rows, from the first one on, are the same in all planes of both.
std::uint32_t CountEqualRows(std::span<const std::uint8_t> theFirst, std::span<const std::uint8_t> theSecond,
                             std::size_t thePlanes, std::uint32_t theRows)
{
    const std::size_t aPlane = theFirst.size() / thePlanes;
    std::size_t anEqual = aPlane;
    for (std::size_t i = 0; i < thePlanes; ++i)
    {
        const auto aStart = theFirst.begin() + static_cast<std::ptrdiff_t>(i * aPlane);
        const auto aDifference = std::mismatch(aStart, aStart + static_cast<std::ptrdiff_t>(anEqual),
                                               theSecond.begin() + static_cast<std::ptrdiff_t>(i * aPlane));
        anEqual = static_cast<std::size_t>(aDifference.first - aStart);
    }
    return static_cast<std::uint32_t>(anEqual / (aPlane / theRows));
}
} // namespace

JPEGLSDecoder::JPEGLSDecoder() : itsStream(std::make_unique<JPEGLSStream>()) {}

JPEGLSDecoder::~JPEGLSDecoder() = default;

bool JPEGLSDecoder::IsThere()
{
    return JPEGLSLibrary::IsThere();
}

std::uint64_t JPEGLSDecoder::GetImageWidth() const
{
    return itsStream->GetHeader().itsColumns;
}

std::uint64_t JPEGLSDecoder::GetImageHeight() const
{
    return itsStream->GetHeader().itsRows;
}

Decoder::ColorModel JPEGLSDecoder::GetCompressedColorspace() const
{
    return itsSamplesPerPixel == 1 ? COLOR_MODEL_GREY : COLOR_MODEL_UNKNOWN;
}

void JPEGLSDecoder::SetCompressionReversible(CompressionReversible theValue)
{
    itsIsToBeReversible = theValue == CR_REVERSIBLE;
}

void JPEGLSDecoder::SetSourceImpl()
{
    itsStream->ReadHeaders(GetSource());
    const JPEGLSHeader& aHeader = itsStream->GetHeader();
    itsSamplesPerPixel = aHeader.itsComponents;
    itsPrecision = aHeader.itsPrecision;
    itsBitsAllocatedPerSample = itsPrecision > 8 ? 16 : 8;
    itsBitsStoredPerSample = itsPrecision;
    itsRecommendedBitsStoredPerSample = itsPrecision;
    itsCompressionReversible = aHeader.itsNear == 0 ? CR_REVERSIBLE : CR_IRREVERSIBLE;
    std::int32_t aRepresentation = 0;
    itsSigned = GetStatedRepresentation(aRepresentation) && aRepresentation == 1 ? 1 : 0;
    SettleColour();
    if (itsIsToBeReversible && aHeader.itsNear != 0)
    {
        Warn(WarningIdentifier::kNonconformant,
             "the transfer syntax is without loss, samples may be off by " + std::to_string(aHeader.itsNear));
    }
}

/// The data set's label counts; SPIFF headers are believed where there is none.
void JPEGLSDecoder::SettleColour()
{
    constexpr int kUnspecified = 2, kYCbCr = 3, kRGB = 10;
    itsDecompressedColorspace = itsSamplesPerPixel == 1 ? COLOR_MODEL_GREY : COLOR_MODEL_RGB;
    const int aSpace = itsStream->GetHeader().itsSPIFFColours;
    if (itsSamplesPerPixel == 3 && GetOriginalPhotometricInterpretation() == COLOR_MODEL_UNKNOWN)
    {
        if (aSpace == kYCbCr)
        {
            itsDecompressedColorspace = COLOR_MODEL_YBR_FULL;
        }
        else if (aSpace != 0 && aSpace != kUnspecified && aSpace != kRGB)
        {
            Warn(WarningIdentifier::kColourLabel,
                 "colour space " + std::to_string(aSpace) + " of the SPIFF header was taken for RGB");
        }
    }
    itsRecommendedDecompressedColorspace = itsDecompressedColorspace;
}

void JPEGLSDecoder::Decode(unsigned int, void* theBuffer, std::uint64_t theSize)
{
    const std::uint64_t aSize = GetOutputSize();
    if (theBuffer == nullptr || theSize < aSize)
    {
        Fail("output buffer size " + std::to_string(theSize) + " < decoded image size " +
             std::to_string(aSize));
    }
    itsStream->ReadScans(GetSource());
    if (itsStream->HasLoss() && itsCompressionReversible == CR_REVERSIBLE)
    {
        MarkIrreversible();
    }
    auto* const aBuffer = static_cast<std::uint8_t*>(theBuffer);
    // Not filled first: what a small stream claims costs no memory before it is decoded.
    const auto aPlanes = std::make_unique_for_overwrite<std::uint8_t[]>(IsPlanar() ? aSize : 0);
    const std::uint32_t aRows = DecodeRows(IsPlanar() ? aPlanes.get() : aBuffer, aSize);
    if (IsPlanar())
    {
        PlanarSamples::Interleave({aPlanes.get(), aSize},
                                  static_cast<std::size_t>(itsBitsAllocatedPerSample) / 8, aBuffer);
    }
    const std::uint64_t aRowSize = aSize / GetImageHeight();
    std::fill(aBuffer + aRows * aRowSize, aBuffer + aSize, std::uint8_t{0});
}

bool JPEGLSDecoder::IsPlanar() const
{
    return itsSamplesPerPixel == 3 && itsStream->GetHeader().itsInterleave == 0;
}

/// Answers how many rows there are, which are fewer than the image has only where the data end early.
std::uint32_t JPEGLSDecoder::DecodeRows(std::uint8_t* theOutput, std::uint64_t theSize)
{
    if (itsStream->IsCut())
    {
        return DecodeCut(theOutput, theSize);
    }
    const JPEGLSHeader& aHeader = itsStream->GetHeader();
    const char* const aFault = JPEGLSLibrary::Decode(itsStream->GetBytes(), aHeader, theOutput, theSize);
    if (aFault != nullptr)
    {
        if (!DecodeWithoutZeros(theOutput, theSize))
        {
            Fail(aFault);
        }
        Warn(WarningIdentifier::kNonconformant, "zeros stand between the last scan and the end of the image");
    }
    return aHeader.itsRows;
}

/// The library makes up a few bits behind the end before it gives up, and does not say where that was. So two
/// decodings with other bits there, over other bytes, are compared: what they agree on is in the stream.
std::uint32_t JPEGLSDecoder::DecodeCut(std::uint8_t* theOutput, std::uint64_t theSize)
{
    const JPEGLSHeader& aHeader = itsStream->GetHeader();
    std::fill_n(theOutput, theSize, std::uint8_t{0});
    const char* const aFault = JPEGLSLibrary::Decode(itsStream->GetBytes(), aHeader, theOutput, theSize);
    std::vector<std::uint8_t> anOther(theSize, 0xff);
    JPEGLSLibrary::Decode(itsStream->GetBytes(0, {0x7f, 0x7f, 0x7f, 0x7f}), aHeader, anOther.data(), theSize);
    const std::uint32_t aRows =
        CountEqualRows({theOutput, theSize}, anOther, IsPlanar() ? 3 : 1, aHeader.itsRows);
    if (aRows == aHeader.itsRows)
    {
        Warn(WarningIdentifier::kNonconformant, "the image has no end-of-image marker");
        return aRows;
    }
    if (!IsByMeaning() || !WarnOfMissing(aHeader.itsRows - aRows, aHeader.itsRows))
    {
        Fail(aFault != nullptr ? aFault : "the data end early");
    }
    return aRows;
}

/// Zeros between the last scan and the end, with which some writers make lengths even, are more than the
/// library takes. They look like data; so one is left out first, then all of them.
bool JPEGLSDecoder::DecodeWithoutZeros(std::uint8_t* theOutput, std::uint64_t theSize)
{
    const std::size_t aZeros = itsStream->CountTrailingZeros();
    for (const std::size_t aCount : {std::min<std::size_t>(aZeros, 1), aZeros})
    {
        if (aCount > 0 && JPEGLSLibrary::Decode(itsStream->GetBytes(aCount), itsStream->GetHeader(),
                                                theOutput, theSize) == nullptr)
        {
            return true;
        }
    }
    return false;
}
