// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"

/// Splits the fragments of encapsulated pixel data into frames.
///
/// Frames are found by the Extended Offset Table, else by the Basic Offset Table, else one fragment a
/// frame when the counts agree, else all fragments together when there is one frame, else at each
/// fragment that begins with a codestream's first marker (JPEG SOI, JPEG 2000 SOC, or the signature of a JP2
/// file); RLE, encapsulated uncompressed and deflated frames, which have no such marker and one fragment a
/// frame by their definition, go by the fragments that are not empty. A table that does not lead to
/// fragments, or that has another number of entries than there are frames, is put aside in favour of the next
/// way.
///
/// A stream that can be sought is never read ahead: without a usable table the item headers are read
/// once, hopping from one to the next, and kept. From a stream that cannot be sought, frames come in
/// ascending order; with a usable table at most one compressed frame is held in memory (nothing at all
/// for a frame of one fragment that is not the last), without one the compressed pixel data as a
/// whole, because only its end tells how it divides. Time and memory are bounded by the bytes that are there,
/// whatever the headers promise. Not thread-safe.
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
    /// position of a stream that cannot be sought gives null. Throws StreamIOException (code 38) when
    /// the fragments cannot be divided into frames, and passes on what the stream throws.
    InputStream* GetFrame(int theFrameIndex);

    /// The frame after the last one given out (the first frame at the start), or null after the last.
    InputStream* NextFrame();

    /// Passes over the next frame, without reading its pixels where the fragments can be sought; false
    /// after the last.
    bool SkipNextFrame();

    /// Compressed bytes of the frame given out last: all its fragments, padding included. Known before the
    /// frame is read. 0 before the first frame; what does not fit the type is its greatest value.
    std::uint32_t GetCurrentFrameLength() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> itsImplementation;
};
