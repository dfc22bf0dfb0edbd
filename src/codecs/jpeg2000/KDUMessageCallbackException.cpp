// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUMessageCallbackException.h"

KDUMessageCallbackException::~KDUMessageCallbackException() = default;

std::unique_ptr<ExceptionBase> KDUMessageCallbackException::Clone() const
{
    return std::make_unique<KDUMessageCallbackException>(*this);
}

RWCString KDUMessageCallbackException::ClassName() const
{
    return "KDUMessageCallbackException";
}
