// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUWarningMessagingWrapper.h"

#include "codecs/jpeg2000/KDUWarningMessageCallbackException.h"

KDUWarningMessagingWrapper::~KDUWarningMessagingWrapper() = default;

void KDUWarningMessagingWrapper::flush(bool theEndOfMessage)
{
    if (theEndOfMessage)
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
