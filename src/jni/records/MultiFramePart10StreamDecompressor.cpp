// SPDX-License-Identifier: Apache-2.0
#include "decompressors/MultiFramePart10StreamDecompressor.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "decompressors/Part10FrameWalk.h"
#include "image/Renderable.h"
#include "image/VMMemoryAllocator.h"
#include "jni/detail/JavaRenderable.h"
#include "toolkit/base/Exceptions.h"

MultiFramePart10StreamDecompressor::MultiFramePart10StreamDecompressor(JNIEnv* theEnv, jobject theListener,
                                                                       jmethodID theMethod,
                                                                       long theFirstFrame)
    : itsMemoryAllocator(VMMemoryAllocator::GetDefaultInstance()), itsEnv(theEnv), itsListener(theListener),
      itsMethod(theMethod), itsFirstFrame(static_cast<std::int32_t>(
                                std::clamp<long>(theFirstFrame, 0, std::numeric_limits<std::int32_t>::max())))
{
}

void MultiFramePart10StreamDecompressor::Decompress(DecompressionRequest& theRequest,
                                                    DecompressionResult& theResult)
{
    Part10FrameWalk::Run(
        theRequest, itsMemoryAllocator, itsFirstFrame,
        [this](int theFrameIndex, std::unique_ptr<Renderable> theImage, const std::vector<DecodeWarning>&)
        { return (!itsBeforeFrame || itsBeforeFrame()) && Deliver(theFrameIndex, std::move(theImage)); },
        theResult);
}

/// False when the listener wants no more. May leave a Java exception pending then.
bool MultiFramePart10StreamDecompressor::Deliver(int theFrameIndex,
                                                 std::unique_ptr<Renderable> theImage) const
{
    const JavaRenderable aMaker(*itsEnv);
    if (itsListener == nullptr || itsMethod == nullptr || !aMaker.HasConstructor())
    {
        // Deliberately no failure: a frame that cannot be delivered is passed over.
        return true;
    }
    const LocalReference<jobject> anObject = aMaker.New(theImage.get());
    if (!anObject)
    {
        throw StreamIOException("Unable to invoke new Renderable(long theCObjectPtr, boolean "
                                "theTakeOwnershipFlag))",
                                DLRC_DECODER_ERROR, 0);
    }
    static_cast<void>(theImage.release()); // the Java object owns it now
    const jboolean anAnswer =
        itsEnv->CallBooleanMethod(itsListener, itsMethod, jint{theFrameIndex}, anObject.Get());
    return itsEnv->ExceptionCheck() == JNI_FALSE && anAnswer != JNI_FALSE;
}
