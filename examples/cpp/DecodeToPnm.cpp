// SPDX-License-Identifier: Apache-2.0
// A file to pixels: decodes one frame of a DICOM, JPEG or JPEG 2000 file and writes it as PGM or PPM.
//
//     DecodeToPnm INPUT OUTPUT [FRAME]
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "quorix/decode.h"

namespace
{
/// The sample as an unsigned number of Bits Stored bits. PGM knows no sign, so half the range is added to
/// signed samples.
unsigned ToUnsigned(const quorix::Image& theImage, unsigned theSample)
{
    const int aBitsStored = theImage.bitsStored();
    const unsigned aMask = (1u << aBitsStored) - 1u;
    const unsigned aHalf = theImage.isSigned() ? 1u << (aBitsStored - 1) : 0u;
    return ((theSample >> (theImage.highBit() + 1 - aBitsStored)) ^ aHalf) & aMask;
}

/// The samples as PNM wants them: one byte each up to 8 bits, else two with the high one first.
std::string GetSamples(const quorix::Image& theImage)
{
    const quorix::ByteView aData = theImage.pixels();
    std::string aText;
    aText.reserve(aData.size());
    if (theImage.bitsAllocated() == 8)
    {
        for (const unsigned char aSample : aData)
        {
            aText += static_cast<char>(ToUnsigned(theImage, aSample));
        }
        return aText;
    }
    const std::size_t aHighByte = theImage.isLittleEndian() ? 1 : 0;
    for (std::size_t i = 0; i + 1 < aData.size(); i += 2)
    {
        const unsigned aSample = ToUnsigned(theImage, aData[i + aHighByte] * 256u + aData[i + 1 - aHighByte]);
        if (theImage.bitsStored() > 8)
        {
            aText += static_cast<char>(aSample >> 8);
        }
        aText += static_cast<char>(aSample);
    }
    return aText;
}

bool WriteImage(const quorix::Image& theImage, const char* thePath)
{
    if (theImage.bitsAllocated() != 8 && theImage.bitsAllocated() != 16)
    {
        std::cerr << "samples of " << theImage.bitsAllocated() << " bits are not shown here\n";
        return false;
    }
    std::ofstream aFile(thePath, std::ios::binary);
    // Colour always comes as RGB, by pixel.
    aFile << (theImage.samplesPerPixel() == 3 ? "P6" : "P5") << '\n'
          << theImage.columns() << ' ' << theImage.rows() << '\n'
          << (1 << theImage.bitsStored()) - 1 << '\n'
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
    quorix::DecodeOptions anOptions;
    anOptions.frame = theCount == 4 ? std::atoi(theArguments[3]) : 0;
    const quorix::Image anImage = quorix::decode(theArguments[1], anOptions);
    std::cout << anImage.columns() << " x " << anImage.rows() << ", "
              << anImage.photometricInterpretationName() << ", compressed " << anImage.compressionRatio()
              << ":1\n";
    return WriteImage(anImage, theArguments[2]) ? EXIT_SUCCESS : EXIT_FAILURE;
}
catch (const quorix::DecodeError& anError)
{
    std::cerr << "code " << anError.code() << ": " << anError.what() << '\n';
    return EXIT_FAILURE;
}
catch (const std::exception& anException)
{
    std::cerr << anException.what() << '\n';
    return EXIT_FAILURE;
}
