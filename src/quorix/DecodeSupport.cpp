// SPDX-License-Identifier: Apache-2.0
#include "quorix/decode.h"

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"

namespace quorix
{
DecodeError::DecodeError(const std::string& theText, int theCode, int theSystemError)
    : std::runtime_error(theText), itsCode(theCode), itsSystemError(theSystemError)
{
}

DecodeError::~DecodeError() = default;

InputStream::~InputStream() = default;

bool InputStream::canSeek() const
{
    return false;
}

void InputStream::seek(std::uint64_t)
{
    throw DecodeError("this stream cannot seek", DLRC_NOT_SUPPORTED);
}

std::uint64_t InputStream::position() const
{
    return 0;
}

std::optional<std::uint64_t> InputStream::length() const
{
    return std::nullopt;
}

Limits limits()
{
    const ::Limits aLimits = ::Limits::Get();
    return {aLimits.itsPixelsPerFrame,  aLimits.itsBytesPerFrame,  aLimits.itsFrames,
            aLimits.itsNestedSequences, aLimits.itsAttributeBytes, aLimits.itsFragments,
            aLimits.itsInflatedBytes};
}

void setLimits(const Limits& theLimits)
{
    ::Limits::Set({theLimits.pixelsPerFrame, theLimits.bytesPerFrame, theLimits.frames,
                   theLimits.nestedSequences, theLimits.attributeBytes, theLimits.inflatedBytes,
                   theLimits.fragments});
}
} // namespace quorix
