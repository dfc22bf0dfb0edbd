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
    aStream.SetReading(theCall.GetReading());
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
/// What a call of Java brings besides the stream and the result.
struct Numbers
{
    jlong itsDataSet;
    jint itsImageType;
    jint itsFrameIndex;
    jint itsScaleFactor;
};

constexpr const char* kName = "decodeSeekableInputStreamToMemory";

jobject Run(DecodeCall& theCall, jobject theStream, const Numbers& theNumbers)
{
    const StreamDecode::Arguments anArguments{
        theNumbers.itsImageType,
        theNumbers.itsImageType == IMAGE_TYPE_JPEG2000_LOSSLESS,
        NativeBoundary::FromHandle<DICOMDataObject>(theNumbers.itsDataSet),
        "",
        false,
        theNumbers.itsScaleFactor,
        theNumbers.itsFrameIndex,
        theCall.GetReading()};
    return theCall.RunForImage([&] { Decode(theCall, theStream, anArguments); });
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
            DecodeCall aCall(*theEnv, theResult, kName);
            return Run(aCall, theStream, {theDataSet, theImageType, theFrameIndex, theScaleFactor});
        });
}

/// The same for a result that has a reading and takes warnings.
extern "C" JNIEXPORT jobject JNICALL Java_com_quorix_decompression_DecodeRun_decodeStream(
    JNIEnv* theEnv, jobject theRun, jobject theStream, jlong theDataSet, jint theImageType,
    jint theFrameIndex, jint theScaleFactor, jboolean isByContract)
{
    return NativeBoundary::Guard<jobject>(
        nullptr,
        [&]
        {
            DecodeCall aCall(*theEnv, theRun, kName);
            aCall.ReadAs(NativeBoundary::ToReading(isByContract));
            return Run(aCall, theStream, {theDataSet, theImageType, theFrameIndex, theScaleFactor});
        });
}
