// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/dicom/PixelInputStreamVR.h"
#include "toolkit/dicom/detail/PeekableInputStream.h"

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
