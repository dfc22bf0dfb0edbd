// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

#include "jni/natives/detail/NativeBoundary.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/ElementOutline.h"
#include "toolkit/dicom/ImageElements.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
constexpr const char* kIOException = "java/io/IOException";

/// Applies theOperation to the data set behind theHandle. Handle 0 becomes a Java NullPointerException,
/// a C++ exception an IOException; theFallback is answered then.
template <class Result, class Operation>
Result WithDataSet(JNIEnv* theEnv, jlong theHandle, Result theFallback,
                   const Operation& theOperation) noexcept
{
    return NativeBoundary::Guard<Result>(
        theFallback,
        [&]() -> Result
        {
            if (theHandle == 0)
            {
                JavaAccess::Throw(*theEnv, "java/lang/NullPointerException",
                                  "Native DICOMDataObject handle argument is null");
                return theFallback;
            }
            try
            {
                return theOperation(*NativeBoundary::FromHandle<DICOMDataObject>(theHandle));
            }
            catch (const ExceptionBase& anException)
            {
                JavaAccess::Throw(*theEnv, kIOException, anException.ToString());
            }
            catch (const std::exception& anException)
            {
                JavaAccess::Throw(*theEnv, kIOException, anException.what());
            }
            return theFallback;
        });
}

RWCString ToLatin1(JNIEnv* theEnv, jstring theText)
{
    return EncodedString(*theEnv, theText, EncodedString::CODE_PAGE_ISO_8859_1).GetString();
}

/// group * 65536 + element
DICOMTag ToTag(jint theTag)
{
    const auto aTag = static_cast<std::uint32_t>(theTag);
    return {static_cast<std::uint16_t>(aTag >> 16), static_cast<std::uint16_t>(aTag & 0xffff)};
}

/// Tags that no element of a data set has or whose value is no text or number.
bool CanBeSet(DICOMTag theTag)
{
    return theTag.itsGroup != 0xfffe && theTag.itsGroup != 0xffff && theTag.itsElement != 0 &&
           theTag != DICOMTags::PixelData;
}

MVRFactory MakeFactory(const DICOMDataObject& theDataSet, DLEndian::Endian theEndian)
{
    return MVRFactory(theDataSet.GetDataDictionary(), theEndian, VR::GetDefaultMemoryAllocater());
}

constexpr std::uint16_t Code(const char (&theLetters)[3])
{
    return VR::MakeTypeCode(theLetters[0], theLetters[1]);
}

std::optional<std::uint16_t> FindTextVR(const RWCString& theName)
{
    static constexpr const char* kNames[] = {"AE", "AS", "CS", "DA", "DS", "DT", "IS", "LO", "LT",
                                             "PN", "SH", "ST", "TM", "UC", "UI", "UR", "UT"};
    const bool isKnown = std::find(std::begin(kNames), std::end(kNames), theName) != std::end(kNames);
    return isKnown ? std::optional(VR::MakeTypeCode(theName[0], theName[1])) : std::nullopt;
}

struct IntegerVR
{
    std::uint16_t itsTypeCode;
    int itsWidth; ///< bytes; 0 for numbers kept as text
    std::int64_t itsLowest;
    std::int64_t itsHighest;
};

const IntegerVR* FindIntegerVR(const RWCString& theName)
{
    static constexpr std::int64_t kLowestInt = std::numeric_limits<jint>::min();
    static constexpr std::int64_t kHighestInt = std::numeric_limits<jint>::max();
    static constexpr IntegerVR kVRs[] = {
        {Code("US"), 2, 0, 0xffff},
        {Code("SS"), 2, -0x8000, 0x7fff},
        {Code("UL"), 4, 0, kHighestInt},
        {Code("SL"), 4, kLowestInt, kHighestInt},
        {Code("IS"), 0, kLowestInt, kHighestInt},
        {Code("DS"), 0, kLowestInt, kHighestInt},
    };
    for (const IntegerVR& aVR : kVRs)
    {
        if (theName.size() == 2 && aVR.itsTypeCode == VR::MakeTypeCode(theName[0], theName[1]))
        {
            return &aVR;
        }
    }
    return nullptr;
}

std::unique_ptr<VR> MakeInteger(const DICOMDataObject& theDataSet, DICOMTag theTag, const IntegerVR& theVR,
                                jint theValue)
{
    if (theVR.itsWidth == 0)
    {
        return MakeFactory(theDataSet, theDataSet.GetEndian())
            .CreateString(theTag, theVR.itsTypeCode, std::to_string(theValue));
    }
    std::vector<std::uint8_t> aBytes(static_cast<std::size_t>(theVR.itsWidth));
    auto aRest = static_cast<std::uint32_t>(theValue);
    for (std::uint8_t& aByte : aBytes)
    {
        aByte = static_cast<std::uint8_t>(aRest);
        aRest >>= 8;
    }
    return MakeFactory(theDataSet, DLEndian::LITTLE_ENDIAN_ORDER)
        .CreateBytes(theTag, theVR.itsTypeCode, aBytes);
}

/// Value theIndex of several, as a number; nothing when there is none or when it is no whole number.
std::optional<jint> ParseValue(const RWCString& theValues, jint theIndex)
{
    std::size_t aStart = 0;
    for (jint anIndex = 0; anIndex < theIndex; ++anIndex)
    {
        const std::size_t aMark = theValues.find('\\', aStart);
        if (aMark == RWCString::npos)
        {
            return std::nullopt;
        }
        aStart = aMark + 1;
    }
    RWCString aText = theValues.substr(aStart, theValues.find('\\', aStart) - aStart);
    aText.erase(0, aText.find_first_not_of(" +"));
    aText.erase(aText.find_last_not_of(' ') + 1);
    jint aNumber = 0;
    const auto aResult = std::from_chars(aText.data(), aText.data() + aText.size(), aNumber);
    const bool isNumber = aResult.ec == std::errc() && aResult.ptr == aText.data() + aText.size();
    return isNumber ? std::optional(aNumber) : std::nullopt;
}

void LoadHeader(DICOMDataObject& theDataSet, InputStream& theStream)
{
    Part10InputStreamInputStream aPart10;
    aPart10.AcceptWithoutPreamble();
    aPart10.Open(&theStream, false, Part10InputStream::DefaultsToLenientParsing());
    const TransferSyntaxType* const aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aPart10.GetTransferSyntaxUID());
    if (aType == nullptr)
    {
        throw StreamIOException("Unable to get transfer syntax UID", DLRC_PARSE_ERROR, 0);
    }
    theDataSet.SetEndian(aType->GetEndian());
    const auto aReader = aType->CreateDataSetReader(aPart10, VR::GetDefaultMemoryAllocater());
    aReader->SetStopTag(DICOMTags::PixelData);
    ImageElements anImage(theDataSet);
    while (std::unique_ptr<VR> anElement = aReader->Next())
    {
        anImage.Put(std::move(anElement));
    }
}

/// Two texts a line: "depth GGGGEEEE VR keyword", and the value.
class OutlineTexts
{
public:
    explicit OutlineTexts(JNIEnv& theEnv)
        : itsEnv(theEnv), itsClass(JavaAccess::FindClass(theEnv, "java/lang/String"))
    {
    }

    /// A local reference; null, with a Java exception pending, when there is no memory.
    jobjectArray Make(const DICOMObject& theDataSet)
    {
        jsize aCount = 0;
        ElementOutline::Walk(theDataSet,
                             [&](const auto&)
                             {
                                 aCount += 2;
                                 return true;
                             });
        const jobjectArray aTexts = itsEnv.NewObjectArray(aCount, itsClass.Get(), nullptr);
        jsize anIndex = 0;
        ElementOutline::Walk(theDataSet,
                             [&](const ElementOutline::Line& theLine)
                             {
                                 return aTexts != nullptr && Put(aTexts, anIndex++, Head(theLine)) &&
                                        (!theLine.itsHasText || Put(aTexts, anIndex, theLine.itsText)) &&
                                        ++anIndex < aCount;
                             });
        return aTexts;
    }

private:
    static RWCString Head(const ElementOutline::Line& theLine)
    {
        std::array<char, 32> aBuffer{};
        std::snprintf(aBuffer.data(), aBuffer.size(), "%d %04X%04X ", theLine.itsDepth,
                      theLine.itsTag.itsGroup, theLine.itsTag.itsElement);
        return aBuffer.data() + theLine.itsVR + " " + theLine.itsKeyword;
    }

    bool Put(jobjectArray theTexts, jsize theIndex, const RWCString& theText)
    {
        const LocalReference<jstring> aText(itsEnv, StringConverter::latin1ToJString(itsEnv, theText));
        if (!aText)
        {
            JavaAccess::Throw(itsEnv, "java/lang/OutOfMemoryError", "the data set does not fit");
            return false;
        }
        itsEnv.SetObjectArrayElement(theTexts, theIndex, aText.Get());
        return true;
    }

    JNIEnv& itsEnv;
    LocalReference<jclass> itsClass;
};

jbyteArray ToByteArray(JNIEnv* theEnv, const std::vector<std::uint8_t>& theBytes)
{
    if (theBytes.size() > static_cast<std::size_t>(std::numeric_limits<jsize>::max()))
    {
        JavaAccess::Throw(*theEnv, "java/lang/OutOfMemoryError", "the pixel data does not fit a byte[]");
        return nullptr;
    }
    const auto aSize = static_cast<jsize>(theBytes.size());
    const jbyteArray anArray = theEnv->NewByteArray(aSize);
    if (anArray != nullptr)
    {
        theEnv->SetByteArrayRegion(anArray, 0, aSize, reinterpret_cast<const jbyte*>(theBytes.data()));
    }
    return anArray;
}
} // namespace

extern "C"
{
    JNIEXPORT jlong JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeCreate(JNIEnv*, jobject)
    {
        return NativeBoundary::Guard<jlong>(
            0, [] { return NativeBoundary::ToHandle(std::make_unique<DICOMDataObject>().release()); });
    }

    JNIEXPORT void JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeDelete(JNIEnv* theEnv, jobject,
                                                                              jlong theHandle)
    {
        WithDataSet(theEnv, theHandle, false,
                    [](DICOMDataObject& theDataSet)
                    {
                        const std::unique_ptr<DICOMDataObject> anOwner(&theDataSet);
                        return true;
                    });
    }

    JNIEXPORT void JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeLoadFile(JNIEnv* theEnv, jobject,
                                                                                jlong theHandle,
                                                                                jstring thePath,
                                                                                jboolean theHeaderOnly)
    {
        WithDataSet(
            theEnv, theHandle, false,
            [&](DICOMDataObject& theDataSet)
            {
                const RWCString aPath = ToLatin1(theEnv, thePath);
                DLResultCode aCode = DLRC_SUCCESS;
                int anError = 0;
                const DICOMTag aStop = theHeaderOnly != JNI_FALSE ? DICOMTags::PixelData : DICOMTags::None;
                if (!theDataSet.LoadFromFile(aPath, aCode, anError, aStop))
                {
                    throw StreamIOException(
                        "DICOMObject::LoadFromFile: unable to load " + aPath + " (result code " +
                            std::to_string(aCode) +
                            (anError != 0 ? RWCString(", ") + std::strerror(anError) : RWCString()) + ")",
                        aCode, anError);
                }
                return true;
            });
    }

    JNIEXPORT void JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeLoadStream(JNIEnv* theEnv, jobject,
                                                                                  jlong theHandle,
                                                                                  jobject theStream)
    {
        WithDataSet(theEnv, theHandle, false,
                    [&](DICOMDataObject& theDataSet)
                    {
                        JavaSeekableInputStream aStream(*theEnv, theStream);
                        UnmeasuredInputStream anUnmeasured(aStream);
                        LoadHeader(theDataSet, anUnmeasured);
                        return true;
                    });
    }

    JNIEXPORT jstring JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeGetString(JNIEnv* theEnv, jobject,
                                                                                    jlong theHandle,
                                                                                    jint theTag)
    {
        return WithDataSet(theEnv, theHandle, jstring{nullptr},
                           [&](DICOMDataObject& theDataSet) -> jstring
                           {
                               RWCString aText;
                               return theDataSet.GetString(ToTag(theTag), aText)
                                          ? StringConverter::latin1ToJString(*theEnv, aText)
                                          : nullptr;
                           });
    }

    JNIEXPORT jboolean JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeSetString(
        JNIEnv* theEnv, jobject, jlong theHandle, jint theTag, jstring theVR, jstring theValue)
    {
        return WithDataSet(theEnv, theHandle, jboolean{JNI_FALSE},
                           [&](DICOMDataObject& theDataSet) -> jboolean
                           {
                               const auto aCode = FindTextVR(ToLatin1(theEnv, theVR));
                               if (!aCode || !CanBeSet(ToTag(theTag)))
                               {
                                   return JNI_FALSE;
                               }
                               theDataSet.ReplaceVR(
                                   MakeFactory(theDataSet, theDataSet.GetEndian())
                                       .CreateString(ToTag(theTag), *aCode, ToLatin1(theEnv, theValue)));
                               return JNI_TRUE;
                           });
    }

    JNIEXPORT jint JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeGetInteger(JNIEnv* theEnv, jobject,
                                                                                  jlong theHandle,
                                                                                  jint theTag, jint theIndex,
                                                                                  jint theDefault)
    {
        return WithDataSet(theEnv, theHandle, jint{0},
                           [&](DICOMDataObject& theDataSet) -> jint
                           {
                               std::int32_t aNumber = theDefault;
                               RWCString aText;
                               if (theIndex == 0)
                               {
                                   theDataSet.GetInteger(ToTag(theTag), aNumber);
                               }
                               else if (theIndex > 0 && theDataSet.GetString(ToTag(theTag), aText))
                               {
                                   aNumber = ParseValue(aText, theIndex).value_or(theDefault);
                               }
                               return aNumber;
                           });
    }

    JNIEXPORT jboolean JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeSetInteger(
        JNIEnv* theEnv, jobject, jlong theHandle, jint theTag, jstring theVR, jint theValue)
    {
        return WithDataSet(theEnv, theHandle, jboolean{JNI_FALSE},
                           [&](DICOMDataObject& theDataSet) -> jboolean
                           {
                               const IntegerVR* const aVR = FindIntegerVR(ToLatin1(theEnv, theVR));
                               if (aVR == nullptr || theValue < aVR->itsLowest ||
                                   theValue > aVR->itsHighest || !CanBeSet(ToTag(theTag)))
                               {
                                   return JNI_FALSE;
                               }
                               theDataSet.ReplaceVR(MakeInteger(theDataSet, ToTag(theTag), *aVR, theValue));
                               return JNI_TRUE;
                           });
    }

    JNIEXPORT jboolean JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeHasElement(JNIEnv* theEnv, jobject,
                                                                                      jlong theHandle,
                                                                                      jint theTag)
    {
        return WithDataSet(theEnv, theHandle, jboolean{JNI_FALSE},
                           [&](DICOMDataObject& theDataSet) -> jboolean
                           { return theDataSet.Contains(ToTag(theTag)) ? JNI_TRUE : JNI_FALSE; });
    }

    JNIEXPORT jboolean JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeRemove(JNIEnv* theEnv, jobject,
                                                                                  jlong theHandle,
                                                                                  jint theTag)
    {
        return WithDataSet(theEnv, theHandle, jboolean{JNI_FALSE},
                           [&](DICOMDataObject& theDataSet) -> jboolean
                           { return theDataSet.RemoveVR(ToTag(theTag)) ? JNI_TRUE : JNI_FALSE; });
    }

    JNIEXPORT jstring JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeGetScratchpadValue(JNIEnv* theEnv,
                                                                                             jobject,
                                                                                             jlong theHandle,
                                                                                             jstring theKey)
    {
        return WithDataSet(theEnv, theHandle, jstring{nullptr},
                           [&](DICOMDataObject& theDataSet) -> jstring
                           {
                               RWCString aText;
                               return theDataSet.GetScratchpadValue(ToLatin1(theEnv, theKey), aText)
                                          ? StringConverter::latin1ToJString(*theEnv, aText)
                                          : nullptr;
                           });
    }

    JNIEXPORT jbyteArray JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeGetPixelBytes(JNIEnv* theEnv,
                                                                                           jobject,
                                                                                           jlong theHandle)
    {
        return WithDataSet(theEnv, theHandle, jbyteArray{nullptr},
                           [&](DICOMDataObject& theDataSet) -> jbyteArray
                           {
                               std::vector<std::uint8_t> aBytes;
                               return theDataSet.GetBytes(DICOMTags::PixelData, aBytes)
                                          ? ToByteArray(theEnv, aBytes)
                                          : nullptr;
                           });
    }

    JNIEXPORT jobjectArray JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeGetElements(JNIEnv* theEnv,
                                                                                           jobject,
                                                                                           jlong theHandle)
    {
        return WithDataSet(theEnv, theHandle, jobjectArray{nullptr},
                           [&](DICOMDataObject& theDataSet)
                           { return OutlineTexts(*theEnv).Make(theDataSet); });
    }

    JNIEXPORT void JNICALL Java_com_quorix_dicom_DICOMDataObject_nativeSave(JNIEnv* theEnv, jobject,
                                                                            jlong theHandle, jstring thePath)
    {
        WithDataSet(theEnv, theHandle, false,
                    [&](DICOMDataObject& theDataSet)
                    {
                        theDataSet.SaveToFile(ToLatin1(theEnv, thePath),
                                              TransferSyntaxType::TSExplicitLittleEndianUID);
                        return true;
                    });
    }
}
