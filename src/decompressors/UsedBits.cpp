// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/UsedBits.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "image/Renderable.h"
#include "toolkit/base/Reading.h"

namespace
{
/// Four samples. Of signed ones a bit is set where it differs from the bit below it, which in small numbers
/// no bit from the sign on does; the lowest bits mean nothing then.
std::uint64_t Changes(std::uint64_t theWords, const UsedBits::Layout& theLayout)
{
    constexpr std::uint64_t kLowBytes = 0x00ff00ff00ff00ff;
    const std::uint64_t aSwapped = (theWords >> 8 & kLowBytes) | (theWords & kLowBytes) << 8;
    const std::uint64_t aSamples = theLayout.itsIsForeign ? aSwapped : theWords;
    return theLayout.itsIsSigned ? aSamples ^ aSamples << 1 : aSamples;
}
} // namespace

int UsedBits::Count(const void* theWords, std::uint64_t theSize, const Layout& theLayout)
{
    const auto* const aBytes = static_cast<const unsigned char*>(theWords);
    std::uint64_t aUsed = 0;
    std::uint64_t aWords = 0;
    std::uint64_t i = 0;
    for (; i + sizeof(aWords) <= theSize; i += sizeof(aWords))
    {
        std::memcpy(&aWords, aBytes + i, sizeof(aWords));
        aUsed |= Changes(aWords, theLayout);
    }
    aWords = 0;
    std::memcpy(&aWords, aBytes + i, theSize - i);
    aUsed |= Changes(aWords, theLayout);
    aUsed |= aUsed >> 32;
    aUsed |= aUsed >> 16;
    return static_cast<int>(std::bit_width(aUsed & 0xffffU >> (16 - theLayout.itsDepth)));
}

void UsedBits::Tell(ReadingContext& theContext, int theStored, int theUsed)
{
    theContext.Warn(WarningIdentifier::kDepth, "the data set says " + std::to_string(theStored) +
                                                   " bits stored, samples have " + std::to_string(theUsed) +
                                                   ": none is lost");
}

void UsedBits::Warn(const Renderable& theImage, ReadingContext& theContext)
{
    const int aStored = theImage.getBitsStored();
    if (theImage.getSamplesPerPixel() != 1 || theImage.getBitsAllocated() != 16 || aStored < 1 ||
        aStored > 8 || theImage.getHighBit() != aStored - 1)
    {
        return;
    }
    const bool isForeign =
        theImage.isPixelDataLittleEndian() != (DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER);
    const std::uint64_t aSize =
        std::min(theImage.getPixelDataSize(), theImage.getRequiredPixelDataBufferSize());
    const int aUsed = Count(theImage.getPixelData(), aSize, {16, aStored, theImage.isSigned(), isForeign});
    if (aUsed > aStored)
    {
        Tell(theContext, aStored, aUsed);
    }
}
