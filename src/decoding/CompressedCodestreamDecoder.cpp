// SPDX-License-Identifier: Apache-2.0
#include "decoding/CompressedCodestreamDecoder.h"

#include <utility>

#include "codecs/sources/CompressedSources.h"
#include "decoding/CodecTable.h"
#include "decoding/DecoderFactory.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/TransferSyntaxType.h"

/// Bytes already pulled from the stream, with their owner: a buffer, or the codec that did.
struct CompressedCodestreamDecoder::HandOver
{
    std::unique_ptr<std::uint8_t[]> itsBuffer;
    int itsBytes = 0;
    std::unique_ptr<Decoder> itsPredecessor = nullptr;

    static HandOver From(std::unique_ptr<Decoder> thePredecessor)
    {
        return {nullptr, 0, std::move(thePredecessor)};
    }

    /// Gives the bytes to theCodec. One that takes none keeps reporting no bytes; the buffer then stays
    /// here and goes with this object.
    void GiveTo(Decoder& theCodec)
    {
        if (itsPredecessor != nullptr)
        {
            if (theCodec.TakeInputFrom(*itsPredecessor))
            {
                return;
            }
            // The count belongs to the buffer, so it is asked for while the codec still knows both.
            itsBytes = itsPredecessor->GetBytesRead();
            itsBuffer.reset(itsPredecessor->TakeBuffer());
        }
        if (itsBuffer == nullptr || itsBytes == 0)
        {
            return;
        }
        theCodec.SetBuffer(itsBuffer.get());
        theCodec.SetBytesRead(itsBytes);
        if (theCodec.GetBytesRead() == itsBytes)
        {
            static_cast<void>(itsBuffer.release());
        }
    }
};

/// A codec and the row of the table that it was made of.
struct CompressedCodestreamDecoder::Codec
{
    std::unique_ptr<Decoder> itsDecoder;
    const CodecRow* itsRow = nullptr;

    Decoder& operator*() const { return *itsDecoder; }
    Decoder* operator->() const { return itsDecoder.get(); }
};

CompressedCodestreamDecoder::CompressedCodestreamDecoder(const RWCString& theTransferSyntaxUID,
                                                         int theBitsStored, InputStream& theStream,
                                                         DICOMDataObject& theDataSet, int theScaleFactor,
                                                         Decoder::ParsingErrorTolerance theTolerance)
    : itsTransferSyntaxUID(theTransferSyntaxUID), itsInputStream(&theStream),
      itsStatedBitsStored(theBitsStored), itsBitsStored(theBitsStored), itsDICOMDataObject(&theDataSet),
      itsScaleFactor(theScaleFactor), itsParsingErrorTolerance(theTolerance)
{
}

CompressedCodestreamDecoder::~CompressedCodestreamDecoder() = default;
CompressedCodestreamDecoder::CompressedCodestreamDecoder(const CompressedCodestreamDecoder&) = default;

bool CompressedCodestreamDecoder::CodestreamHeaderRead(Decoder&)
{
    return true;
}

CompressedCodestreamDecoder::OpenedFrame::OpenedFrame(std::unique_ptr<Decoder> theCodec,
                                                      unsigned int theFrameLength,
                                                      std::uint64_t theOutputSize)
    : itsCodec(std::move(theCodec)), itsFrameLength(theFrameLength), itsOutputSize(theOutputSize)
{
}

std::uint64_t CompressedCodestreamDecoder::OpenedFrame::GetDecodedSize() const
{
    // A codec that demands nothing of the buffer writes what its layout says.
    const std::uint64_t aDemand = itsCodec->GetOutputSize();
    return aDemand != 0 ? aDemand : itsCodec->Decoder::GetOutputSize();
}

void CompressedCodestreamDecoder::Decode(unsigned int theFrameLength, void* theOutput,
                                         std::uint64_t theOutputSize)
{
    Decode(theFrameLength, theOutput, theOutputSize, nullptr, 0);
}

void CompressedCodestreamDecoder::Decode(unsigned int theFrameLength, void* theOutput,
                                         std::uint64_t theOutputSize, std::uint8_t* theHandOverBuffer,
                                         int theHandOverBytes)
{
    Decode(Open(theFrameLength, theOutputSize, theHandOverBuffer, theHandOverBytes), theOutput);
}

CompressedCodestreamDecoder::OpenedFrame CompressedCodestreamDecoder::Open(unsigned int theFrameLength,
                                                                           std::uint64_t theOutputSize,
                                                                           std::uint8_t* theHandOverBuffer,
                                                                           int theHandOverBytes)
{
    itsIsRecovered = false;
    Codec aCodec = OpenCodec({std::unique_ptr<std::uint8_t[]>(theHandOverBuffer), theHandOverBytes});
    if (IsLosslessPrecisionHidden(*aCodec) || (IsReduced(*aCodec) && IsByMeaning()))
    {
        // Not hidden a second time: the bits stored are no longer fewer.
        itsBitsStored = aCodec->GetPrecision();
        if (itsTransferSyntaxUID != TransferSyntaxType::TSJPEG57UID)
        {
            itsTransferSyntaxUID = TransferSyntaxType::TSJPEG70UID;
        }
        aCodec = OpenCodec(HandOver::From(std::move(aCodec.itsDecoder)));
        itsIsRecovered = true;
    }
    SettleDepth(*aCodec);
    itsOutputSize = theOutputSize;
    if (!CodestreamHeaderRead(*aCodec))
    {
        throw StreamIOException("CompressedStreamDecoder::Decode:  CodestreamHeaderRead returned false "
                                "(derived class requested termination of decoding)",
                                DLRC_TERMINATED_BY_SUBCLASS, 0);
    }
    SettleSign(*aCodec);
    CheckOutputSize(*aCodec, itsOutputSize);
    aCodec.itsRow->CheckLength(*aCodec, theFrameLength);
    return {std::move(aCodec.itsDecoder), theFrameLength, itsOutputSize};
}

void CompressedCodestreamDecoder::Decode(OpenedFrame theFrame, void* theOutput)
{
    theFrame.itsCodec->Decode(theFrame.itsFrameLength, theOutput, theFrame.itsOutputSize);
    itsTotalBytesRead = theFrame.itsCodec->GetTotalBytesRead();
    itsScaleFactor = theFrame.itsCodec->GetScaleFactor();
    itsHasLost = theFrame.itsCodec->GetCompressionReversible() == Decoder::CR_IRREVERSIBLE;
}

CompressedCodestreamDecoder::Codec CompressedCodestreamDecoder::CreateCodec(const RWCString& theUID,
                                                                            int theBitsStored) const
{
    const Reading aReading = IsByMeaning() ? Reading::BY_MEANING : Reading::BY_CONTRACT;
    Codec aCodec{std::unique_ptr<Decoder>(DecoderFactory::Create(
                     theUID, itsScaleFactor, itsParsingErrorTolerance, false, theBitsStored, aReading)),
                 CodecTable::Find(theUID, aReading)};
    if (aCodec.itsDecoder == nullptr || aCodec.itsRow == nullptr)
    {
        throw StreamIOException("CompressedStreamDecoder::Decode: Unable to create Decoder for transfer "
                                "syntax with UID = " +
                                    theUID,
                                DLRC_NO_DECODER, 0);
    }
    aCodec->SetReadingContext(itsReadingContext);
    if (itsStatedRepresentation)
    {
        aCodec->SetStatedRepresentation(*itsStatedRepresentation);
    }
    if (itsRegion)
    {
        aCodec->SetRegion(*itsRegion);
    }
    return aCodec;
}

void CompressedCodestreamDecoder::SetSource(Decoder& theCodec, HandOver theHandOver)
{
    theHandOver.GiveTo(theCodec);
    itsCompressedSource = std::make_shared<InputStreamAdapter>(*itsInputStream);
    theCodec.SetSource(itsDICOMDataObject, *itsCompressedSource);
}

// A codec that has read its header: the announced one, or the one that the stream really needs.
CompressedCodestreamDecoder::Codec CompressedCodestreamDecoder::OpenCodec(HandOver theHandOver)
{
    Codec aCodec = CreateCodec(itsTransferSyntaxUID, itsBitsStored);
    RWCString aUID;
    int aBitsStored = itsBitsStored;
    try
    {
        SetSource(*aCodec, std::move(theHandOver));
        return aCodec;
    }
    catch (const ExceptionBase& anException)
    {
        if (!FindReplacement(anException.GetMessageText(), aUID, aBitsStored))
        {
            throw;
        }
    }
    HandOver aHandOver = HandOver::From(std::move(aCodec.itsDecoder));
    aCodec = CreateCodec(aUID, aBitsStored);
    SetSource(*aCodec, std::move(aHandOver));
    itsIsRecovered = true;
    return aCodec;
}

// What the codec must be instead, by its own complaint about the sample precision. False: no cure.
bool CompressedCodestreamDecoder::FindReplacement(const RWCString& theText, RWCString& theUID,
                                                  int& theBitsStored) const
{
    const auto aSays = [&theText](const char* thePhrase)
    { return theText.find(thePhrase) != RWCString::npos; };
    const bool isLossless57 = itsTransferSyntaxUID == TransferSyntaxType::TSJPEG57UID;
    const bool isJPEG = isLossless57 || itsTransferSyntaxUID == TransferSyntaxType::TSJPEG70UID ||
                        itsTransferSyntaxUID == TransferSyntaxType::TSJPEG51UID ||
                        itsTransferSyntaxUID == TransferSyntaxType::TSJPEG50UID;
    if (!isJPEG || !aSays("Unsupported JPEG data precision"))
    {
        return false;
    }
    // A text that names two precisions is taken as the first one found in this order.
    if (aSays("precision 12"))
    {
        // By contract the bits of the data set count even where the transfer syntax then refuses them.
        theBitsStored = itsBitsStored < 9 || IsByMeaning() ? 12 : itsBitsStored;
        theUID = TransferSyntaxType::TSJPEG51UID;
        return true;
    }
    if (aSays("precision 16"))
    {
        theBitsStored = itsBitsStored < 9 ? 16 : itsBitsStored;
        theUID = isLossless57 ? itsTransferSyntaxUID : TransferSyntaxType::TSJPEG70UID;
        return true;
    }
    if (aSays("precision 8"))
    {
        theBitsStored = 8;
        theUID = itsTransferSyntaxUID;
        return true;
    }
    return false;
}

// A lossless stream of more bits than announced: the 8-bit build would scale its samples down.
bool CompressedCodestreamDecoder::IsLosslessPrecisionHidden(const Decoder& theCodec) const
{
    return (itsTransferSyntaxUID == TransferSyntaxType::TSJPEG70UID ||
            itsTransferSyntaxUID == TransferSyntaxType::TSJPEG57UID) &&
           theCodec.GetPrecision() >= 13 && itsBitsStored == 8;
}

bool CompressedCodestreamDecoder::IsByMeaning() const
{
    return itsReadingContext != nullptr && itsReadingContext->IsByMeaning();
}

// Lossless samples of more bits than the build has lose the lowest ones; frames of other processes are
// refused by such a build.
bool CompressedCodestreamDecoder::IsReduced(const Decoder& theCodec)
{
    return theCodec.GetPrecision() > theCodec.GetRecommendedBitsStoredPerSample();
}

// The depth of a frame that another codec had to take over: told, and by meaning written down.
void CompressedCodestreamDecoder::SettleDepth(const Decoder& theCodec)
{
    const bool isReduced = IsReduced(theCodec);
    if ((!itsIsRecovered && !isReduced) || itsReadingContext == nullptr)
    {
        return;
    }
    const RWCString aText = "the data set says " + std::to_string(itsStatedBitsStored) +
                            " bits stored, the frame has " + std::to_string(theCodec.GetPrecision());
    itsReadingContext->Warn(WarningIdentifier::kDepth,
                            aText + (isReduced ? ": the lowest ones are lost" : ": none is lost"));
    if (itsIsRecovered && IsByMeaning())
    {
        WriteDepth(theCodec.GetPrecision());
    }
}

void CompressedCodestreamDecoder::WriteDepth(int theBits) const
{
    itsDICOMDataObject->PutUnsignedShort(DICOMTags::BitsStored, static_cast<std::uint16_t>(theBits));
    itsDICOMDataObject->PutUnsignedShort(DICOMTags::HighBit, static_cast<std::uint16_t>(theBits - 1));
}

void CompressedCodestreamDecoder::SettleSign(Decoder& theCodec)
{
    std::uint16_t aRepresentation = 0;
    if (itsForceUnsignedPixelOutput ||
        !itsDICOMDataObject->GetUnsignedShort(DICOMTags::PixelRepresentation, aRepresentation))
    {
        aRepresentation = 0;
    }
    theCodec.SetSigned(aRepresentation);
    itsDecoderSupportsOutputPixelSignConversion = theCodec.IsSupportsOutputPixelSignConversion() == 1;
}

// Codecs write what the codestream says; the buffer was sized by what the data set says. A codec that
// makes the comparison itself with texts of its own (RLE) demands nothing here.
void CompressedCodestreamDecoder::CheckOutputSize(const Decoder& theCodec, std::uint64_t theOutputSize) const
{
    const std::uint64_t aNeeded = theCodec.GetOutputSize();
    if (aNeeded > theOutputSize)
    {
        throw StreamIOException("CompressedStreamDecoder::Decode: output buffer size " +
                                    std::to_string(theOutputSize) + " < decoded image size " +
                                    std::to_string(aNeeded),
                                DLRC_DECODER_ERROR, 0);
    }
}
