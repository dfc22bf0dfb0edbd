// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "decompressors/DecompressionRequest.h"
#include "decompressors/MultiFramePart10StreamDecompressor.h"
#include "jni/natives/detail/DecodeCall.h"
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

void Decode(DecodeCall& theCall, jobject theStream, DICOMDataObject* theDataSet, jint theFirstFrame)
{
    JNIEnv& anEnv = theCall.GetEnv();
    JavaSeekableInputStream aStream(anEnv, theStream);
    aStream.SetReading(theCall.GetReading());
    UnmeasuredInputStream anUnmeasured(aStream);
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
                           DecompressionRequest aRequest(&anUnmeasured, theDataSet, "", false, 1, 0, "",
                                                         false);
                           aRequest.setReading(theCall.GetReading());
                           MultiFramePart10StreamDecompressor aDecompressor(&anEnv, theCall.GetResultObject(),
                                                                            aMethod, theFirstFrame);
                           aDecompressor.SetBeforeFrame([&] { return theCall.TellWarnings(); });
                           aDecompressor.Decompress(aRequest, theCall.GetResult());
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
    theCall.Close(1, [&] { aStream.Close(); });
}

constexpr const char* kName = "decodeMultiFrameImageToMemory";

jboolean Run(DecodeCall& theCall, jobject theStream, jlong theDataSet, jint theFirstFrame)
{
    return theCall.Run(
        [&] {
            Decode(theCall, theStream, NativeBoundary::FromHandle<DICOMDataObject>(theDataSet),
                   theFirstFrame);
        });
}
} // namespace

extern "C" JNIEXPORT jboolean JNICALL
Java_com_quorix_decompression_NDecompressor_decodeMultiFrameImageToMemory(JNIEnv* theEnv, jobject,
                                                                          jobject theStream, jlong theDataSet,
                                                                          jint theFrameArgument,
                                                                          jobject theResult)
{
    return NativeBoundary::Guard<jboolean>(JNI_FALSE,
                                           [&]
                                           {
                                               DecodeCall aCall(*theEnv, theResult, kName);
                                               return Run(aCall, theStream, theDataSet, theFrameArgument);
                                           });
}

/// The same for a result that has a reading and takes warnings.
extern "C" JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_DecodeRun_decodeFrames(
    JNIEnv* theEnv, jobject theRun, jobject theStream, jlong theDataSet, jint theFirstFrame,
    jboolean isByContract)
{
    return NativeBoundary::Guard<jboolean>(JNI_FALSE,
                                           [&]
                                           {
                                               DecodeCall aCall(*theEnv, theRun, kName);
                                               aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                                               return Run(aCall, theStream, theDataSet, theFirstFrame);
                                           });
}
