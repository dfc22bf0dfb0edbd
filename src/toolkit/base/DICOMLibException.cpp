// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/DICOMLibException.h"

#include <utility>

DICOMLibException::DICOMLibException(RWCString theMessage, DLResultCode theResultCode, int theSystemErrorCode)
    : ExceptionBase(std::move(theMessage)), itsResultCode(theResultCode),
      itsSystemErrorCode(theSystemErrorCode)
{
}

DICOMLibException::~DICOMLibException() = default;

std::unique_ptr<ExceptionBase> DICOMLibException::Clone() const
{
    return std::make_unique<DICOMLibException>(*this);
}

RWCString DICOMLibException::ClassName() const
{
    return "DICOMLibException";
}
