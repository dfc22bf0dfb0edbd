// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpegls/detail/JPEGLSStream.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "engine/kdu_compressed_source.h"
#include "toolkit/base/Exceptions.h"

namespace
{
constexpr std::uint8_t kStartOfImage = 0xd8, kEndOfImage = 0xd9, kStartOfScan = 0xda, kRestartInterval = 0xdd,
                       kApplication8 = 0xe8, kFrame = 0xf7, kParameters = 0xf8;
constexpr std::size_t kMostHeaderBytes = std::size_t{16} << 20;
constexpr std::size_t kNone = ~std::size_t{0};

[[noreturn]] void Fail(const RWCString& theText, DLResultCode theCode = DLRC_DECODER_ERROR)
{
    throw StreamIOException("JPEGLSDecoder::SetSource: " + theText, theCode, 0);
}

[[noreturn]] void FailScans(const RWCString& theText)
{
    throw StreamIOException("JPEGLSDecoder::Decode: " + theText, DLRC_DECODER_ERROR, 0);
}

std::size_t Word(const std::uint8_t* theBytes)
{
    return std::size_t{theBytes[0]} << 8 | theBytes[1];
}

bool Begins(std::span<const std::uint8_t> theSegment, std::string_view theText)
{
    return theSegment.size() >= theText.size() &&
           std::memcmp(theSegment.data(), theText.data(), theText.size()) == 0;
}

bool HasSegment(std::uint8_t theMarker)
{
    return theMarker >= 0xc0 && !(theMarker >= 0xd0 && theMarker <= kEndOfImage);
}

bool IsOtherFrame(std::uint8_t theMarker)
{
    return theMarker >= 0xc0 && theMarker <= 0xcf && theMarker != 0xc4 && theMarker != 0xc8 &&
           theMarker != 0xcc;
}

bool IsRestart(std::uint8_t theMarker)
{
    return theMarker >= 0xd0 && theMarker <= 0xd7;
}

/// Mapping tables and dimensions beyond 16 bits would change what the other headers say.
bool IsPreset(std::span<const std::uint8_t> theSegment)
{
    constexpr std::size_t kPresetLength = 11;
    return theSegment.size() == kPresetLength && theSegment[0] == 1;
}
} // namespace

bool JPEGLSStream::Fill(kdu_compressed_source& theSource, std::size_t theCount)
{
    constexpr std::size_t kChunk = 0x1000;
    while (itsBytes.size() < theCount && theCount <= kMostHeaderBytes)
    {
        const std::size_t aSize = itsBytes.size();
        itsBytes.resize(aSize + kChunk);
        const int aCount = std::max(theSource.read(itsBytes.data() + aSize, kChunk), 0);
        itsBytes.resize(aSize + static_cast<std::size_t>(aCount));
        if (aCount == 0)
        {
            return false;
        }
    }
    return itsBytes.size() >= theCount;
}

std::uint8_t JPEGLSStream::ReadMarker(kdu_compressed_source& theSource)
{
    std::size_t aFills = 0;
    for (; Fill(theSource, itsPosition + 1) && itsBytes[itsPosition] == 0xff; ++itsPosition)
    {
        ++aFills;
    }
    if (itsPosition >= itsBytes.size())
    {
        Fail("the headers end before the first scan", DLRC_PIXEL_DATA_TOO_SHORT);
    }
    if (aFills == 0)
    {
        Fail("no marker at byte " + std::to_string(itsPosition));
    }
    return itsBytes[itsPosition++];
}

JPEGLSStream::Segment JPEGLSStream::ReadSegment(kdu_compressed_source& theSource)
{
    const std::size_t aStart = itsPosition + 2;
    const std::size_t aLength = Fill(theSource, aStart) ? Word(itsBytes.data() + itsPosition) : 2;
    if (aLength < 2 || !Fill(theSource, itsPosition + aLength) || aStart > itsBytes.size())
    {
        Fail("a header ends early", DLRC_PIXEL_DATA_TOO_SHORT);
    }
    itsPosition += aLength;
    return {itsBytes.data() + aStart, aLength - 2};
}

void JPEGLSStream::ReadHeaders(kdu_compressed_source& theSource)
{
    if (ReadMarker(theSource) != kStartOfImage)
    {
        Fail("this is no JPEG-LS stream");
    }
    itsHead = {0xff, kStartOfImage};
    std::uint8_t aMarker = kStartOfImage;
    std::size_t aStart = 0;
    while (aMarker != kStartOfScan)
    {
        aMarker = ReadMarker(theSource);
        aStart = itsPosition;
        if (HasSegment(aMarker))
        {
            Examine(aMarker, ReadSegment(theSource));
        }
        else if (aMarker != kStartOfImage) // which ends a SPIFF header, too
        {
            Fail("marker " + std::to_string(aMarker) + " in the headers");
        }
    }
    itsPosition = itsHead.size();
    itsHead.insert(itsHead.end(), {0xff, kStartOfScan});
    itsHead.insert(itsHead.end(), itsBytes.begin() + static_cast<std::ptrdiff_t>(aStart), itsBytes.end());
    itsBytes = std::move(itsHead);
}

void JPEGLSStream::Examine(std::uint8_t theMarker, Segment theSegment)
{
    constexpr std::size_t kSPIFFColours = 18, kReset = 9, kUsualReset = 64;
    if (theMarker == kFrame)
    {
        ReadFrameHeader(theSegment);
    }
    else if (theMarker == kStartOfScan)
    {
        ReadFirstScanHeader(theSegment);
    }
    else if (theMarker == kParameters && !IsPreset(theSegment))
    {
        Fail("mapping tables, and images beyond 65535 rows or columns, are not supported");
    }
    else if (theMarker == kApplication8 && Begins(theSegment, {"SPIFF\0", 6}) &&
             theSegment.size() > kSPIFFColours)
    {
        itsHeader.itsSPIFFColours = theSegment[kSPIFFColours];
    }
    else if (theMarker == kParameters)
    {
        const std::size_t aReset = Word(theSegment.data() + kReset);
        itsHasOwnReset = itsHasOwnReset || (aReset != 0 && aReset != kUsualReset);
        Keep(theMarker, theSegment);
    }
    else if (theMarker == kRestartInterval ||
             (theMarker == kApplication8 && Begins(theSegment, "mrfx"))) // a colour transform
    {
        Keep(theMarker, theSegment);
    }
    else if (IsOtherFrame(theMarker))
    {
        Fail("the frame is not a JPEG-LS one");
    }
}

void JPEGLSStream::Keep(std::uint8_t theMarker, Segment theSegment)
{
    const std::size_t aLength = theSegment.size() + 2;
    itsHead.insert(itsHead.end(), {0xff, theMarker, static_cast<std::uint8_t>(aLength >> 8),
                                   static_cast<std::uint8_t>(aLength & 0xff)});
    itsHead.insert(itsHead.end(), theSegment.begin(), theSegment.end());
}

void JPEGLSStream::ReadFrameHeader(Segment theSegment)
{
    constexpr std::size_t kStart = 6;
    constexpr std::size_t kEach = 3;
    if (itsHeader.itsComponents != 0 || theSegment.size() < kStart ||
        theSegment.size() != kStart + kEach * theSegment[kStart - 1])
    {
        Fail("the frame header is damaged");
    }
    itsHeader.itsPrecision = theSegment[0];
    itsHeader.itsRows = static_cast<std::uint32_t>(Word(theSegment.data() + 1));
    itsHeader.itsColumns = static_cast<std::uint32_t>(Word(theSegment.data() + 3));
    itsHeader.itsComponents = theSegment[kStart - 1];
    if (itsHeader.itsPrecision < 2 || itsHeader.itsPrecision > 16)
    {
        Fail(std::to_string(itsHeader.itsPrecision) + " bits a sample, not 2 to 16");
    }
    if (itsHeader.itsRows == 0 || itsHeader.itsColumns == 0)
    {
        Fail("the frame header does not tell the size of the image");
    }
    if (itsHeader.itsComponents != 1 && itsHeader.itsComponents != 3)
    {
        Fail("images of " + std::to_string(itsHeader.itsComponents) + " components are not supported");
    }
    Keep(kFrame, theSegment);
    const std::size_t aFirst = itsHead.size() - kEach * theSegment[kStart - 1] + 1;
    for (std::size_t i = aFirst; i < itsHead.size(); i += kEach)
    {
        if (itsHead[i] != itsHead[aFirst])
        {
            Fail("components of different size are not supported");
        }
    }
    for (std::size_t i = aFirst; i < itsHead.size(); i += kEach)
    {
        itsHead[i] = 0x11; // equal factors of any kind mean the same
    }
}

void JPEGLSStream::ReadFirstScanHeader(Segment theSegment)
{
    constexpr int kByPixels = 2;
    const std::size_t aCount = theSegment.empty() ? 0 : theSegment[0];
    if (itsHeader.itsComponents == 0 || theSegment.size() != 2 * aCount + 4)
    {
        Fail("the scan header is damaged, or before the frame header");
    }
    itsHeader.itsNear = theSegment[2 * aCount + 1];
    itsHeader.itsInterleave = theSegment[2 * aCount + 2];
    const int aWanted = itsHeader.itsInterleave == 0 ? 1 : itsHeader.itsComponents;
    if (itsHeader.itsInterleave > kByPixels || static_cast<int>(aCount) != aWanted)
    {
        Fail("a scan of " + std::to_string(aCount) + " of " + std::to_string(itsHeader.itsComponents) +
             " components in interleave mode " + std::to_string(itsHeader.itsInterleave) +
             " is not supported");
    }
    if (itsHeader.itsInterleave == kByPixels && itsHasOwnReset)
    {
        // CharLS 2.4.1 reads outside of its lines then, whatever the samples.
        Fail("interleave mode 2 with a RESET other than 64 is not supported");
    }
}

void JPEGLSStream::ReadScans(kdu_compressed_source& theSource)
{
    // Codes have at most 64 bits, and one of eight bits is stuffed in the worst case.
    constexpr std::uint64_t kMostSampleBytes = 16;
    constexpr std::size_t kLeastChunk = 0x1000;
    constexpr std::size_t kMostChunk = 0x10000;
    const std::uint64_t aMost = std::uint64_t{itsHeader.itsRows} * itsHeader.itsColumns *
                                    static_cast<std::uint64_t>(itsHeader.itsComponents) * kMostSampleBytes +
                                kMostHeaderBytes;
    int aCount = 1;
    while (aCount > 0 && itsBytes.size() < aMost)
    {
        // As much again as there is, so that small streams take little memory.
        const std::size_t aSize = itsBytes.size();
        const std::size_t aChunk = std::clamp(aSize, kLeastChunk, kMostChunk);
        itsBytes.resize(aSize + aChunk);
        aCount = std::max(theSource.read(itsBytes.data() + aSize, static_cast<int>(aChunk)), 0);
        itsBytes.resize(aSize + static_cast<std::size_t>(aCount));
    }
    std::size_t aScan = itsPosition;
    while (aScan != kNone)
    {
        itsDataStart = CheckScanHeader(aScan);
        itsEnd = FindMarker(itsDataStart);
        aScan = PassSegments(itsEnd);
    }
    while (itsIsCut && itsEnd > itsDataStart && itsBytes[itsEnd - 1] == 0xff)
    {
        --itsEnd;
    }
}

/// theScan: position of the marker, with its segment whole. The position of the data.
std::size_t JPEGLSStream::CheckScanHeader(std::size_t theScan)
{
    const std::uint8_t* const aSegment = itsBytes.data() + theScan + 4;
    const std::size_t aLength = Word(itsBytes.data() + theScan + 2);
    const std::size_t aCount =
        itsHeader.itsInterleave == 0 ? 1 : static_cast<std::size_t>(itsHeader.itsComponents);
    if (aLength != 2 * aCount + 6 || aSegment[0] != aCount ||
        aSegment[2 * aCount + 2] != itsHeader.itsInterleave)
    {
        FailScans("the scans are not all of one kind");
    }
    itsHasLoss = itsHasLoss || aSegment[2 * aCount + 1] != 0;
    return theScan + 2 + aLength;
}

/// The position of the first marker from theStart on that is no restart marker; where there is none that of
/// the end.
std::size_t JPEGLSStream::FindMarker(std::size_t theStart) const
{
    const auto aFind = [this](std::size_t thePosition)
    {
        const std::size_t aLeft = itsBytes.size() - thePosition;
        const void* const aByte =
            aLeft > 0 ? std::memchr(itsBytes.data() + thePosition, 0xff, aLeft) : nullptr;
        return aByte == nullptr
                   ? itsBytes.size()
                   : static_cast<std::size_t>(static_cast<const std::uint8_t*>(aByte) - itsBytes.data());
    };
    std::size_t aMarker = aFind(theStart);
    // Behind 0xff data have a bit of 0.
    while (aMarker + 1 < itsBytes.size() &&
           (itsBytes[aMarker + 1] < 0x80 || IsRestart(itsBytes[aMarker + 1])))
    {
        aMarker = aFind(aMarker + 1);
    }
    return aMarker + 1 < itsBytes.size() ? aMarker : itsBytes.size();
}

/// From the marker behind a scan's data to that of the next scan; kNone where there is no other.
std::size_t JPEGLSStream::PassSegments(std::size_t theMarker)
{
    for (std::size_t aPosition = theMarker;;)
    {
        while (aPosition + 1 < itsBytes.size() && itsBytes[aPosition + 1] == 0xff)
        {
            ++aPosition;
        }
        const std::size_t aLeft = itsBytes.size() - aPosition;
        const bool hasSegment = aLeft >= 4 && HasSegment(itsBytes[aPosition + 1]);
        const std::size_t aLength = hasSegment ? Word(itsBytes.data() + aPosition + 2) + 2 : 0;
        itsIsCut = aLeft < 2 || (HasSegment(itsBytes[aPosition + 1]) && (aLeft < 4 || aLength > aLeft));
        if (!hasSegment || itsIsCut || itsBytes[aPosition] != 0xff)
        {
            return kNone;
        }
        if (itsBytes[aPosition + 1] == kStartOfScan)
        {
            return aPosition;
        }
        if (itsBytes[aPosition + 1] == kParameters &&
            !IsPreset({itsBytes.data() + aPosition + 4, aLength < 4 ? 0 : aLength - 4}))
        {
            FailScans("parameters between scans that are not supported");
        }
        aPosition += aLength;
    }
}

std::span<const std::uint8_t> JPEGLSStream::GetBytes(std::size_t theZeros,
                                                     std::initializer_list<std::uint8_t> theMore)
{
    itsBytes.resize(itsEnd - theZeros);
    itsBytes.insert(itsBytes.end(), theMore);
    itsBytes.insert(itsBytes.end(), {0xff, kEndOfImage});
    return itsBytes;
}

std::size_t JPEGLSStream::CountTrailingZeros() const
{
    std::size_t aCount = 0;
    while (itsEnd - aCount > itsDataStart && itsBytes[itsEnd - aCount - 1] == 0)
    {
        ++aCount;
    }
    return aCount;
}
