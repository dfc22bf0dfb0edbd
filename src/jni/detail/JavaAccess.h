// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include <jni.h>

#include "toolkit/base/BaseTypes.h"

/// Owns one local reference to a Java object and deletes it at the end of its scope, so that loops leave
/// none behind. May be destroyed while a Java exception is pending. Belongs to the thread of its JNIEnv.
template <class Reference>
class LocalReference
{
public:
    /// theReference may be null.
    LocalReference(JNIEnv& theEnv, Reference theReference) : itsEnv(&theEnv), itsReference(theReference) {}
    ~LocalReference() { Reset(nullptr); }
    LocalReference(LocalReference&& theOther) noexcept
        : itsEnv(theOther.itsEnv), itsReference(theOther.Release())
    {
    }
    LocalReference& operator=(LocalReference&& theOther) noexcept
    {
        Reset(theOther.Release());
        return *this;
    }
    LocalReference(const LocalReference&) = delete;
    LocalReference& operator=(const LocalReference&) = delete;

    Reference Get() const { return itsReference; }
    explicit operator bool() const { return itsReference != nullptr; }

    /// Gives the reference to the caller.
    Reference Release() { return std::exchange(itsReference, nullptr); }

    /// Deletes the present reference and takes over theReference.
    void Reset(Reference theReference)
    {
        if (itsReference != nullptr)
        {
            itsEnv->DeleteLocalRef(itsReference);
        }
        itsReference = theReference;
    }

private:
    JNIEnv* itsEnv;
    Reference itsReference;
};

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

    /// Throws DecodingInterruptedException where the calling thread is interrupted in Java, which it stays.
    /// No Java exception may be pending.
    static void CheckInterruption(JNIEnv& theEnv);

    /// Puts a Java exception of the class theName in place of the one that may be pending. theMessage is
    /// taken as ISO-8859-1.
    static void Throw(JNIEnv& theEnv, const char* theName, const RWCString& theMessage);
};
