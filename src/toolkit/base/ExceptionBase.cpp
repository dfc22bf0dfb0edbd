// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/ExceptionBase.h"

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
