// SPDX-License-Identifier: Apache-2.0
#include <jni.h>

#include "image/Renderable.h"
#include "jni/natives/detail/RenderableAccess.h"

// The two macros write out what forty native methods have in common. theType: the Java type; theGetter and
// theSetter: expressions over anImage and theValue.
#define QUORIX_RENDERABLE_GETTER(theType, theName, theGetter)                                                \
    extern "C" JNIEXPORT theType JNICALL Java_com_quorix_decompression_Renderable_##theName(                 \
        JNIEnv* theEnv, jobject, jlong theHandle)                                                            \
    {                                                                                                        \
        return RenderableAccess::Get<theType>(theEnv, theHandle,                                             \
                                              [](Renderable& anImage) { return theGetter; });                \
    }

#define QUORIX_RENDERABLE_SETTER(theType, theName, theSetter)                                                \
    extern "C" JNIEXPORT void JNICALL Java_com_quorix_decompression_Renderable_##theName(                    \
        JNIEnv* theEnv, jobject, jlong theHandle, theType theValue)                                          \
    {                                                                                                        \
        RenderableAccess::Do(theEnv, theHandle, [=](Renderable& anImage) { theSetter; });                    \
    }

QUORIX_RENDERABLE_GETTER(jshort, nativeGetBitsAllocated, anImage.getBitsAllocated())
QUORIX_RENDERABLE_SETTER(jshort, nativeSetBitsAllocated, anImage.setBitsAllocated(theValue))
QUORIX_RENDERABLE_GETTER(jshort, nativeGetBitsStored, anImage.getBitsStored())
QUORIX_RENDERABLE_SETTER(jshort, nativeSetBitsStored, anImage.setBitsStored(theValue))
QUORIX_RENDERABLE_GETTER(jshort, nativeGetHighBit, anImage.getHighBit())
QUORIX_RENDERABLE_SETTER(jshort, nativeSetHighBit, anImage.setHighBit(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetRows, anImage.getRows())
QUORIX_RENDERABLE_SETTER(jint, nativeSetRows, anImage.setRows(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetColumns, anImage.getColumns())
QUORIX_RENDERABLE_SETTER(jint, nativeSetColumns, anImage.setColumns(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetSamplesPerPixel, anImage.getSamplesPerPixel())
QUORIX_RENDERABLE_SETTER(jint, nativeSetSamplesPerPixel, anImage.setSamplesPerPixel(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetCompressionRatio, anImage.getCompressionRatio())
QUORIX_RENDERABLE_SETTER(jint, nativeSetCompressionRatio, anImage.setCompressionRatio(theValue))
QUORIX_RENDERABLE_GETTER(jshort, nativeGetScaleFactor, anImage.getScaleFactor())
QUORIX_RENDERABLE_SETTER(jshort, nativeSetScaleFactor, anImage.setScaleFactor(theValue))
QUORIX_RENDERABLE_GETTER(jdouble, nativeGetRescaleSlope, anImage.getRescale().itsSlope)
QUORIX_RENDERABLE_SETTER(jdouble, nativeSetRescaleSlope,
                         anImage.setRescale({theValue, anImage.getRescale().itsIntercept}))
QUORIX_RENDERABLE_GETTER(jdouble, nativeGetRescaleIntercept, anImage.getRescale().itsIntercept)
QUORIX_RENDERABLE_SETTER(jdouble, nativeSetRescaleIntercept,
                         anImage.setRescale({anImage.getRescale().itsSlope, theValue}))
QUORIX_RENDERABLE_GETTER(jint, nativeGetPixelAspectRatioHorizontal, anImage.getPixelAspectRatioHorizontal())
QUORIX_RENDERABLE_SETTER(jint, nativeSetPixelAspectRatioHorizontal,
                         anImage.setPixelAspectRatioHorizontal(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetPixelAspectRatioVertical, anImage.getPixelAspectRatioVertical())
QUORIX_RENDERABLE_SETTER(jint, nativeSetPixelAspectRatioVertical,
                         anImage.setPixelAspectRatioVertical(theValue))
QUORIX_RENDERABLE_GETTER(jint, nativeGetPhotometricInterpretation, anImage.getPhotometricInterpretation())
QUORIX_RENDERABLE_SETTER(
    jint, nativeSetPhotometricInterpretation,
    anImage.setPhotometricInterpretation(static_cast<Renderable::PhotometricInterpretation>(theValue)))
QUORIX_RENDERABLE_GETTER(jboolean, nativeGetLossyImageCompression, anImage.isLossyImageCompression())
QUORIX_RENDERABLE_SETTER(jboolean, nativeSetLossyImageCompression,
                         anImage.setLossyImageCompression(theValue != JNI_FALSE))
QUORIX_RENDERABLE_GETTER(jboolean, nativeGetSigned, anImage.isSigned())
QUORIX_RENDERABLE_SETTER(jboolean, nativeSetSigned, anImage.setSigned(theValue != JNI_FALSE))
QUORIX_RENDERABLE_GETTER(jboolean, nativeGetPixelDataLittleEndian, anImage.isPixelDataLittleEndian())
QUORIX_RENDERABLE_SETTER(jboolean, nativeSetPixelDataLittleEndian,
                         anImage.setPixelDataLittleEndian(theValue != JNI_FALSE))
QUORIX_RENDERABLE_GETTER(jboolean, nativeGetPlanarConfiguration, anImage.isPlanarConfiguration())
QUORIX_RENDERABLE_SETTER(jboolean, nativeSetPlanarConfiguration,
                         anImage.setPlanarConfiguration(theValue != JNI_FALSE))
QUORIX_RENDERABLE_GETTER(jlong, nativeGetPixelDataSize, anImage.getPixelDataSize())
QUORIX_RENDERABLE_GETTER(jlong, nativeGetRequiredPixelDataBufferSize,
                         anImage.getRequiredPixelDataBufferSize())
QUORIX_RENDERABLE_GETTER(jdouble, nativeGetTotalTimeTakenToLoad, anImage.getTotalTimeTakenToLoad())
QUORIX_RENDERABLE_GETTER(jdouble, nativeGetTimeTakenToLoadHeader, anImage.getTimeTakenToLoadHeader())
QUORIX_RENDERABLE_GETTER(jboolean, isPixelDataAllocated, anImage.isPixelDataAllocated())

#undef QUORIX_RENDERABLE_GETTER
#undef QUORIX_RENDERABLE_SETTER

#define QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(theName, theValue)                                            \
    extern "C" JNIEXPORT jint JNICALL Java_com_quorix_decompression_Renderable_nativeGetPit##theName(        \
        JNIEnv*, jobject)                                                                                    \
    {                                                                                                        \
        return Renderable::theValue;                                                                         \
    }

QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(Invalid, INVALID)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(Monochrome1, MONOCHROME1)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(Monochrome2, MONOCHROME2)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(PaletteColor, PALETTE_COLOR)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(Rgb, RGB)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrFull, YBR_FULL)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrFull422, YBR_FULL_422)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrPartial422, YBR_PARTIAL_422)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrPartial420, YBR_PARTIAL_420)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrIct, YBR_ICT)
QUORIX_PHOTOMETRIC_INTERPRETATION_CODE(YbrRct, YBR_RCT)

#undef QUORIX_PHOTOMETRIC_INTERPRETATION_CODE
