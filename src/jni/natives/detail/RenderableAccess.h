// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "image/Renderable.h"
#include "jni/natives/detail/NativeBoundary.h"

/// What the native methods of com.quorix.decompression.Renderable share: the rule for handle 0, and that
/// no C++ exception gets through.
class RenderableAccess
{
public:
    RenderableAccess() = delete;

    /// The image behind theHandle; null, with a Java NullPointerException pending, for 0.
    static Renderable* Find(JNIEnv& theEnv, jlong theHandle)
    {
        if (theHandle == 0)
        {
            JavaAccess::Throw(theEnv, "java/lang/NullPointerException",
                              "Native Renderable handle argument is null");
        }
        return NativeBoundary::FromHandle<Renderable>(theHandle);
    }

    /// What theGetter says of the image; 0 or null for handle 0 and after a C++ exception.
    template <class Result, class Getter>
    static Result Get(JNIEnv* theEnv, jlong theHandle, const Getter& theGetter) noexcept
    {
        return NativeBoundary::Guard<Result>(Result{},
                                             [&]
                                             {
                                                 Renderable* const anImage = Find(*theEnv, theHandle);
                                                 return anImage != nullptr
                                                            ? static_cast<Result>(theGetter(*anImage))
                                                            : Result{};
                                             });
    }

    /// Applies theOperation to the image; nothing for handle 0.
    template <class Operation>
    static void Do(JNIEnv* theEnv, jlong theHandle, const Operation& theOperation) noexcept
    {
        Get<bool>(theEnv, theHandle,
                  [&](Renderable& theImage)
                  {
                      theOperation(theImage);
                      return true;
                  });
    }
};
