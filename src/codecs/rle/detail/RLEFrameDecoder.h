// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "codecs/rle/detail/RLEInput.h"
#include "codecs/rle/detail/RLEPlanes.h"
#include "toolkit/base/BaseTypes.h"

/// Which way a frame is decoded (see RLEFrameDecoder). Anything but AUTOMATIC is for tests.
enum class RLEPath
{
    AUTOMATIC, ///< fast, small frames exact
    EXACT,
    FAST
};

/// Decodes the segments of one DICOM RLE frame (PS3.5 Annex G), starting behind the 64-byte header.
///
/// There are two paths. The exact path reads one control byte or one packet's data per read and writes each
/// sample at its place in the output; it settles what every oddity of a stream leads to. The fast path
/// (RLEPackets, RLEPlanes) takes only packets that are wholly in memory, belong to the segment and fit
/// into its samples. At the first other one everything taken up so far goes to its place in the output
/// and the exact path decodes the rest of the frame. Both give the same bytes and the same errors.
/// (The one exception: a source that delivers part of what was asked for although more is to come makes the
/// exact path fail inside a literal run; the fast path asks it again, see RLEInput.)
///
/// On success both also consume the same bytes of the source, since the count of them is reported. Behind
/// the last packet that is needed nothing may be read, and where that packet ends is known only once it
/// has been reached. What the fast path reads ahead is therefore what must be consumed whatever the bytes
/// are: everything before the last segment; in the last segment, two bytes for every 128 samples that are
/// still missing, which is the densest coding there is. That is a 64th of what remains each time in the
/// worst case, so a segment of n bytes takes some 64 * ln(n / 8192) reads more than one.
///
/// Source and output are borrowed. Serves one frame, once.
class RLEFrameDecoder
{
public:
    /// theOffsets: as many as theLayout has segments, and one more for the end of the frame, all counted
    /// from the header's first byte, and all of them unchecked. theSize: bytes at theOutput, at least
    /// segments * pixels.
    RLEFrameDecoder(kdu_compressed_source& theSource, const RLEPixelLayout& theLayout,
                    const std::uint32_t* theOffsets, std::uint8_t* theOutput, std::uint64_t theSize);

    /// Segments may begin anywhere; without this an odd offset is an error.
    void AllowOddOffsets() { itsAllowsOddOffsets = true; }

    /// Throws StreamIOException (code 62), and what the source throws.
    void Decode(RLEPath thePath);

    /// After Decode, or what it threw: whether the source ended before the frame did.
    bool IsCut() const { return itsIsCut; }

    /// After Decode, and after an exception where IsCut: wanted pixels, from the first one on, that every
    /// segment reached.
    std::uint64_t CountWholePixels() const { return itsWholePixels; }

private:
    void DecodeSegments();
    void OpenSegment();
    void SkipTo(std::uint64_t thePosition);
    void DecodeSegment();
    bool IsSegmentDone() const;
    void NoteSegmentEnd();
    void ReadPadByte();

    // The fast path.
    void DecodeAhead();
    bool ReadAhead();
    std::uint64_t GetBytesSurelyConsumed() const;
    void TakeExactPath();

    // The exact path.
    void DecodePacket();
    std::uint8_t ReadControlByte();
    void DecodeLiteralRun(std::uint8_t theControl);
    void DecodeRepeatRun(std::uint8_t theControl);

    [[noreturn]] void FailInSegment(const char* theText, const RWCString& theDetails = RWCString()) const;
    [[noreturn]] void FailOverrun(const char* theText, std::uint64_t theBytesToOutput) const;

    RLEInput itsInput;
    RLEPixelLayout itsLayout;
    const std::uint32_t* itsOffsets;
    std::uint8_t* itsOutput;
    std::uint64_t itsSize;
    RLEPlanes itsPlanes;
    bool itsOnExactPath = false;
    bool itsAllowsOddOffsets = false;
    bool itsIsCut = false;
    std::uint64_t itsWholePixels;

    unsigned int itsSegment = 0;
    std::uint64_t itsSegmentEnd = 0; ///< counted from behind the header, as all positions
    std::uint64_t itsCursor = 0;     ///< where the exact path writes the next sample
    std::int64_t itsRemaining = 0;   ///< samples of the segment still missing; below 0 after an overlong run
    unsigned int itsLiteralLength = 0; ///< of the most recent literal run, of whichever segment
};
