// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaStreamIOException.h"

#include <utility>

#include "jni/streams/JavaSeekableInputStream.h"

JavaStreamIOException::JavaStreamIOException(RWCString theMessage, DLResultCode theResultCode,
                                             int theSystemErrorCode, jthrowable theThrowable, JNIEnv* theEnv)
    : StreamIOException(std::move(theMessage), theResultCode, theSystemErrorCode), itsThrowable(theThrowable),
      itsEnv(theEnv)
{
}

JavaStreamIOException::JavaStreamIOException(const JavaStreamIOException& theOther)
    : StreamIOException(theOther), itsThrowable(theOther.itsThrowable), itsEnv(nullptr)
{
}

JavaStreamIOException::~JavaStreamIOException() = default;

std::unique_ptr<ExceptionBase> JavaStreamIOException::Clone() const
{
    return std::make_unique<JavaStreamIOException>(*this);
}

RWCString JavaStreamIOException::ClassName() const
{
    return "JavaStreamIOException";
}

RWCString JavaStreamIOException::ToString() const
{
    RWCString aText = StreamIOException::ToString();
    if (itsEnv != nullptr && itsThrowable != nullptr)
    {
        aText += "\n" + JavaSeekableInputStream::FormatJavaThrowable(*itsEnv, itsThrowable);
    }
    return aText;
}
