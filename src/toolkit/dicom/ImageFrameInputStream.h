// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "toolkit/base/RWCString.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"

/// Splits the fragments of encapsulated pixel data into frames.
///
/// Frames are found by the Extended Offset Table, else by the Basic Offset Table, else one fragment a
/// frame when the counts agree, else all fragments together when there is one frame, else at each
/// fragment that begins with a codestream's first marker (JPEG SOI, JPEG 2000 SOC). A table that
/// does not lead to fragments is put aside in favour of the next way. Not thread-safe.
class QUORIX_API ImageFrameInputStream
{
public:
    /// theFragments is borrowed. theNumberOfFrames counts at least as 1. theFrameSize: bytes of one
    /// decoded frame; a hint only.
    ImageFrameInputStream(PixelDataFragmentInputStreamVR& theFragments, const RWCString& theTransferSyntaxUID,
                          int theNumberOfFrames, std::uint64_t theFrameSize);
    ~ImageFrameInputStream();
    ImageFrameInputStream(const ImageFrameInputStream&) = delete;
    ImageFrameInputStream& operator=(const ImageFrameInputStream&) = delete;

    /// The compressed bytes of one frame, or null when there is no such frame (a negative index
    /// included). The stream belongs to this object and is valid until the next call. Where the
    /// fragments can be sought, the pixels of other frames are not read. A frame behind the current
    /// position of a stream that cannot be sought gives null.
    InputStream* GetFrame(int theFrameIndex);

    /// The frame after the last one given out (the first frame at the start), or null after the last.
    InputStream* NextFrame();

    /// Passes over the next frame; false after the last.
    bool SkipNextFrame();

    /// Compressed bytes of the frame given out last: all its fragments, padding included.
    std::uint32_t GetCurrentFrameLength() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> itsImplementation;
};
