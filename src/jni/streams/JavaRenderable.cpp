// SPDX-License-Identifier: Apache-2.0
#include "jni/detail/JavaRenderable.h"

#include <cstdint>

#include "jni/detail/JavaAccess.h"

JavaRenderable::JavaRenderable(JNIEnv& theEnv)
    : itsEnv(theEnv), itsClass(JavaAccess::FindClass(theEnv, CLASS_NAME)),
      itsConstructor(JavaAccess::FindMethod(theEnv, itsClass.Get(), "<init>", "(JZ)V"))
{
}

LocalReference<jobject> JavaRenderable::New(const void* theAddress) const
{
    const auto aHandle = static_cast<jlong>(reinterpret_cast<std::intptr_t>(theAddress));
    LocalReference<jobject> anObject(
        itsEnv, itsEnv.NewObject(itsClass.Get(), itsConstructor, aHandle, jboolean{JNI_TRUE}));
    if (JavaAccess::ClearException(itsEnv))
    {
        anObject.Reset(nullptr);
    }
    return anObject;
}
