// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaStrings.h"

#include <limits>
#include <string>
#include <vector>

#include "jni/detail/JavaAccess.h"

static_assert(sizeof(jchar) == sizeof(char16_t));

namespace
{
constexpr char32_t kUnknownCharacter = U'?';

/// The character that begins at thePosition, which moves past it.
char32_t NextCharacter(std::u16string_view theText, std::size_t& thePosition)
{
    const char32_t aFirst = theText[thePosition++];
    if (aFirst < 0xd800 || aFirst > 0xdfff)
    {
        return aFirst;
    }
    const char32_t aSecond = thePosition < theText.size() ? theText[thePosition] : 0;
    if (aFirst > 0xdbff || aSecond < 0xdc00 || aSecond > 0xdfff)
    {
        return kUnknownCharacter;
    }
    ++thePosition;
    return 0x10000 + ((aFirst - 0xd800) << 10) + (aSecond - 0xdc00);
}

void Append(RWCString& theString, char32_t theByte)
{
    theString.push_back(static_cast<char>(static_cast<unsigned char>(theByte)));
}

void AppendUTF8(RWCString& theString, char32_t theCharacter)
{
    if (theCharacter < 0x80)
    {
        Append(theString, theCharacter);
        return;
    }
    int aShift = theCharacter < 0x800 ? 6 : theCharacter < 0x10000 ? 12 : 18;
    const char32_t aMark = aShift == 6 ? 0xc0 : aShift == 12 ? 0xe0 : 0xf0;
    Append(theString, aMark | (theCharacter >> aShift));
    while (aShift > 0)
    {
        aShift -= 6;
        Append(theString, 0x80 | ((theCharacter >> aShift) & 0x3f));
    }
}
} // namespace

EncodedString::EncodedString(JNIEnv& theEnv, jstring theString, int theCodePage)
{
    if (theString == nullptr)
    {
        return;
    }
    const jsize aLength = theEnv.GetStringLength(theString);
    std::u16string aText(static_cast<std::size_t>(aLength), u'\0');
    theEnv.GetStringRegion(theString, 0, aLength, reinterpret_cast<jchar*>(aText.data()));
    if (!JavaAccess::ClearException(theEnv))
    {
        itsString = Encode(aText, theCodePage);
    }
}

RWCString EncodedString::Encode(std::u16string_view theText, int theCodePage)
{
    RWCString aString;
    aString.reserve(theText.size());
    for (std::size_t aPosition = 0; aPosition < theText.size();)
    {
        const char32_t aCharacter = NextCharacter(theText, aPosition);
        if (theCodePage == CODE_PAGE_UTF_8)
        {
            AppendUTF8(aString, aCharacter);
        }
        else
        {
            Append(aString, aCharacter > 0xff ? kUnknownCharacter : aCharacter);
        }
    }
    return aString;
}

jstring StringConverter::latin1ToJString(JNIEnv& theEnv, const RWCString& theText)
{
    if (theText.size() > static_cast<std::size_t>(std::numeric_limits<jsize>::max()))
    {
        return nullptr;
    }
    std::vector<jchar> aCharacters;
    aCharacters.reserve(theText.size() + 1); // never a null pointer, not even for ""
    for (const char aByte : theText)
    {
        aCharacters.push_back(static_cast<unsigned char>(aByte));
    }
    const jstring aString = theEnv.NewString(aCharacters.data(), static_cast<jsize>(aCharacters.size()));
    if (aString == nullptr)
    {
        JavaAccess::ClearException(theEnv);
    }
    return aString;
}
