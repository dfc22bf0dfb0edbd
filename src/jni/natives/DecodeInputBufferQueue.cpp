// SPDX-License-Identifier: Apache-2.0
#include "decoding/ImageType.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "image/VMMemoryAllocator.h"
#include "jni/natives/detail/DecodeCall.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/natives/detail/StreamDecode.h"
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"

namespace
{
/// A Java exception of the queue goes to the caller, who then sees no image: none may be reported.
void KeepJavaException(DecodeCall& theCall, JavaInputBufferQueueCompressedSource& theSource)
{
    LocalReference<jthrowable> anException(theCall.GetEnv(), theSource.TakeJavaException());
    if (!anException)
    {
        return;
    }
    if (theCall.HasSucceeded())
    {
        theCall.Fail(DLRC_DECODER_ERROR, theCall.GetPrefix(2) + "the input buffer queue threw an exception");
    }
    theCall.KeepException(std::move(anException));
}

void Decode(DecodeCall& theCall, jobject theQueue, DICOMDataObject* theDataSet, jint theImageType,
            bool isLossless, jint theScaleFactor, const std::optional<PixelRegion>& theRegion)
{
    JavaInputBufferQueueCompressedSource aSource(theCall.GetEnv(), theQueue);
    aSource.SetReading(theCall.GetReading());
    if (StreamDecode::IsBareImage(theImageType, theCall.GetReading()))
    {
        theCall.Decompress(
            1,
            [&]
            {
                DecompressionRequest aRequest(
                    &aSource, theDataSet, "", false, theScaleFactor, 0,
                    StreamDecode::GetTransferSyntaxUID(theImageType, isLossless, theCall.GetReading()),
                    false);
                aRequest.setReading(theCall.GetReading());
                aRequest.setRegion(theRegion);
                CompressedImageStreamDecompressor(VMMemoryAllocator::itsDefaultInstance)
                    .Decompress(aRequest, theCall.GetResult());
            });
    }
    else
    {
        theCall.FailWithInvalidType();
    }
    theCall.Close(2, [&] { aSource.close(); });
    KeepJavaException(theCall, aSource);
}

constexpr const char* kName = "decodeInputBufferQueueToMemory";

std::function<void()> Body(DecodeCall& theCall, jobject theQueue, jlong theDataSet, jint theImageType,
                           jboolean theLossless, jint theScaleFactor, jintArray theRegion)
{
    // Deliberately unlike the other methods: plain JPEG 2000 is always taken as lossless here, and it is the
    // lossless type that follows the argument.
    const bool isLossless = theImageType == IMAGE_TYPE_JPEG2000 || theLossless != JNI_FALSE;
    return [=, &theCall]
    {
        Decode(theCall, theQueue, NativeBoundary::FromHandle<DICOMDataObject>(theDataSet), theImageType,
               isLossless, theScaleFactor, NativeBoundary::ToRegion(theCall.GetEnv(), theRegion));
    };
}
} // namespace

extern "C" JNIEXPORT jobject JNICALL
Java_com_quorix_decompression_NDecompressor_decodeInputBufferQueueToMemory(
    JNIEnv* theEnv, jobject, jobject theQueue, jlong theDataSet, jint theImageType, jboolean theLossless,
    jint theScaleFactor, jobject theResult)
{
    return NativeBoundary::Guard<jobject>(nullptr,
                                          [&]
                                          {
                                              DecodeCall aCall(*theEnv, theResult, kName);
                                              return aCall.RunForImage(Body(aCall, theQueue, theDataSet,
                                                                            theImageType, theLossless,
                                                                            theScaleFactor, nullptr));
                                          });
}

/// The same for a result that has a reading and takes warnings; the address of the image, which is the
/// caller's.
extern "C" JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_decodeQueue(
    JNIEnv* theEnv, jobject theRun, jobject theQueue, jlong theDataSet, jint theImageType,
    jboolean theLossless, jint theScaleFactor, jintArray theRegion, jboolean isByContract)
{
    return NativeBoundary::Guard<jlong>(0,
                                        [&]
                                        {
                                            DecodeCall aCall(*theEnv, theRun, kName);
                                            aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                                            return aCall.RunForAddress(Body(aCall, theQueue, theDataSet,
                                                                            theImageType, theLossless,
                                                                            theScaleFactor, theRegion));
                                        });
}
