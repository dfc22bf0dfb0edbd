// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <algorithm>
#include <array>

#include "image/Renderable.h"
#include "pixels/detail/ColourKernels.h"
#include "pixels/detail/RenderableConversion.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
enum class OutputWidth
{
    EightBits,
    AsInput
};

/// To be asked while sign and byte order of theRenderable are still those of the input.
WordSamples GetWordSamples(const Renderable& theRenderable, std::uint64_t thePixels)
{
    WordSamples aLayout;
    aLayout.itsIsSwapped = PixelSample::IsSwapped(theRenderable);
    aLayout.itsBias = theRenderable.isSigned() ? 0x8000 : 0;
    if (theRenderable.isPlanarConfiguration())
    {
        aLayout.itsPixelStep = 1;
        aLayout.itsPlaneStep = thePixels;
    }
    return aLayout;
}

void WriteWords(const std::uint16_t (&theRGB)[3], OutputWidth theWidth, std::uint8_t* theOutput,
                std::uint64_t thePixel)
{
    for (std::uint64_t s = 0; s < 3; ++s)
    {
        if (theWidth == OutputWidth::EightBits)
        {
            theOutput[thePixel * 3 + s] = static_cast<std::uint8_t>(theRGB[s] >> 8);
        }
        else
        {
            PixelSample::Write(theOutput, thePixel * 3 + s, theRGB[s]);
        }
    }
}

void ConvertYBRFull8(const Renderable& theRenderable, bool isPlanar, const std::uint8_t* theInput,
                     std::uint8_t* theOutput, std::uint64_t thePixels)
{
    const std::uint8_t aBias = theRenderable.isSigned() ? 0x80 : 0;
    if (isPlanar)
    {
        ColourKernels::ConvertYBRFullPlanes(theInput, theInput + thePixels, theInput + 2 * thePixels,
                                            theOutput, thePixels, aBias);
    }
    else
    {
        ColourKernels::ConvertYBRFull(theInput, theOutput, thePixels, aBias);
    }
}

void ConvertYBRFull16(const WordSamples& theLayout, OutputWidth theWidth, const std::uint8_t* theInput,
                      std::uint8_t* theOutput, std::uint64_t thePixels)
{
    if (theWidth == OutputWidth::EightBits)
    {
        ColourKernels::ConvertYBRFullWords(theInput, theOutput, thePixels, theLayout);
        return;
    }
    for (std::uint64_t p = 0; p < thePixels; ++p)
    {
        std::uint16_t anRGB[3];
        theLayout.PixelToRGB(theInput, p, anRGB);
        WriteWords(anRGB, theWidth, theOutput, p);
    }
}

/// Rare: by the plain formula.
void ConvertYBRFull422With16(const WordSamples& theLayout, OutputWidth theWidth, const std::uint8_t* theInput,
                             std::uint8_t* theOutput, std::uint64_t theGroups)
{
    for (std::uint64_t g = 0; g < theGroups; ++g)
    {
        const std::uint16_t aCb = theLayout.Read(theInput, 4 * g + 2);
        const std::uint16_t aCr = theLayout.Read(theInput, 4 * g + 3);
        for (std::uint64_t i = 0; i < 2; ++i)
        {
            std::uint16_t anRGB[3];
            theLayout.ToRGB(theLayout.Read(theInput, 4 * g + i), aCb, aCr, anRGB);
            WriteWords(anRGB, theWidth, theOutput, 2 * g + i);
        }
    }
}

/// Bits that a conversion leaves allocated, and the byte order that goes with what it wrote.
std::int16_t GetOutputBits(const Renderable& theRenderable, OutputWidth theWidth)
{
    return theWidth == OutputWidth::AsInput ? theRenderable.getBitsAllocated() : std::int16_t{8};
}

void SetNativeOrder(Renderable& theRenderable)
{
    if (theRenderable.getBitsAllocated() > 8)
    {
        theRenderable.setPixelDataLittleEndian(DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER);
    }
}

void ConvertYBRFull(const char* theOperation, Renderable& theRenderable, OutputWidth theWidth)
{
    const ConversionChecks aChecks(theOperation);
    aChecks.CheckInterpretation(theRenderable, Renderable::YBR_FULL);
    aChecks.CheckSamplesPerPixel(theRenderable);
    aChecks.CheckBitsAllocated(theRenderable);
    const std::uint64_t aPixels = aChecks.GetPixelCount(theRenderable);
    aChecks.CheckBufferSize(theRenderable, theRenderable.getPixelData(), theRenderable.getPixelDataSize(),
                            aPixels * 3);

    const bool isPlanar = theRenderable.isPlanarConfiguration();
    const bool isWide = theRenderable.getBitsAllocated() == 16;
    const WordSamples aLayout = GetWordSamples(theRenderable, aPixels);
    RenderableConversion aConversion(theRenderable);
    std::uint8_t* const anOutput = aConversion.AllocateRGB(aPixels, GetOutputBits(theRenderable, theWidth));
    if (isWide)
    {
        ConvertYBRFull16(aLayout, theWidth, aConversion.GetInput(), anOutput, aPixels);
    }
    else
    {
        ConvertYBRFull8(theRenderable, isPlanar, aConversion.GetInput(), anOutput, aPixels);
    }
    SetNativeOrder(theRenderable);
    aConversion.ReleaseInput();
}

/// Checks that two luminance samples share each pair of chrominance samples; returns the pixel count.
std::uint64_t Check422(const ConversionChecks& theChecks, const Renderable& theRenderable)
{
    theChecks.CheckInterpretation(theRenderable, Renderable::YBR_FULL_422);
    theChecks.CheckSamplesPerPixel(theRenderable);
    theChecks.CheckBitsAllocated(theRenderable);
    if (theRenderable.isPlanarConfiguration())
    {
        theChecks.Fail("Renderable in planar format is not valid for YBR_FULL_422 encoding");
    }
    const std::uint64_t aPixels = theChecks.GetPixelCount(theRenderable);
    const std::uint64_t aBytesPerSample = (static_cast<unsigned>(theRenderable.getBitsAllocated()) + 7) / 8;
    const std::uint64_t aSize = theRenderable.getPixelDataSize();
    if (aPixels % 2 != 0 || aSize % (2 * aBytesPerSample) != 0 || aSize / (2 * aBytesPerSample) != aPixels)
    {
        theChecks.Fail("Renderable contains incorrect number of samples for YBR_FULL_422 encoding");
    }
    theChecks.CheckBufferSize(theRenderable, theRenderable.getPixelData(), aSize, aPixels * 2);
    return aPixels;
}

void ConvertYBRFull422(const char* theOperation, Renderable& theRenderable, OutputWidth theWidth)
{
    const std::uint64_t aPixels = Check422(ConversionChecks(theOperation), theRenderable);
    const bool isWide = theRenderable.getBitsAllocated() == 16;
    const std::uint8_t aBias = theRenderable.isSigned() ? 0x80 : 0;
    const WordSamples aLayout = GetWordSamples(theRenderable, aPixels);
    RenderableConversion aConversion(theRenderable);
    std::uint8_t* const anOutput = aConversion.AllocateRGB(aPixels, GetOutputBits(theRenderable, theWidth));
    if (isWide)
    {
        ConvertYBRFull422With16(aLayout, theWidth, aConversion.GetInput(), anOutput, aPixels / 2);
    }
    else
    {
        ColourKernels::ConvertYBRFull422(aConversion.GetInput(), anOutput, aPixels / 2, aBias);
    }
    SetNativeOrder(theRenderable);
    aConversion.ReleaseInput();
}

/// The highest eight of the stored bits; fewer are moved up. What an unsigned sample has above them makes it
/// the brightest there is, not a dark one; above those of a signed one are copies of its sign.
WordReduction GetReduction(const Renderable& theRenderable)
{
    const int aBits = theRenderable.getBitsStored();
    const int aStored = aBits >= 1 && aBits <= 16 ? aBits : 16;
    const int aHighBit = theRenderable.getHighBit();
    const int aTop = aHighBit >= aStored - 1 && aHighBit <= 15 ? aHighBit : aStored - 1;
    const int aKept = std::min(aStored, 8);
    WordReduction aReduction;
    aReduction.itsIsSwapped = PixelSample::IsSwapped(theRenderable);
    aReduction.itsIsMasked = theRenderable.isSigned();
    aReduction.itsShiftDown = aTop + 1 - aKept;
    aReduction.itsMost = static_cast<std::uint16_t>((1 << aKept) - 1);
    aReduction.itsShiftUp = 8 - aKept;
    return aReduction;
}

/// Some thousand pixels at a time, which stay in the nearest cache between the two steps.
void InterleaveWords(const std::uint8_t* theInput, std::uint8_t* theOutput, std::uint64_t thePixels,
                     const WordReduction& theReduction)
{
    constexpr std::uint64_t kMost = 4096;
    std::array<std::uint8_t, 3 * kMost> aPlanes;
    for (std::uint64_t p = 0; p < thePixels; p += kMost)
    {
        const std::uint64_t aCount = std::min(kMost, thePixels - p);
        for (std::uint64_t s = 0; s < 3; ++s)
        {
            ColourKernels::ReduceWords(theInput + 2 * (s * thePixels + p), aPlanes.data() + s * aCount,
                                       aCount, theReduction);
        }
        ColourKernels::InterleavePlanes(aPlanes.data(), aPlanes.data() + aCount, aPlanes.data() + 2 * aCount,
                                        theOutput + 3 * p, aCount);
    }
}

void ConvertRGB16(const std::uint8_t* theInput, std::uint8_t* theOutput, std::uint64_t thePixels,
                  bool isPlanar, const WordReduction& theReduction)
{
    if (isPlanar)
    {
        InterleaveWords(theInput, theOutput, thePixels, theReduction);
    }
    else
    {
        ColourKernels::ReduceWords(theInput, theOutput, thePixels * 3, theReduction);
    }
}
} // namespace

void DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(DICOMDataObject& theDataSet,
                                                                Renderable& theRenderable)
{
    switch (theRenderable.getPhotometricInterpretation())
    {
    case Renderable::MONOCHROME1:
    case Renderable::MONOCHROME2:
        return;
    case Renderable::PALETTE_COLOR:
        if (theDataSet.GetRedColorPalette() == nullptr || theDataSet.GetGreenColorPalette() == nullptr ||
            theDataSet.GetBlueColorPalette() == nullptr)
        {
            CaptureAndRemoveColorPaletteAttributes(theDataSet);
        }
        return ConvertPaletteColorRenderableTo8BitRGB(theDataSet, theRenderable);
    case Renderable::RGB:
        if (theRenderable.getBitsAllocated() > 8 || theRenderable.isPlanarConfiguration())
        {
            ConvertRGBRenderableToNonPlanar8BitRGB(theRenderable);
        }
        return;
    case Renderable::YBR_FULL:
        return ConvertYBR_FULLRenderableToNonPlanar8BitRGB(theRenderable);
    case Renderable::YBR_FULL_422:
        return ConvertYBR_FULL_422RenderableTo8BitRGB(theRenderable);
    default:
        throw DLRuntimeException(
            "DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB: "
            "PhotometricInterpretation not supported: " +
            Renderable::photometricInterpretationTypeToString(theRenderable.getPhotometricInterpretation()));
    }
}

void DecompressionLibUtils::ConvertRGBRenderableToNonPlanar8BitRGB(Renderable& theRenderable)
{
    const ConversionChecks aChecks("ConvertRGBRenderableToNonPlanar8BitRGB");
    aChecks.CheckInterpretation(theRenderable, Renderable::RGB);
    aChecks.CheckSamplesPerPixel(theRenderable);
    aChecks.CheckBitsAllocated(theRenderable);
    const std::uint64_t aPixels = aChecks.GetPixelCount(theRenderable);
    aChecks.CheckBufferSize(theRenderable, theRenderable.getPixelData(), theRenderable.getPixelDataSize(),
                            aPixels * 3);

    const bool isWide = theRenderable.getBitsAllocated() == 16;
    const bool isPlanar = theRenderable.isPlanarConfiguration();
    if (!isWide && !isPlanar)
    {
        return;
    }
    const WordReduction aReduction = GetReduction(theRenderable);
    RenderableConversion aConversion(theRenderable);
    const std::uint8_t* const anInput = aConversion.GetInput();
    std::uint8_t* const anOutput = aConversion.AllocateRGB(aPixels, 8);
    if (isWide)
    {
        ConvertRGB16(anInput, anOutput, aPixels, isPlanar, aReduction);
    }
    else
    {
        ColourKernels::InterleavePlanes(anInput, anInput + aPixels, anInput + 2 * aPixels, anOutput, aPixels);
    }
    aConversion.ReleaseInput();
}

void DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanar8BitRGB(Renderable& theRenderable)
{
    ConvertYBRFull("ConvertYBR_FULLRenderableToNonPlanar8BitRGB", theRenderable, OutputWidth::EightBits);
}

void DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanarRGB(Renderable& theRenderable)
{
    ConvertYBRFull("ConvertYBR_FULLRenderableToNonPlanarRGB", theRenderable, OutputWidth::AsInput);
}

void DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB(Renderable& theRenderable)
{
    ConvertYBRFull422("ConvertYBR_FULL_422RenderableTo8BitRGB", theRenderable, OutputWidth::EightBits);
}

void DecompressionLibUtils::ConvertYBR_FULL_422RenderableToRGB(Renderable& theRenderable)
{
    ConvertYBRFull422("ConvertYBR_FULL_422RenderableToRGB", theRenderable, OutputWidth::AsInput);
}

void DecompressionLibUtils::Planar2RGB(void** thePlanes, void* theOutput, std::uint64_t thePixelCount,
                                       int theBytesPerSample)
{
    if (theBytesPerSample != 1 && theBytesPerSample != 2)
    {
        throw DLRuntimeException("DecompressionLibUtils::Planar2RGB: samples of " +
                                 std::to_string(theBytesPerSample) + " bytes - not supported");
    }
    auto* const anOutput = static_cast<std::uint8_t*>(theOutput);
    const std::uint8_t* const aPlanes[3] = {static_cast<const std::uint8_t*>(thePlanes[0]),
                                            static_cast<const std::uint8_t*>(thePlanes[1]),
                                            static_cast<const std::uint8_t*>(thePlanes[2])};
    if (theBytesPerSample == 1)
    {
        ColourKernels::InterleavePlanes(aPlanes[0], aPlanes[1], aPlanes[2], anOutput, thePixelCount);
        return;
    }
    for (std::uint64_t p = 0; p < thePixelCount; ++p)
    {
        for (std::uint64_t s = 0; s < 3; ++s)
        {
            PixelSample::Write(anOutput, p * 3 + s, PixelSample::Read<std::uint16_t>(aPlanes[s], p, false));
        }
    }
}
