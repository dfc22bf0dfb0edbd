// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "jni/detail/JavaAccess.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/Reading.h"

/// The border between Java and native code.
class NativeBoundary
{
public:
    NativeBoundary() = delete;

    /// Executes theBody; no C++ exception gets past this point: theFallback is answered instead.
    template <class Result, class Body>
    static Result Guard(Result theFallback, const Body& theBody) noexcept
    {
        try
        {
            return theBody();
        }
        catch (...)
        {
            return theFallback;
        }
    }

    /// The native object behind Java's handle; null for 0.
    template <class Native>
    static Native* FromHandle(jlong theHandle)
    {
        return reinterpret_cast<Native*>(static_cast<std::intptr_t>(theHandle));
    }

    static Reading ToReading(jboolean isByContract)
    {
        return isByContract != JNI_FALSE ? Reading::BY_CONTRACT : Reading::BY_MEANING;
    }

    /// Four numbers, x, y, width and height, none of them negative; null for none.
    static std::optional<PixelRegion> ToRegion(JNIEnv& theEnv, jintArray theRegion)
    {
        if (theRegion == nullptr)
        {
            return std::nullopt;
        }
        std::array<jint, 4> aRegion{};
        theEnv.GetIntArrayRegion(theRegion, 0, 4, aRegion.data());
        const auto aNumber = [&](std::size_t theIndex)
        { return static_cast<std::uint64_t>(aRegion[theIndex]); };
        return PixelRegion{aNumber(0), aNumber(1), aNumber(2), aNumber(3)};
    }

    static jlong ToHandle(const void* theObject)
    {
        return static_cast<jlong>(reinterpret_cast<std::intptr_t>(theObject));
    }
};
