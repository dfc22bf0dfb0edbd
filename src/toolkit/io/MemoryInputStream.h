// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/io/InputStream.h"

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
