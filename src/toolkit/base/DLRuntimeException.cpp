// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/DLRuntimeException.h"

DLRuntimeException::~DLRuntimeException() = default;

std::unique_ptr<ExceptionBase> DLRuntimeException::Clone() const
{
    return std::make_unique<DLRuntimeException>(*this);
}

RWCString DLRuntimeException::ClassName() const
{
    return "DLRuntimeException";
}
