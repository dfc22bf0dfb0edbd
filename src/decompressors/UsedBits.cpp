// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/UsedBits.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "image/Renderable.h"
#include "toolkit/base/Reading.h"

namespace
{
int CountUsedBits(const Renderable& theImage)
{
    const auto* const aBytes = static_cast<const unsigned char*>(theImage.getPixelData());
    const std::uint64_t aSize =
        std::min(theImage.getPixelDataSize(), theImage.getRequiredPixelDataBufferSize());
    const bool isForeign =
        theImage.isPixelDataLittleEndian() != (DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER);
    // A small negative number has ones in all bits from its sign on.
    const unsigned int aSigns =
        theImage.isSigned() ? 0xffffU & (0xffffU << (theImage.getBitsStored() - 1)) : 0x10000U;
    unsigned int aUsed = 0;
    for (std::uint64_t i = 0; i + 1 < aSize; i += 2)
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, aBytes + i, sizeof(aWord));
        const unsigned int aSample = isForeign ? __builtin_bswap16(aWord) : aWord;
        aUsed |= (aSample & aSigns) == aSigns ? 0 : aSample;
    }
    return static_cast<int>(std::bit_width(aUsed));
}
} // namespace

void UsedBits::Warn(const Renderable& theImage, ReadingContext& theContext)
{
    const int aStored = theImage.getBitsStored();
    if (theImage.getSamplesPerPixel() != 1 || theImage.getBitsAllocated() != 16 || aStored < 1 ||
        aStored > 8 || theImage.getHighBit() != aStored - 1)
    {
        return;
    }
    const int aUsed = CountUsedBits(theImage);
    if (aUsed > aStored)
    {
        theContext.Warn(WarningIdentifier::kDepth, "the data set says " + std::to_string(aStored) +
                                                       " bits stored, samples have " + std::to_string(aUsed) +
                                                       ": none is lost");
    }
}
