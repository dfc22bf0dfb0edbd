// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/UsedBits.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "image/Renderable.h"
#include "toolkit/base/Reading.h"

int UsedBits::Count(const void* theWords, std::uint64_t theSize, const Layout& theLayout)
{
    const unsigned int aMask = 0xffffU >> (16 - theLayout.itsDepth);
    const auto* const aBytes = static_cast<const unsigned char*>(theWords);
    // A small negative number has ones in all bits from its sign on.
    const unsigned int aSigns =
        theLayout.itsIsSigned ? aMask & (0xffffU << (theLayout.itsStored - 1)) : 0x10000U;
    unsigned int aUsed = 0;
    for (std::uint64_t i = 0; i + 1 < theSize; i += 2)
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, aBytes + i, sizeof(aWord));
        const unsigned int aSample = (theLayout.itsIsForeign ? __builtin_bswap16(aWord) : aWord) & aMask;
        aUsed |= (aSample & aSigns) == aSigns ? 0 : aSample;
    }
    return static_cast<int>(std::bit_width(aUsed));
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
