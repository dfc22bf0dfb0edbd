// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "decoding/ImageType.h"
#include "decompressors/Part10FrameCursor.h"
#include "image/VMMemoryAllocator.h"
#include "jni/natives/detail/DecodeCall.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/natives/detail/StreamDecode.h"
#include "jni/streams/JavaSource.h"
#include "toolkit/dicom/DICOMDataObject.h"

// The natives of com.quorix.decompression.DecodeRun that decode frames when they are asked for.

namespace
{
/// The frames of a Java source, which stays open between the native calls. A bare image is one frame. For one
/// thread at a time; every call but the first begins with SetEnvironment.
class FrameCursor
{
public:
    /// What speaks of the image goes by theArguments; the image type 0 is to be found out.
    FrameCursor(JNIEnv& theEnv, const JavaSource::Input& theInput,
                const StreamDecode::Arguments& theArguments)
        : itsSource(theEnv, theInput, theArguments.itsReading), itsArguments(theArguments)
    {
    }

    void SetEnvironment(JNIEnv& theEnv) { itsSource.SetEnvironment(theEnv); }

    /// Every outcome is in theCall. theDataSet, which may be null, receives the attributes.
    void Open(DecodeCall& theCall, DICOMDataObject* theDataSet)
    {
        if (!itsSource.IsOpen())
        {
            theCall.Fail(DLRC_FILE_NOT_FOUND, "the file cannot be opened");
            return;
        }
        theCall.Decompress(2, [&] { OpenStream(theCall.GetResult()); });
        if (theCall.HasSucceeded() && itsFrames && theDataSet != nullptr)
        {
            theDataSet->CopyAttributes(itsDataSet);
        }
    }

    int GetNumberOfFrames() const { return itsFrames ? itsFrames->GetNumberOfFrames() : 1; }

    void Load(DecodeCall& theCall, jint theFrameIndex)
    {
        theCall.Decompress(2,
                           [&]
                           {
                               itsFrames ? itsFrames->Load(theFrameIndex, theCall.GetResult())
                                         : StreamDecode(*itsStream, itsArguments).Run(theCall.GetResult());
                           });
    }

    void Close()
    {
        if (itsSource.IsOpen())
        {
            itsSource.GetStream().Close();
        }
    }

private:
    void OpenStream(DecompressionResult& theResult)
    {
        itsStream = &itsSource.GetStream();
        if (itsArguments.itsImageType == 0)
        {
            itsStream = &itsStart.emplace(itsSource.GetStream());
            itsArguments.itsImageType = StreamDecode::FindType(*itsStart);
        }
        itsArguments.itsLossless = itsArguments.itsImageType == IMAGE_TYPE_JPEG2000_LOSSLESS;
        if (!StreamDecode::IsPart10(itsArguments.itsImageType))
        {
            return;
        }
        if (!itsSource.IsLengthCertain())
        {
            itsStream = &itsUnmeasured.emplace(*itsStream);
        }
        itsRequest.emplace(itsStream, &itsDataSet, "", false, itsArguments.itsScaleFactor, 0, "", false);
        itsRequest->setReading(itsArguments.itsReading);
        itsRequest->setRegion(itsArguments.itsRegion);
        itsFrames.emplace(*itsRequest, VMMemoryAllocator::GetDefaultInstance());
        itsFrames->Open(theResult);
    }

    JavaSource itsSource;
    StreamDecode::Arguments itsArguments;
    InputStream* itsStream = nullptr; ///< the outermost of those that are there
    std::optional<RewindableInputStream> itsStart;
    std::optional<UnmeasuredInputStream> itsUnmeasured;
    DICOMDataObject itsDataSet;
    std::optional<DecompressionRequest> itsRequest;
    std::optional<Part10FrameCursor> itsFrames; ///< nothing for a bare image
};

constexpr const char* kName = "decodeMultiFrameImageToMemory";
} // namespace

extern "C"
{
    /// A handle for the methods below; 0, with the reason in theRun, when there are no frames.
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_openFrames(
        JNIEnv* theEnv, jobject theRun, jint theKind, jobject theSource, jint theOffset, jint theLength,
        jlong theDataSet, jint theImageType, jint theScaleFactor, jintArray theRegion, jboolean isByContract)
    {
        return NativeBoundary::Guard<jlong>(
            0,
            [&]() -> jlong
            {
                DecodeCall aCall(*theEnv, theRun, kName);
                aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                std::unique_ptr<FrameCursor> aCursor;
                const jboolean isOpen = aCall.Run(
                    [&]
                    {
                        aCursor = std::make_unique<FrameCursor>(
                            *theEnv, JavaSource::Input{theKind, theSource, theOffset, theLength},
                            StreamDecode::Arguments{theImageType, false, nullptr, "", false, theScaleFactor,
                                                    0, aCall.GetReading(), false,
                                                    NativeBoundary::ToRegion(*theEnv, theRegion)});
                        aCursor->Open(aCall, NativeBoundary::FromHandle<DICOMDataObject>(theDataSet));
                        if (!aCall.HasSucceeded())
                        {
                            aCall.Close(1, [&] { aCursor->Close(); });
                        }
                    });
                return isOpen != JNI_FALSE ? NativeBoundary::ToHandle(aCursor.release()) : 0;
            });
    }

    JNIEXPORT jint JNICALL Java_com_quorix_decompression_DecodeRun_countFrames(JNIEnv*, jclass,
                                                                               jlong theCursor)
    {
        return NativeBoundary::FromHandle<FrameCursor>(theCursor)->GetNumberOfFrames();
    }

    /// The address of the image, which is the caller's; 0, with the reason in theRun, when there is none.
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_loadFrame(JNIEnv* theEnv, jobject theRun,
                                                                              jlong theCursor,
                                                                              jint theFrameIndex,
                                                                              jboolean isByContract)
    {
        return NativeBoundary::Guard<jlong>(
            0,
            [&]
            {
                auto& aCursor = *NativeBoundary::FromHandle<FrameCursor>(theCursor);
                aCursor.SetEnvironment(*theEnv);
                DecodeCall aCall(*theEnv, theRun, kName);
                aCall.ReadAs(NativeBoundary::ToReading(isByContract));
                return aCall.RunForAddress([&] { aCursor.Load(aCall, theFrameIndex); });
            });
    }

    /// Closes the source, whose exceptions nobody asks for any more.
    JNIEXPORT void JNICALL Java_com_quorix_decompression_DecodeRun_closeFrames(JNIEnv* theEnv, jclass,
                                                                               jlong theCursor)
    {
        NativeBoundary::Guard<bool>(false,
                                    [&]
                                    {
                                        const std::unique_ptr<FrameCursor> aCursor(
                                            NativeBoundary::FromHandle<FrameCursor>(theCursor));
                                        aCursor->SetEnvironment(*theEnv);
                                        aCursor->Close();
                                        return true;
                                    });
    }
}
