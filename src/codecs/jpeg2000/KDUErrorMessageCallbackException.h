// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/KDUMessageCallbackException.h"

/// An error of the JPEG 2000 engine: decoding cannot go on.
class QUORIX_API KDUErrorMessageCallbackException final : public KDUMessageCallbackException
{
public:
    using KDUMessageCallbackException::KDUMessageCallbackException;
    ~KDUErrorMessageCallbackException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};
