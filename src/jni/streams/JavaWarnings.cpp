// SPDX-License-Identifier: Apache-2.0
#include "jni/detail/JavaWarnings.h"

#include <algorithm>

#include "jni/streams/JavaStrings.h"

JavaWarnings::JavaWarnings(JNIEnv& theEnv, jobject theReceiver)
    : itsEnv(theEnv), itsReceiver(theReceiver),
      itsMethod(JavaAccess::FindMethod(theEnv, JavaAccess::GetClass(theEnv, theReceiver).Get(), "addWarning",
                                       "(Ljava/lang/String;Ljava/lang/String;I)V"))
{
}

bool JavaWarnings::Tell(const std::vector<DecodeWarning>& theWarnings) const
{
    return itsMethod == nullptr ||
           std::all_of(theWarnings.begin(), theWarnings.end(),
                       [this](const DecodeWarning& theWarning) { return Tell(theWarning); });
}

/// A string that there is no memory for is null in Java.
bool JavaWarnings::Tell(const DecodeWarning& theWarning) const
{
    const LocalReference<jstring> anIdentifier(
        itsEnv, StringConverter::latin1ToJString(itsEnv, theWarning.itsIdentifier));
    const LocalReference<jstring> aText(itsEnv, StringConverter::latin1ToJString(itsEnv, theWarning.itsText));
    itsEnv.CallVoidMethod(itsReceiver, itsMethod, anIdentifier.Get(), aText.Get(), jint{theWarning.itsFrame});
    return itsEnv.ExceptionCheck() == JNI_FALSE;
}
