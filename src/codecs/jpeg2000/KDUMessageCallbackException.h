// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/ExceptionBase.h"

/// A report of the JPEG 2000 engine on its way from the engine to the codec that called it. Carries the
/// report's text only.
class QUORIX_API KDUMessageCallbackException : public ExceptionBase
{
public:
    using ExceptionBase::ExceptionBase;
    ~KDUMessageCallbackException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};
