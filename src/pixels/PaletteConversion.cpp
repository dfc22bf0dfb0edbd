// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <array>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "image/Renderable.h"
#include "pixels/detail/RenderableConversion.h"
#include "toolkit/dicom/ColorPalette.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
constexpr const char* kOperationName = "ConvertPaletteColorRenderableTo8BitRGB";

/// The three channels in the order R, G, B; any may be null.
using Palettes = std::array<const ColorPalette*, 3>;

/// The colour of one index: R, G, B and an unused byte, so that colours can be moved as one word.
using Colour = std::array<std::uint8_t, 4>;

/// The first channel at fault decides the text.
RWCString DescribeFault(const Palettes& thePalettes)
{
    constexpr std::array<const char*, 3> kChannels = {"Red", "Green", "Blue"};
    for (std::size_t c = 0; c < kChannels.size(); ++c)
    {
        if (thePalettes[c] == nullptr)
        {
            return RWCString(kChannels[c]) + " palette is null (unavailable)";
        }
        if (!thePalettes[c]->IsValid())
        {
            return RWCString(kChannels[c]) + " palette is not valid";
        }
    }
    return "";
}

template <class Index>
std::uint8_t MapIndex(const ColorPalette& thePalette, Index theIndex)
{
    // 8-bit entries held in 16-bit words already are what is wanted; others give their high byte.
    const int aShift = thePalette.isBitsEncodedBitsDiffers() ? 0 : 8;
    if constexpr (std::is_signed_v<Index>)
    {
        return static_cast<std::uint8_t>(thePalette.MapSignedPixel(theIndex) >> aShift);
    }
    else
    {
        return static_cast<std::uint8_t>(thePalette.MapUnsignedPixel(theIndex) >> aShift);
    }
}

/// The colours of all indices, at their bit patterns.
template <class Index>
std::vector<Colour> MakeColourTable(const Palettes& thePalettes)
{
    using Pattern = std::make_unsigned_t<Index>;
    std::vector<Colour> aTable(std::size_t{std::numeric_limits<Pattern>::max()} + 1);
    for (std::size_t i = 0; i < aTable.size(); ++i)
    {
        const auto anIndex = static_cast<Index>(static_cast<Pattern>(i));
        aTable[i] = {MapIndex(*thePalettes[0], anIndex), MapIndex(*thePalettes[1], anIndex),
                     MapIndex(*thePalettes[2], anIndex), 0};
    }
    return aTable;
}

template <class Index>
void MapPixels(const Palettes& thePalettes, const std::uint8_t* theInput, std::uint8_t* theOutput,
               std::uint64_t thePixels, bool isSwapped)
{
    using Pattern = std::make_unsigned_t<Index>;
    const std::vector<Colour> aTable = MakeColourTable<Index>(thePalettes);
    for (std::uint64_t p = 0; p < thePixels; ++p)
    {
        const Colour& aColour = aTable[PixelSample::Read<Pattern>(theInput, p, isSwapped)];
        // The fourth byte belongs to the next pixel, which comes later; the last pixel has none.
        std::memcpy(theOutput + 3 * p, aColour.data(), p + 1 < thePixels ? 4 : 3);
    }
}

void MapAllPixels(const Palettes& thePalettes, const std::uint8_t* theInput, std::uint8_t* theOutput,
                  std::uint64_t thePixels, int theBits, bool isSigned, bool isSwapped)
{
    if (theBits == 8)
    {
        const auto map = isSigned ? MapPixels<std::int8_t> : MapPixels<std::uint8_t>;
        map(thePalettes, theInput, theOutput, thePixels, false);
    }
    else
    {
        const auto map = isSigned ? MapPixels<std::int16_t> : MapPixels<std::uint16_t>;
        map(thePalettes, theInput, theOutput, thePixels, isSwapped);
    }
}

/// The checks that come after the index buffer has been taken out: a failure leaves the Renderable
/// without pixels, deliberately, as callers know it.
std::uint64_t CheckIndices(const ConversionChecks& theChecks, const Renderable& theRenderable,
                           RenderableConversion& theConversion)
{
    try
    {
        theChecks.CheckBitsAllocated(theRenderable);
        const std::uint64_t aPixels = theChecks.GetPixelCount(theRenderable);
        theChecks.CheckBufferSize(theRenderable, theConversion.GetInput(), theConversion.GetInputSize(),
                                  aPixels);
        return aPixels;
    }
    catch (...)
    {
        theConversion.ReleaseInput();
        throw;
    }
}
} // namespace

void DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(DICOMDataObject& theDataSet,
                                                                   Renderable& theRenderable)
{
    const ConversionChecks aChecks(kOperationName);
    aChecks.CheckInterpretation(theRenderable, Renderable::PALETTE_COLOR);
    RenderableConversion aConversion(theRenderable);
    const std::uint64_t aPixels = CheckIndices(aChecks, theRenderable, aConversion);
    const int aBits = theRenderable.getBitsAllocated();
    const bool isSigned = theRenderable.isSigned();

    // The Renderable is described anew before any palette is looked at: callers rely on that order.
    theRenderable.setSigned(false);
    std::uint8_t* const anOutput = aConversion.AllocateRGB(aPixels, 8);
    const Palettes aPalettes = {theDataSet.GetRedColorPalette(), theDataSet.GetGreenColorPalette(),
                                theDataSet.GetBlueColorPalette()};
    const RWCString aFault = DescribeFault(aPalettes);
    if (!aFault.empty())
    {
        std::memset(anOutput, 0, theRenderable.getPixelDataSize());
        aConversion.ReleaseInput();
        aChecks.Fail(aFault);
    }
    MapAllPixels(aPalettes, aConversion.GetInput(), anOutput, aPixels, aBits, isSigned,
                 PixelSample::IsSwapped(theRenderable));
    aConversion.ReleaseInput();
}
