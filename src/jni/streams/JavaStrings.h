// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "decompressors/JNIForward.h"
#include "toolkit/base/BaseTypes.h"

/// A Java string as bytes of a code page. Immutable; the Java string is not kept.
class QUORIX_API EncodedString
{
public:
    static constexpr int CODE_PAGE_ISO_8859_1 = 28591; ///< one byte a character
    static constexpr int CODE_PAGE_UTF_8 = 65001;      ///< true UTF-8, not the modified form of JNI

    /// theString may be null. theCodePage: one of the two above. What the code page cannot express (for
    /// UTF-8, half a surrogate pair) becomes '?'.
    EncodedString(JNIEnv& theEnv, jstring theString, int theCodePage);

    /// Empty for a null string.
    const RWCString& GetString() const { return itsString; }

    /// The conversion itself, from UTF-16.
    static RWCString Encode(std::u16string_view theText, int theCodePage);

private:
    RWCString itsString;
};

/// Makes Java strings.
class QUORIX_API StringConverter
{
public:
    StringConverter() = delete;

    /// Every byte becomes the character of its number. A local reference, or null, with no Java exception
    /// pending, when there is no memory.
    static jstring latin1ToJString(JNIEnv& theEnv, const RWCString& theText);
};
