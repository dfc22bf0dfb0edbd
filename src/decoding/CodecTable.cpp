// SPDX-License-Identifier: Apache-2.0
#include "decoding/CodecTable.h"

#include <algorithm>
#include <string>

#include "codecs/jpeg/JPEGDecoder.h"
#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/jpegls/JPEGLSDecoder.h"
#include "codecs/rle/RLEDecoder.h"
#include "codecs/stored/StoredFrameDecoder.h"
#include "decoding/DecoderFactory.h"
#include "decoding/ImageType.h"
#include "dicomfix/CompressionTerms.h"
#include "toolkit/base/CodestreamSignature.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
[[noreturn]] void Refuse(const char* theReason)
{
    throw StreamIOException(RWCString("DecoderFactory::Create() ") + theReason, DLRC_BITS_STORED_INVALID, 0);
}

std::unique_ptr<Decoder> CreateBaseline(const CodecArguments& theArguments)
{
    if (theArguments.itsBitsStored > 8)
    {
        Refuse("bits stored > 8 invalid for TSJPEG50UID transfer syntax");
    }
    return std::make_unique<JPEG8BitDecoder>();
}

std::unique_ptr<Decoder> CreateExtended(const CodecArguments& theArguments)
{
    if (theArguments.itsBitsStored > 12)
    {
        Refuse("bits stored > 12 invalid for TSJPEG51UID transfer syntax");
    }
    if (theArguments.itsBitsStored > 8)
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

std::unique_ptr<Decoder> CreateLossless57(const CodecArguments& theArguments)
{
    return CreateLossless(theArguments.itsBitsStored,
                          "bits stored < 2 invalid for TSJPEG57UID transfer syntax");
}

std::unique_ptr<Decoder> CreateLossless70(const CodecArguments& theArguments)
{
    return CreateLossless(theArguments.itsBitsStored,
                          "bits stored < 2 invalid for TSJPEG70UID transfer syntax");
}

std::unique_ptr<Decoder> CreateJPEG2000(const CodecArguments& theArguments)
{
    if (theArguments.itsIsFileStream)
    {
        return std::make_unique<JPEG2000FileStreamDecoder>(theArguments.itsScaleFactor,
                                                           theArguments.itsTolerance);
    }
    return std::make_unique<JPEG2000Decoder>(theArguments.itsScaleFactor, theArguments.itsTolerance);
}

std::unique_ptr<Decoder> CreateJPEG2000Lossless(const CodecArguments& theArguments)
{
    std::unique_ptr<Decoder> aCodec = CreateJPEG2000(theArguments);
    aCodec->SetCompressionReversible(Decoder::CR_REVERSIBLE);
    return aCodec;
}

std::unique_ptr<Decoder> CreateRLE(const CodecArguments&)
{
    return std::make_unique<RLEDecoder>();
}

std::unique_ptr<Decoder> CreateJPEGLS(const CodecArguments&)
{
    return JPEGLSDecoder::IsThere() ? std::make_unique<JPEGLSDecoder>() : nullptr;
}

std::unique_ptr<Decoder> CreateJPEGLSLossless(const CodecArguments& theArguments)
{
    std::unique_ptr<Decoder> aCodec = CreateJPEGLS(theArguments);
    if (aCodec != nullptr)
    {
        aCodec->SetCompressionReversible(Decoder::CR_REVERSIBLE);
    }
    return aCodec;
}

std::unique_ptr<Decoder> CreateUncompressed(const CodecArguments&)
{
    return std::make_unique<UncompressedFrameDecoder>();
}

std::unique_ptr<Decoder> CreateDeflated(const CodecArguments&)
{
    return std::make_unique<DeflatedFrameDecoder>();
}

// Every block of 8 x 8 samples, in the lossless processes every sample, takes at least one bit (ITU-T T.81,
// Huffman coding). The component with the most samples across and the one with the most down have together at
// least half as many as the image has pixels. The other codecs have no such bound: RLE segments may end early
// by definition, and JPEG 2000 codestreams may be cut anywhere and still be decoded.
constexpr std::uint64_t kPixelsPerByte = 2 * 8;
constexpr std::uint64_t kSamplesPerBlock = 64;

// The frame header has 16 bits for each dimension, so nothing wraps.
std::uint64_t CountPixels(const Decoder& theCodec)
{
    return theCodec.GetImageWidth() * theCodec.GetImageHeight();
}

// By the frame's own process: a transfer syntax may hold frames of another one, which are decoded.
std::uint64_t LeastSizeOfJPEG(const Decoder& theCodec)
{
    const bool isLossless = theCodec.GetCompressionReversible() == Decoder::CR_REVERSIBLE;
    return CountPixels(theCodec) / (isLossless ? kPixelsPerByte : kPixelsPerByte * kSamplesPerBlock);
}

void FailAsJPEG(const Decoder& theCodec, const RWCString& theReason)
{
    const auto& aCodec = static_cast<const JPEGDecoder&>(theCodec); // of the rows that name this function
    throw JPEGDecoderException("JPEGDecoder: error (read " + std::to_string(aCodec.GetBytesDelivered()) +
                                   " bytes so far): " + theReason,
                               0);
}

std::uint64_t LeastSizeOfDeflated(const Decoder& theCodec)
{
    return static_cast<const DeflatedFrameDecoder&>(theCodec).GetLeastSize(); // of the row that names this
}

// No code word reaches beyond its row (ITU-T T.87, run mode): a bit for each row of all components together.
std::uint64_t LeastSizeOfJPEGLS(const Decoder& theCodec)
{
    return theCodec.GetImageHeight() / 8;
}

// How a frame fails that is shorter than it can be, in a codec without texts of its own for that.
void FailAsShort(const Decoder&, const RWCString& theReason)
{
    throw StreamIOException("CompressedStreamDecoder::Decode: " + theReason, DLRC_PIXEL_DATA_TOO_SHORT, 0);
}

constexpr CodecRow kRows[] = {
    {.itsUID = TransferSyntaxType::TSJPEG50UID,
     .itsName = "JPEG baseline (process 1)",
     .itsImageType = IMAGE_TYPE_JPEG,
     .itsFirstBytes = {CodestreamSignature::kJPEG},
     .itsTerms = &LossyCompressions::kJPEG,
     .itsIsAlwaysLossy = true,
     .itsHasJPEGHeader = true,
     .itsCreate = CreateBaseline,
     .itsLeastSize = LeastSizeOfJPEG,
     .itsFail = FailAsJPEG},
    {.itsUID = TransferSyntaxType::TSJPEG51UID,
     .itsName = "JPEG extended (processes 2 and 4)",
     .itsTerms = &LossyCompressions::kJPEG,
     .itsIsAlwaysLossy = true,
     .itsHasJPEGHeader = true,
     .itsCreate = CreateExtended,
     .itsLeastSize = LeastSizeOfJPEG,
     .itsFail = FailAsJPEG},
    {.itsUID = TransferSyntaxType::TSJPEG57UID,
     .itsName = "JPEG lossless (process 14)",
     .itsHasJPEGHeader = true,
     .itsCreate = CreateLossless57,
     .itsLeastSize = LeastSizeOfJPEG,
     .itsFail = FailAsJPEG},
    {.itsUID = TransferSyntaxType::TSJPEG70UID,
     .itsName = "JPEG lossless (process 14, selection value 1)",
     .itsHasJPEGHeader = true,
     .itsCreate = CreateLossless70,
     .itsLeastSize = LeastSizeOfJPEG,
     .itsFail = FailAsJPEG},
    {.itsUID = TransferSyntaxType::TSJPEG2KUID,
     .itsName = "JPEG 2000",
     .itsImageType = IMAGE_TYPE_JPEG2000,
     .itsFirstBytes = {CodestreamSignature::kJPEG2000, CodestreamSignature::kJP2},
     .itsTwinUID = TransferSyntaxType::TSJPEG2KLosslessUID,
     .itsTerms = &LossyCompressions::kJPEG2000,
     .itsHasBitsStoredRule = false,
     .itsCanReduce = true,
     .itsCanHoldSingleBits = true,
     .itsCreate = CreateJPEG2000},
    {.itsUID = TransferSyntaxType::TSJPEG2KLosslessUID,
     .itsName = "JPEG 2000 lossless",
     .itsImageType = IMAGE_TYPE_JPEG2000_LOSSLESS,
     .itsTwinUID = TransferSyntaxType::TSJPEG2KUID,
     .itsHasBitsStoredRule = false,
     .itsCanReduce = true,
     .itsCanHoldSingleBits = true,
     .itsCreate = CreateJPEG2000Lossless},
    {.itsUID = TransferSyntaxType::TSHTJ2KUID,
     .itsName = "high-throughput JPEG 2000",
     .itsTerms = &LossyCompressions::kHTJ2K,
     .itsHasBitsStoredRule = false,
     .itsCanReduce = true,
     .itsCanHoldSingleBits = true,
     .itsIsExtension = true,
     .itsCreate = CreateJPEG2000},
    {.itsUID = TransferSyntaxType::TSHTJ2KLosslessUID,
     .itsName = "high-throughput JPEG 2000 lossless",
     .itsHasBitsStoredRule = false,
     .itsCanReduce = true,
     .itsCanHoldSingleBits = true,
     .itsIsExtension = true,
     .itsCreate = CreateJPEG2000Lossless},
    {.itsUID = TransferSyntaxType::TSHTJ2KLosslessRPCLUID,
     .itsName = "high-throughput JPEG 2000 lossless, by resolution",
     .itsHasBitsStoredRule = false,
     .itsCanReduce = true,
     .itsCanHoldSingleBits = true,
     .itsIsExtension = true,
     .itsCreate = CreateJPEG2000Lossless},
    {.itsUID = TransferSyntaxType::TSRLEUID,
     .itsName = "RLE lossless",
     .itsHasOwnColour = false,
     .itsCanLeaveSamples = true, // a segment that ends early leaves the rest of its byte plane as it was
     .itsCreate = CreateRLE},
    {.itsUID = TransferSyntaxType::TSJPEGLSUID,
     .itsName = "JPEG-LS near-lossless",
     .itsImageType = IMAGE_TYPE_JPEGLS, // bare streams begin as JPEG does; the frame header tells them apart
     .itsTerms = &LossyCompressions::kJPEGLS,
     .itsHasJPEGHeader = true,
     .itsHasBitsStoredRule = false,
     .itsHasOwnColour = false,
     .itsIsExtension = true,
     .itsCreate = CreateJPEGLS,
     .itsLeastSize = LeastSizeOfJPEGLS,
     .itsFail = FailAsShort},
    {.itsUID = TransferSyntaxType::TSJPEGLSLosslessUID,
     .itsName = "JPEG-LS lossless",
     .itsHasJPEGHeader = true,
     .itsHasBitsStoredRule = false,
     .itsHasOwnColour = false,
     .itsIsExtension = true,
     .itsCreate = CreateJPEGLSLossless,
     .itsLeastSize = LeastSizeOfJPEGLS,
     .itsFail = FailAsShort},
    {.itsUID = TransferSyntaxType::TSEncapsulatedUncompressedUID,
     .itsName = "encapsulated uncompressed",
     .itsHasOwnColour = false,
     .itsIsExtension = true,
     .itsCreate = CreateUncompressed,
     .itsLeastSize = [](const Decoder& theCodec) { return theCodec.GetOutputSize(); },
     .itsFail = FailAsShort},
    {.itsUID = TransferSyntaxType::TSDeflatedImageFrameUID,
     .itsName = "deflated image frame",
     .itsHasOwnColour = false,
     .itsIsExtension = true,
     .itsCreate = CreateDeflated,
     .itsLeastSize = LeastSizeOfDeflated,
     .itsFail = FailAsShort},
};

/// A JPEG transfer syntax that DICOM has withdrawn. Which process a frame has is in the frame; those with
/// arithmetic coding or hierarchical frames end as the codec's own errors.
struct RetiredSyntax
{
    const char* itsUID;
    const char* itsName;
    const char* itsCodecUID; ///< the one whose codec decodes it
};

constexpr const char* kLossyUID = TransferSyntaxType::TSJPEG51UID;
constexpr const char* kLosslessUID = TransferSyntaxType::TSJPEG57UID;
constexpr RetiredSyntax kRetired[] = {
    {"1.2.840.10008.1.2.4.52", "JPEG extended, arithmetic (processes 3 and 5, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.53", "JPEG spectral selection (processes 6 and 8, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.54", "JPEG spectral selection, arithmetic (processes 7 and 9, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.55", "JPEG full progression (processes 10 and 12, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.56", "JPEG full progression, arithmetic (processes 11 and 13, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.58", "JPEG lossless, arithmetic (process 15, retired)", kLosslessUID},
    {"1.2.840.10008.1.2.4.59", "JPEG extended, hierarchical (processes 16 and 18, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.60", "JPEG extended, hierarchical, arithmetic (processes 17 and 19, retired)",
     kLossyUID},
    {"1.2.840.10008.1.2.4.61", "JPEG spectral selection, hierarchical (processes 20 and 22, retired)",
     kLossyUID},
    {"1.2.840.10008.1.2.4.62",
     "JPEG spectral selection, hierarchical, arithmetic (processes 21 and 23, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.63", "JPEG full progression, hierarchical (processes 24 and 26, retired)",
     kLossyUID},
    {"1.2.840.10008.1.2.4.64",
     "JPEG full progression, hierarchical, arithmetic (processes 25 and 27, retired)", kLossyUID},
    {"1.2.840.10008.1.2.4.65", "JPEG lossless, hierarchical (process 28, retired)", kLosslessUID},
    {"1.2.840.10008.1.2.4.66", "JPEG lossless, hierarchical, arithmetic (process 29, retired)", kLosslessUID},
};

const RetiredSyntax* FindRetired(const RWCString& theUID)
{
    const auto* const aSyntax =
        std::find_if(std::begin(kRetired), std::end(kRetired),
                     [&](const RetiredSyntax& theSyntax) { return theUID == theSyntax.itsUID; });
    return aSyntax != std::end(kRetired) ? aSyntax : nullptr;
}

struct NamedSyntax
{
    const char* itsUID;
    const char* itsName;
};

constexpr NamedSyntax kNamesWithoutCodec[] = {
    {TransferSyntaxType::TSImplicitLittleEndianUID, "native, implicit little endian"},
    {TransferSyntaxType::TSExplicitLittleEndianUID, "native, explicit little endian"},
    {TransferSyntaxType::TSDeflatedUID, "native, deflated explicit little endian"},
    {TransferSyntaxType::TSExplicitBigEndianUID, "native, explicit big endian"},
    {"1.2.840.10008.1.2.4.92", "JPEG 2000 part 2, lossless"},
    {"1.2.840.10008.1.2.4.93", "JPEG 2000 part 2"},
    {"1.2.840.10008.1.2.4.94", "JPIP reference"},
    {"1.2.840.10008.1.2.4.95", "JPIP reference, deflated"},
    {"1.2.840.10008.1.2.4.100", "MPEG-2, main profile at main level"},
    {"1.2.840.10008.1.2.4.100.1", "MPEG-2, main profile at main level, in fragments"},
    {"1.2.840.10008.1.2.4.101", "MPEG-2, main profile at high level"},
    {"1.2.840.10008.1.2.4.101.1", "MPEG-2, main profile at high level, in fragments"},
    {"1.2.840.10008.1.2.4.102", "MPEG-4 AVC/H.264, high profile at level 4.1"},
    {"1.2.840.10008.1.2.4.102.1", "MPEG-4 AVC/H.264, high profile at level 4.1, in fragments"},
    {"1.2.840.10008.1.2.4.103", "MPEG-4 AVC/H.264, BD-compatible"},
    {"1.2.840.10008.1.2.4.103.1", "MPEG-4 AVC/H.264, BD-compatible, in fragments"},
    {"1.2.840.10008.1.2.4.104", "MPEG-4 AVC/H.264, high profile at level 4.2, 2D video"},
    {"1.2.840.10008.1.2.4.104.1", "MPEG-4 AVC/H.264, high profile at level 4.2, 2D video, in fragments"},
    {"1.2.840.10008.1.2.4.105", "MPEG-4 AVC/H.264, high profile at level 4.2, 3D video"},
    {"1.2.840.10008.1.2.4.105.1", "MPEG-4 AVC/H.264, high profile at level 4.2, 3D video, in fragments"},
    {"1.2.840.10008.1.2.4.106", "MPEG-4 AVC/H.264, stereo high profile at level 4.2"},
    {"1.2.840.10008.1.2.4.106.1", "MPEG-4 AVC/H.264, stereo high profile at level 4.2, in fragments"},
    {"1.2.840.10008.1.2.4.107", "HEVC/H.265, main profile at level 5.1"},
    {"1.2.840.10008.1.2.4.108", "HEVC/H.265, main 10 profile at level 5.1"},
    {"1.2.840.10008.1.2.4.110", "JPEG XL lossless"},
    {"1.2.840.10008.1.2.4.111", "JPEG XL, recompressed JPEG"},
    {"1.2.840.10008.1.2.4.112", "JPEG XL"},
    {"1.2.840.10008.1.2.4.204", "JPIP reference, high-throughput JPEG 2000"},
    {"1.2.840.10008.1.2.4.205", "JPIP reference, high-throughput JPEG 2000, deflated"},
    {"1.2.840.10008.1.2.6.1", "RFC 2557 MIME encapsulation (retired)"},
    {"1.2.840.10008.1.2.6.2", "XML encoding (retired)"},
    {"1.2.840.10008.1.2.7.1", "SMPTE ST 2110-20, uncompressed progressive video"},
    {"1.2.840.10008.1.2.7.2", "SMPTE ST 2110-20, uncompressed interlaced video"},
    {"1.2.840.10008.1.2.7.3", "SMPTE ST 2110-30, digital audio"},
    {"1.2.840.10008.1.20", "Papyrus 3, implicit little endian (retired)"},
};

/// The first row that theReading admits and of which thePredicate holds.
template <class Predicate>
const CodecRow* FindRow(Reading theReading, const Predicate& thePredicate)
{
    const bool hasExtensions = theReading == Reading::BY_MEANING || DecoderFactory::HasExtensions();
    const auto* const aRow =
        std::find_if(std::begin(kRows), std::end(kRows),
                     [&](const CodecRow& theRow)
                     { return (hasExtensions || !theRow.itsIsExtension) && thePredicate(theRow); });
    return aRow != std::end(kRows) ? aRow : nullptr;
}
} // namespace

RWCString CodecRow::GetLossyKind(bool isLossy) const
{
    return itsTerms != nullptr && (itsIsAlwaysLossy || isLossy) ? itsTerms->itsKind : "";
}

void CodecRow::CheckLength(const Decoder& theCodec, std::uint64_t theLength) const
{
    if (theLength != 0 && itsLeastSize != nullptr && theLength < itsLeastSize(theCodec))
    {
        itsFail(theCodec, std::to_string(theCodec.GetImageHeight()) + " rows of " +
                              std::to_string(theCodec.GetImageWidth()) + " pixels cannot come from " +
                              std::to_string(theLength) + " bytes");
    }
}

std::span<const CodecRow> CodecTable::GetRows()
{
    return kRows;
}

const CodecRow* CodecTable::Find(const RWCString& theTransferSyntaxUID, Reading theReading)
{
    const RetiredSyntax* const aRetired =
        theReading == Reading::BY_MEANING ? FindRetired(theTransferSyntaxUID) : nullptr;
    const RWCString aUID = aRetired != nullptr ? aRetired->itsCodecUID : theTransferSyntaxUID;
    return FindRow(theReading, [&](const CodecRow& theRow) { return aUID == theRow.itsUID; });
}

const CodecRow* CodecTable::FindImageType(std::int32_t theImageType, Reading theReading)
{
    return FindRow(theReading, [&](const CodecRow& theRow)
                   { return theRow.itsImageType != 0 && theRow.itsImageType == theImageType; });
}

const CodecRow* CodecTable::FindBareStream(std::int32_t theImageType, bool isLossless, Reading theReading)
{
    const CodecRow* const aNamed = FindImageType(theImageType, theReading);
    if (aNamed == nullptr || aNamed->itsTwinUID == nullptr || (aNamed->itsTerms == nullptr) == isLossless)
    {
        return aNamed;
    }
    return Find(aNamed->itsTwinUID, theReading);
}

const CodecRow* CodecTable::Recognise(const unsigned char* theBytes, std::size_t theCount)
{
    return FindRow(Reading::BY_CONTRACT,
                   [&](const CodecRow& theRow)
                   {
                       return std::any_of(theRow.itsFirstBytes.begin(), theRow.itsFirstBytes.end(),
                                          [&](std::string_view theSignature) {
                                              return !theSignature.empty() &&
                                                     CodestreamSignature::Begins(theBytes, theCount,
                                                                                 theSignature);
                                          });
                   });
}

const char* CodecTable::GetName(const RWCString& theTransferSyntaxUID)
{
    if (const RetiredSyntax* const aRetired = FindRetired(theTransferSyntaxUID))
    {
        return aRetired->itsName;
    }
    if (const CodecRow* const aRow = Find(theTransferSyntaxUID, Reading::BY_MEANING))
    {
        return aRow->itsName;
    }
    const auto* const aName =
        std::find_if(std::begin(kNamesWithoutCodec), std::end(kNamesWithoutCodec),
                     [&](const NamedSyntax& theName) { return theTransferSyntaxUID == theName.itsUID; });
    return aName != std::end(kNamesWithoutCodec) ? aName->itsName : "unknown";
}
