// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "jni/detail/JavaAccess.h"
#include "toolkit/base/Reading.h"

/// Hands warnings to a Java object with the method void addWarning(String identifier, String text, int
/// frame). Looks the method up once. For one native call.
class JavaWarnings
{
public:
    /// theReceiver may be null or lack the method: warnings then go nowhere.
    JavaWarnings(JNIEnv& theEnv, jobject theReceiver);

    /// In their order; a text's bytes are taken as ISO-8859-1. False, with a Java exception pending, when
    /// Java threw one: the rest is not told. None may be pending before.
    bool Tell(const std::vector<DecodeWarning>& theWarnings) const;

private:
    bool Tell(const DecodeWarning& theWarning) const;

    JNIEnv& itsEnv;
    jobject itsReceiver;
    jmethodID itsMethod;
};
