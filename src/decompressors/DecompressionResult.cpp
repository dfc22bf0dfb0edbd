// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionResult.h"

#include <string>

#include "image/Renderable.h"
#include "jni/streams/StringConverter.h"
#include "jni/streams/detail/JavaAccess.h"

/// What all copies of a result hold together; the last copy frees the image.
struct DecompressionResult::Holder
{
    std::unique_ptr<Renderable> itsRenderable;
};

DecompressionResult::DecompressionResult() : itsHolder(std::make_shared<Holder>()) {}

DecompressionResult::~DecompressionResult() = default;

void DecompressionResult::setRenderable(Renderable* theRenderable)
{
    // Deliberately not freed: whoever took the image over with getRenderable owns it from now on.
    static_cast<void>(itsHolder->itsRenderable.release());
    itsHolder->itsRenderable.reset(theRenderable);
}

Renderable* DecompressionResult::getRenderable() const
{
    return itsHolder->itsRenderable.get();
}

RWCString DecompressionResult::ToString() const
{
    return "DecompressionResult:\n\titsDCMLibResultCode = " +
           std::to_string(static_cast<int>(itsDCMLibResultCode)) +
           "\n\titsSystemErrorCode = " + std::to_string(itsSystemErrorCode) +
           "\n\titsMessage = " + itsMessage;
}

void DecompressionResult::setOutOfMemory(DLResultCode theCode) noexcept
{
    itsDCMLibResultCode = theCode;
    itsSystemErrorCode = 0;
    itsMessage = "Out of memory"; // short enough for every string's own storage
}

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
