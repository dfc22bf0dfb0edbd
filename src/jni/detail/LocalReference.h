// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include <jni.h>

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
