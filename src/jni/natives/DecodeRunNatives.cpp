// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <optional>

#include "decoding/ImageType.h"
#include "jni/natives/detail/DecodeCall.h"
#include "jni/natives/detail/FrameDelivery.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/natives/detail/StreamDecode.h"
#include "jni/streams/JavaSource.h"
#include "toolkit/dicom/DICOMDataObject.h"

// The natives of com.quorix.decompression.DecodeRun: what NDecompressor does, from sources of every kind, in
// the reading that is asked for, with the warnings told.

namespace
{
/// Java finds out why, and reads the file itself if it can.
void FailWithoutFile(DecodeCall& theCall)
{
    theCall.Fail(DLRC_FILE_NOT_FOUND, "the file cannot be opened");
}

/// The image types that a reading does not have go on to where they are refused.
void Decompress(DecodeCall& theCall, InputStream& theStream, const StreamDecode::Arguments& theArguments)
{
    if (!StreamDecode::IsPart10(theArguments.itsImageType) &&
        !StreamDecode::IsBareImage(theArguments.itsImageType, theArguments.itsReading))
    {
        theCall.FailWithInvalidType();
        return;
    }
    theCall.Decompress(2, [&] { StreamDecode(theStream, theArguments).Run(theCall.GetResult()); });
}

/// theArguments: the image type 0 is to be found out.
void Decode(DecodeCall& theCall, JavaSource& theSource, StreamDecode::Arguments theArguments)
{
    std::optional<RewindableInputStream> aStart;
    if (theArguments.itsImageType == 0)
    {
        theCall.Decompress(
            2, [&]
            { theArguments.itsImageType = StreamDecode::FindType(aStart.emplace(theSource.GetStream())); });
    }
    theArguments.itsLossless = theArguments.itsImageType == IMAGE_TYPE_JPEG2000_LOSSLESS;
    theArguments.itsIsLengthCertain = theSource.IsLengthCertain();
    std::optional<DICOMDataObject> anOwnDataSet;
    if (theArguments.itsDataSet == nullptr && StreamDecode::IsPart10(theArguments.itsImageType))
    {
        theArguments.itsDataSet = &anOwnDataSet.emplace(); // the ratio of a lossy image comes from there
    }
    if (theCall.HasSucceeded())
    {
        Decompress(theCall, aStart ? static_cast<InputStream&>(*aStart) : theSource.GetStream(),
                   theArguments);
    }
    theCall.Close(1, [&] { theSource.GetStream().Close(); });
}
} // namespace

extern "C"
{
    /// The address of the image, which is the caller's; 0, with the reason in theRun, when there is none.
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_decodeSource(
        JNIEnv* theEnv, jobject theRun, jint theKind, jobject theSource, jint theOffset, jint theLength,
        jlong theDataSet, jint theImageType, jint theFrameIndex, jint theScaleFactor, jintArray theRegion,
        jboolean isByContract)
    {
        return NativeBoundary::Guard<jlong>(
            0,
            [&]
            {
                DecodeCall aCall(*theEnv, theRun, "decodeSeekableInputStreamToMemory");
                aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                return aCall.RunForAddress(
                    [&]
                    {
                        JavaSource aSource(*theEnv, {theKind, theSource, theOffset, theLength},
                                           aCall.GetReading());
                        aSource.IsOpen()
                            ? Decode(aCall, aSource,
                                     {theImageType, false,
                                      NativeBoundary::FromHandle<DICOMDataObject>(theDataSet), "", false,
                                      theScaleFactor, theFrameIndex, aCall.GetReading(), false,
                                      NativeBoundary::ToRegion(*theEnv, theRegion)})
                            : FailWithoutFile(aCall);
                    });
            });
    }

    JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_DecodeRun_decodeFrames(
        JNIEnv* theEnv, jobject theRun, jint theKind, jobject theSource, jint theOffset, jint theLength,
        jlong theDataSet, jint theFirstFrame, jint theScaleFactor, jintArray theRegion, jboolean isByContract)
    {
        return NativeBoundary::Guard<jboolean>(
            JNI_FALSE,
            [&]
            {
                DecodeCall aCall(*theEnv, theRun, "decodeMultiFrameImageToMemory");
                aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                return aCall.Run(
                    [&]
                    {
                        JavaSource aSource(*theEnv, {theKind, theSource, theOffset, theLength},
                                           aCall.GetReading());
                        if (!aSource.IsOpen())
                        {
                            FailWithoutFile(aCall);
                            return;
                        }
                        std::optional<DICOMDataObject> anOwn;
                        auto* const aGiven = NativeBoundary::FromHandle<DICOMDataObject>(theDataSet);
                        UnmeasuredInputStream anUnmeasured(aSource.GetStream());
                        DecompressionRequest aRequest(aSource.IsLengthCertain() ? &aSource.GetStream()
                                                                                : &anUnmeasured,
                                                      aGiven != nullptr ? aGiven : &anOwn.emplace(), "",
                                                      false, theScaleFactor, 0, "", false);
                        aRequest.setRegion(NativeBoundary::ToRegion(*theEnv, theRegion));
                        FrameDelivery::Run(aCall, aRequest, theFirstFrame);
                        aCall.Close(1, [&] { aSource.GetStream().Close(); });
                    });
            });
    }

    /// The image type that the first theCount bytes of theStart tell.
    JNIEXPORT jint JNICALL Java_com_quorix_decompression_DecodeRun_findType(JNIEnv* theEnv, jclass,
                                                                            jbyteArray theStart,
                                                                            jint theCount)
    {
        std::array<unsigned char, 132> aStart;
        const auto aCount = std::min(static_cast<std::size_t>(theCount), aStart.size());
        theEnv->GetByteArrayRegion(theStart, 0, static_cast<jsize>(aCount),
                                   reinterpret_cast<jbyte*>(aStart.data()));
        return StreamDecode::FindType(aStart.data(), aCount);
    }

    /// Whether reading theBuffer, a direct one, may fail because it lies over a file that has become shorter:
    /// native code must not touch it then. So it is, too, where the virtual machine does not let us know.
    JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_DecodeRun_isMapped(JNIEnv* theEnv, jclass,
                                                                                jobject theBuffer)
    {
        const LocalReference<jclass> aClass = JavaAccess::FindClass(*theEnv, "java/nio/MappedByteBuffer");
        const jfieldID aField =
            JavaAccess::FindField(*theEnv, aClass.Get(), "fd", "Ljava/io/FileDescriptor;");
        const bool isKnown = aField != nullptr && theEnv->IsInstanceOf(theBuffer, aClass.Get()) != JNI_FALSE;
        const LocalReference<jobject> aFile(*theEnv,
                                            isKnown ? theEnv->GetObjectField(theBuffer, aField) : nullptr);
        return !isKnown || aFile ? JNI_TRUE : JNI_FALSE;
    }
}
