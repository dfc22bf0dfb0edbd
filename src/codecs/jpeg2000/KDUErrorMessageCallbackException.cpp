// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUErrorMessageCallbackException.h"

KDUErrorMessageCallbackException::~KDUErrorMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUErrorMessageCallbackException::Clone() const
{
    return std::make_unique<KDUErrorMessageCallbackException>(*this);
}

RWCString KDUErrorMessageCallbackException::ClassName() const
{
    return "KDUErrorMessageCallbackException";
}
