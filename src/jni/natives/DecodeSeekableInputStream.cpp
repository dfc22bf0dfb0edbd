// SPDX-License-Identifier: Apache-2.0
#include "decoding/ImageType.h"
#include "jni/natives/detail/DecodeCall.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/natives/detail/StreamDecode.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "toolkit/base/Exceptions.h"

namespace
{
void CloseSilently(InputStream& theStream)
{
    try
    {
        theStream.Close();
    }
    catch (const StreamIOException&)
    {
        // The invalid type is what the caller has to hear of.
    }
}

void Decode(DecodeCall& theCall, jobject theStream, const StreamDecode::Arguments& theArguments)
{
    JavaSeekableInputStream aStream(theCall.GetEnv(), theStream);
    if (!StreamDecode::IsPart10(theArguments.itsImageType) &&
        !StreamDecode::IsBareImage(theArguments.itsImageType, theArguments.itsReading))
    {
        theCall.FailWithInvalidType();
        theCall.CopyResult();
        CloseSilently(aStream);
        return;
    }
    theCall.Decompress(2, [&] { StreamDecode(aStream, theArguments).Run(theCall.GetResult()); });
    theCall.Close(1, [&] { aStream.Close(); });
}
} // namespace

extern "C" JNIEXPORT jobject JNICALL
Java_com_quorix_decompression_NDecompressor_decodeSeekableInputStreamToMemory(
    JNIEnv* theEnv, jobject, jobject theStream, jlong theDataSet, jint theImageType, jint theFrameIndex,
    jint theScaleFactor, jobject theResult)
{
    return NativeBoundary::Guard<jobject>(
        nullptr,
        [&]
        {
            DecodeCall aCall(*theEnv, theResult, "decodeSeekableInputStreamToMemory");
            const StreamDecode::Arguments anArguments{theImageType,
                                                      theImageType == IMAGE_TYPE_JPEG2000_LOSSLESS,
                                                      NativeBoundary::FromHandle<DICOMDataObject>(theDataSet),
                                                      "",
                                                      false,
                                                      theScaleFactor,
                                                      theFrameIndex,
                                                      aCall.GetReading()};
            return aCall.RunForImage([&] { Decode(aCall, theStream, anArguments); });
        });
}
