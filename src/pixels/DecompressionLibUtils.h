// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Reading.h"

class DICOMDataObject;
class DecompressionResult;
class MVRFactory;
class Renderable;
class VR;

/// Stateless operations on decoded images and the data sets that describe them.
///
/// One class, spread over files by topic: colour conversion (ColourConversion.cpp, PaletteConversion.cpp),
/// pixel statistics (PixelStatistics.cpp), byte operations and messages (ByteOperations.cpp), and data-set
/// fix-up (dicomfix/). Safe to call from several threads on different objects. Failures are
/// DLRuntimeExceptions with the texts named at each topic.
class QUORIX_API DecompressionLibUtils
{
public:
    DecompressionLibUtils() = delete;

    /// @name Colour conversion
    /// In place, to what viewers accept: interleaved 8-bit RGB. Formulas: PS3.3 C.7.6.3.1.2, in single
    /// precision, truncated toward zero and clamped. Signed samples are converted as if the lowest value
    /// were 0, and stay signed. Samples of 16 bits are read in the byte order that the Renderable states. A
    /// Renderable that does not meet a conversion's conditions, or for which there is no memory, is left as
    /// it was; the palette conversion has its own rule.
    /// @{

    /// Brings theRenderable to interleaved 8-bit RGB, or leaves it alone when it is greyscale or already
    /// that. The conversion takes its buffer from the Renderable's allocator. Throws for interpretations
    /// that have no conversion.
    static void ConvertRenderableToNonPlanar8BitRGB(DICOMDataObject& theDataSet, Renderable& theRenderable);

    /// PALETTE COLOR through the palettes held by theDataSet; the result is unsigned. A width other than
    /// 8 or 16 bits leaves the Renderable without pixels; a palette that is missing or not valid leaves it
    /// described as RGB, all black.
    static void ConvertPaletteColorRenderableTo8BitRGB(DICOMDataObject& theDataSet,
                                                       Renderable& theRenderable);

    /// RGB of 16 bits allocated (the highest eight of the stored bits are kept, fewer are moved up, and
    /// unsigned samples beyond them become 255) or in planes.
    static void ConvertRGBRenderableToNonPlanar8BitRGB(Renderable& theRenderable);

    /// YBR_FULL of 8 or 16 bits, by pixel or in planes.
    static void ConvertYBR_FULLRenderableToNonPlanar8BitRGB(Renderable& theRenderable);
    /// The same, with the output as wide as the input; 16-bit results are in this machine's byte order.
    static void ConvertYBR_FULLRenderableToNonPlanarRGB(Renderable& theRenderable);

    /// YBR_FULL_422 of 8 or 16 bits: two pixels in four samples, Y1 Y2 Cb Cr.
    static void ConvertYBR_FULL_422RenderableTo8BitRGB(Renderable& theRenderable);
    /// The same, with the output as wide as the input.
    static void ConvertYBR_FULL_422RenderableToRGB(Renderable& theRenderable);

    /// Interleaves three colour planes of thePixelCount samples of theBytesPerSample (1 or 2) bytes each
    /// into theOutput, which holds 3 × thePixelCount samples. No overlap. Throws for another width.
    static void Planar2RGB(void** thePlanes, void* theOutput, std::uint64_t thePixelCount,
                           int theBytesPerSample);

    /// @}
    /// @name Pixel statistics
    /// Of greyscale images. They read no further than the buffer reaches.
    /// @{

    /// Value range, sign-extended into the unsigned outputs. Samples equal to thePaddingValue are left
    /// out unless it is 0. isBurnInRemoved: go on with AdjustMinMaxToRemoveBurnIns.
    static void CalculateMinMax(Renderable& theRenderable, unsigned int thePaddingValue, unsigned int& theMin,
                                unsigned int& theMax, bool isBurnInRemoved, float thePercent,
                                int theMinimumShift);

    /// Moves either end of the range inwards past thePercent of the pixels, if that moves it by more than
    /// theMinimumShift grey levels.
    static void AdjustMinMaxToRemoveBurnIns(Renderable& theRenderable, unsigned int& theMin,
                                            unsigned int& theMax, float thePercent, int theMinimumShift);

    /// Counts per value, signed values biased by half the range; at least 65536 (16-bit) or 256 bins. The
    /// array belongs to the caller (delete[]). Null for images of several samples per pixel.
    static std::uint32_t* CalculateHistogram(Renderable& theRenderable);

    /// @}

    /// Stores the first byte of each pair into the second. Deliberately no exchange, and deliberately one
    /// pair more than rows × columns: theData must have two bytes of slack behind its samples.
    static void SwapBytes(void* theData, int theRows, int theColumns);

    /// Adds an offset to every 16-bit (in this machine's byte order) or every 8-bit sample, wrapping.
    /// @{
    static void ApplyOffset(void* theData, std::uint64_t theSizeInBytes, std::int16_t theOffset);
    static void ApplyOffset(void* theData, std::uint64_t theSizeInBytes, std::int8_t theOffset);
    /// @}

    /// printf-style formatting, cut at 1024 characters.
    static void ErrMessage(RWCString& theOutput, const char* theFormat, ...)
        __attribute__((format(printf, 2, 3)));

    /// @name Data-set fix-up
    /// @{

    /// Makes theDataSet describe the decoded pixels of theRenderable and, for lossy input, record its
    /// history. thePixelVR (may be null) receives type code OB or OW, and the pixels its byte order.
    /// theCompression: "JPG", "JP2" (any case) or empty. isMarkedReconstituted: also write the private
    /// reconstitution mark. Always true; toolkit exceptions pass through. theResult is not used.
    static bool FixupDICOMObjectFromRenderable(DICOMDataObject* theDataSet, Renderable* theRenderable,
                                               MVRFactory& theFactory, VR* thePixelVR,
                                               const RWCString& theCompression, bool isMarkedReconstituted,
                                               DecompressionResult& theResult);

    /// The same in either reading. By meaning a history that the data set tells already, of an earlier decode
    /// into it or as the file has it, is not told again, and there is one reconstitution mark.
    static bool FixupDICOMObjectFromRenderable(DICOMDataObject* theDataSet, Renderable* theRenderable,
                                               MVRFactory& theFactory, VR* thePixelVR,
                                               const RWCString& theCompression, bool isMarkedReconstituted,
                                               Reading theReading);

    /// Moves the colour palette from the attributes into the data set's palette objects; a channel that
    /// makes no sense becomes null. All palette attributes are removed.
    static void CaptureAndRemoveColorPaletteAttributes(DICOMDataObject& theDataSet);

    /// Writes the private mark that says that this library made the pixels.
    static void MarkReconstituted(DICOMDataObject* theDataSet);

    /// @}
};
