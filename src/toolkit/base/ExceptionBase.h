// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <memory>

#include "toolkit/base/Export.h"
#include "toolkit/base/RWCString.h"

/// Root of every exception of this library: a message and, optionally, the exception that caused it.
///
/// "The exception's text" is the bare message (GetMessageText, what()). The cause is owned and copied
/// with Clone, so an exception may outlive the handler that attached its cause. Immutable after
/// SetException; safe to read from several threads.
class QUORIX_API ExceptionBase : public std::exception
{
public:
    /// theMessage: what failed and why, for logs.
    explicit ExceptionBase(RWCString theMessage);

    /// Copies have a copy of the cause.
    /// @{
    ExceptionBase(const ExceptionBase& theOther);
    ExceptionBase& operator=(const ExceptionBase& theOther);
    /// @}
    ~ExceptionBase() override;

    /// A heap copy with the dynamic type kept.
    virtual std::unique_ptr<ExceptionBase> Clone() const;

    /// The dynamic type's name; it serves as the short description in messages.
    virtual RWCString ClassName() const;

    /// ClassName(), ": " and the message.
    virtual RWCString ToString() const;

    /// The bare message.
    /// @{
    const RWCString& GetMessageText() const { return itsMessage; }
    const char* what() const noexcept override { return itsMessage.c_str(); }
    /// @}

    /// Attaches a copy of the exception that led to this one.
    void SetException(const ExceptionBase& theCause);

    /// The attached cause, or null. Owned by this object.
    const ExceptionBase* GetException() const { return itsCause.get(); }

private:
    RWCString itsMessage;
    std::unique_ptr<ExceptionBase> itsCause;
};
