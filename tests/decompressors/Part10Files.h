// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/DicomBuilder.h"
#include "support/JpegFixtures.h"
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
                    const Bytes& thePixels, const std::string& theVR)
{
    DicomBuilder aBuilder(theSyntax);
    const auto aBits = static_cast<std::uint16_t>(theBits);
    aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theSamples), theInterpretation,
                                static_cast<std::uint16_t>(theRows), static_cast<std::uint16_t>(theColumns),
                                aBits, aBits, static_cast<std::uint16_t>(thePixelRepresentation));
    return aBuilder.AddNativePixelData(thePixels, theVR).Build();
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
    std::vector<Bytes> aFragments = theFrames;
    for (Bytes& aFragment : aFragments)
    {
        if (aFragment.size() % 2 != 0)
        {
            aFragment.push_back(0);
        }
    }
    return aBuilder.AddEncapsulatedPixelData(aFragments).Build();
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
/// One RLE frame: a segment for each byte plane, every plane as literal runs.
inline Bytes RleFrame(const std::vector<Bytes>& thePlanes)
{
    Bytes aHeader(64);
    aHeader[0] = static_cast<std::uint8_t>(thePlanes.size());
    Bytes aBody;
    for (std::size_t i = 0; i < thePlanes.size(); ++i)
    {
        const std::size_t anOffset = 64 + aBody.size();
        aHeader[4 + 4 * i] = static_cast<std::uint8_t>(anOffset & 255);
        aHeader[5 + 4 * i] = static_cast<std::uint8_t>(anOffset >> 8);
        for (std::size_t j = 0; j < thePlanes[i].size(); j += 128)
        {
            const std::size_t aCount = std::min<std::size_t>(128, thePlanes[i].size() - j);
            aBody.push_back(static_cast<std::uint8_t>(aCount - 1));
            aBody.insert(aBody.end(), thePlanes[i].begin() + static_cast<std::ptrdiff_t>(j),
                         thePlanes[i].begin() + static_cast<std::ptrdiff_t>(j + aCount));
        }
        if (aBody.size() % 2 != 0)
        {
            aBody.push_back(0);
        }
    }
    aHeader.insert(aHeader.end(), aBody.begin(), aBody.end());
    return aHeader;
}
} // namespace Part10Files
