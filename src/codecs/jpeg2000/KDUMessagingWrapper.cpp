// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUMessagingWrapper.h"

#include <utility>

#include "codecs/jpeg2000/KDUErrorMessagingWrapper.h"
#include "codecs/jpeg2000/KDUWarningMessagingWrapper.h"
#include "image/detail/NeverDestroyed.h"

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

[[maybe_unused]] const bool theStartUp = (KDUMessagingWrapper::Register(), true);
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
