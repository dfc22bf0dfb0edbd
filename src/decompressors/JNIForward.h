// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The JNI types that public headers mention, declared as <jni.h> declares them, so that C++ callers of
/// the records and decompressors need no JDK.

struct JNIEnv_;
class _jobject;
class _jclass;
class _jthrowable;
class _jstring;
class _jbyteArray;
struct _jmethodID;

/// As in <jni.h>.
/// @{
using JNIEnv = JNIEnv_;
using jobject = _jobject*;
using jclass = _jclass*;
using jthrowable = _jthrowable*;
using jstring = _jstring*;
using jbyteArray = _jbyteArray*;
using jmethodID = _jmethodID*;
/// @}
