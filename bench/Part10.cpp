// SPDX-License-Identifier: Apache-2.0
#include "Part10.h"

#include "Frames.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

std::unique_ptr<Renderable> DecodePart10(benchmark::State& theState, InputStream& theStream, int theFrame,
                                         const std::optional<PixelRegion>& theRegion,
                                         MemoryAllocater& thePixelAllocator)
{
    DICOMDataObject aDataSet;
    DecompressionRequest aRequest(&theStream, &aDataSet, "", false, 1, theFrame, "", false);
    aRequest.setRegion(theRegion);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor(thePixelAllocator).Decompress(aRequest, aResult);
    std::unique_ptr<Renderable> anImage(aResult.getRenderable());
    aResult.setRenderable(nullptr);
    if (!anImage)
    {
        theState.SkipWithError(aResult.getMessage().c_str());
    }
    return anImage;
}

void BenchPart10From(benchmark::State& theState, const std::string& theName, MemoryAllocater& theAllocator)
{
    const Bytes aFile = ReadInput(theName);
    std::size_t aSize = 0;
    double aHeaderTime = 0.0;
    for (auto _ : theState)
    {
        MemoryInputStream aStream(aFile.data(), aFile.size());
        const std::unique_ptr<Renderable> anImage =
            DecodePart10(theState, aStream, 0, std::nullopt, theAllocator);
        if (!anImage)
        {
            break;
        }
        aSize = anImage->getPixelDataSize();
        aHeaderTime += anImage->getTimeTakenToLoadHeader();
    }
    ReportSize(theState, aSize);
    theState.counters["header_ms"] = benchmark::Counter(aHeaderTime, benchmark::Counter::kAvgIterations);
}

void BenchPart10(benchmark::State& theState, const std::string& theName)
{
    BenchPart10From(theState, theName, VMMemoryAllocator::GetDefaultInstance());
}
