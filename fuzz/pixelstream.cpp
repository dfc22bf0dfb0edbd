// SPDX-License-Identifier: Apache-2.0
// The encapsulated pixel data of a DICOM file read as if it were native, by two readers.
#include <memory>

#include "FuzzInput.h"
#include "decompressors/DecompressingPixelInputStreamVR.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/io/InputStream.h"

namespace
{
void ReadThrough(DecompressingPixelInputStreamVR& theStream, std::size_t theStep)
{
    // A small file can announce any number of frames, all of the same few bytes.
    constexpr int kMostReads = 64;
    Bytes aBuffer(theStep);
    for (int i = 0; i < kMostReads && theStream.HasMoreData(); ++i)
    {
        const std::size_t aPosition = theStream.GetStreamPosition();
        const std::size_t aCount =
            i % 4 == 3 ? theStream.Skip(theStep) : theStream.Read(aBuffer.data(), aBuffer.size());
        Require(aCount <= theStep, "a read delivers no more than it is asked for");
        Require(theStream.GetStreamPosition() == aPosition + aCount, "the position counts what was read");
        Require(theStream.GetStreamPosition() <= theStream.GetLength(), "nothing follows the end");
        if (aCount == 0)
        {
            // The frames ended before the announced length.
            Require(theStream.Read(aBuffer.data(), aBuffer.size()) == 0, "the end stays the end");
            return;
        }
    }
}

void ReadPixels(Part10FrontEnd& theFrontEnd, std::size_t theStep)
{
    VR* const aPixelData = theFrontEnd.GetPixelData();
    auto* const aFragments = aPixelData != nullptr ? aPixelData->GetPixelDataFragmentInputStream() : nullptr;
    if (aFragments == nullptr)
    {
        return;
    }
    DecompressingPixelInputStreamVR aStream(theFrontEnd.GetDataSet(), theFrontEnd.GetTransferSyntaxType(),
                                            *aFragments, theFrontEnd.GetMemoryAllocator());
    DecompressingPixelInputStreamVR aCopy(aStream);
    ReadThrough(aStream, theStep);
    ReadThrough(aCopy, theStep + 1);
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const auto aStep = static_cast<std::size_t>(anInput.TakeNumber(1, 256) * anInput.TakeNumber(1, 64));
    const Bytes aFile = anInput.GetRest();
    FuzzAllocator anAllocator;
    MemoryInputStream aStream(aFile.data(), aFile.size());
    DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
    DecompressionResult aResult;
    Part10FrontEnd aFrontEnd(aRequest, anAllocator);
    if (!aFrontEnd.Open(aResult))
    {
        return 0;
    }
    try
    {
        aFrontEnd.Parse();
        ReadPixels(aFrontEnd, aStep);
    }
    catch (const ExceptionBase& anException)
    {
        Require(!anException.GetMessageText().empty(), "every exception has a text");
    }
    return 0;
}
