// SPDX-License-Identifier: Apache-2.0
// Reads a DICOM file element by element, and its pixel data frame by frame, compressed or not, holding one
// frame at a time.
//
//     ReadFrames INPUT
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <numeric>
#include <vector>

#include "decompressors/DecompressingPixelInputStreamVR.h"
#include "image/VMMemoryAllocator.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/VR.h"
#include "toolkit/io/LFStream.h"

namespace
{
std::size_t GetNumber(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::uint16_t aNumber = 0;
    if (!theDataSet.GetUnsignedShort(theTag, aNumber))
    {
        throw StreamIOException("an attribute of the image is missing", DLRC_PARSE_ERROR, 0);
    }
    return aNumber;
}

void ReadPixels(const DICOMDataObject& theDataSet, PixelInputStreamVR& thePixels)
{
    const std::size_t aFrameSize = GetNumber(theDataSet, DICOMTags::Rows) *
                                   GetNumber(theDataSet, DICOMTags::Columns) *
                                   GetNumber(theDataSet, DICOMTags::SamplesPerPixel) *
                                   (GetNumber(theDataSet, DICOMTags::BitsAllocated) / 8);
    std::cout << thePixels.GetLength() << " bytes\n";
    std::vector<unsigned char> aFrame(aFrameSize);
    for (int anIndex = 0; aFrameSize != 0 && thePixels.HasMoreData(); ++anIndex)
    {
        const std::size_t aCount = thePixels.ReadFully(aFrame.data(), aFrameSize);
        if (aCount < aFrameSize)
        {
            // One byte may make the length even.
            std::cout << (thePixels.HasMoreData() || aCount > 1 ? "the frames end early\n" : "");
            break;
        }
        std::cout << "frame " << anIndex << ": sum of bytes "
                  << std::accumulate(aFrame.begin(), aFrame.end(), std::uint64_t{0}) << '\n';
    }
}

void ReadFile(const char* thePath)
{
    LFInputStream aFile(thePath, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 65536);
    if (!aFile.IsOpen())
    {
        throw StreamIOException("the file cannot be opened", DLRC_FILE_NOT_FOUND, 0);
    }
    Part10InputStreamInputStream aPart10;
    aPart10.Open(&aFile, /*close*/ false, /*lenient*/ true);
    const TransferSyntaxType* const aSyntax =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aPart10.GetTransferSyntaxUID());
    if (aSyntax == nullptr)
    {
        throw StreamIOException("the transfer syntax is not known", DLRC_PARSE_ERROR, 0);
    }
    MemoryAllocater& anAllocator = VMMemoryAllocator::GetDefaultInstance();
    DICOMDataObject aDataSet(aSyntax->GetEndian());
    const std::unique_ptr<DataSetReader> aReader = aSyntax->CreateDataSetReader(aPart10, anAllocator);
    while (std::unique_ptr<VR> anElement = aReader->Next())
    {
        if (PixelDataFragmentInputStreamVR* const aFragments = anElement->GetPixelDataFragmentInputStream())
        {
            DecompressingPixelInputStreamVR aPixels(aDataSet, *aSyntax, *aFragments, anAllocator);
            return ReadPixels(aDataSet, aPixels);
        }
        if (PixelInputStreamVR* const aPixels = anElement->GetPixelInputStream())
        {
            return ReadPixels(aDataSet, *aPixels);
        }
        aDataSet.ReplaceVR(std::move(anElement));
    }
    std::cout << "no pixel data\n";
}
} // namespace

int main(int theCount, char** theArguments)
{
    if (theCount != 2)
    {
        std::cerr << "usage: ReadFrames INPUT\n";
        return EXIT_FAILURE;
    }
    try
    {
        ReadFile(theArguments[1]);
        return EXIT_SUCCESS;
    }
    catch (const DICOMLibException& anException)
    {
        std::cerr << "code " << anException.GetResultCode() << ": " << anException.what() << '\n';
    }
    catch (const std::exception& anException)
    {
        std::cerr << anException.what() << '\n';
    }
    return EXIT_FAILURE;
}
