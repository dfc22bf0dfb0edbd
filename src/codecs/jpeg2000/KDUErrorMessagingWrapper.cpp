// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUErrorMessagingWrapper.h"

#include "codecs/jpeg2000/KDUErrorMessageCallbackException.h"

KDUErrorMessagingWrapper::~KDUErrorMessagingWrapper() = default;

void KDUErrorMessagingWrapper::flush(bool theEndOfMessage)
{
    if (theEndOfMessage)
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
