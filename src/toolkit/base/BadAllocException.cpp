// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/BadAllocException.h"

BadAllocException::BadAllocException(std::uint64_t theSize)
    : ExceptionBase("Memory allocation of " + std::to_string(theSize) + " bytes failed"), itsSize(theSize)
{
}

BadAllocException::~BadAllocException() = default;

std::unique_ptr<ExceptionBase> BadAllocException::Clone() const
{
    return std::make_unique<BadAllocException>(*this);
}

RWCString BadAllocException::ClassName() const
{
    return "BadAllocException";
}
