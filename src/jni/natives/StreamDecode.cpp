// SPDX-License-Identifier: Apache-2.0
#include "jni/natives/detail/StreamDecode.h"

#include <algorithm>
#include <array>
#include <limits>

#include "decoding/CodecTable.h"
#include "decoding/ImageType.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "image/VMMemoryAllocator.h"
#include "toolkit/base/CodestreamSignature.h"

namespace
{
constexpr std::size_t kPreambleLength = 128;
constexpr std::size_t kHeadLength = kPreambleLength + 4; ///< preamble and "DICM"
} // namespace

jint StreamDecode::FindType(RewindableInputStream& theStream)
{
    std::array<unsigned char, kHeadLength> aHead;
    const std::size_t aCount = theStream.ReadFully(aHead.data(), aHead.size());
    theStream.Rewind();
    return FindType(aHead.data(), aCount);
}

jint StreamDecode::FindType(const unsigned char* theBytes, std::size_t theCount)
{
    // The preamble may hold anything, the start of another kind of file included: look behind it first.
    if (theCount >= kHeadLength &&
        CodestreamSignature::Begins(theBytes + kPreambleLength, theCount - kPreambleLength, "DICM"))
    {
        return IMAGE_TYPE_DICOM_PART10;
    }
    const CodecRow* const aRow = CodecTable::Recognise(theBytes, theCount);
    return aRow != nullptr ? aRow->itsImageType : IMAGE_TYPE_DICOM_PART10;
}

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
    itsRequest->setRegion(theArguments.itsRegion);
}

void StreamDecode::MakeRequest(const Arguments& theArguments)
{
    if (IsPart10(theArguments.itsImageType))
    {
        InputStream* const aStream = theArguments.itsIsLengthCertain ? &itsStream : &itsUnmeasured;
        itsRequest = std::make_unique<DecompressionRequest>(
            aStream, theArguments.itsDataSet, theArguments.itsDemoFile, theArguments.itsLoadDemoInfoFlag,
            theArguments.itsScaleFactor, theArguments.itsFrameIndex, "", false);
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
