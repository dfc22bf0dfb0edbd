// SPDX-License-Identifier: Apache-2.0
// Colour conversion, palettes from a data set among them, and pixel statistics. The data set's elements are
// the pixels, too.
#include <memory>

#include "DataSetBytes.h"
#include "FuzzImage.h"
#include "pixels/DecompressionLibUtils.h"

namespace
{
void RunStatistics(FuzzInput& theInput, Renderable& theImage)
{
    const unsigned aPadding = theInput.TakeByte();
    const auto aPercent = static_cast<float>(theInput.TakeNumber(-1, 101));
    unsigned aLowest = 0;
    unsigned aHighest = 0;
    DecompressionLibUtils::CalculateMinMax(theImage, aPadding, aLowest, aHighest, theInput.TakeFlag(),
                                           aPercent, theInput.TakeNumber(-1, 50));
    aLowest = theInput.TakeByte() * 0x01000101u;
    aHighest = theInput.TakeByte() * 0x01000101u;
    DecompressionLibUtils::AdjustMinMaxToRemoveBurnIns(theImage, aLowest, aHighest, aPercent, 1);
    delete[] DecompressionLibUtils::CalculateHistogram(theImage);
}

void Convert(int theOperation, DICOMDataObject& theDataSet, Renderable& theImage)
{
    switch (theOperation)
    {
    case 0:
        return DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(theDataSet, theImage);
    case 1:
        return DecompressionLibUtils::ConvertRGBRenderableToNonPlanar8BitRGB(theImage);
    case 2:
        return DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanar8BitRGB(theImage);
    case 3:
        return DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanarRGB(theImage);
    case 4:
        return DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB(theImage);
    case 5:
        return DecompressionLibUtils::ConvertYBR_FULL_422RenderableToRGB(theImage);
    default:
        return DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(theDataSet, theImage);
    }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const int anOperation = anInput.TakeNumber(0, 8);
    const bool hasStatistics = anInput.TakeFlag();
    const bool hasPalettesInMemory = anInput.TakeFlag();
    FuzzAllocator anAllocator;
    FuzzInput aRest = anInput;
    const std::unique_ptr<Renderable> anImage = MakeFuzzImage(aRest, anInput.GetRest(), anAllocator);
    DICOMDataObject aDataSet;
    ReadDataSet(aRest.GetRest(), aDataSet, anAllocator);
    if (hasPalettesInMemory)
    {
        DecompressionLibUtils::CaptureAndRemoveColorPaletteAttributes(aDataSet);
    }
    if (hasStatistics)
    {
        RunStatistics(aRest, *anImage);
    }
    try
    {
        Convert(anOperation, aDataSet, *anImage);
        RunStatistics(aRest, *anImage);
    }
    catch (const ExceptionBase& anException)
    {
        Require(!anException.GetMessageText().empty(), "every exception has a text");
    }
    return 0;
}
