// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/RenderableConversion.h"

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

RenderableConversion::RenderableConversion(Renderable& theRenderable)
    : itsRenderable(theRenderable), itsInput(nullptr), itsInputSize(theRenderable.getPixelDataSize()),
      itsInterpretation(theRenderable.getPhotometricInterpretation()),
      itsSamplesPerPixel(theRenderable.getSamplesPerPixel()),
      itsBitsAllocated(theRenderable.getBitsAllocated()), itsBitsStored(theRenderable.getBitsStored()),
      itsHighBit(theRenderable.getHighBit()), itsSigned(theRenderable.isSigned()),
      itsPlanar(theRenderable.isPlanarConfiguration())
{
    itsInput = theRenderable.takePixelData();
}

RenderableConversion::~RenderableConversion()
{
    if (itsPending)
    {
        PutBack();
    }
}

std::uint8_t* RenderableConversion::AllocateRGB(std::uint64_t thePixels, std::int16_t theBitsAllocated)
{
    itsRenderable.setSamplesPerPixel(3);
    itsRenderable.setPhotometricInterpretation(Renderable::RGB);
    itsRenderable.setPlanarConfiguration(false);
    itsRenderable.setBitsAllocated(theBitsAllocated);
    if (theBitsAllocated == 8)
    {
        itsRenderable.setBitsStored(8);
        itsRenderable.setHighBit(7);
    }
    // The record counts its bytes in 32 bits. An image that it cannot count right is refused before
    // anything is allocated, because the loops write the true number of bytes.
    const std::uint64_t aSize = thePixels * 3 * static_cast<std::uint64_t>(theBitsAllocated / 8);
    if (itsRenderable.getRequiredPixelDataBufferSize() != aSize)
    {
        throw DLRuntimeException("RenderableConversion::AllocateRGB: image is too large");
    }
    itsRenderable.allocatePixelData();
    return static_cast<std::uint8_t*>(itsRenderable.getPixelData());
}

void RenderableConversion::ReleaseInput()
{
    itsPending = false;
    itsRenderable.getMemoryAllocator().Free(itsInput);
    itsInput = nullptr;
    itsInputSize = 0;
}

void RenderableConversion::PutBack()
{
    itsRenderable.setPhotometricInterpretation(itsInterpretation);
    itsRenderable.setSamplesPerPixel(itsSamplesPerPixel);
    itsRenderable.setBitsAllocated(itsBitsAllocated);
    itsRenderable.setBitsStored(itsBitsStored);
    itsRenderable.setHighBit(itsHighBit);
    itsRenderable.setSigned(itsSigned);
    itsRenderable.setPlanarConfiguration(itsPlanar);
    itsRenderable.setPixelData(itsInput, itsInputSize);
}
