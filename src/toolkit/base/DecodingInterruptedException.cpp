// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/DecodingInterruptedException.h"

#include <utility>

DecodingInterruptedException::DecodingInterruptedException(RWCString theMessage, int theReason)
    : ExceptionBase(std::move(theMessage)), itsReason(theReason)
{
}

DecodingInterruptedException::~DecodingInterruptedException() = default;

std::unique_ptr<ExceptionBase> DecodingInterruptedException::Clone() const
{
    return std::make_unique<DecodingInterruptedException>(*this);
}

RWCString DecodingInterruptedException::ClassName() const
{
    return "DecodingInterruptedException";
}
