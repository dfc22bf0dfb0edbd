// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/StringConverter.h"

#include <limits>
#include <vector>

#include "jni/detail/JavaAccess.h"

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
