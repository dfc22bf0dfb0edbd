// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "jni/detail/JavaAccess.h"

/// Makes com.quorix.decompression.Renderable objects, which take over native images. Looks class and
/// constructor up once. For one native call.
class JavaRenderable
{
public:
    static constexpr const char* CLASS_NAME = "com/quorix/decompression/Renderable";

    explicit JavaRenderable(JNIEnv& theEnv);

    bool HasClass() const { return static_cast<bool>(itsClass); }
    bool HasConstructor() const { return itsConstructor != nullptr; }

    /// A new object that owns the native image at theAddress, or null, with no Java exception pending and
    /// the image still the caller's. Both class and constructor must have been found.
    LocalReference<jobject> New(const void* theAddress) const;

private:
    JNIEnv& itsEnv;
    LocalReference<jclass> itsClass;
    jmethodID itsConstructor;
};
