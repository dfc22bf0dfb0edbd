// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/RenderableConversion.h"

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

void ConversionChecks::CheckInterpretation(const Renderable& theRenderable,
                                           Renderable::PhotometricInterpretation theExpected) const
{
    if (theRenderable.getPhotometricInterpretation() != theExpected)
    {
        Fail("Renderable being converted is not " +
             Renderable::photometricInterpretationTypeToString(theExpected));
    }
}

void ConversionChecks::CheckSamplesPerPixel(const Renderable& theRenderable) const
{
    if (theRenderable.getSamplesPerPixel() != 3)
    {
        Fail("Renderable contains incorrect number of samples per pixel for YBR_FULL encoding");
    }
}

void ConversionChecks::CheckBitsAllocated(const Renderable& theRenderable) const
{
    const int aBits = theRenderable.getBitsAllocated();
    if (aBits > 16)
    {
        Fail("bits allocated > 16 - not supported");
    }
    if (aBits != 8 && aBits != 16)
    {
        Fail("bits allocated is not 8 or 16 - not supported");
    }
}

std::uint64_t ConversionChecks::GetPixelCount(const Renderable& theRenderable) const
{
    if (theRenderable.getRows() < 0 || theRenderable.getColumns() < 0)
    {
        Fail("Renderable has negative dimensions");
    }
    return static_cast<std::uint64_t>(theRenderable.getRows()) *
           static_cast<std::uint64_t>(theRenderable.getColumns());
}

void ConversionChecks::CheckBufferSize(const Renderable& theRenderable, const void* theData,
                                       std::uint64_t theAvailable, std::uint64_t theSamples) const
{
    // Three samples for each of at most 2^62 pixels still fit 64 bits; their bytes might not.
    const std::uint64_t aWidth = theRenderable.getBitsAllocated() == 16 ? 2 : 1;
    if (theSamples > theAvailable / aWidth || (theData == nullptr && theSamples > 0))
    {
        Fail("Renderable holds less pixel data than its dimensions call for");
    }
}

void ConversionChecks::Fail(const RWCString& theText) const
{
    throw DLRuntimeException(RWCString("DecompressionLibUtils::") + itsOperation + ": " + theText);
}

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
