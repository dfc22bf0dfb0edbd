// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/Reading.h"

class DICOMDataObject;
class MeteringKDUCompressedSource;
class kdu_compressed_source;

/// Base of every codec: what one compressed image decodes to, and how.
///
/// Made by DecoderFactory, given its source once with SetSource (which reads the codestream header and
/// makes the data set describe the pixels to come), then asked to Decode one frame into a caller's
/// buffer. Source and data set are borrowed and must outlive the codec. Failures are exceptions. Not
/// thread-safe: one codec, one thread; codecs share nothing.
class QUORIX_API Decoder
{
public:
    /// Colour models. Deliberately numbered otherwise than Renderable::PhotometricInterpretation: the two
    /// are only ever converted through their strings.
    enum ColorModel : std::int32_t
    {
        COLOR_MODEL_UNKNOWN = 0,
        COLOR_MODEL_GREY = 1, ///< one component: MONOCHROME1 or MONOCHROME2
        COLOR_MODEL_RGB = 2,
        COLOR_MODEL_YBR_FULL_422 = 3,
        COLOR_MODEL_YBR_PARTIAL_422 = 4,
        COLOR_MODEL_YBR_PARTIAL_420 = 5,
        COLOR_MODEL_YBR_FULL = 6,
        COLOR_MODEL_YBR_RCT = 7,
        COLOR_MODEL_YBR_ICT = 8,
        COLOR_MODEL_PALETTE_COLOR = 9
    };

    /// Whether decoding gives back, bit for bit, what was compressed.
    enum CompressionReversible : std::int32_t
    {
        CR_UNSPECIFIED = 0, ///< neither the transfer syntax nor the codestream tells
        CR_REVERSIBLE = 1,
        CR_IRREVERSIBLE = 2
    };

    /// How much a JPEG 2000 codestream may depart from the standard; other codecs take no notice.
    enum ParsingErrorTolerance : std::int32_t
    {
        PET_NONE = 0,      ///< counts as PET_FAST
        PET_FAST = 1,      ///< takes all that can be decoded; what is missing decodes as zero
        PET_RESILIENT = 2, ///< the same, and finds its way again at SOP markers
        PET_FUSSY = 3      ///< refuses every non-conformance
    };

    virtual ~Decoder();

    /// Copies share the source and its byte count, and name the same data set.
    /// @{
    Decoder(const Decoder&);
    Decoder& operator=(const Decoder&);
    /// @}

    /// Decodes one frame into theBuffer, theSize bytes, in the layout that the accessors announce.
    /// theFrameLength: bytes of the compressed frame; codecs that know their own end ignore it.
    virtual void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) = 0;

    /// The colour model of the samples as they are compressed; COLOR_MODEL_UNKNOWN where the codec does not
    /// tell.
    virtual ColorModel GetCompressedColorspace() const = 0;

    /// The colour model named by the data set as it was before any decoding; 0 without a data set.
    virtual ColorModel GetOriginalPhotometricInterpretation() const;

    /// 1 for JPEG that is not progressive, else 0.
    virtual std::int16_t GetScanMode() const = 0;

    /// Columns and rows of the decoded image, at the resolution that is decoded; known after SetSource.
    /// @{
    virtual std::uint64_t GetImageWidth() const = 0;
    virtual std::uint64_t GetImageHeight() const = 0;
    /// @}

    /// @name Hand-over
    /// When a codec proves to be the wrong one, the bytes it has already pulled pass to its successor: the
    /// buffer (new[], owned by whoever takes it) and how many of its bytes are valid. The successor gets
    /// them before its SetSource. A codec that leaves these four alone takes nothing: SetBuffer then does not
    /// take ownership, and GetBytesRead stays 0.
    /// @{

    /// The buffer, which the caller owns from now on; null where there is none.
    virtual std::uint8_t* TakeBuffer();
    /// Gives theBuffer to this codec, which owns it from now on.
    virtual void SetBuffer(std::uint8_t* theBuffer);
    /// How many bytes of the buffer given are valid.
    virtual void SetBytesRead(int theBytes);
    /// How many bytes of the buffer are valid; to be asked before the buffer is taken.
    virtual int GetBytesRead();

    /// @}

    /// Position of the highest bit stored: bits stored - 1, or what the data set says where the codec takes
    /// its geometry from there.
    virtual int GetHighBit() const;

    /// Whether samples are two's complement: as the codestream or the data set has it, or as SetSigned wants
    /// it.
    virtual int IsSigned() const;

    /// 1 when the codec itself can deliver signed samples as unsigned ones.
    virtual int IsSupportsOutputPixelSignConversion() const;

    /// What is known from elsewhere, the transfer syntax for instance, before SetSource. Codecs whose
    /// codestreams tell for themselves take no notice.
    virtual void SetCompressionReversible(CompressionReversible theValue);

    /// Whether colour images come out as RGB whatever they were stored as.
    virtual bool IsDecoderConvertsColorToRGB();

    /// Reads the header from theSource (through a byte counter) and updates theDataSet (null allowed).
    void SetSource(DICOMDataObject* theDataSet, kdu_compressed_source& theSource);

    /// The context of the request, to be told before SetSource; borrowed, null for none. Without one the
    /// codec reads by contract and its warnings are lost.
    void SetReadingContext(ReadingContext* theContext) { itsReadingContext = theContext; }

    /// Pixel Representation as the file has it, to be told before SetSource: an earlier frame may have had it
    /// corrected in the data set. Unless it is told the data set is believed.
    void SetStatedRepresentation(std::int32_t theRepresentation)
    {
        itsStatedRepresentation = theRepresentation;
    }

    /// The part of the image that is wanted, in pixels at full size, to be told before SetSource. A codec
    /// need not heed it: GetDecodedRegion says what Decode will deliver.
    void SetRegion(const PixelRegion& theRegion) { itsRegion = theRegion; }

    /// Throws StreamIOException (code 6) where theRegion is empty or not inside theImage.
    static void CheckRegion(const PixelRegion& theRegion, const PixelRegion& theImage);

    /// Always 1.
    std::int16_t GetVersion() const { return 1; }

    /// The colour model that Decode is said to deliver. Setting it changes what is said, not what is done.
    /// @{
    void SetDecompressedColorspace(ColorModel theModel) { itsDecompressedColorspace = theModel; }
    ColorModel GetDecompressedColorspace() const { return itsDecompressedColorspace; }
    /// @}

    /// The colour model that the codec delivers by itself.
    ColorModel GetRecommendedDecompressedColorspace() const { return itsRecommendedDecompressedColorspace; }

    /// Of the decoded image; 0 before SetSource.
    int GetSamplesPerPixel() const { return itsSamplesPerPixel; }

    /// Bits that a decoded sample takes: 8 or 16; in the RLE codec the bits stored in whole bytes.
    int GetBitsAllocatedPerSample() const { return itsBitsAllocatedPerSample; }

    /// Stores 16 for more than 8 bits, else 8.
    void SetBitsAllocatedPerSample(std::int16_t theBits);

    /// Bits of a decoded sample that carry its value.
    int GetBitsStoredPerSample() const { return itsBitsStoredPerSample; }

    /// Stores theBits brought into 1 … bits allocated.
    void SetBitsStoredPerSample(int theBits);

    /// Bits stored as the codec has them by itself.
    int GetRecommendedBitsStoredPerSample() const { return itsRecommendedBitsStoredPerSample; }

    /// Wants two's complement (not 0) or unsigned samples, after SetSource. What Decode writes changes only
    /// where IsSupportsOutputPixelSignConversion is 1.
    void SetSigned(int theFlag) { itsSigned = theFlag; }

    /// What the codestream has told, or SetCompressionReversible.
    CompressionReversible GetCompressionReversible() const { return itsCompressionReversible; }

    /// Resolution reduction: 1 is full resolution, each step more halves it.
    int GetScaleFactor() const { return itsScaleFactor; }

    /// Fixed figures. Codecs size their input buffers themselves.
    /// @{
    std::uint64_t GetInputBufferSize() const { return 0; }
    std::uint64_t GetDefaultInputBufferSize() const { return 4096; }
    /// @}

    /// Compressed bytes pulled so far; 0 before SetSource.
    std::uint64_t GetTotalBytesRead() const;

    /// Sample precision that the codestream declares; 0 where the codec does not know it.
    int GetPrecision() const { return itsPrecision; }

    /// Bytes of one decoded image; -1 while the layout is not known. Truncated to int: allocation goes by
    /// this figure, so compare it with GetOutputSize before writing.
    int GetDecompressedBufferSize() const;

protected:
    Decoder();

    /// Reads the codestream header from GetSource() and fills the layout fields.
    virtual void SetSourceImpl() = 0;

public:
    /// GetDecompressedBufferSize in 64 bits: what Decode really writes at most; the largest number where that
    /// does not fit. 0 while the layout is not known, and for a codec that checks the size it is given
    /// itself. Declared last of the virtual operations, so that those before it keep their places.
    virtual std::uint64_t GetOutputSize() const;

    /// Hand-over of a header that the buffer above is too small for: takes all that thePredecessor has read,
    /// to begin with it, and leaves it good for nothing but its destruction. False, with nothing changed,
    /// where the buffer has it all, or either of the two keeps no more than that.
    virtual bool TakeInputFrom(Decoder& thePredecessor);

    /// The part of the image, at the resolution that is decoded, whose rows Decode writes from the front of
    /// the buffer, one behind the other; known after SetSource, all of GetImageWidth times GetImageHeight
    /// unless a codec heeds SetRegion. One that leaves out columns has the region's size for the image's; one
    /// that only ends early keeps that, and leaves the buffer behind its last row as it was.
    virtual PixelRegion GetDecodedRegion() const;

protected:
    /// Makes the data set describe the pixels that Decode will deliver and keeps what it overwrites in the
    /// scratch pad, so that a second decode still knows the original.
    void UpdateDICOMHeader();

    /// The source, through the byte counter. Throws DLRuntimeException before SetSource.
    kdu_compressed_source& GetSource() const;

    /// Pixel Representation before any frame corrected it. False where nobody says.
    bool GetStatedRepresentation(std::int32_t& theRepresentation) const;

    /// What SetRegion was told, or nothing.
    const std::optional<PixelRegion>& GetRegion() const { return itsRegion; }

    /// The answer to GetDecodedRegion of a codec that stops behind the region's last row: all of the image's
    /// columns, down to there. All of the image where there is no region or it is not inside.
    PixelRegion RowsToDecode() const;

    /// Whether the request reads by meaning.
    bool IsByMeaning() const { return itsReadingContext != nullptr && itsReadingContext->IsByMeaning(); }

    /// Whether the request wants nothing printed, see ReadingContext::IsSilent.
    bool IsSilent() const { return itsReadingContext != nullptr && itsReadingContext->IsSilent(); }

    /// The frame is not what was compressed: from now on the codec and the data set say so.
    void MarkIrreversible();

    /// A warning for the request, see ReadingContext::Warn.
    void Warn(const char* theIdentifier, const RWCString& theText) const;

    /// The warning that the data ended early and left theMissing of theTotal pixels blank; there are some in
    /// all. By meaning false, and no warning, where less than a hundredth is there: such a frame is refused.
    bool WarnOfMissing(std::uint64_t theMissing, std::uint64_t theTotal) const;

    /// A share from 0 to 1 for people, "12.5 %": nothing that is missing or there is rounded away.
    static RWCString Percent(double theShare);

    /// The data set that SetSource was given, or null. Borrowed.
    DICOMDataObject* GetDICOMDataObject() const { return itsDICOMDataObject; }

    /// What the accessors of the same names tell. SetSourceImpl fills them.
    /// @{
    ColorModel itsDecompressedColorspace = COLOR_MODEL_UNKNOWN;
    ColorModel itsRecommendedDecompressedColorspace = COLOR_MODEL_UNKNOWN;
    std::int32_t itsSamplesPerPixel = 0;
    std::int32_t itsBitsAllocatedPerSample = 0;
    std::int32_t itsBitsStoredPerSample = 0;
    std::int32_t itsRecommendedBitsStoredPerSample = 0;
    std::int32_t itsSigned = 0;
    CompressionReversible itsCompressionReversible = CR_UNSPECIFIED;
    std::int32_t itsScaleFactor = 1;
    std::int32_t itsPrecision = 0;
    /// @}

private:
    std::shared_ptr<MeteringKDUCompressedSource> itsSource; ///< shared by copies
    DICOMDataObject* itsDICOMDataObject = nullptr;
    ReadingContext* itsReadingContext = nullptr;
    std::optional<std::int32_t> itsStatedRepresentation;
    std::optional<PixelRegion> itsRegion;
};
