// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "decoding/Decoder.h"

class InputStream;
class ReadingContext;
class kdu_compressed_source;

/// Decodes one compressed frame, read from an InputStream, into a caller's buffer.
///
/// Creates the codec, lets it read the header, settles the sign of the output, decodes, and records what
/// was consumed: all at once with Decode, or in two steps with memory taken in between (Open, then Decode
/// of the opened frame). When a JPEG stream's real precision contradicts what was announced, the codec is
/// replaced by the right one and the bytes already read go along, so that the stream is never read
/// twice. By meaning so are lossless frames of more bits than the announced codec has. Stream and data set
/// are borrowed. Not thread-safe: one driver, one thread.
class QUORIX_API CompressedCodestreamDecoder
{
public:
    /// A frame whose header has been read and found credible; what is left to do is its pixels.
    class QUORIX_API OpenedFrame
    {
    public:
        /// Bytes that the codec will write, from the front of the output. More than Open was given only where
        /// the codec compares the two itself, and then refuses to decode.
        std::uint64_t GetDecodedSize() const;

        /// The codec, which has read its header and decoded nothing.
        const Decoder& GetCodec() const { return *itsCodec; }

    private:
        friend class CompressedCodestreamDecoder;
        OpenedFrame(std::unique_ptr<Decoder> theCodec, unsigned int theFrameLength,
                    std::uint64_t theOutputSize);

        std::unique_ptr<Decoder> itsCodec;
        unsigned int itsFrameLength;
        std::uint64_t itsOutputSize;
    };

    /// Reads nothing yet. theTransferSyntaxUID and theBitsStored, as the data set has them, choose the codec.
    /// theScaleFactor: 1 is full resolution, each step more halves it where the codec can. theTolerance is
    /// for JPEG 2000.
    CompressedCodestreamDecoder(const RWCString& theTransferSyntaxUID, int theBitsStored,
                                InputStream& theStream, DICOMDataObject& theDataSet, int theScaleFactor,
                                Decoder::ParsingErrorTolerance theTolerance);

    /// Called once the header has been read; false ends the decode with StreamIOException (code 54). Declared
    /// ahead of the destructor: derived classes elsewhere find it in the first place of the table.
    virtual bool CodestreamHeaderRead(Decoder& theDecoder);

    virtual ~CompressedCodestreamDecoder();

    /// Copies read the same stream and write to the same data set.
    CompressedCodestreamDecoder(const CompressedCodestreamDecoder&);
    CompressedCodestreamDecoder& operator=(const CompressedCodestreamDecoder&) = delete;

    /// Decodes into theOutput, theOutputSize bytes. theFrameLength: bytes of the compressed frame, 0 where
    /// that is not known. Throws StreamIOException code 48 when the transfer syntax has no codec, code 62
    /// when the codec would write more than theOutputSize bytes, JPEGDecoderException when a frame of that
    /// length cannot have the pixels that its header declares; what the codec throws passes through.
    void Decode(unsigned int theFrameLength, void* theOutput, std::uint64_t theOutputSize);

    /// The same, starting with bytes that were already pulled from the stream. theHandOverBuffer (new[],
    /// 32768 bytes, null allowed) passes into this object's ownership whatever comes of the decode; a codec
    /// that takes no handed-over bytes reads the stream from where it stands.
    void Decode(unsigned int theFrameLength, void* theOutput, std::uint64_t theOutputSize,
                std::uint8_t* theHandOverBuffer, int theHandOverBytes);

    /// The first half of Decode: everything up to the first pixel, with the same failures. Callers that have
    /// no memory yet take it afterwards, so that a header nobody believes costs none. One frame at a time:
    /// its codec reads the stream through this object, which must outlive it and opens no other meanwhile.
    OpenedFrame Open(unsigned int theFrameLength, std::uint64_t theOutputSize,
                     std::uint8_t* theHandOverBuffer = nullptr, int theHandOverBytes = 0);

    /// The second half: decodes into theOutput, as many bytes as Open was told.
    void Decode(OpenedFrame theFrame, void* theOutput);

    /// Compressed bytes that the codec of the last Decode pulled from the stream; bytes that were handed
    /// over to it are not among them.
    std::uint64_t GetTotalBytesRead() const { return itsTotalBytesRead; }

    /// Requested scale factor; after Decode the one that was applied.
    int GetScaleFactor() const { return itsScaleFactor; }

    /// True: the codec is asked for unsigned samples whatever Pixel Representation says. Whether it can is
    /// told by IsDecoderSupportedOutputPixelSignConversion; one that cannot delivers them as they are.
    void SetForceUnsignedPixelOutput(bool isSet) { itsForceUnsignedPixelOutput = isSet; }

    /// Whether the codec of the last Decode knows that the frame is not what was compressed: by its process,
    /// or because parts of it are missing.
    bool HasLost() const { return itsHasLost; }

    /// The context that codecs are given; borrowed, null (which it is until set) for none.
    void SetReadingContext(ReadingContext* theContext) { itsReadingContext = theContext; }

    /// Pixel Representation as the file has it, see Decoder; bits stored are those of the constructor.
    void SetStatedRepresentation(std::int32_t theRepresentation)
    {
        itsStatedRepresentation = theRepresentation;
    }

    /// The part of the image that is wanted, in pixels at full size, see Decoder::SetRegion.
    void SetRegion(const std::optional<PixelRegion>& theRegion) { itsRegion = theRegion; }

    /// Whether the frame opened last is decoded by another codec than the announced one. By meaning Bits
    /// Stored and High Bit of the data set are the frame's then.
    bool IsRecovered() const { return itsIsRecovered; }

    /// Writes Bits Stored and High Bit of samples of so many bits into the data set.
    void WriteDepth(int theBits) const;

    /// Whether the codec of the last Decode could deliver either sign; false before.
    bool IsDecoderSupportedOutputPixelSignConversion() const
    {
        return itsDecoderSupportsOutputPixelSignConversion;
    }

protected:
    /// Another size of the output than Open was told, for CodestreamHeaderRead.
    void SetOutputSize(std::uint64_t theSize) { itsOutputSize = theSize; }

private:
    struct HandOver;
    struct Codec;

    Codec CreateCodec(const RWCString& theUID, int theBitsStored) const;
    Codec OpenCodec(HandOver theHandOver);
    void SetSource(Decoder& theCodec, HandOver theHandOver);
    bool FindReplacement(const RWCString& theText, RWCString& theUID, int& theBitsStored) const;
    bool IsLosslessPrecisionHidden(const Decoder& theCodec) const;
    bool IsByMeaning() const;
    static bool IsReduced(const Decoder& theCodec);
    void SettleDepth(const Decoder& theCodec);
    void SettleSign(Decoder& theCodec);
    void CheckOutputSize(const Decoder& theCodec, std::uint64_t theOutputSize) const;

    RWCString itsTransferSyntaxUID;
    InputStream* itsInputStream;
    std::shared_ptr<kdu_compressed_source> itsCompressedSource; ///< shared by copies
    std::uint64_t itsTotalBytesRead = 0;
    std::int32_t itsStatedBitsStored;
    std::optional<std::int32_t> itsStatedRepresentation;
    std::optional<PixelRegion> itsRegion;
    std::int32_t itsBitsStored; ///< by which the codec is chosen
    DICOMDataObject* itsDICOMDataObject;
    std::int32_t itsScaleFactor;
    Decoder::ParsingErrorTolerance itsParsingErrorTolerance;
    bool itsForceUnsignedPixelOutput = false;
    bool itsDecoderSupportsOutputPixelSignConversion = false;
    ReadingContext* itsReadingContext = nullptr;
    bool itsHasLost = false;
    std::uint64_t itsOutputSize = 0; ///< of the frame being opened
    bool itsIsRecovered = false;
};
