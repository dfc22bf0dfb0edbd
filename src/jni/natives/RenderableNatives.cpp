// SPDX-License-Identifier: Apache-2.0
#include <limits>

#include "image/VMMemoryAllocator.h"
#include "jni/natives/detail/RenderableAccess.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// Runs a cache-file operation on the image behind theHandle; a file error becomes a Java IOException.
/// False then, for handle 0 and for no path. To load from, an empty path is none; a save to it must not pass
/// for one that succeeded. C++ would take a name with a NUL in it for a shorter one.
template <class Operation>
jboolean WithFile(JNIEnv* theEnv, jlong theHandle, jstring thePath, bool isToSave,
                  const Operation& theOperation) noexcept
{
    return NativeBoundary::Guard<jboolean>(
        JNI_FALSE,
        [&]() -> jboolean
        {
            const RWCString aPath =
                EncodedString(*theEnv, thePath, EncodedString::CODE_PAGE_ISO_8859_1).GetString();
            const bool hasPath = thePath != nullptr && (isToSave || !aPath.empty());
            Renderable* const anImage = hasPath ? RenderableAccess::Find(*theEnv, theHandle) : nullptr;
            if (anImage == nullptr)
            {
                return JNI_FALSE;
            }
            try
            {
                if (aPath.find('\0') != RWCString::npos)
                {
                    throw StreamIOException("Renderable: no file has a NUL in its name", DLRC_IO_ERROR, 0);
                }
                return theOperation(*anImage, aPath.c_str()) ? JNI_TRUE : JNI_FALSE;
            }
            catch (const StreamIOException& anException)
            {
                JavaAccess::Throw(*theEnv, "java/io/IOException", anException.ToString());
                return JNI_FALSE;
            }
        });
}
} // namespace

extern "C"
{
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_Renderable_nativeCreateRenderable(JNIEnv*, jobject)
    {
        return NativeBoundary::Guard<jlong>(0,
                                            []
                                            {
                                                auto anImage = std::make_unique<Renderable>();
                                                anImage->setScaleFactor(1); // Java may ask for it at once
                                                return NativeBoundary::ToHandle(anImage.release());
                                            });
    }

    JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_nativeDeleteRenderable(JNIEnv* theEnv,
                                                                                           jobject,
                                                                                           jlong theHandle)
    {
        RenderableAccess::Do(theEnv, theHandle, [](Renderable& theImage) { theImage.deleteSelf(); });
    }

    JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_allocatePixelData(JNIEnv* theEnv, jobject,
                                                                                      jlong theHandle)
    {
        RenderableAccess::Do(theEnv, theHandle, [](Renderable& theImage) { theImage.allocatePixelData(); });
    }

    JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_freePixelData(JNIEnv* theEnv, jobject,
                                                                                  jlong theHandle)
    {
        RenderableAccess::Do(theEnv, theHandle, [](Renderable& theImage) { theImage.freePixelData(); });
    }

    /// A direct buffer over the pixels, in big-endian order like every new one; null when there are none or
    /// more than a Java buffer can hold. Valid until the pixels are freed.
    JNIEXPORT jobject JNICALL Java_com_quorix_decompression_Renderable_nativeGetPixelBuffer(JNIEnv* theEnv,
                                                                                            jobject,
                                                                                            jlong theHandle)
    {
        return RenderableAccess::Get<jobject>(
            theEnv, theHandle,
            [theEnv](Renderable& theImage) -> jobject
            {
                const std::uint64_t aSize = theImage.getPixelDataSize();
                if (!theImage.isPixelDataAllocated() ||
                    aSize > static_cast<std::uint64_t>(std::numeric_limits<jint>::max()))
                {
                    return nullptr;
                }
                return theEnv->NewDirectByteBuffer(theImage.getPixelData(), static_cast<jlong>(aSize));
            });
    }

    JNIEXPORT jboolean JNICALL
    Java_com_quorix_decompression_Renderable_nativeLoadFromFile__JLjava_lang_String_2S(
        JNIEnv* theEnv, jobject, jlong theHandle, jstring thePath, jshort theScaleFactor)
    {
        return WithFile(theEnv, theHandle, thePath, false,
                        [=](Renderable& theImage, const char* theName)
                        { return theImage.loadFromFile(theName, theScaleFactor); });
    }

    JNIEXPORT jboolean JNICALL
    Java_com_quorix_decompression_Renderable_nativeLoadFromFile__JLjava_lang_String_2(JNIEnv* theEnv, jobject,
                                                                                      jlong theHandle,
                                                                                      jstring thePath)
    {
        return WithFile(theEnv, theHandle, thePath, false,
                        [](Renderable& theImage, const char* theName)
                        { return theImage.loadFromFile(theName); });
    }

    JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_nativeSaveToFile(JNIEnv* theEnv, jobject,
                                                                                     jlong theHandle,
                                                                                     jstring thePath)
    {
        WithFile(theEnv, theHandle, thePath, true,
                 [](Renderable& theImage, const char* theName)
                 {
                     theImage.saveToFile(theName);
                     return true;
                 });
    }

    JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_nativeSaveToFileLocked(JNIEnv* theEnv,
                                                                                           jobject,
                                                                                           jlong theHandle,
                                                                                           jstring thePath)
    {
        WithFile(theEnv, theHandle, thePath, true,
                 [](Renderable& theImage, const char* theName)
                 {
                     theImage.saveToFileLocked(theName);
                     return true;
                 });
    }

    JNIEXPORT jint JNICALL Java_com_quorix_decompression_Renderable_nativeGetIOBufferSize(JNIEnv*, jobject)
    {
        return Renderable::getIOBufferSize();
    }

    JNIEXPORT jint JNICALL Java_com_quorix_decompression_Renderable_nativeSetIOBufferSize(JNIEnv*, jobject,
                                                                                          jint theSize)
    {
        Renderable::setIOBufferSize(theSize);
        return theSize;
    }

    JNIEXPORT jstring JNICALL Java_com_quorix_decompression_Renderable_photometricInterpretationTypeToString(
        JNIEnv* theEnv, jobject, jint theCode)
    {
        return NativeBoundary::Guard<jstring>(
            nullptr,
            [&]
            {
                return StringConverter::latin1ToJString(
                    *theEnv, Renderable::photometricInterpretationTypeToString(
                                 static_cast<Renderable::PhotometricInterpretation>(theCode)));
            });
    }

    /// For tests that look for leaks. Despite its name, which Java fixes, the number of pixel buffers alive:
    /// that is what the allocator counts.
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_Renderable_nativeGetAllocatedBytes(JNIEnv*, jobject)
    {
        return NativeBoundary::Guard<jlong>(
            -1, [] { return static_cast<jlong>(VMMemoryAllocator::GetNumHeapBlocks()); });
    }
}
