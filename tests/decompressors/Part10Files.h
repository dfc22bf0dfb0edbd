// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "support/DicomBuilder.h"
#include "support/Jpeg2000Streams.h"
#include "support/JpegFixtures.h"
#include "support/RleEncoder.h"
#include "toolkit/dicom/TransferSyntaxType.h"

/// Small Part 10 files for tests of decompressors.
namespace Part10Files
{
using Bytes = DicomBuilder::Bytes;

inline Bytes Counting(std::size_t theCount, unsigned theFirst = 0)
{
    Bytes aBytes(theCount);
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aBytes[i] = static_cast<std::uint8_t>(theFirst + i);
    }
    return aBytes;
}

/// theCount pixels of the same value.
inline Bytes Flat(const Bytes& thePixel, int theCount)
{
    Bytes aBytes;
    for (int i = 0; i < theCount; ++i)
    {
        aBytes.insert(aBytes.end(), thePixel.begin(), thePixel.end());
    }
    return aBytes;
}

/// 8-bit grey, 2 rows × 3 columns, one frame after the other counting up from 0.
inline Bytes Grey8(int theFrames = 1)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8, 0, theFrames);
    aBuilder.AddNativePixelData(Counting(6 * static_cast<std::size_t>(theFrames)), "OB");
    return aBuilder.Build();
}

/// Native pixels of any kind.
inline Bytes Native(DicomBuilder::Syntax theSyntax, int theSamples, const std::string& theInterpretation,
                    int theRows, int theColumns, int theBits, int thePixelRepresentation,
                    const Bytes& thePixels, const std::string& theVR, std::uint16_t thePlanar = 0)
{
    DicomBuilder aBuilder(theSyntax);
    const auto aBits = static_cast<std::uint16_t>(theBits);
    aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theSamples), theInterpretation,
                                static_cast<std::uint16_t>(theRows), static_cast<std::uint16_t>(theColumns),
                                aBits, aBits, static_cast<std::uint16_t>(thePixelRepresentation));
    if (thePlanar != 0)
    {
        aBuilder.AddUS(DICOMTags::PlanarConfiguration, {thePlanar}); // the last one counts
    }
    return aBuilder.AddNativePixelData(thePixels, theVR).Build();
}

inline Bytes Even(Bytes theBytes)
{
    theBytes.resize((theBytes.size() + 1) / 2 * 2);
    return theBytes;
}

/// Encapsulated frames, one fragment each, of images with the spec's size and bits.
inline Bytes Encapsulated(const std::string& theUID, const JpegSpec& theSpec,
                          const std::string& theInterpretation, const std::vector<Bytes>& theFrames,
                          int theBitsStored = 0, int thePixelRepresentation = 0)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, theUID);
    const int aBitsStored = theBitsStored != 0 ? theBitsStored : theSpec.itsPrecision;
    aBuilder.AddImageAttributes(
        static_cast<std::uint16_t>(theSpec.itsComponents), theInterpretation,
        static_cast<std::uint16_t>(theSpec.itsHeight), static_cast<std::uint16_t>(theSpec.itsWidth),
        aBitsStored > 8 ? 16 : 8, static_cast<std::uint16_t>(aBitsStored),
        static_cast<std::uint16_t>(thePixelRepresentation), static_cast<int>(theFrames.size()));
    std::vector<Bytes> aFragments;
    std::transform(theFrames.begin(), theFrames.end(), std::back_inserter(aFragments), Even);
    return aBuilder.AddEncapsulatedPixelData(aFragments).Build();
}

/// Frames of the size of Jpeg2000Streams::Grey12, in a file that says what it likes of them.
inline Bytes GreyJpeg2000(const std::vector<Bytes>& theFrames, int theBitsStored = 12, int theIsSigned = 1)
{
    return Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID,
                        {.itsWidth = Jpeg2000Streams::kGreyWidth, .itsHeight = Jpeg2000Streams::kGreyHeight},
                        "MONOCHROME2", theFrames, theBitsStored, theIsSigned);
}

/// 1 × 4 pixels of indices into a table of four colours.
inline DicomBuilder PaletteImage(const std::string& theUID = "")
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, theUID);
    aBuilder.AddImageAttributes(1, "PALETTE COLOR", 1, 4, 8, 8);
    for (const DICOMTag aTag :
         {DICOMTags::RedPaletteColorLookupTableDescriptor, DICOMTags::GreenPaletteColorLookupTableDescriptor,
          DICOMTags::BluePaletteColorLookupTableDescriptor})
    {
        aBuilder.AddUS(aTag, {4, 0, 16});
    }
    aBuilder.AddBytes(DICOMTags::RedPaletteColorLookupTableData, "OW", {0, 10, 0, 11, 0, 12, 0, 13});
    aBuilder.AddBytes(DICOMTags::GreenPaletteColorLookupTableData, "OW", {0, 20, 0, 21, 0, 22, 0, 23});
    aBuilder.AddBytes(DICOMTags::BluePaletteColorLookupTableData, "OW", {0, 30, 0, 31, 0, 32, 0, 33});
    return aBuilder;
}

/// One RLE frame: a segment for each byte plane.
inline Bytes RleFrame(std::vector<Bytes> thePlanes)
{
    for (Bytes& aPlane : thePlanes)
    {
        aPlane = RleEncoder::PackBits(aPlane);
    }
    return RleEncoder::Frame(thePlanes);
}
} // namespace Part10Files
