// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "toolkit/dicom/detail/PeekableInputStream.h"

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
