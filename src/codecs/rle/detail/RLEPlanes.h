// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

/// Writes byte planes as pixels: byte i of plane p goes to theOutput[i * thePlaneCount + p].
///
/// thePlanes: thePlaneCount pointers to thePixelCount bytes each, none of them inside theOutput, which
/// takes thePlaneCount * thePixelCount bytes. Exactly these bytes are read and written.
void RLEInterleave(const std::uint8_t* const* thePlanes, std::size_t thePlaneCount, std::size_t thePixelCount,
                   std::uint8_t* theOutput);

/// Writes one byte plane only: theOutput[i * theStride] becomes thePlane[i].
void RLEScatter(const std::uint8_t* thePlane, std::size_t thePixelCount, std::size_t theStride,
                std::uint8_t* theOutput);

/// Shape of one frame: which byte of the pixels each segment fills.
struct RLEPixelLayout
{
    static constexpr unsigned int kMaximumSegments = 15;

    unsigned int itsSegmentCount = 0; ///< also the bytes of a pixel; 1 … kMaximumSegments
    unsigned int itsBytesPerSample = 1;
    std::uint64_t itsPixelCount = 0;

    /// How many of these, at the end, nobody wants. No more of them is decoded than the packet brings that
    /// ends the others, and what the output holds there means nothing.
    std::uint64_t itsSurplus = 0;

    std::uint64_t GetWantedCount() const { return itsPixelCount - itsSurplus; }

    /// The byte of each pixel that a segment fills. The most significant byte of a sample comes first in
    /// the stream and last in memory.
    unsigned int GetColumn(unsigned int theSegment) const
    {
        const unsigned int aSample = theSegment / itsBytesPerSample;
        const unsigned int aByte = theSegment % itsBytesPerSample;
        return aSample * itsBytesPerSample + (itsBytesPerSample - 1 - aByte);
    }
};

/// Takes up segments one after the other as contiguous byte planes and puts them together into pixels.
///
/// All segments but the last are kept as whole planes; the last is taken up in pieces that stay in the
/// nearest cache, and each piece goes into the output together with the planes' bytes that belong to it.
/// So the output is written once, in order. Nothing of it is touched before the last segment arrives;
/// Spill puts the planes there when it never will. The output is borrowed and holds segments * pixels
/// bytes. Not thread-safe.
class RLEPlanes
{
public:
    RLEPlanes(const RLEPixelLayout& theLayout, std::uint8_t* theOutput);

    /// Gets the memory: a byte a sample, less one plane. False when there is none.
    bool Allocate();

    /// Where the next samples of the current segment go, and the place that asks for Flush when reached.
    /// Up to kOverrun bytes may be written behind that place or behind the last sample that is due.
    std::uint8_t* GetCursor() { return itsTarget + itsFill; }
    std::uint8_t* GetTargetEnd() { return itsTarget + itsTargetSize; }
    static constexpr std::size_t kOverrun = 192;

    /// Counts samples that were written at the cursor.
    void Advance(std::size_t theCount) { itsFill += theCount; }

    /// Makes room when the cursor has reached the target's end.
    void Flush();

    /// The current segment is complete; the next one begins.
    void FinishSegment();

    /// Writes every sample taken up so far to its place in the output and nothing else. This object is of
    /// no further use then.
    void Spill();

private:
    static constexpr std::size_t kChunkPixels = 16384;

    bool IsLast() const { return itsSegment + 1 == itsLayout.itsSegmentCount; }
    void SetTarget();
    std::uint8_t* GetPlane(unsigned int theSegment) { return itsMemory.get() + theSegment * itsPlaneStride; }

    RLEPixelLayout itsLayout;
    std::uint8_t* itsOutput;
    std::unique_ptr<std::uint8_t[]> itsMemory; ///< the whole planes, then the piece of the last segment
    std::size_t itsPlaneStride = 0;
    unsigned int itsSegment = 0;
    std::uint8_t* itsTarget = nullptr; ///< the current segment's plane or piece
    std::size_t itsTargetSize = 0;
    std::size_t itsFill = 0;       ///< samples in the target, wanted ones and the rest of a packet
    std::size_t itsPixelsDone = 0; ///< pixels of the output that are final
};
