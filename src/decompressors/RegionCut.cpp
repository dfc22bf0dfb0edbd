// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/RegionCut.h"

#include <cstring>

#include "decoding/Decoder.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"

void RegionCut::CopyBits(std::uint8_t* theTarget, std::uint64_t theTargetBit, const std::uint8_t* theSource,
                         std::uint64_t theSourceBit, std::uint64_t theCount)
{
    if ((theTargetBit | theSourceBit | theCount) % 8 == 0)
    {
        std::memcpy(theTarget + theTargetBit / 8, theSource + theSourceBit / 8, theCount / 8);
        return;
    }
    for (std::uint64_t i = 0; i < theCount; ++i)
    {
        const unsigned aPlace = (theTargetBit + i) % 8;
        const unsigned aBit = theSource[(theSourceBit + i) / 8] >> ((theSourceBit + i) % 8) & 1U;
        std::uint8_t& aByte = theTarget[(theTargetBit + i) / 8];
        aByte = static_cast<std::uint8_t>((aByte & ~(1U << aPlace)) | aBit << aPlace);
    }
}

PixelRegion RegionCut::ForCodec(const PixelRegion& theRegion, const Decoder& theCodec, bool canReduce)
{
    const int aLevels = canReduce ? theCodec.GetScaleFactor() - 1 : 0;
    if (aLevels == 0)
    {
        return theRegion;
    }
    const PixelRegion aHeld = theCodec.GetDecodedRegion();
    return theRegion.Reduced(aLevels).ClippedTo(aHeld.itsX + aHeld.itsWidth, aHeld.itsY + aHeld.itsHeight);
}

std::uint64_t RegionCut::Run(Renderable& theImage, const Layout& theLayout, const PixelRegion& theHeld,
                             const PixelRegion& theWanted)
{
    Decoder::CheckRegion(theWanted, theHeld);
    const auto aSamples = static_cast<std::uint64_t>(theLayout.itsSamplesPerPixel);
    const std::uint64_t aPlanes = theLayout.itsIsPlanar ? aSamples : 1;
    const std::uint64_t aBits = static_cast<std::uint64_t>(theLayout.itsBitsAllocated) * aSamples / aPlanes;
    const std::uint64_t aSize = (theWanted.itsWidth * theWanted.itsHeight * aPlanes * aBits + 7) / 8;
    const auto* const aSource = static_cast<const unsigned char*>(theImage.getPixelData());
    // A window of a slide must not keep the memory of the whole.
    auto* const aTarget = static_cast<unsigned char*>(theImage.getMemoryAllocator().Allocate(aSize));
    if (aBits % 8 != 0)
    {
        aTarget[aSize - 1] = 0; // what stands behind the last pixel
    }
    std::uint64_t aCopied = 0;
    for (std::uint64_t p = 0; p < aPlanes; ++p)
    {
        for (std::uint64_t r = 0; r < theWanted.itsHeight; ++r)
        {
            const std::uint64_t aRow = p * theHeld.itsHeight + theWanted.itsY - theHeld.itsY + r;
            const std::uint64_t aPixel = aRow * theHeld.itsWidth + theWanted.itsX - theHeld.itsX;
            CopyBits(aTarget, aCopied, aSource, aPixel * aBits, theWanted.itsWidth * aBits);
            aCopied += theWanted.itsWidth * aBits;
        }
    }
    theImage.setPixelData(aTarget, aSize);
    return aSize;
}

void RegionCut::Run(Renderable& theImage, const PixelRegion& theHeld, const PixelRegion& theWanted)
{
    Run(theImage,
        {theImage.getBitsAllocated(), theImage.getSamplesPerPixel(), theImage.isPlanarConfiguration()},
        theHeld, theWanted);
    theImage.setRows(static_cast<std::int32_t>(theWanted.itsHeight));
    theImage.setColumns(static_cast<std::int32_t>(theWanted.itsWidth));
}

void RegionCut::WriteDimensions(DICOMDataObject& theDataSet, std::uint64_t theRows, std::uint64_t theColumns)
{
    theDataSet.PutUnsignedShort(DICOMTags::Rows, static_cast<std::uint16_t>(theRows));
    theDataSet.PutUnsignedShort(DICOMTags::Columns, static_cast<std::uint16_t>(theColumns));
}
