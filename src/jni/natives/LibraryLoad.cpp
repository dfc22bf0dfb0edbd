// SPDX-License-Identifier: Apache-2.0
#include <jni.h>

/// Called by the Java virtual machine when the library is loaded. Keeps nothing: every native method uses
/// the environment that it is given.
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* theVM, void*)
{
    void* anEnv = nullptr;
    return theVM->GetEnv(&anEnv, JNI_VERSION_1_4) == JNI_OK ? JNI_VERSION_1_4 : JNI_ERR;
}
