// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/Exceptions.h"

#include <utility>

ExceptionBase::ExceptionBase(RWCString theMessage) : itsMessage(std::move(theMessage)) {}

ExceptionBase::ExceptionBase(const ExceptionBase& theOther)
    : std::exception(theOther), itsMessage(theOther.itsMessage),
      itsCause(theOther.itsCause ? theOther.itsCause->Clone() : nullptr)
{
}

ExceptionBase& ExceptionBase::operator=(const ExceptionBase& theOther)
{
    if (this != &theOther)
    {
        std::unique_ptr<ExceptionBase> aCause = theOther.itsCause ? theOther.itsCause->Clone() : nullptr;
        std::exception::operator=(theOther);
        itsMessage = theOther.itsMessage;
        itsCause = std::move(aCause);
    }
    return *this;
}

ExceptionBase::~ExceptionBase() = default;

std::unique_ptr<ExceptionBase> ExceptionBase::Clone() const
{
    return std::make_unique<ExceptionBase>(*this);
}

RWCString ExceptionBase::ClassName() const
{
    return "ExceptionBase";
}

RWCString ExceptionBase::ToString() const
{
    return ClassName() + ": " + itsMessage;
}

void ExceptionBase::SetException(const ExceptionBase& theCause)
{
    itsCause = theCause.Clone();
}

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

StreamIOException::~StreamIOException() = default;

std::unique_ptr<ExceptionBase> StreamIOException::Clone() const
{
    return std::make_unique<StreamIOException>(*this);
}

RWCString StreamIOException::ClassName() const
{
    return "StreamIOException";
}

DLRuntimeException::~DLRuntimeException() = default;

std::unique_ptr<ExceptionBase> DLRuntimeException::Clone() const
{
    return std::make_unique<DLRuntimeException>(*this);
}

RWCString DLRuntimeException::ClassName() const
{
    return "DLRuntimeException";
}

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
