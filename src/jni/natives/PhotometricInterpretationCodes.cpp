// SPDX-License-Identifier: Apache-2.0
#include <jni.h>

#include "image/Renderable.h"

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
