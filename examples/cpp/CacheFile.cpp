// SPDX-License-Identifier: Apache-2.0
// Decodes a DICOM file once and keeps the pixels in a cache file: the second run loads that instead.
// Reader and writer hold a lock, so that any number of processes can share the cache.
//
//     CacheFile INPUT CACHE
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>

#include "decompressors/DecompressionResult.h"
#include "decompressors/FileToRenderableDecompressor.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
/// The image of a cache file; null when there is none, or none that is in order.
std::unique_ptr<Renderable> Load(const char* theCache)
{
    if (!std::filesystem::exists(theCache))
    {
        return nullptr;
    }
    auto anImage = std::make_unique<Renderable>();
    try
    {
        anImage->loadFromFileLocked(theCache);
        return anImage;
    }
    catch (const StreamIOException& anException)
    {
        std::cerr << theCache << ": " << anException.what() << '\n';
        return nullptr;
    }
}

std::unique_ptr<Renderable> Decode(const char* theInput)
{
    DICOMDataObject aDataSet;
    DecompressionResult aResult;
    if (FileToRenderableDecompressor::DecodeFileToRenderable(theInput, "", aDataSet, IMAGE_TYPE_DICOM_PART10,
                                                             /*frame*/ 0, /*scale*/ 1, aResult,
                                                             /*lossless*/ 0) != 1)
    {
        throw StreamIOException(aResult.getMessage(), aResult.getDCMLibResultCode(),
                                aResult.getSystemErrorCode());
    }
    std::unique_ptr<Renderable> anImage(aResult.getRenderable());
    aResult.setRenderable(nullptr); // the image is ours now
    return anImage;
}
} // namespace

int main(int theCount, char** theArguments)
{
    if (theCount != 3)
    {
        std::cerr << "usage: CacheFile INPUT CACHE\n";
        return EXIT_FAILURE;
    }
    try
    {
        std::unique_ptr<Renderable> anImage = Load(theArguments[2]);
        const bool isCached = anImage != nullptr;
        if (!isCached)
        {
            anImage = Decode(theArguments[1]);
            anImage->saveToFileLocked(theArguments[2]);
        }
        std::cout << anImage->getColumns() << " x " << anImage->getRows() << ", "
                  << (isCached ? "from the cache" : "decoded and cached") << '\n';
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
