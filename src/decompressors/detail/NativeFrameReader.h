// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/PixelRegion.h"

class InputStream;

/// Reads frames of native pixel data, one after the other or any later one.
///
/// Frames stand in the value without gaps. Where a frame does not fill its last byte (one-bit pixels,
/// PS3.5 8.1.1) the next one begins inside that byte; its bits are moved down so that every frame is
/// delivered from the lowest bit of its first byte. The stream is borrowed. Not thread-safe.
class NativeFrameReader
{
public:
    /// theStream stands at the first byte of the value. theFrameBits: bits of one frame in the value.
    NativeFrameReader(InputStream& theStream, std::uint64_t theFrameBits);

    /// Throws as ReadFrame would where the stream's length alone says that the frame cannot be there. A
    /// stream that does not know its length lets every frame pass.
    void Expect(int theFrameIndex) const;

    /// Fills theBuffer with frame theFrameIndex, (frame bits + 7) / 8 bytes, and returns that number.
    /// Frames are asked for in ascending order. Throws StreamIOException (code 37) when the value ends
    /// before the frame does, and for a negative index.
    std::uint64_t ReadFrame(int theFrameIndex, unsigned char* theBuffer);

    /// A frame of whole bytes: planes behind one another, or one of all samples.
    struct Layout
    {
        std::uint64_t itsRows = 0;
        std::uint64_t itsColumns = 0;
        std::uint64_t itsPixelBytes = 0; ///< in one plane
        std::uint64_t itsPlanes = 1;
    };

    /// Fills theBuffer with theWindow of frame theFrameIndex, which must lie inside theLayout, in the same
    /// order; returns how many bytes these are. Nothing else of the frame is read where the stream can seek.
    /// Indices and exceptions as of ReadFrame.
    std::uint64_t ReadWindow(int theFrameIndex, const Layout& theLayout, const PixelRegion& theWindow,
                             unsigned char* theBuffer);

private:
    std::uint64_t FirstBit(int theFrameIndex) const;
    void GoTo(std::uint64_t thePosition);
    void Read(unsigned char* theBuffer, std::uint64_t theCount);

    InputStream& itsStream;
    std::uint64_t itsFrameBits;
    std::uint64_t itsPosition = 0; ///< of the next byte that Read delivers
    unsigned char itsLastByte = 0; ///< the byte read last: the next frame may begin inside it
    bool itsLastByteIsKnown = false;
    bool itsLastByteIsPending = false; ///< Read delivers it once more
};
