// SPDX-License-Identifier: Apache-2.0
// A file to pixels: decodes one frame of a DICOM file and writes it as PGM or PPM.
//
//     DecodeToPnm INPUT OUTPUT [FRAME]
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/LFInputStream.h"

namespace
{
/// The sample as an unsigned number of Bits Stored bits. PGM knows no sign, so half the range is added to
/// signed samples.
unsigned ToUnsigned(const Renderable& theImage, unsigned theSample)
{
    const int aBitsStored = theImage.getBitsStored();
    const unsigned aMask = (1u << aBitsStored) - 1u;
    const unsigned aHalf = theImage.isSigned() ? 1u << (aBitsStored - 1) : 0u;
    return ((theSample >> (theImage.getHighBit() + 1 - aBitsStored)) ^ aHalf) & aMask;
}

/// The samples as PNM wants them: one byte each up to 8 bits, else two with the high one first.
std::string GetSamples(const Renderable& theImage)
{
    const auto* const aData = static_cast<const unsigned char*>(theImage.getPixelData());
    const std::uint64_t aSize = theImage.getRequiredPixelDataBufferSize();
    std::string aText;
    aText.reserve(aSize);
    if (theImage.getBitsAllocated() == 8)
    {
        for (std::uint64_t i = 0; i < aSize; ++i)
        {
            aText += static_cast<char>(ToUnsigned(theImage, aData[i]));
        }
        return aText;
    }
    const std::uint64_t aHighByte = theImage.isPixelDataLittleEndian() ? 1 : 0;
    for (std::uint64_t i = 0; i + 1 < aSize; i += 2)
    {
        const unsigned aSample = ToUnsigned(theImage, aData[i + aHighByte] * 256u + aData[i + 1 - aHighByte]);
        if (theImage.getBitsStored() > 8)
        {
            aText += static_cast<char>(aSample >> 8);
        }
        aText += static_cast<char>(aSample);
    }
    return aText;
}

bool WriteImage(const Renderable& theImage, const char* thePath)
{
    // Colour always comes as RGB of 8 bits, by pixel.
    const bool isColour = theImage.getSamplesPerPixel() == 3;
    if (theImage.getBitsAllocated() != 8 && theImage.getBitsAllocated() != 16)
    {
        std::cerr << "samples of " << theImage.getBitsAllocated() << " bits are not shown here\n";
        return false;
    }
    std::ofstream aFile(thePath, std::ios::binary);
    aFile << (isColour ? "P6" : "P5") << '\n'
          << theImage.getColumns() << ' ' << theImage.getRows() << '\n'
          << (1 << theImage.getBitsStored()) - 1 << '\n'
          << GetSamples(theImage);
    aFile.close();
    if (!aFile)
    {
        std::cerr << thePath << " cannot be written\n";
    }
    return static_cast<bool>(aFile);
}
} // namespace

int main(int theCount, char** theArguments)
try
{
    if (theCount != 3 && theCount != 4)
    {
        std::cerr << "usage: DecodeToPnm INPUT OUTPUT [FRAME]\n";
        return EXIT_FAILURE;
    }
    const int aFrame = theCount == 4 ? std::atoi(theArguments[3]) : 0;
    LFInputStream aFile(theArguments[1], LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 65536);
    if (!aFile.IsOpen())
    {
        std::cerr << theArguments[1] << " cannot be opened\n";
        return EXIT_FAILURE;
    }
    DICOMDataObject aDataSet; // receives the file's attributes, which then describe the decoded pixels
    DecompressionRequest aRequest(&aFile, &aDataSet, "", false, /*scale*/ 1, aFrame, "", false);
    DecompressionResult aResult; // owns the image
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    if (aResult.getRenderable() == nullptr)
    {
        std::cerr << "code " << aResult.getDCMLibResultCode() << ": " << aResult.getMessage() << '\n';
        return EXIT_FAILURE;
    }
    const Renderable& anImage = *aResult.getRenderable();
    std::cout << anImage.getColumns() << " x " << anImage.getRows() << ", "
              << Renderable::photometricInterpretationTypeToString(anImage.getPhotometricInterpretation())
              << ", compressed " << anImage.getCompressionRatio() << ":1\n";
    return WriteImage(anImage, theArguments[2]) ? EXIT_SUCCESS : EXIT_FAILURE;
}
catch (const std::exception& anException)
{
    std::cerr << anException.what() << '\n';
    return EXIT_FAILURE;
}
