// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "quorix/decode.h"
#include "toolkit/io/InputStream.h"

namespace quorix
{
/// Lets decode read from a stream of the toolkit, for programs that use both floors. C++20, as the toolkit
/// is.
class ToolkitStream final : public InputStream
{
public:
    /// theStream is borrowed and read from its current position.
    explicit ToolkitStream(::InputStream& theStream) : itsStream(theStream) {}

    std::size_t read(unsigned char* theBuffer, std::size_t theSize) override
    {
        return itsStream.Read(theBuffer, theSize);
    }
    bool canSeek() const override { return itsStream.CanSeek() != 0; }
    void seek(std::uint64_t thePosition) override { itsStream.Seek(thePosition); }
    std::uint64_t position() const override { return itsStream.GetStreamPosition(); }
    std::optional<std::uint64_t> length() const override
    {
        const long long aLength = itsStream.Length();
        return aLength < 0 ? std::nullopt : std::optional<std::uint64_t>(aLength);
    }

private:
    ::InputStream& itsStream;
};
} // namespace quorix
