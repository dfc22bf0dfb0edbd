// SPDX-License-Identifier: Apache-2.0
#include "jni/natives/detail/NativeBoundary.h"
#include "pixels/DecompressionLibUtils.h"

extern "C" JNIEXPORT jboolean JNICALL
Java_com_quorix_decompression_NDecompressor_markReconstituted(JNIEnv*, jobject, jlong theDataSet)
{
    return NativeBoundary::Guard<jboolean>(JNI_FALSE,
                                           [&]() -> jboolean
                                           {
                                               if (theDataSet == 0)
                                               {
                                                   return JNI_FALSE;
                                               }
                                               DecompressionLibUtils::MarkReconstituted(
                                                   NativeBoundary::FromHandle<DICOMDataObject>(theDataSet));
                                               return JNI_TRUE;
                                           });
}
