// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "toolkit/io/InputStream.h"

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
