// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Reading.h"

class DecompressionRequest;
class DecompressionResult;
class MemoryAllocater;
class Renderable;

/// Decodes the frames of a DICOM Part 10 stream one after another and hands each out as soon as it is there.
/// Walks over different requests may run side by side.
class QUORIX_API Part10FrameWalk
{
public:
    Part10FrameWalk() = delete;

    /// Receives a frame, counted from 0, its image, which is the receiver's from now on, and what is in doubt
    /// about it. False ends the walk, which has succeeded then. What it throws ends the walk, too, and
    /// becomes the result.
    using Receiver = std::function<bool(int theFrameIndex, std::unique_ptr<Renderable> theImage,
                                        const std::vector<DecodeWarning>& theWarnings)>;

    /// Frames below theFirstFrame are read, but neither decoded nor handed out. Result codes and messages:
    /// as DICOMPart10StreamDecompressor, with the name MultiFramePart10StreamDecompressor; theResult never
    /// receives an image, but the warnings of all frames. theAllocator must outlive every image made. Never
    /// throws.
    static void Run(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, int theFirstFrame,
                    const Receiver& theReceiver, DecompressionResult& theResult);

    /// The same, going straight to theFirstFrame (0 and up): where the stream can seek, what stands before it
    /// is not read. A frame that there is not is an error then, code 6.
    static void RunFrom(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, int theFirstFrame,
                        const Receiver& theReceiver, DecompressionResult& theResult);
};
