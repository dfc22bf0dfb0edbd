// SPDX-License-Identifier: Apache-2.0
// A frame of JPEG-LS, of samples as they are or deflated, through the driver: by contract with the switch for
// extensions, and by meaning twice over memory with different contents.
#include "FrameDecode.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// The pixels of a frame read by meaning, over bytes of this value; nothing where it ends in an error.
std::optional<Bytes> Decode(const FuzzFrame& theFrame, const RWCString& theUID, std::uint64_t theSize,
                            std::uint8_t theFill)
{
    DICOMDataObject aDataSet;
    theFrame.Describe(aDataSet);
    Bytes aPixels(theSize, theFill);
    MemoryInputStream aStream(theFrame.itsBytes.data(), theFrame.itsBytes.size());
    ReadingContext aContext(Reading::BY_MEANING);
    CompressedCodestreamDecoder aDriver(theUID, theFrame.itsBitsStored, aStream, aDataSet, 1,
                                        Decoder::PET_FAST);
    aDriver.SetReadingContext(&aContext);
    try
    {
        aDriver.Decode(static_cast<unsigned>(theFrame.itsBytes.size()), aPixels.data(), aPixels.size());
        return aPixels;
    }
    catch (const ExceptionBase&)
    {
        return std::nullopt;
    }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    DecoderFactory::EnableExtensions(true);
    FuzzInput anInput(theData, theSize);
    const RWCString aUID = anInput.TakeOne(
        {TransferSyntaxType::TSJPEGLSUID, TransferSyntaxType::TSJPEGLSLosslessUID,
         TransferSyntaxType::TSEncapsulatedUncompressedUID, TransferSyntaxType::TSDeflatedImageFrameUID});
    const int aSlack = anInput.TakeOne({0, 0, 0, 1, -1, 100, -100});
    FuzzFrame aFrame(anInput);
    aFrame.itsBitsAllocated = aFrame.itsBitsStored == 1 ? 1 : aFrame.itsBitsAllocated;
    DecodeFrame(aFrame, aUID, aSlack);
    if (const std::optional<std::uint64_t> aSize = GetFrameSize(aFrame, aUID))
    {
        Require(Decode(aFrame, aUID, *aSize, 0) == Decode(aFrame, aUID, *aSize, 0xa5),
                "what used to be in the memory does not show");
    }
    return 0;
}
