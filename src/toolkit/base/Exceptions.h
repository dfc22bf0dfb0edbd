// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// How a request can end: the result codes, and the exceptions that carry them.

#include <cstdint>
#include <exception>
#include <memory>

#include "toolkit/base/BaseTypes.h"

/// Numeric outcome carried by results and exceptions. Callers, the Java side among them, see the
/// numbers, so they are part of the interface. A result may carry a value that is not named here.
enum DLResultCode : std::int32_t
{
    DLRC_SUCCESS = 0,               ///< nothing went wrong
    DLRC_FILE_NOT_FOUND = 3,        ///< the file cannot be opened
    DLRC_GENERAL_FAILURE = 6,       ///< invalid input or general failure
    DLRC_BITS_STORED_INVALID = 7,   ///< bits stored invalid for the transfer syntax; Java callback missing
    DLRC_FILE_LOCKING_FAILED = 9,   ///< another process keeps the image file locked
    DLRC_ALLOCATION_FAILED = 11,    ///< more than the limits or the memory allow
    DLRC_NOT_SUPPORTED = 12,        ///< conversion to RGB failed; stream operation not supported
    DLRC_PIXEL_DATA_TOO_SHORT = 37, ///< pixel data too short or codec header unreadable
    DLRC_PARSE_ERROR = 38,          ///< header or parse error
    DLRC_INVALID_DECOMPRESSING_STREAM = 44, ///< the first frame of a decompressing stream failed
    DLRC_NO_DECODER = 48,                   ///< no codec, or invalid compressed image type
    DLRC_TERMINATED_BY_SUBCLASS = 54,       ///< decoding stopped by a derived class
    DLRC_DECODER_ERROR = 62,                ///< decoder error or no Renderable
    DLRC_DECODING_INTERRUPTED = 63,         ///< the source was interrupted
    DLRC_LOCK_FAILURE = 64,                 ///< the cache file stays locked
    DLRC_IO_ERROR = 67                      ///< file or stream input/output error
};

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

/// A stream, a file or the data in it was not what it had to be. The most common exception here.
class QUORIX_API StreamIOException : public DICOMLibException
{
public:
    using DICOMLibException::DICOMLibException;
    ~StreamIOException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};

/// A failure with nothing more to say than its text.
class QUORIX_API DLRuntimeException : public ExceptionBase
{
public:
    using ExceptionBase::ExceptionBase;
    ~DLRuntimeException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;
};

/// An allocator had no block of the requested size.
class QUORIX_API BadAllocException : public ExceptionBase
{
public:
    /// theSize: the bytes that were asked for.
    explicit BadAllocException(std::uint64_t theSize);
    ~BadAllocException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// Bytes that were asked for.
    std::uint64_t GetSize() const { return itsSize; }

private:
    std::uint64_t itsSize;
};

/// The producer of the compressed bytes was interrupted while a codec waited for them.
class QUORIX_API DecodingInterruptedException : public ExceptionBase
{
public:
    /// theReason: 1 when raised by an interrupted data source.
    explicit DecodingInterruptedException(RWCString theMessage, int theReason = 0);
    ~DecodingInterruptedException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// As the constructor was told.
    int GetReason() const { return itsReason; }

private:
    int itsReason;
};
