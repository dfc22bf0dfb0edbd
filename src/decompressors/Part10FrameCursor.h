// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/base/BaseTypes.h"

class DecompressionRequest;
class DecompressionResult;
class MemoryAllocater;
class Part10FrameLoader;
class Part10FrontEnd;

/// The frames of a DICOM Part 10 stream that is opened once and asked for one frame after another, as
/// Part10FrameWalk hands them out. Request and allocator are borrowed. For one thread at a time.
class QUORIX_API Part10FrameCursor
{
public:
    /// Nothing is read yet. theAllocator must outlive every image made.
    Part10FrameCursor(DecompressionRequest& theRequest, MemoryAllocater& theAllocator);
    ~Part10FrameCursor();
    Part10FrameCursor(const Part10FrameCursor&) = delete;
    Part10FrameCursor& operator=(const Part10FrameCursor&) = delete;

    /// Reads what stands before the pixels; once. False, with code and message in theResult, where that fails
    /// or there are no pixels. Result codes, messages and warnings as those of Part10FrameWalk. Never throws.
    bool Open(DecompressionResult& theResult);

    /// What the data set says, at least 1. Open has succeeded.
    int GetNumberOfFrames() const;

    /// Puts the image of frame theFrameIndex (0 and up) into theResult, or why there is none, and the
    /// warnings that speak of it. Frames are asked for in ascending order; what stands between them is passed
    /// over. Open has succeeded. Never throws.
    void Load(int theFrameIndex, DecompressionResult& theResult);

private:
    DecompressionRequest& itsRequest;
    std::unique_ptr<Part10FrontEnd> itsFrontEnd;
    std::unique_ptr<Part10FrameLoader> itsLoader; ///< set once Open has succeeded
};
