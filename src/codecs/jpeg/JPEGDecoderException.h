// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/ExceptionBase.h"

/// A failure reported by the JPEG library.
class QUORIX_API JPEGDecoderException : public ExceptionBase
{
public:
    /// theCode: 0 means error, any other value warning.
    JPEGDecoderException(RWCString theMessage, int theCode);
    ~JPEGDecoderException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// The class name, ": ", "Warning: " or "Error: ", and the message.
    RWCString ToString() const override;

    /// 0 for an error, any other value for a warning.
    int GetCode() const { return itsCode; }

    /// False for a warning. Both end the decoding.
    bool IsError() const { return itsCode == 0; }

private:
    int itsCode;
};
