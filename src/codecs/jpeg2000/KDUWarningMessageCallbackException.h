// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/KDUMessageCallbackException.h"

/// A warning of the JPEG 2000 engine: something departs from the standard that the chosen tolerance does not
/// allow.
class QUORIX_API KDUWarningMessageCallbackException final : public KDUMessageCallbackException
{
public:
    using KDUMessageCallbackException::KDUMessageCallbackException;
    ~KDUWarningMessageCallbackException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};
