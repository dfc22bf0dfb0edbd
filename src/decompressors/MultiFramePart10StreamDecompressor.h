// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "decompressors/JNIForward.h"
#include "decompressors/StreamDecompressor.h"
#include "toolkit/base/System.h"

class Renderable;

/// Decodes all frames of a DICOM Part 10 stream and hands each to a Java listener as soon as it is there.
///
/// The listener's method renderableAvailable(int, Renderable), signature
/// (ILcom/quorix/decompression/Renderable;)Z, receives the frame's index and a Java Renderable that owns
/// the image; its answer false, or an exception, which stays pending for the caller, ends the decoding.
/// The environment and the listener are borrowed: not to outlive the native call, nor to leave its thread.
/// Only in a library with JNI; Part10FrameWalk does the same for C++.
class QUORIX_API MultiFramePart10StreamDecompressor : public StreamDecompressor
{
public:
    /// theListener and theMethod may be null: frames are then decoded and freed. Frames below
    /// theFirstFrame are read but not decoded. Pixel buffers come from VMMemoryAllocator's default instance.
    MultiFramePart10StreamDecompressor(JNIEnv* theEnv, jobject theListener, jmethodID theMethod,
                                       long theFirstFrame);
    /// Copies deliver to the same listener.
    MultiFramePart10StreamDecompressor(const MultiFramePart10StreamDecompressor&) = default;

    /// theHook is called before each frame is handed out, when the result has the frame's warnings already.
    /// False ends the decoding as the listener's false does. None unless set.
    void SetBeforeFrame(std::function<bool()> theHook) { itsBeforeFrame = std::move(theHook); }

    /// Result codes: as DICOMPart10StreamDecompressor; 62 when a Java Renderable could not be made. The
    /// failure of a frame ends the call; the frames before it stay with the listener. theResult never
    /// receives an image.
    void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) override;

private:
    bool Deliver(int theFrameIndex, std::unique_ptr<Renderable> theImage) const;

    MemoryAllocater& itsMemoryAllocator;
    JNIEnv* itsEnv;
    jobject itsListener;
    jmethodID itsMethod;
    std::int32_t itsFirstFrame;
    std::function<bool()> itsBeforeFrame;
};
