// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_message.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"

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

/// An error of the JPEG 2000 engine: decoding cannot go on.
class QUORIX_API KDUErrorMessageCallbackException final : public KDUMessageCallbackException
{
public:
    using KDUMessageCallbackException::KDUMessageCallbackException;
    ~KDUErrorMessageCallbackException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};

/// Turns the JPEG 2000 engine's reports into exceptions.
///
/// The engine has one warning and one error object for the process while several threads decode, so the text
/// of a report is collected for each thread and each kind by itself; texts of different threads never mix,
/// and nobody waits for anybody. Warnings are deliberately as fatal as errors: the two differ in the class of
/// the exception only, which callers look at. Thread-safe.
class QUORIX_API KDUMessagingWrapper : public kdu_message
{
public:
    /// What one thread has reported so far, and not yet flushed.
    struct MessageHolder
    {
        RWCString itsText; ///< everything put since the last flush, as it came
    };

    ~KDUMessagingWrapper() override;

    using kdu_message::put_text; // UTF-16: dropped

    /// Adds to the calling thread's text. Null is allowed and adds nothing.
    void put_text(const char* theText) override;

    /// The calling thread's holder, empty where nothing has been reported since the last flush.
    virtual MessageHolder& GetMessageHolder() = 0;

    /// Installs the process's two wrappers in the engine, once. Happens when the library is loaded and,
    /// because that start-up is left out of programs that link the rooms statically, with every JPEG 2000
    /// codec that is made.
    static void Register();

protected:
    /// The calling thread's text, which starts again empty.
    RWCString TakeText();
};

/// Makes a KDUWarningMessageCallbackException of every warning of the engine. One for the process, see
/// KDUMessagingWrapper::Register.
class QUORIX_API KDUWarningMessagingWrapper final : public KDUMessagingWrapper
{
public:
    ~KDUWarningMessagingWrapper() override;

    /// True: throws the calling thread's whole text and forgets it. False: nothing; the text stays.
    void flush(bool isEndOfMessage = false) override;

    MessageHolder& GetMessageHolder() override;
};

/// Makes a KDUErrorMessageCallbackException of every error of the engine. One for the process, see
/// KDUMessagingWrapper::Register.
class QUORIX_API KDUErrorMessagingWrapper final : public KDUMessagingWrapper
{
public:
    ~KDUErrorMessagingWrapper() override;

    /// True: throws the calling thread's whole text and forgets it. False: nothing; the text stays.
    void flush(bool isEndOfMessage = false) override;

    MessageHolder& GetMessageHolder() override;
};
