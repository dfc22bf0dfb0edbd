// SPDX-License-Identifier: Apache-2.0
// A DICOM file to an image.
#include "RequestRuns.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const int aFrame = anInput.TakeNumber(-1, 3);
    const int aKind = anInput.TakeNumber(0, 5);
    const int aScale = aKind % 3 + 1;
    const bool isUnsigned = anInput.TakeFlag();
    const bool hasDataSet = anInput.TakeFlag();
    const Bytes aFile = anInput.GetRest();
    RunRequestTwice(
        [&](MemoryAllocater& theAllocator, DecompressionResult& theResult)
        {
            DICOMDataObject aDataSet;
            MemoryInputStream aStream(aFile.data(), aFile.size());
            DecompressionRequest aRequest(&aStream, hasDataSet ? &aDataSet : nullptr, "", false, aScale,
                                          aFrame, "", isUnsigned);
            if (aKind >= 3)
            {
                aRequest.setRegion(RegionFrom(aFile));
            }
            DICOMPart10StreamDecompressor(theAllocator).Decompress(aRequest, theResult);
        });
    return 0;
}
