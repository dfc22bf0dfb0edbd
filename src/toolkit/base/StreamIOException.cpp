// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/StreamIOException.h"

StreamIOException::~StreamIOException() = default;

std::unique_ptr<ExceptionBase> StreamIOException::Clone() const
{
    return std::make_unique<StreamIOException>(*this);
}

RWCString StreamIOException::ClassName() const
{
    return "StreamIOException";
}
