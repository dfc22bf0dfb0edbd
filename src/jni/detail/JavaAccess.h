// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "jni/detail/LocalReference.h"
#include "toolkit/base/BaseTypes.h"

/// Look-ups in Java classes and the care of Java exceptions.
///
/// A look-up that fails answers null and leaves no Java exception pending. theEnv is the calling thread's;
/// no exception may be pending when a look-up is made.
class JavaAccess
{
public:
    JavaAccess() = delete;

    /// theName: with slashes, found through the class loader of the calling Java class.
    static LocalReference<jclass> FindClass(JNIEnv& theEnv, const char* theName);

    /// The class of theObject, which may be null.
    static LocalReference<jclass> GetClass(JNIEnv& theEnv, jobject theObject);

    // theClass may be null.
    static jmethodID FindMethod(JNIEnv& theEnv, jclass theClass, const char* theName,
                                const char* theSignature);
    static jfieldID FindField(JNIEnv& theEnv, jclass theClass, const char* theName, const char* theSignature);

    /// Clears the pending Java exception. False when there was none.
    static bool ClearException(JNIEnv& theEnv);

    /// Clears the pending Java exception and hands it out; null when there is none.
    static LocalReference<jthrowable> TakeException(JNIEnv& theEnv);

    /// Puts a Java exception of the class theName in place of the one that may be pending. theMessage is
    /// taken as ISO-8859-1.
    static void Throw(JNIEnv& theEnv, const char* theName, const RWCString& theMessage);
};
