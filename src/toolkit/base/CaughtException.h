// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"

/// What is known of the exception that is being handled, for those who turn every failure into a result. What
/// they say of each kind is their own. A plain record.
struct QUORIX_API CaughtException
{
    /// Whose exception it is.
    enum class Kind
    {
        INTERRUPTED,   ///< DecodingInterruptedException
        STREAM,        ///< StreamIOException
        OWN,           ///< any other exception of this library
        OUT_OF_MEMORY, ///< std::bad_alloc
        STANDARD,      ///< any other std::exception
        UNKNOWN
    };

    Kind itsKind = Kind::UNKNOWN; ///< the narrowest that fits
    /// Of a DICOMLibException; success and 0 for all others.
    /// @{
    DLResultCode itsResultCode = DLRC_SUCCESS;
    int itsSystemErrorCode = 0;
    /// @}
    RWCString itsClassName = "unknown";      ///< "std::exception" for all of those
    RWCString itsText = "unknown exception"; ///< the bare message
    RWCString itsDescription =
        "unknown exception"; ///< ToString of this library's own exceptions, else the text

    /// This library's own exceptions, whose class and codes mean something.
    bool IsOwn() const
    {
        return itsKind == Kind::INTERRUPTED || itsKind == Kind::STREAM || itsKind == Kind::OWN;
    }

    /// The code that it brought; theDefault where it brought none.
    DLResultCode GetResultCodeOr(DLResultCode theDefault) const
    {
        return itsResultCode != DLRC_SUCCESS ? itsResultCode : theDefault;
    }

    /// What to say beside that code: the bare message of an exception that brought one, else the description.
    const RWCString& GetReport() const { return itsResultCode != DLRC_SUCCESS ? itsText : itsDescription; }

    /// To be called in a catch block. Throws only for want of memory.
    static CaughtException Current();
};
