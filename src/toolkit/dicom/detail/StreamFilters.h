// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "toolkit/dicom/VR.h"
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

/// The data set of a deflated transfer syntax, inflated while it is read (PS3.5 Annex A.5).
///
/// Cannot be sought; positions count inflated bytes. What the compressed stream throws is thrown on
/// unchanged; damaged data is a StreamIOException (code 38). Internal to this room; not thread-safe.
class InflatingInputStream final : public InputStream
{
public:
    explicit InflatingInputStream(std::shared_ptr<InputStream> theCompressed);
    ~InflatingInputStream() override;

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    class Implementation;
    std::unique_ptr<Implementation> itsImplementation;
    std::size_t itsPosition = 0;
};

/// The rest of a data set's stream, or a part of it, as a stream of its own: what encapsulated pixel data
/// is read from. Positions are those of the stream below. Internal to this room; not thread-safe.
class PixelValueInputStream final : public InputStream
{
public:
    static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

    /// theStream stands at the value. theLength: bytes of the value, or NO_LIMIT.
    PixelValueInputStream(std::shared_ptr<PeekableInputStream> theStream, std::uint64_t theLength);
    ~PixelValueInputStream() override;

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return itsStream->CanSeek(); }
    long long Length() const override { return itsStream->Length(); }
    std::size_t GetStreamPosition() const override { return itsStart + itsOffset; }

private:
    std::size_t Clamp(std::size_t theLength) const;

    std::shared_ptr<PeekableInputStream> itsStream;
    std::size_t itsStart;
    std::size_t itsOffset = 0; ///< bytes behind the value's first one
    std::uint64_t itsLimit;
};

/// Native pixel data that follows in the stream of a data set being read.
///
/// Skip and Seek use the stream below, so a frame is reached without reading what lies before it.
/// Reading ends at the value's end or where the stream ends first. Internal to this room.
class NativePixelInputStreamVR final : public PixelInputStreamVR
{
public:
    /// theStream stands at the first byte of the value. theAllocator: where GetVR takes its memory from.
    NativePixelInputStreamVR(std::uint16_t theTypeCode, DLEndian::Endian theEndian,
                             std::shared_ptr<PeekableInputStream> theStream, std::uint32_t theLength,
                             MemoryAllocater& theAllocator);
    ~NativePixelInputStreamVR() override;

    std::uint64_t GetLength() const override { return itsLength; }
    std::unique_ptr<VR> GetVR() override;

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return itsStream->CanSeek(); }

    /// The value's length, or what the stream below has of it where that is known to be less.
    long long Length() const override;
    std::size_t GetStreamPosition() const override { return itsPosition; }
    std::size_t GetBytesAvailable() const override;
    bool HasMoreData() const override { return itsPosition < itsLength; }

private:
    std::shared_ptr<PeekableInputStream> itsStream;
    std::size_t itsLength;
    std::size_t itsStart; ///< position of the value's first byte in the stream below
    std::size_t itsPosition = 0;
    MemoryAllocater& itsAllocator;
};
