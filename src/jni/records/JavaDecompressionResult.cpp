// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionResult.h"

#include "jni/detail/JavaAccess.h"
#include "jni/streams/JavaStrings.h"

void DecompressionResult::copyToJava(JNIEnv* theEnv, jobject theResult) const
{
    const LocalReference<jclass> aClass = JavaAccess::GetClass(*theEnv, theResult);
    if (const jfieldID aField = JavaAccess::FindField(*theEnv, aClass.Get(), "DLResultCode", "I"))
    {
        theEnv->SetIntField(theResult, aField, itsDCMLibResultCode);
    }
    if (const jfieldID aField = JavaAccess::FindField(*theEnv, aClass.Get(), "SystemError", "I"))
    {
        theEnv->SetIntField(theResult, aField, itsSystemErrorCode);
    }
    if (const jfieldID aField = JavaAccess::FindField(*theEnv, aClass.Get(), "Message", "Ljava/lang/String;"))
    {
        const LocalReference<jstring> aMessage(*theEnv,
                                               StringConverter::latin1ToJString(*theEnv, itsMessage));
        theEnv->SetObjectField(theResult, aField, aMessage.Get());
    }
}
