// SPDX-License-Identifier: Apache-2.0
#include "jni/detail/JavaAccess.h"

#include "toolkit/base/Exceptions.h"

namespace
{
template <class Identifier>
Identifier ClearIfNull(JNIEnv& theEnv, Identifier theIdentifier)
{
    if (theIdentifier == nullptr)
    {
        JavaAccess::ClearException(theEnv);
    }
    return theIdentifier;
}
} // namespace

LocalReference<jclass> JavaAccess::FindClass(JNIEnv& theEnv, const char* theName)
{
    return {theEnv, ClearIfNull(theEnv, theEnv.FindClass(theName))};
}

LocalReference<jclass> JavaAccess::GetClass(JNIEnv& theEnv, jobject theObject)
{
    return {theEnv, theObject != nullptr ? theEnv.GetObjectClass(theObject) : nullptr};
}

jmethodID JavaAccess::FindMethod(JNIEnv& theEnv, jclass theClass, const char* theName,
                                 const char* theSignature)
{
    return theClass != nullptr ? ClearIfNull(theEnv, theEnv.GetMethodID(theClass, theName, theSignature))
                               : nullptr;
}

jfieldID JavaAccess::FindField(JNIEnv& theEnv, jclass theClass, const char* theName, const char* theSignature)
{
    return theClass != nullptr ? ClearIfNull(theEnv, theEnv.GetFieldID(theClass, theName, theSignature))
                               : nullptr;
}

bool JavaAccess::ClearException(JNIEnv& theEnv)
{
    if (theEnv.ExceptionCheck() == JNI_FALSE)
    {
        return false;
    }
    theEnv.ExceptionClear();
    return true;
}

LocalReference<jthrowable> JavaAccess::TakeException(JNIEnv& theEnv)
{
    LocalReference<jthrowable> aThrowable(theEnv, theEnv.ExceptionOccurred());
    if (aThrowable)
    {
        theEnv.ExceptionClear();
    }
    return aThrowable;
}

void JavaAccess::CheckInterruption(JNIEnv& theEnv)
{
    const LocalReference<jclass> aClass = FindClass(theEnv, "java/lang/Thread");
    const jmethodID anIsInterrupted = FindMethod(theEnv, aClass.Get(), "isInterrupted", "()Z");
    if (anIsInterrupted == nullptr)
    {
        return;
    }
    const jmethodID aCurrentThread =
        ClearIfNull(theEnv, theEnv.GetStaticMethodID(aClass.Get(), "currentThread", "()Ljava/lang/Thread;"));
    const LocalReference<jobject> aThread(
        theEnv,
        aCurrentThread != nullptr ? theEnv.CallStaticObjectMethod(aClass.Get(), aCurrentThread) : nullptr);
    if (ClearException(theEnv) || !aThread)
    {
        return;
    }
    const bool isInterrupted = theEnv.CallBooleanMethod(aThread.Get(), anIsInterrupted) != JNI_FALSE;
    if (!ClearException(theEnv) && isInterrupted)
    {
        throw DecodingInterruptedException("Decoding interrupted", 1);
    }
}

void JavaAccess::Throw(JNIEnv& theEnv, const char* theName, const RWCString& theMessage)
{
    ClearException(theEnv);
    const LocalReference<jclass> aClass = FindClass(theEnv, theName);
    if (!aClass)
    {
        return;
    }
    // What the virtual machine takes here is UTF-8, of which the characters up to FF are a plain part.
    RWCString aText;
    for (const char aCharacter : theMessage)
    {
        const auto aByte = static_cast<unsigned char>(aCharacter);
        if (aByte >= 0x80)
        {
            aText.push_back(static_cast<char>(0xc0 | (aByte >> 6)));
        }
        aText.push_back(static_cast<char>(aByte < 0x80 ? aByte : 0x80 | (aByte & 0x3f)));
    }
    theEnv.ThrowNew(aClass.Get(), aText.c_str());
}
