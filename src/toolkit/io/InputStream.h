// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "toolkit/base/BaseTypes.h"

/// A source of bytes, read from front to back and, where CanSeek says so, from any position.
///
/// Failures are thrown as StreamIOException. One object serves one thread at a time.
class QUORIX_API InputStream
{
public:
    InputStream() = default;
    virtual ~InputStream();

    /// Reads up to theLength bytes. Returns what was delivered; 0 (for theLength > 0) only at the end.
    /// A short count is not the end: call again.
    virtual std::size_t Read(unsigned char* theBuffer, std::size_t theLength) = 0;

    /// Moves forward by up to theLength bytes and returns how far it moved. The default reads and
    /// discards. A short count is not the end; 0 (for theLength > 0) means that nothing moves any more.
    virtual std::size_t Skip(std::size_t theLength);

    /// Goes to an absolute position. The default throws StreamIOException (code 12).
    virtual void Seek(std::size_t thePosition);

    /// 1 when Seek works, else 0.
    virtual int CanSeek() const;

    /// Bytes in the whole stream, or -1 when unknown.
    virtual long long Length() const;

    /// Position of the next byte, counted from the start of the stream.
    virtual std::size_t GetStreamPosition() const = 0;

    /// Puts bytes back in front of the stream. The default throws StreamIOException (code 12).
    virtual void Pushback(const unsigned char* theBuffer, std::size_t theLength);

    /// Bytes that Pushback takes at most; 0 when it is not supported.
    virtual std::size_t GetPushbackLimit() const;

    /// Size of the reads that suit this stream best; 4096 unless set.
    /// @{
    virtual std::size_t GetPreferredInputBlockSize() const;
    virtual void SetPreferredInputBlockSize(std::size_t theSize);
    /// @}

    /// Gives up what the stream reads from; nothing is to be read afterwards. The default does nothing.
    virtual void Close();

    /// Whether another Read would deliver something, as far as is known without reading.
    virtual bool HasMoreData() const;

    /// The opposite of HasMoreData.
    bool IsEmpty() const { return !HasMoreData(); }

    /// Bytes that can be read without waiting, as far as is known; 0 when unknown.
    virtual std::size_t GetBytesAvailable() const;

    /// Whether bytes come out of a buffer of the stream's own. The default says no.
    virtual bool IsStreamBuffered() const;

    /// Does nothing, unless a derived class has something to pass on.
    virtual void Flush();

    /// Reads until theLength bytes have arrived or the stream ends; returns the bytes delivered.
    std::size_t ReadFully(unsigned char* theBuffer, std::size_t theLength);

    /// Skips until theLength bytes are behind or nothing moves any more; returns the distance moved.
    std::size_t SkipFully(std::size_t theLength);

protected:
    /// For derived classes that can be copied.
    /// @{
    InputStream(const InputStream&) = default;
    InputStream& operator=(const InputStream&) = default;
    /// @}

private:
    std::size_t itsPreferredInputBlockSize = 4096;
};

/// An InputStream over bytes in memory.
class QUORIX_API MemoryInputStream final : public InputStream
{
public:
    /// The bytes are borrowed and must outlive the stream.
    MemoryInputStream(const void* theData, std::size_t theLength);

    /// Deliberately refused when they are run: both throw StreamIOException (code 6), and nothing is copied.
    /// Two readers of one stream would take each other's bytes.
    /// @{
    MemoryInputStream(const MemoryInputStream&);
    MemoryInputStream& operator=(const MemoryInputStream&);
    /// @}

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;

    /// Throws StreamIOException (code 67) for a position past the end.
    void Seek(std::size_t thePosition) override;
    int CanSeek() const override { return 1; }
    long long Length() const override { return static_cast<long long>(itsLength); }
    std::size_t GetStreamPosition() const override { return itsPosition; }
    std::size_t GetBytesAvailable() const override { return itsLength - itsPosition; }

private:
    const unsigned char* itsData;
    std::size_t itsLength;
    std::size_t itsPosition = 0;
};

/// A stream whose first bytes may be looked at: what was read is read again after Rewind. Where the stream
/// below can seek it is sent back, otherwise the bytes are kept until then.
class QUORIX_API RewindableInputStream final : public InputStream
{
public:
    /// theStream is borrowed and read from its current position.
    explicit RewindableInputStream(InputStream& theStream);

    /// Goes back to where the stream was made; once.
    void Rewind();

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    void Seek(std::size_t thePosition) override { itsStream.Seek(thePosition); }
    int CanSeek() const override { return itsStream.CanSeek(); }
    long long Length() const override { return itsStream.Length(); }
    std::size_t GetStreamPosition() const override { return itsStream.GetStreamPosition() - itsLeft; }

private:
    InputStream& itsStream;
    std::size_t itsStart;
    bool itsIsKeeping;
    std::vector<unsigned char> itsKept;
    std::size_t itsLeft = 0; ///< bytes at the end of those kept that are read again before the stream goes on
};

/// Reads integers of a stated byte order from an InputStream.
class QUORIX_API EndianHandlingReader
{
public:
    /// theStream is borrowed and read from its current position.
    EndianHandlingReader(InputStream& theStream, DLEndian::Endian theEndian);

    /// False when the stream ended before the whole integer had arrived; theValue is then unchanged.
    /// @{
    bool Read(std::uint16_t& theValue);
    bool Read(std::uint32_t& theValue);
    bool Read(std::uint64_t& theValue);
    /// @}

private:
    template <class Integer>
    bool ReadInteger(Integer& theValue);

    InputStream& itsStream;
    DLEndian::Endian itsEndian;
};
