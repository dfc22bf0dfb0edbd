// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/DICOMLibException.h"

/// A stream, a file or the data in it was not what it had to be. The most common exception here.
class QUORIX_API StreamIOException : public DICOMLibException
{
public:
    using DICOMLibException::DICOMLibException;
    ~StreamIOException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};
