// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionRequest.h"

#include "jni/detail/JavaAccess.h"
#include "jni/streams/JavaInputBufferQueueCompressedSource.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
/// Reads fields of one Java object until one of them is missing: its Java exception stays pending, and
/// the later ones are not touched.
class JavaFields
{
public:
    JavaFields(JNIEnv& theEnv, jobject theObject)
        : itsEnv(theEnv), itsObject(theObject), itsClass(JavaAccess::GetClass(theEnv, theObject))
    {
    }

    LocalReference<jobject> GetObject(const char* theName, const char* theSignature)
    {
        const jfieldID aField = Find(theName, theSignature);
        return {itsEnv, aField != nullptr ? itsEnv.GetObjectField(itsObject, aField) : nullptr};
    }

    void ReadString(const char* theName, RWCString& theValue)
    {
        const LocalReference<jobject> aString = GetObject(theName, "Ljava/lang/String;");
        if (aString)
        {
            theValue =
                EncodedString(itsEnv, static_cast<jstring>(aString.Get()), EncodedString::CODE_PAGE_UTF_8)
                    .GetString();
        }
    }

    void ReadInt(const char* theName, std::int32_t& theValue)
    {
        if (const jfieldID aField = Find(theName, "I"))
        {
            theValue = itsEnv.GetIntField(itsObject, aField);
        }
    }

    void ReadBoolean(const char* theName, bool& isSet)
    {
        if (const jfieldID aField = Find(theName, "Z"))
        {
            isSet = itsEnv.GetBooleanField(itsObject, aField) == JNI_TRUE;
        }
    }

    template <class Native>
    void ReadHandle(const char* theName, Native*& theValue)
    {
        if (const jfieldID aField = Find(theName, "J"))
        {
            theValue =
                reinterpret_cast<Native*>(static_cast<std::intptr_t>(itsEnv.GetLongField(itsObject, aField)));
        }
    }

private:
    jfieldID Find(const char* theName, const char* theSignature)
    {
        const bool canGoOn = itsClass && itsEnv.ExceptionCheck() == JNI_FALSE;
        return canGoOn ? itsEnv.GetFieldID(itsClass.Get(), theName, theSignature) : nullptr;
    }

    JNIEnv& itsEnv;
    jobject itsObject;
    LocalReference<jclass> itsClass;
};
} // namespace

DecompressionRequest::DecompressionRequest(JNIEnv* theEnv, jclass, jobject theRequest)
{
    JavaFields aFields(*theEnv, theRequest);
    LocalReference<jobject> aStream =
        aFields.GetObject("itsInputStream", "Lcom/quorix/io/SeekableInputStream;");
    if (aStream)
    {
        itsOwnedJavaInputStream = std::make_shared<JavaSeekableInputStream>(*theEnv, aStream.Get());
        itsInputStream = itsOwnedJavaInputStream.get();
    }
    LocalReference<jobject> aQueue =
        aFields.GetObject("itsCompressedSource", "Lcom/quorix/util/InputBufferQueue;");
    if (aQueue)
    {
        // The source uses this local reference, which lives as long as the native call.
        itsOwnedJavaCompressedSource =
            std::make_shared<JavaInputBufferQueueCompressedSource>(*theEnv, aQueue.Release());
        itsCompressedSource = itsOwnedJavaCompressedSource.get();
    }
    aFields.ReadHandle("itsDICOMDataObject", itsDICOMDataObject);
    aFields.ReadString("itsDemoFile", itsDemoFile);
    aFields.ReadBoolean("itsLoadDemoInfoFlag", itsLoadDemoInfoFlag);
    aFields.ReadInt("itsScaleFactor", itsScaleFactor);
    aFields.ReadInt("itsFrameIndex", itsFrameIndex);
    aFields.ReadString("itsTransferSyntaxUID", itsTransferSyntaxUID);
}
