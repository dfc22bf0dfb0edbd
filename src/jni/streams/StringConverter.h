// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/JNIForward.h"
#include "toolkit/base/BaseTypes.h"

/// Makes Java strings.
class QUORIX_API StringConverter
{
public:
    StringConverter() = delete;

    /// Every byte becomes the character of its number. A local reference, or null, with no Java exception
    /// pending, when there is no memory.
    static jstring latin1ToJString(JNIEnv& theEnv, const RWCString& theText);
};
