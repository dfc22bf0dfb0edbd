// SPDX-License-Identifier: Apache-2.0
#include "jni/natives/detail/StreamDecode.h"

#include <algorithm>
#include <limits>

#include "decoding/CodecTable.h"
#include "decoding/ImageType.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "image/VMMemoryAllocator.h"
#include "toolkit/io/InputStream.h"

bool StreamDecode::IsBareImage(jint theImageType, Reading theReading)
{
    return CodecTable::FindImageType(theImageType, theReading) != nullptr;
}

bool StreamDecode::IsPart10(jint theImageType)
{
    return theImageType == IMAGE_TYPE_DICOM_PART10;
}

RWCString StreamDecode::GetTransferSyntaxUID(jint theImageType, bool isLossless, Reading theReading)
{
    const CodecRow* const aRow = CodecTable::FindBareStream(theImageType, isLossless, theReading);
    return aRow != nullptr ? aRow->itsUID : ""; // null only where extensions were switched off meanwhile
}

StreamDecode::StreamDecode(InputStream& theStream, const Arguments& theArguments)
    : itsStream(theStream), itsUnmeasured(theStream), itsSource(theStream)
{
    MakeRequest(theArguments);
    itsRequest->setReading(theArguments.itsReading);
}

void StreamDecode::MakeRequest(const Arguments& theArguments)
{
    if (IsPart10(theArguments.itsImageType))
    {
        itsRequest = std::make_unique<DecompressionRequest>(
            &itsUnmeasured, theArguments.itsDataSet, theArguments.itsDemoFile,
            theArguments.itsLoadDemoInfoFlag, theArguments.itsScaleFactor, theArguments.itsFrameIndex, "",
            false);
        itsDecompressor =
            std::make_unique<DICOMPart10StreamDecompressor>(VMMemoryAllocator::itsDefaultInstance);
        return;
    }
    itsRequest = std::make_unique<DecompressionRequest>(
        &itsSource, theArguments.itsDataSet, theArguments.itsDemoFile, theArguments.itsLoadDemoInfoFlag,
        theArguments.itsScaleFactor, 0,
        GetTransferSyntaxUID(theArguments.itsImageType, theArguments.itsLossless, theArguments.itsReading),
        false);
    itsDecompressor =
        std::make_unique<CompressedImageStreamDecompressor>(VMMemoryAllocator::itsDefaultInstance);
}

StreamDecode::~StreamDecode() = default;

void StreamDecode::Run(DecompressionResult& theResult)
{
    itsRequest->setSourceLength(static_cast<std::uint32_t>(
        std::clamp<long long>(itsStream.Length(), 0, std::numeric_limits<std::uint32_t>::max())));
    itsDecompressor->Decompress(*itsRequest, theResult);
}
