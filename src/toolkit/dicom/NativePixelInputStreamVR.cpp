// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/StreamFilters.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/VR.h"

namespace
{
/// First allocation for a value whose real length cannot be checked beforehand.
constexpr std::size_t kFirstCapacity = 64u << 20;

/// A block of an allocator that is given back unless it is released.
class GrowingBlock
{
public:
    GrowingBlock(MemoryAllocater& theAllocator, std::size_t theCapacity)
        : itsAllocator(theAllocator), itsData(theAllocator.Allocate(std::max<std::size_t>(theCapacity, 1))),
          itsCapacity(theCapacity)
    {
    }
    ~GrowingBlock() { itsAllocator.Free(itsData); }
    GrowingBlock(const GrowingBlock&) = delete;
    GrowingBlock& operator=(const GrowingBlock&) = delete;

    void Grow(std::size_t theCapacity)
    {
        void* aBlock = itsAllocator.Allocate(theCapacity);
        std::memcpy(aBlock, itsData, itsCapacity);
        itsAllocator.Free(std::exchange(itsData, aBlock));
        itsCapacity = theCapacity;
    }

    unsigned char* Data() const { return static_cast<unsigned char*>(itsData); }
    std::size_t Capacity() const { return itsCapacity; }
    void* Release() { return std::exchange(itsData, nullptr); }

private:
    MemoryAllocater& itsAllocator;
    void* itsData;
    std::size_t itsCapacity;
};
} // namespace

NativePixelInputStreamVR::NativePixelInputStreamVR(std::uint16_t theTypeCode, DLEndian::Endian theEndian,
                                                   std::shared_ptr<PeekableInputStream> theStream,
                                                   std::uint32_t theLength, MemoryAllocater& theAllocator)
    : PixelInputStreamVR(DICOMTags::PixelData, theTypeCode, theEndian), itsStream(std::move(theStream)),
      itsLength(theLength), itsStart(itsStream->GetStreamPosition()), itsAllocator(theAllocator)
{
}

NativePixelInputStreamVR::~NativePixelInputStreamVR() = default;

std::size_t NativePixelInputStreamVR::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = itsStream->Read(theBuffer, std::min(theLength, itsLength - itsPosition));
    itsPosition += aCount;
    return aCount;
}

std::size_t NativePixelInputStreamVR::Skip(std::size_t theLength)
{
    const std::size_t aCount = itsStream->Skip(std::min(theLength, itsLength - itsPosition));
    itsPosition += aCount;
    return aCount;
}

void NativePixelInputStreamVR::Seek(std::size_t thePosition)
{
    if (thePosition > itsLength)
    {
        throw StreamIOException("NativePixelInputStreamVR::Seek: position " + std::to_string(thePosition) +
                                    " is past the end of the pixel data (" + std::to_string(itsLength) + ")",
                                DLRC_IO_ERROR, 0);
    }
    itsStream->Seek(itsStart + thePosition);
    itsPosition = thePosition;
}

long long NativePixelInputStreamVR::Length() const
{
    const long long aLength = static_cast<long long>(itsLength);
    const long long aRemaining = itsStream->GetRemaining();
    return aRemaining < 0 ? aLength : std::min(aLength, static_cast<long long>(itsPosition) + aRemaining);
}

std::size_t NativePixelInputStreamVR::GetBytesAvailable() const
{
    return std::min(itsStream->GetBytesAvailable(), itsLength - itsPosition);
}

std::unique_ptr<VR> NativePixelInputStreamVR::GetVR()
{
    const std::size_t aWanted = itsLength - itsPosition;
    const long long aRemaining = itsStream->GetRemaining();
    const std::size_t aLimit = aRemaining < 0
                                   ? std::min(aWanted, kFirstCapacity)
                                   : std::min<std::size_t>(aWanted, static_cast<std::size_t>(aRemaining));
    GrowingBlock aBlock(itsAllocator, aLimit);
    std::size_t aCount = 0;
    for (;;)
    {
        const std::size_t aGot = ReadFully(aBlock.Data() + aCount, aBlock.Capacity() - aCount);
        aCount += aGot;
        if (aCount < aBlock.Capacity() || aCount >= aWanted || aRemaining >= 0)
        {
            break;
        }
        aBlock.Grow(std::min(aWanted, aBlock.Capacity() * 2));
    }
    auto aVR = std::make_unique<BufferVR>(GetTag(), GetTypeCode(), GetEndian(), aBlock.Data(), aCount);
    aVR->TakeOwnership(itsAllocator);
    aBlock.Release();
    return aVR;
}
