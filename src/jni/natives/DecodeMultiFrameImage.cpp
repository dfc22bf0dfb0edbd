// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "decompressors/MultiFramePart10StreamDecompressor.h"
#include "jni/natives/detail/FrameDelivery.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/streams/JavaSeekableInputStream.h"

namespace
{
void FailWithoutListener(DecodeCall& theCall)
{
    // Deliberately with V for the result, although the method looked up answers Z: callers know this text.
    theCall.Fail(
        DLRC_BITS_STORED_INVALID,
        "decodeMultiFrameImageToMemory() couldn't find java method DecomprResult.renderableAvailable "
        "\"(ILcom/quorix/decompression/Renderable;)V\"\n");
}

} // namespace

void FrameDelivery::Run(DecodeCall& theCall, DecompressionRequest theRequest, jint theFirstFrame)
{
    JNIEnv& anEnv = theCall.GetEnv();
    const jmethodID aMethod =
        JavaAccess::FindMethod(anEnv, JavaAccess::GetClass(anEnv, theCall.GetResultObject()).Get(),
                               "renderableAvailable", "(ILcom/quorix/decompression/Renderable;)Z");
    if (aMethod == nullptr)
    {
        // Deliberately no reason to stop: the data set is still filled.
        FailWithoutListener(theCall);
    }
    theCall.Decompress(2,
                       [&]
                       {
                           theRequest.setReading(theCall.GetReading());
                           MultiFramePart10StreamDecompressor aDecompressor(&anEnv, theCall.GetResultObject(),
                                                                            aMethod, theFirstFrame);
                           aDecompressor.SetBeforeFrame([&] { return theCall.TellWarnings(); });
                           aDecompressor.Decompress(theRequest, theCall.GetResult());
                       });
    LocalReference<jthrowable> anException = JavaAccess::TakeException(anEnv);
    if (anException)
    {
        theCall.KeepException(std::move(anException));
    }
    if (aMethod == nullptr && theCall.GetResult().getDCMLibResultCode() == DLRC_SUCCESS)
    {
        FailWithoutListener(theCall);
    }
}

extern "C" JNIEXPORT jboolean JNICALL
Java_com_quorix_decompression_NDecompressor_decodeMultiFrameImageToMemory(JNIEnv* theEnv, jobject,
                                                                          jobject theStream, jlong theDataSet,
                                                                          jint theFrameArgument,
                                                                          jobject theResult)
{
    return NativeBoundary::Guard<jboolean>(
        JNI_FALSE,
        [&]
        {
            DecodeCall aCall(*theEnv, theResult, "decodeMultiFrameImageToMemory");
            return aCall.Run(
                [&]
                {
                    JavaSeekableInputStream aStream(*theEnv, theStream);
                    UnmeasuredInputStream anUnmeasured(aStream);
                    auto* const aDataSet = NativeBoundary::FromHandle<DICOMDataObject>(theDataSet);
                    FrameDelivery::Run(aCall, {&anUnmeasured, aDataSet, "", false, 1, 0, "", false},
                                       theFrameArgument);
                    aCall.Close(1, [&] { aStream.Close(); });
                });
        });
}
