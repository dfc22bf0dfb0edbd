// SPDX-License-Identifier: Apache-2.0
#include "image/Renderable.h"

#include <algorithm>
#include <array>

#include "image/VMMemoryAllocator.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/LFStream.h"

namespace
{
// Indexed by the enumeration's values.
constexpr std::array<const char*, 11> kInterpretationNames = {
    "INVALID",      "MONOCHROME1",     "MONOCHROME2",     "PALETTE COLOR", "RGB",    "YBR_FULL",
    "YBR_FULL_422", "YBR_PARTIAL_422", "YBR_PARTIAL_420", "YBR_ICT",       "YBR_RCT"};

// Products of geometry figures are wanted in 32 bits, wrapped: unsigned arithmetic wraps without undefined
// behaviour and is narrowed on purpose.
std::int32_t Multiply32(std::int32_t theFirst, std::int32_t theSecond)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(theFirst) *
                                     static_cast<std::uint32_t>(theSecond));
}

std::int32_t Add32(std::int32_t theFirst, std::int32_t theSecond)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(theFirst) +
                                     static_cast<std::uint32_t>(theSecond));
}

// Rounds the pixel count of a subsampled image of three samples up to whole groups of samples.
std::int32_t RoundUpPixels(std::int32_t thePixels, Renderable::PhotometricInterpretation theValue)
{
    switch (theValue)
    {
    case Renderable::YBR_FULL_422:
    case Renderable::YBR_PARTIAL_422:
        return thePixels % 2 != 0 ? Add32(thePixels, 1) : thePixels;
    case Renderable::YBR_PARTIAL_420:
        // Deliberately raised by the remainder and not to the next multiple of four: sizes recorded in
        // existing cache files follow this rule.
        return Add32(thePixels, thePixels % 4);
    default:
        return thePixels;
    }
}
} // namespace

std::atomic<std::int32_t> Renderable::itsIOBufferSize{16384};

Renderable::Renderable() : Renderable(VMMemoryAllocator::GetDefaultInstance()) {}

Renderable::Renderable(MemoryAllocater& theAllocator) : itsMemoryAllocator(theAllocator) {}

Renderable::~Renderable()
{
    freePixelData();
}

Renderable::PhotometricInterpretation
Renderable::photometricInterpretationFromString(const RWCString& theString)
{
    const auto aFound = std::find(kInterpretationNames.begin() + 1, kInterpretationNames.end(), theString);
    return aFound == kInterpretationNames.end()
               ? INVALID
               : static_cast<PhotometricInterpretation>(aFound - kInterpretationNames.begin());
}

RWCString Renderable::photometricInterpretationTypeToString(PhotometricInterpretation theValue)
{
    const bool isKnown = theValue >= INVALID && theValue <= YBR_RCT;
    return kInterpretationNames[static_cast<std::size_t>(isKnown ? theValue : INVALID)];
}

std::uint64_t Renderable::calculateRequiredBufferSize(int theRows, int theColumns, int theBitsAllocated,
                                                      int theSamplesPerPixel,
                                                      PhotometricInterpretation theValue)
{
    std::int32_t aPixelCount = Multiply32(theRows, theColumns);
    if (theSamplesPerPixel == 3)
    {
        aPixelCount = RoundUpPixels(aPixelCount, theValue);
    }
    const std::int32_t aPlaneBits = Multiply32(aPixelCount, theBitsAllocated);
    std::int64_t aBits = aPlaneBits;
    if (theSamplesPerPixel != 1)
    {
        // Deliberately also where there are not three samples and nothing was rounded above.
        switch (theValue)
        {
        case YBR_FULL_422:
        case YBR_PARTIAL_422:
            aBits = Multiply32(aPlaneBits, 2);
            break;
        case YBR_PARTIAL_420:
            aBits = aBits * 3 / 2;
            break;
        default:
            aBits *= theSamplesPerPixel;
            break;
        }
    }
    // A negative (wrapped) count becomes a size that no allocator has.
    return (static_cast<std::uint64_t>(aBits) + 7) / 8;
}

std::uint64_t Renderable::calculateRequiredBufferSize(int theRows, int theColumns, int theBitsAllocated,
                                                      int theSamplesPerPixel, const RWCString& theValue)
{
    return calculateRequiredBufferSize(theRows, theColumns, theBitsAllocated, theSamplesPerPixel,
                                       photometricInterpretationFromString(theValue));
}

std::int32_t Renderable::getIOBufferSize()
{
    return itsIOBufferSize.load(std::memory_order_relaxed);
}

void Renderable::setIOBufferSize(int theSize)
{
    itsIOBufferSize.store(theSize, std::memory_order_relaxed);
}

std::uint64_t Renderable::getRequiredPixelDataBufferSize() const
{
    return calculateRequiredBufferSize(itsRows, itsColumns, itsBitsAllocated, itsSamplesPerPixel,
                                       itsPhotometricInterpretation);
}

void Renderable::allocatePixelData()
{
    const std::uint64_t aSize = getRequiredPixelDataBufferSize();
    if (itsPixelData != nullptr)
    {
        throw DLRuntimeException("Renderable::allocatePixelData(): memory was already allocated");
    }
    itsPixelDataSize = aSize;
    const auto aFailure = [aSize](const RWCString& theReason)
    {
        return DLRuntimeException("Renderable::allocatePixelData(): Memory allocation of " +
                                  std::to_string(aSize) + " bytes failed (" + theReason + ")");
    };
    try
    {
        itsPixelData = itsMemoryAllocator.Allocate(aSize);
    }
    catch (const DLRuntimeException&)
    {
        throw;
    }
    catch (const ExceptionBase& anException)
    {
        DLRuntimeException aReplacement = aFailure(anException.GetMessageText());
        aReplacement.SetException(anException);
        throw aReplacement;
    }
    catch (...)
    {
        throw aFailure("caught unknown exception");
    }
}

void Renderable::freePixelData()
{
    if (itsPixelData != nullptr)
    {
        itsMemoryAllocator.Free(itsPixelData);
        itsPixelData = nullptr;
        itsPixelDataSize = 0;
    }
}

void* Renderable::takePixelData()
{
    void* const aBuffer = itsPixelData;
    itsPixelData = nullptr;
    itsPixelDataSize = 0;
    return aBuffer;
}

void Renderable::setPixelData(void* theBuffer, std::uint64_t theSize)
{
    freePixelData();
    itsPixelData = theBuffer;
    itsPixelDataSize = theSize;
}

void Renderable::swapDataEndian()
{
    if (itsBitsAllocated <= 8)
    {
        return;
    }
    if (itsBitsAllocated == 16)
    {
        const std::int32_t aSize =
            Multiply32(Multiply32(Multiply32(itsRows, itsColumns), itsSamplesPerPixel), 2);
        if (aSize < 2)
        {
            return;
        }
        // Deliberately a copy of the first byte and no exchange, and deliberately one pair more than there
        // are samples where the buffer has it: callers rely on exactly these bytes.
        const std::uint64_t aPairCount = static_cast<std::uint64_t>(aSize) / 2 + 1;
        const std::uint64_t aPairsHeld = itsPixelData == nullptr ? 0 : itsPixelDataSize / 2;
        const std::uint64_t anEnd = std::min(aPairCount, aPairsHeld) * 2;
        auto* const aBytes = static_cast<std::uint8_t*>(itsPixelData);
        for (std::uint64_t anOffset = 0; anOffset < anEnd; anOffset += 2)
        {
            aBytes[anOffset + 1] = aBytes[anOffset];
        }
    }
    itsPixelDataLittleEndian = !itsPixelDataLittleEndian;
}

void Renderable::writePixelsToFile(const char* thePath) const
{
    constexpr std::uint64_t aChunkSize = 8192;
    LFStream aStream(LFStream::UNBUFFERED);
    if (thePath == nullptr || !aStream.open(thePath, LFStream::MODE_WRITE_BINARY, LFStream::SHARE_DENY_NONE))
    {
        return;
    }
    const auto* const aBytes = static_cast<const std::uint8_t*>(itsPixelData);
    const std::uint64_t aSize = aBytes == nullptr ? 0 : itsPixelDataSize;
    for (std::uint64_t anOffset = 0; anOffset < aSize;)
    {
        const long long aCount = aStream.Write(aBytes + anOffset, std::min(aChunkSize, aSize - anOffset));
        if (aCount <= 0)
        {
            return;
        }
        anOffset += static_cast<std::uint64_t>(aCount);
    }
}

void Renderable::deleteSelf()
{
    freePixelData();
    // The bridge holds the record by address alone; this is the one way it can release it.
    delete this;
}
