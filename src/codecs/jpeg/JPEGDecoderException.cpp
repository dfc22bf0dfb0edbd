// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEGDecoderException.h"

#include <utility>

JPEGDecoderException::JPEGDecoderException(RWCString theMessage, int theCode)
    : ExceptionBase(std::move(theMessage)), itsCode(theCode)
{
}

JPEGDecoderException::~JPEGDecoderException() = default;

std::unique_ptr<ExceptionBase> JPEGDecoderException::Clone() const
{
    return std::make_unique<JPEGDecoderException>(*this);
}

RWCString JPEGDecoderException::ClassName() const
{
    return "JPEGDecoderException";
}

RWCString JPEGDecoderException::ToString() const
{
    return ClassName() + ": " + (IsError() ? "Error: " : "Warning: ") + GetMessageText();
}
