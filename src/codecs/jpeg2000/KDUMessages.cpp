// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUMessages.h"

#include <utility>

#include "toolkit/base/System.h"

KDUMessageCallbackException::~KDUMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUMessageCallbackException::Clone() const
{
    return std::make_unique<KDUMessageCallbackException>(*this);
}

RWCString KDUMessageCallbackException::ClassName() const
{
    return "KDUMessageCallbackException";
}

KDUWarningMessageCallbackException::~KDUWarningMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUWarningMessageCallbackException::Clone() const
{
    return std::make_unique<KDUWarningMessageCallbackException>(*this);
}

RWCString KDUWarningMessageCallbackException::ClassName() const
{
    return "KDUWarningMessageCallbackException";
}

KDUErrorMessageCallbackException::~KDUErrorMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUErrorMessageCallbackException::Clone() const
{
    return std::make_unique<KDUErrorMessageCallbackException>(*this);
}

RWCString KDUErrorMessageCallbackException::ClassName() const
{
    return "KDUErrorMessageCallbackException";
}

namespace
{
bool InstallWrappers()
{
    // Never destroyed: threads may still decode while the process ends.
    static NeverDestroyed<KDUWarningMessagingWrapper> theWarningWrapper;
    static NeverDestroyed<KDUErrorMessagingWrapper> theErrorWrapper;
    kdu_customize_warnings(&theWarningWrapper.itsObject);
    kdu_customize_errors(&theErrorWrapper.itsObject);
    return true;
}

[[maybe_unused]] const bool kIsRegistered = (KDUMessagingWrapper::Register(), true);
} // namespace

KDUMessagingWrapper::~KDUMessagingWrapper() = default;

void KDUMessagingWrapper::put_text(const char* theText)
{
    if (theText != nullptr)
    {
        GetMessageHolder().itsText += theText;
    }
}

RWCString KDUMessagingWrapper::TakeText()
{
    return std::exchange(GetMessageHolder().itsText, RWCString());
}

void KDUMessagingWrapper::Register()
{
    [[maybe_unused]] static const bool isRegistered = InstallWrappers();
}

KDUWarningMessagingWrapper::~KDUWarningMessagingWrapper() = default;

void KDUWarningMessagingWrapper::flush(bool isEndOfMessage)
{
    if (isEndOfMessage)
    {
        throw KDUWarningMessageCallbackException(TakeText());
    }
}

KDUMessagingWrapper::MessageHolder& KDUWarningMessagingWrapper::GetMessageHolder()
{
    // The thread's end destroys it, in the middle of a report too, and keeps a library that was loaded at run
    // time in memory until then.
    thread_local MessageHolder theHolder;
    return theHolder;
}

KDUErrorMessagingWrapper::~KDUErrorMessagingWrapper() = default;

void KDUErrorMessagingWrapper::flush(bool isEndOfMessage)
{
    if (isEndOfMessage)
    {
        throw KDUErrorMessageCallbackException(TakeText());
    }
}

KDUMessagingWrapper::MessageHolder& KDUErrorMessagingWrapper::GetMessageHolder()
{
    // The thread's end destroys it, in the middle of a report too, and keeps a library that was loaded at run
    // time in memory until then.
    thread_local MessageHolder theHolder;
    return theHolder;
}
