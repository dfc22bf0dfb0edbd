// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUWarningMessageCallbackException.h"

KDUWarningMessageCallbackException::~KDUWarningMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUWarningMessageCallbackException::Clone() const
{
    return std::make_unique<KDUWarningMessageCallbackException>(*this);
}

RWCString KDUWarningMessageCallbackException::ClassName() const
{
    return "KDUWarningMessageCallbackException";
}
