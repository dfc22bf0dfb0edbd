// SPDX-License-Identifier: Apache-2.0
// A bare JPEG or JPEG 2000 image, with or without a data set, in both readings.
#include "RequestRuns.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "support/ByteSource.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/TransferSyntaxType.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const char* const kSyntaxes[] = {TransferSyntaxType::TSJPEG50UID, TransferSyntaxType::TSJPEG51UID,
                                     TransferSyntaxType::TSJPEG70UID, TransferSyntaxType::TSJPEG2KUID,
                                     TransferSyntaxType::TSJPEG2KLosslessUID};
    const RWCString aUID = anInput.TakeOne(kSyntaxes);
    const int aKind = anInput.TakeNumber(0, 5);
    const int aScale = aKind % 3 + 1;
    const bool isUnsigned = anInput.TakeFlag();
    const bool hasDataSet = anInput.TakeFlag();
    const int aLargestRead = anInput.TakeFlag() ? 7 : 1 << 20;
    const Bytes aStream = anInput.GetRest();
    for (const Reading aReading : {Reading::BY_CONTRACT, Reading::BY_MEANING})
    {
        RunRequestTwice(
            [&](MemoryAllocater& theAllocator, DecompressionResult& theResult)
            {
                DICOMDataObject aDataSet;
                ByteSource aSource(aStream, aLargestRead);
                DecompressionRequest aRequest(&aSource, hasDataSet ? &aDataSet : nullptr, "", false, aScale,
                                              0, aUID, isUnsigned);
                aRequest.setSourceLength(static_cast<std::uint32_t>(aStream.size()));
                aRequest.setReading(aReading);
                if (aKind >= 3)
                {
                    aRequest.setRegion(RegionFrom(aStream));
                }
                CompressedImageStreamDecompressor(theAllocator).Decompress(aRequest, theResult);
            });
    }
    return 0;
}
