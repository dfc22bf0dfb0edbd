// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/JNIForward.h"
#include "toolkit/base/Exceptions.h"

/// A Java exception ended a call into a Java stream.
///
/// The Java throwable is a borrowed local reference, valid until the native method returns.
class QUORIX_API JavaStreamIOException : public StreamIOException
{
public:
    /// theThrowable and theEnv may be null.
    JavaStreamIOException(RWCString theMessage, DLResultCode theResultCode, int theSystemErrorCode,
                          jthrowable theThrowable, JNIEnv* theEnv);

    /// Deliberately without the environment: a copy, as every thrown exception is one, no longer formats
    /// the Java throwable, and callers know the message without it.
    JavaStreamIOException(const JavaStreamIOException& theOther);
    JavaStreamIOException& operator=(const JavaStreamIOException&) = delete;
    ~JavaStreamIOException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// The base class's text and, where the environment is known, a line feed and the throwable's.
    RWCString ToString() const override;

    /// The Java exception, or null.
    jthrowable GetThrowable() const { return itsThrowable; }

private:
    jthrowable itsThrowable;
    JNIEnv* itsEnv;
};
