// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the codecs are. The rows in CodecTable.cpp are the one place where this room names them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "decoding/Decoder.h"

struct CompressionTerms;

/// What DecoderFactory is given to make a codec of.
struct CodecArguments
{
    int itsScaleFactor;                          ///< 1 is full resolution, each step more halves it
    Decoder::ParsingErrorTolerance itsTolerance; ///< for JPEG 2000
    bool itsIsFileStream;                        ///< the codestream may be inside a file of boxes
    int itsBitsStored;                           ///< as the data set has them
};

/// One transfer syntax that has a codec. A plain record; rows are constants.
struct QUORIX_API CodecRow
{
    const char* itsUID;  ///< one of TransferSyntaxType's constants
    const char* itsName; ///< for people

    /// The JImageType of bare streams, or 0 for a transfer syntax that none is taken for.
    std::int32_t itsImageType = 0;
    /// What bare streams of this image type begin with; empty for a type that first bytes do not tell.
    std::array<std::string_view, 2> itsFirstBytes{};
    /// The transfer syntax of the same bare streams with loss or, from there, without; null where there is
    /// none.
    const char* itsTwinUID = nullptr;

    /// How the lossy history calls the compression; null for a transfer syntax without loss.
    const CompressionTerms* itsTerms = nullptr;
    /// Whether every image has lost something, which only the image tells otherwise.
    bool itsIsAlwaysLossy = false;

    /// Streams have a frame header that JPEGHeader reads.
    bool itsHasJPEGHeader = false;
    /// The codec is chosen by bits stored, which have to be known.
    bool itsHasBitsStoredRule = true;
    /// The codec delivers lower resolutions; others deliver full size whatever is asked for.
    bool itsCanReduce = false;
    /// Bits Allocated may be less than 8 although samples are decoded to bytes.
    bool itsCanHoldSingleBits = false;
    /// The codec tells what the colour of the decoded pixels is; otherwise the data set does.
    bool itsHasOwnColour = true;
    /// Samples may stay unwritten without an error.
    bool itsCanLeaveSamples = false;
    /// Not one of the transfer syntaxes that callers of the classes have always had: there for requests that
    /// read by meaning, for others once DecoderFactory::EnableExtensions has said so.
    bool itsIsExtension = false;

    /// A new codec; null in a build without the library behind it. Throws StreamIOException (code 7) for bits
    /// stored that the transfer syntax does not allow.
    std::unique_ptr<Decoder> (*itsCreate)(const CodecArguments& theArguments);

    /// The fewest bytes in which the image of theCodec, whose header has been read, can be complete; null
    /// where nothing can be said.
    std::uint64_t (*itsLeastSize)(const Decoder& theCodec) = nullptr;
    /// Throws what the codec itself ends with where a frame is damaged. Null where itsLeastSize is.
    void (*itsFail)(const Decoder& theCodec, const RWCString& theReason) = nullptr;

    /// What FixupDICOMObjectFromRenderable is to be told of an image; "" for none. isLossy counts where
    /// the transfer syntax allows both.
    RWCString GetLossyKind(bool isLossy) const;

    /// Refuses an image that cannot come from theLength compressed bytes, before the memory for its pixels is
    /// taken: small files may declare large images. A length of 0 is not known and passes. The header has
    /// been read. Throws as itsFail does.
    void CheckLength(const Decoder& theCodec, std::uint64_t theLength) const;
};

/// The transfer syntaxes that have a codec. Stateless, constant and thread-safe; rows live as long as the
/// program. Every question goes through these operations, which leave out the rows of extensions where
/// theReading or the switch does not admit them; only GetRows and GetName know them all.
class QUORIX_API CodecTable
{
public:
    CodecTable() = delete;

    /// All rows. Of those with the same first bytes the first is what a bare stream is taken for.
    static std::span<const CodecRow> GetRows();

    /// Null for a transfer syntax without a codec. The comparison is exact; by meaning a retired JPEG
    /// transfer syntax has the row of the one whose codec decodes it.
    static const CodecRow* Find(const RWCString& theTransferSyntaxUID,
                                Reading theReading = Reading::BY_CONTRACT);

    /// What bare streams of a JImageType are decoded as, isLossless telling which transfer syntax those of
    /// a family with and without loss get. Any number may come in; null for one that is no bare stream.
    static const CodecRow* FindBareStream(std::int32_t theImageType, bool isLossless,
                                          Reading theReading = Reading::BY_CONTRACT);

    /// The row of the image type itself; null for one that is no bare stream.
    static const CodecRow* FindImageType(std::int32_t theImageType,
                                         Reading theReading = Reading::BY_CONTRACT);

    /// What begins with theBytes, theCount of them, as a bare stream; null for anything else. 12 bytes are
    /// enough to tell. Extensions that begin like another row are told from it by what reads further.
    static const CodecRow* Recognise(const unsigned char* theBytes, std::size_t theCount);

    /// A name for people, known for some transfer syntaxes without a codec too; "unknown" for all others.
    static const char* GetName(const RWCString& theTransferSyntaxUID);
};
