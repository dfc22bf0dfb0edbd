// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/DLResultCode.h"
#include "toolkit/base/ExceptionBase.h"

/// A failure that carries a result code and an operating-system error code.
class QUORIX_API DICOMLibException : public ExceptionBase
{
public:
    /// theSystemErrorCode: an errno value, or 0 when the operating system had no part in it.
    DICOMLibException(RWCString theMessage, DLResultCode theResultCode, int theSystemErrorCode);
    ~DICOMLibException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// The code that the result of a request takes over where this exception ends it.
    DLResultCode GetResultCode() const { return itsResultCode; }

    /// An errno value, or 0.
    int GetSystemErrorCode() const { return itsSystemErrorCode; }

private:
    DLResultCode itsResultCode;
    int itsSystemErrorCode;
};
