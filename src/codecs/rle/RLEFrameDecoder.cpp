// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEFrameDecoder.h"

#include <algorithm>
#include <array>
#include <string>

#include "codecs/rle/detail/RLEInput.h"
#include "toolkit/base/Exceptions.h"

static_assert(RLEPackets::kSlack <= RLEInput::kSlack);
static_assert(RLEPackets::kSlack + RLEPackets::kLongestPacket <= RLEPlanes::kOverrun);

namespace
{
constexpr std::uint64_t kHeaderBytes = 64;
/// Less output than this is not worth the memory that the fast path needs.
constexpr std::uint64_t kSmallFrameBytes = 4096;
constexpr std::uint64_t kSkipChunk = 4096;
constexpr std::uint64_t kMostSamplesPerPacket = 128;
constexpr std::uint64_t kFewestBytesPerPacket = 2;

[[noreturn]] void Fail(const RWCString& theText)
{
    throw StreamIOException("RLEDecoder::Decode: " + theText, DLRC_DECODER_ERROR, 0);
}

std::uint64_t RemoveHeader(std::uint64_t theOffset)
{
    return theOffset < kHeaderBytes ? 0 : theOffset - kHeaderBytes;
}
} // namespace

RLEFrameDecoder::RLEFrameDecoder(kdu_compressed_source& theSource, const RLEPixelLayout& theLayout,
                                 const std::uint32_t* theOffsets, std::uint8_t* theOutput,
                                 std::uint64_t theSize)
    : itsInput(theSource), itsLayout(theLayout), itsOffsets(theOffsets), itsOutput(theOutput),
      itsSize(theSize), itsPlanes(theLayout, theOutput), itsWholePixels(theLayout.GetWantedCount())
{
}

void RLEFrameDecoder::Decode(RLEPath thePath)
{
    const bool isSmall = itsLayout.GetWantedCount() * itsLayout.itsSegmentCount < kSmallFrameBytes;
    const bool isExact = thePath == RLEPath::EXACT || (thePath == RLEPath::AUTOMATIC && isSmall);
    itsOnExactPath = isExact || !itsPlanes.Allocate();
    try
    {
        DecodeSegments();
    }
    catch (...)
    {
        // What was decoded before the failure is in the output on either path.
        itsPlanes.Spill();
        NoteSegmentEnd();
        itsWholePixels = itsSegment + 1 < itsLayout.itsSegmentCount ? 0 : itsWholePixels;
        throw;
    }
    if (itsLayout.itsSurplus == 0)
    {
        ReadPadByte();
    }
}

bool RLEFrameDecoder::IsSegmentDone() const
{
    return itsRemaining <= static_cast<std::int64_t>(itsLayout.itsSurplus);
}

void RLEFrameDecoder::NoteSegmentEnd()
{
    if (!IsSegmentDone())
    {
        const auto aMissing = static_cast<std::uint64_t>(itsRemaining);
        itsWholePixels = std::min(itsWholePixels, itsLayout.itsPixelCount - aMissing);
    }
}

void RLEFrameDecoder::DecodeSegments()
{
    for (itsSegment = 0; itsSegment < itsLayout.itsSegmentCount; ++itsSegment)
    {
        OpenSegment();
        DecodeSegment();
        NoteSegmentEnd();
    }
}

/// Checks the segment's offsets and goes to its first byte.
void RLEFrameDecoder::OpenSegment()
{
    const std::uint64_t anOffset = itsOffsets[itsSegment];
    const std::uint64_t aNextOffset = itsOffsets[itsSegment + 1];
    const RWCString aComponent = " for component index " + std::to_string(itsSegment);
    itsRemaining = static_cast<std::int64_t>(itsLayout.itsPixelCount);
    if (anOffset % 2 != 0 && !itsAllowsOddOffsets)
    {
        Fail("Invalid component offset (" + std::to_string(anOffset) +
             ") (odd-length segment - even length required by DICOM standard)" + aComponent);
    }
    if (anOffset < kHeaderBytes)
    {
        Fail("Invalid component offset (" + std::to_string(anOffset) + ") (< 64)" + aComponent);
    }
    const std::uint64_t aStart = anOffset - kHeaderBytes;
    if (aNextOffset < kHeaderBytes)
    {
        // Deliberately names this segment's start, not the offset that is wrong: the text is relied upon.
        Fail("Invalid next component offset (" + std::to_string(aStart) + ") (< 64) for component index " +
             std::to_string(itsSegment + 1));
    }
    itsSegmentEnd = aNextOffset - kHeaderBytes;
    if (aStart < itsInput.GetPosition())
    {
        Fail("Invalid component offset (" + std::to_string(aStart) +
             " (not including 64 byte header)) (< current offset (" + std::to_string(itsInput.GetPosition()) +
             "))" + aComponent);
    }
    SkipTo(aStart);
    itsCursor = itsLayout.GetColumn(itsSegment);
}

void RLEFrameDecoder::SkipTo(std::uint64_t thePosition)
{
    std::array<kdu_byte, kSkipChunk> aDiscarded;
    while (itsInput.GetPosition() < thePosition)
    {
        const std::uint64_t aPosition = itsInput.GetPosition();
        const auto aChunk = static_cast<int>(std::min(thePosition - aPosition, kSkipChunk));
        const int aResult = itsInput.Read(aDiscarded.data(), aChunk);
        if (aResult != aChunk)
        {
            itsIsCut = aResult >= 0;
            Fail(RWCString(aResult == -1 ? "error" : "EOF") + " on input during inter-segment skip. " +
                 "aSegmentIndex = " + std::to_string(itsSegment) + " aTotalBytesRead = " +
                 std::to_string(aPosition) + " bytes expected = " + std::to_string(aChunk) +
                 " bytes actually skipped = " + std::to_string(aResult));
        }
    }
}

void RLEFrameDecoder::DecodeSegment()
{
    while (!IsSegmentDone() && itsInput.GetPosition() < itsSegmentEnd)
    {
        if (itsOnExactPath)
        {
            DecodePacket();
        }
        else
        {
            DecodeAhead();
        }
    }
    if (itsOnExactPath)
    {
        return;
    }
    if (!IsSegmentDone())
    {
        // The samples that the segment does not bring stay as they are in the output.
        TakeExactPath();
        return;
    }
    itsPlanes.FinishSegment();
}

void RLEFrameDecoder::ReadPadByte()
{
    if (itsInput.GetPosition() % 2 == 0)
    {
        return;
    }
    const std::uint64_t aPosition = itsInput.GetPosition();
    kdu_byte aPad = 0;
    const int aResult = itsInput.Read(&aPad, 1);
    if (aResult != 1)
    {
        itsIsCut = aResult == 0;
        Fail(RWCString(aResult == 0 ? "expected pad byte not present in input stream. "
                                    : "error on input during decode while reading expected pad byte. ") +
             " aTotalBytesRead = " + std::to_string(aPosition));
    }
}

/// Decodes what is in the window, then gets more of it, makes room, or finds that it takes the exact path.
void RLEFrameDecoder::DecodeAhead()
{
    const std::uint64_t aSegmentRest = itsSegmentEnd - itsInput.GetPosition();
    RLEPackets aPackets;
    aPackets.itsIn = itsInput.GetWindow();
    aPackets.itsInEnd = aPackets.itsIn + std::min<std::uint64_t>(itsInput.GetWindowSize(), aSegmentRest);
    aPackets.itsOut = itsPlanes.GetCursor();
    aPackets.itsOutEnd = itsPlanes.GetTargetEnd();
    aPackets.itsSamplesLeft = static_cast<std::uint64_t>(itsRemaining);
    aPackets.itsLiteralLength = itsLiteralLength;
    aPackets.Decode();
    itsInput.Consume(static_cast<std::size_t>(aPackets.itsIn - itsInput.GetWindow()));
    itsPlanes.Advance(static_cast<std::size_t>(aPackets.itsOut - itsPlanes.GetCursor()));
    itsRemaining = static_cast<std::int64_t>(aPackets.itsSamplesLeft);
    itsLiteralLength = aPackets.itsLiteralLength;
    if (IsSegmentDone() || itsInput.GetPosition() >= itsSegmentEnd)
    {
        return;
    }
    if (itsPlanes.GetCursor() >= itsPlanes.GetTargetEnd())
    {
        itsPlanes.Flush();
    }
    else if (!ReadAhead())
    {
        TakeExactPath();
    }
}

/// False when the packet at the window's front is none for the fast path, or its rest does not come.
bool RLEFrameDecoder::ReadAhead()
{
    if (itsInput.GetWindowSize() > 0)
    {
        const std::uint8_t aControl = *itsInput.GetWindow();
        const std::uint64_t aBytes = RLEPackets::GetByteCount(aControl);
        if (RLEPackets::GetSampleCount(aControl) > static_cast<std::uint64_t>(itsRemaining) ||
            aBytes > itsSegmentEnd - itsInput.GetPosition() || aBytes <= itsInput.GetWindowSize())
        {
            return false;
        }
    }
    const std::uint64_t aWanted = GetBytesSurelyConsumed();
    return aWanted > itsInput.GetWindowSize() && itsInput.ReadAhead(aWanted - itsInput.GetWindowSize());
}

/// Bytes from the current position on that a successful decode consumes, whatever they are.
std::uint64_t RLEFrameDecoder::GetBytesSurelyConsumed() const
{
    const std::uint64_t aPosition = itsInput.GetPosition();
    const unsigned int aLast = itsLayout.itsSegmentCount - 1;
    if (itsSegment < aLast)
    {
        return std::max(itsSegmentEnd, RemoveHeader(itsOffsets[aLast])) - aPosition;
    }
    std::uint64_t aBytes = 0;
    auto aMissing = static_cast<std::uint64_t>(itsRemaining);
    if (itsInput.GetWindowSize() > 0)
    {
        const std::uint8_t aControl = *itsInput.GetWindow();
        aBytes = RLEPackets::GetByteCount(aControl);
        aMissing -= std::min<std::uint64_t>(aMissing, RLEPackets::GetSampleCount(aControl));
    }
    aBytes += (aMissing + kMostSamplesPerPacket - 1) / kMostSamplesPerPacket * kFewestBytesPerPacket;
    return std::min(aBytes, itsSegmentEnd - aPosition);
}

void RLEFrameDecoder::TakeExactPath()
{
    itsPlanes.Spill();
    const auto aDone = itsLayout.itsPixelCount - static_cast<std::uint64_t>(itsRemaining);
    itsCursor = itsLayout.GetColumn(itsSegment) + aDone * itsLayout.itsSegmentCount;
    itsOnExactPath = true;
}

void RLEFrameDecoder::DecodePacket()
{
    constexpr std::uint8_t aNoOperation = 128;
    const std::uint8_t aControl = ReadControlByte();
    if (aControl < aNoOperation)
    {
        DecodeLiteralRun(aControl);
    }
    else if (aControl > aNoOperation)
    {
        DecodeRepeatRun(aControl);
    }
}

std::uint8_t RLEFrameDecoder::ReadControlByte()
{
    kdu_byte aControl = 0;
    const int aResult = itsInput.Read(&aControl, 1);
    if (aResult != 1)
    {
        itsIsCut = aResult == 0;
        FailInSegment(aResult == 0 ? "EOF on input during decode. " : "error on input during decode. ");
    }
    return aControl;
}

void RLEFrameDecoder::DecodeLiteralRun(std::uint8_t theControl)
{
    std::array<kdu_byte, RLEPackets::kLongestPacket> aSamples;
    itsLiteralLength = theControl + 1u;
    const int aResult = itsInput.Read(aSamples.data(), static_cast<int>(itsLiteralLength));
    if (aResult != static_cast<int>(itsLiteralLength))
    {
        itsIsCut = aResult >= 0;
        // Deliberately never the EOF text: what is told apart there is how the control byte was read.
        FailInSegment("error on input during decode. ",
                      " bytes expected = " + std::to_string(itsLiteralLength) +
                          " bytes read = " + std::to_string(aResult));
    }
    // Deliberately the number of control bytes, not of samples: an overlong literal run is not an error by
    // itself. It goes on into the slots of the pixels that follow until it meets the end of the buffer.
    constexpr int aControlBytes = 1;
    if (aControlBytes > itsRemaining)
    {
        FailOverrun("Output overrun during decode (literal run). ", aControlBytes);
    }
    for (unsigned int i = 0; i < itsLiteralLength; ++i)
    {
        if (itsCursor >= itsSize)
        {
            FailOverrun("Output buffer overrun during decode (literal run). ", aControlBytes);
        }
        itsOutput[itsCursor] = aSamples[i];
        itsCursor += itsLayout.itsSegmentCount;
    }
    itsRemaining -= itsLiteralLength;
}

void RLEFrameDecoder::DecodeRepeatRun(std::uint8_t theControl)
{
    const std::int64_t aLength = 257 - theControl;
    if (aLength > itsRemaining)
    {
        // Deliberately the length of the most recent literal run; 0 when there was none.
        FailOverrun("Output overrun during decode (repeat run). ", itsLiteralLength);
    }
    kdu_byte aSample = 0;
    const int aResult = itsInput.Read(&aSample, 1);
    if (aResult != 1)
    {
        itsIsCut = aResult == 0;
        // Deliberately without a full stop and without details.
        Fail(aResult == 0 ? "EOF on input during decode" : "error on input during decode");
    }
    for (std::int64_t i = 0; i < aLength; ++i)
    {
        if (itsCursor >= itsSize)
        {
            FailOverrun("Output buffer overrun during decode (repeat run). ", itsLiteralLength);
        }
        itsOutput[itsCursor] = aSample;
        itsCursor += itsLayout.itsSegmentCount;
    }
    itsRemaining -= aLength;
}

void RLEFrameDecoder::FailInSegment(const char* theText, const RWCString& theDetails) const
{
    const auto aDone = static_cast<std::int64_t>(itsLayout.itsPixelCount) - itsRemaining;
    Fail(theText + ("aSegmentIndex = " + std::to_string(itsSegment)) +
         " anOutputOffset = " + std::to_string(aDone) + theDetails);
}

void RLEFrameDecoder::FailOverrun(const char* theText, std::uint64_t theBytesToOutput) const
{
    FailInSegment(theText, " aDecompressedSegmentSize = " + std::to_string(itsLayout.itsPixelCount) +
                               " bytes to output = " + std::to_string(theBytesToOutput));
}
