// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "quorix/decode.h"
#include "quorix/detail/CallersCode.h"
#include "toolkit/io/InputStream.h"

/// A stream of the front door as one of the toolkit. What the caller's stream throws goes through theCode.
/// What it says of its length only saves reading: it may be out of date, so where the stream ends, reading
/// tells.
class CallersStream final : public InputStream
{
public:
    /// Both are borrowed. Asks the stream what it can; what it throws at that passes through.
    CallersStream(quorix::InputStream& theStream, CallersCode& theCode);

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    /// Without reading, where the stream can seek and as far as it knows its length.
    std::size_t Skip(std::size_t theLength) override;
    /// Throws StreamIOException (code 67) where the stream ends before thePosition.
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return itsCanSeek ? 1 : 0; }
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    quorix::InputStream& itsStream;
    CallersCode& itsCode;
    bool itsCanSeek;
    long long itsLength;
    std::size_t itsPosition;
};
