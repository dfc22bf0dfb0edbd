// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "toolkit/io/InputStream.h"

/// An InputStream with a small look-ahead, through which a data set's elements are read.
///
/// At most CAPACITY bytes are read ahead; larger reads go straight from the stream below to the caller's
/// buffer. Skip and Seek are passed on to the stream below, so its own quick ways are used. Positions
/// are those of the stream below. Internal to this room; not thread-safe.
class PeekableInputStream final : public InputStream
{
public:
    static constexpr std::size_t CAPACITY = 512;

    /// theStream: shared with whoever else must keep it alive.
    explicit PeekableInputStream(std::shared_ptr<InputStream> theStream);
    ~PeekableInputStream() override;

    /// Makes up to theWanted (at most CAPACITY) bytes visible without consuming them; returns how many
    /// there are, fewer only at the end of the stream. theData is valid until the next call.
    std::size_t Peek(const unsigned char*& theData, std::size_t theWanted);

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return itsStream->CanSeek(); }
    long long Length() const override { return itsStream->Length(); }
    std::size_t GetStreamPosition() const override { return itsStream->GetStreamPosition() - Buffered(); }
    std::size_t GetBytesAvailable() const override { return Buffered() + itsStream->GetBytesAvailable(); }

    /// Bytes read or skipped since construction.
    std::uint64_t GetConsumed() const { return itsConsumed; }

    /// Bytes between the position and the end, or -1 when unknown.
    long long GetRemaining() const;

private:
    std::size_t Buffered() const { return itsEnd - itsBegin; }
    std::size_t TakeBuffered(unsigned char* theBuffer, std::size_t theLength);

    std::shared_ptr<InputStream> itsStream;
    std::array<unsigned char, CAPACITY> itsBuffer{};
    std::size_t itsBegin = 0; ///< the buffered bytes are [itsBegin, itsEnd)
    std::size_t itsEnd = 0;
    std::uint64_t itsConsumed = 0;
};
