// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/ExceptionBase.h"

/// A failure with nothing more to say than its text.
class QUORIX_API DLRuntimeException : public ExceptionBase
{
public:
    using ExceptionBase::ExceptionBase;
    ~DLRuntimeException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};
