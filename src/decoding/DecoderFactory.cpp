// SPDX-License-Identifier: Apache-2.0
#include "decoding/DecoderFactory.h"

#include <memory>

#include "codecs/jpeg/JPEG12BitDecoder.h"
#include "codecs/jpeg/JPEG16BitDecoder.h"
#include "codecs/jpeg/JPEG8BitDecoder.h"
#include "codecs/jpeg2000/JPEG2000FileStreamDecoder.h"
#include "codecs/rle/RLEDecoder.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
[[noreturn]] void Refuse(const char* theReason)
{
    throw StreamIOException(RWCString("DecoderFactory::Create() ") + theReason, DLRC_BITS_STORED_INVALID, 0);
}

std::unique_ptr<Decoder> CreateBaseline(int theBitsStored)
{
    if (theBitsStored > 8)
    {
        Refuse("bits stored > 8 invalid for TSJPEG50UID transfer syntax");
    }
    return std::make_unique<JPEG8BitDecoder>();
}

std::unique_ptr<Decoder> CreateExtended(int theBitsStored)
{
    if (theBitsStored > 12)
    {
        Refuse("bits stored > 12 invalid for TSJPEG51UID transfer syntax");
    }
    if (theBitsStored > 8)
    {
        return std::make_unique<JPEG12BitDecoder>();
    }
    return std::make_unique<JPEG8BitDecoder>();
}

std::unique_ptr<Decoder> CreateLossless(int theBitsStored, const char* theRefusal)
{
    if (theBitsStored < 2)
    {
        Refuse(theRefusal);
    }
    if (theBitsStored <= 8)
    {
        return std::make_unique<JPEG8BitDecoder>();
    }
    // The 16-bit build serves every lossless precision above 8; the 12-bit one is for the lossy process.
    auto aCodec = std::make_unique<JPEG16BitDecoder>();
    if (theBitsStored <= 12)
    {
        aCodec->SetBitsStoredPerSample(theBitsStored);
    }
    return aCodec;
}

/// Null for any other transfer syntax. Bits stored play no part here: the codestream knows them.
std::unique_ptr<Decoder> CreateJPEG2000(const RWCString& theUID, int theScaleFactor,
                                        Decoder::ParsingErrorTolerance theTolerance, bool theFileStream)
{
    const bool isLossless = theUID == TransferSyntaxType::TSJPEG2KLosslessUID;
    if (!isLossless && theUID != TransferSyntaxType::TSJPEG2KUID)
    {
        return nullptr;
    }
    std::unique_ptr<Decoder> aCodec;
    if (theFileStream)
    {
        aCodec = std::make_unique<JPEG2000FileStreamDecoder>(theScaleFactor, theTolerance);
    }
    else
    {
        aCodec = std::make_unique<JPEG2000Decoder>(theScaleFactor, theTolerance);
    }
    if (isLossless)
    {
        aCodec->SetCompressionReversible(Decoder::CR_REVERSIBLE);
    }
    return aCodec;
}

std::unique_ptr<Decoder> CreateCodec(const RWCString& theUID, int theBitsStored)
{
    // Deliberately ahead of recognising the transfer syntax: an unknown one without bits stored is refused
    // with this text too.
    if (theBitsStored == 0)
    {
        Refuse("bits stored == 0 is invalid for JPEG or RLE decompression");
    }
    if (theUID == TransferSyntaxType::TSJPEG50UID)
    {
        return CreateBaseline(theBitsStored);
    }
    if (theUID == TransferSyntaxType::TSJPEG51UID)
    {
        return CreateExtended(theBitsStored);
    }
    if (theUID == TransferSyntaxType::TSJPEG57UID)
    {
        return CreateLossless(theBitsStored, "bits stored < 2 invalid for TSJPEG57UID transfer syntax");
    }
    if (theUID == TransferSyntaxType::TSJPEG70UID)
    {
        return CreateLossless(theBitsStored, "bits stored < 2 invalid for TSJPEG70UID transfer syntax");
    }
    if (theUID == TransferSyntaxType::TSRLEUID)
    {
        return std::make_unique<RLEDecoder>();
    }
    return nullptr;
}
} // namespace

Decoder* DecoderFactory::Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                                Decoder::ParsingErrorTolerance theTolerance, bool theFileStream,
                                int theBitsStored)
{
    // A raw pointer because the interface fixes one; it is the caller's from here on.
    if (auto aCodec = CreateJPEG2000(theTransferSyntaxUID, theScaleFactor, theTolerance, theFileStream))
    {
        return aCodec.release();
    }
    return CreateCodec(theTransferSyntaxUID, theBitsStored).release();
}
