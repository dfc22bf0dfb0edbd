// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "decoding/Decoder.h"
#include "engine/kdu_types.h"

class KDUMessageCallbackException;
class kdu_line_buf;
struct JPEG2000OutputFormat;

/// The codec for JPEG 2000 (ISO/IEC 15444-1): one or three components of up to 16 bits (three: up to 8).
///
/// Takes a bare codestream, and a JP2 file as well. What that says of its colours is applied by meaning,
/// unless a data set says otherwise: a palette (never reduced), the definition of channels (which may make
/// three colours of four components, and one of two), and sYCC where there is no label. Geometry, depth and
/// sign come from the codestream, never from the data set. The output is rows of samples, components
/// interleaved, a component transform undone: samples of up to 8 bits in bytes, others in 16-bit words of the
/// machine's byte order. Samples are unsigned codes, or two's complement within the bits stored with zeros
/// above (SetSigned between SetSource and Decode chooses, whatever the codestream has). Where the data set
/// states more bits stored than the codestream has, two's complement reaches as far as those, so that readers
/// of the data set see the right values. By meaning the codes of an unsigned codestream of one component are
/// taken for two's complement where the data set says that samples are signed.
///
/// Reports of the engine become JPEGDecoderExceptions, code 1 for warnings and 0 for errors; other failures
/// are StreamIOExceptions. What the compressed source throws passes through. After a failure the codec is
/// good for nothing but its destruction, except after a buffer too small. Not thread-safe; separate codecs
/// share nothing.
class QUORIX_API JPEG2000Decoder : public Decoder
{
public:
    /// theScaleFactor: 1 is full resolution, each step more halves it, as far as the codestream goes.
    /// theTolerance: PET_FAST, PET_RESILIENT or PET_FUSSY; anything else counts as PET_FAST.
    JPEG2000Decoder(int theScaleFactor, ParsingErrorTolerance theTolerance);
    ~JPEG2000Decoder() override;

    /// Copies share the codestream, so a codec and its copies count as one codec.
    /// @{
    JPEG2000Decoder(const JPEG2000Decoder&);
    JPEG2000Decoder& operator=(const JPEG2000Decoder&);
    /// @}

    /// Decodes the whole image, or the region, and ends the codestream. The frame length is not used: the
    /// codestream knows its own end. Throws StreamIOException (code 62) before anything is decoded when
    /// theBuffer is null or theSize is less than width x height x samples x bytes per sample.
    void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) override;

    /// Grey for one component; for three YBR_RCT or YBR_ICT where the codestream has a component transform,
    /// else YBR_FULL where the data set says so (by meaning also where it says YBR_FULL_422), else RGB.
    ColorModel GetCompressedColorspace() const override;
    std::int16_t GetScanMode() const override { return 0; }

    /// Dimensions of the first component, or of the region's part of it, at the resolution that is decoded; 0
    /// before SetSource.
    /// @{
    std::uint64_t GetImageWidth() const override;
    std::uint64_t GetImageHeight() const override;
    /// @}

    /// The region that was told, reduced: nothing else is decoded, and the image has its size. SetSource
    /// refuses one that is not inside the image.
    PixelRegion GetDecodedRegion() const override;

    int IsSupportsOutputPixelSignConversion() const override { return 1; }
    void SetCompressionReversible(CompressionReversible theValue) override;

    /// The component transform is undone inside the codec.
    bool IsDecoderConvertsColorToRGB() override { return true; }

    /// Always 0, "no demand": Decode checks theSize itself, with its own text.
    std::uint64_t GetOutputSize() const override { return 0; }

    /// Ends the open tile and the codestream; harmless without them.
    void FinishDecoding();

    /// Decodes the open tile. theOutput: where the tile's first sample goes inside an image of
    /// GetImageWidth() columns; the tile's rows must lie inside the buffer. The tile stays open, with nothing
    /// left in it.
    void DecompressCurrentTile(void* theOutput);

    /// Writes one decoded line: the converter for its representation, see below.
    static void CopySamplesToOutput(const kdu_line_buf& theLine, void* theOutput,
                                    int theBitsStoredPerOutputSample, bool isOutputSigned,
                                    int theBytesPerOutputSample, int theStride);

    /// @name Converters
    /// theCount samples of a line to DICOM samples of theBitsStoredPerOutputSample bits in
    /// theBytesPerOutputSample (1 or 2) bytes, theStride samples from one to the next; samples out of range
    /// get the lowest or highest code. No overlap; theOutput needs no alignment. StreamIOException (code 62)
    /// for depths and widths that do not fit.
    /// @{

    /// 16-bit integers centred on 0.
    static void ConvertShortsToOutputSamples(const kdu_sample16* theSource, void* theOutput, int theCount,
                                             int theBitsStoredPerOutputSample, bool isOutputSigned,
                                             int theBytesPerOutputSample, int theStride);

    /// 32-bit integers centred on 0.
    static void ConvertIntsToOutputSamples(const kdu_sample32* theSource, void* theOutput, int theCount,
                                           int theBitsStoredPerOutputSample, bool isOutputSigned,
                                           int theBytesPerOutputSample, int theStride);

    /// Fixed point, KDU_FIXED_POINT fractional bits: at most 13 bits stored.
    static void ConvertFixedPointToOutputSamples(const kdu_sample16* theSource, void* theOutput, int theCount,
                                                 int theBitsStoredPerOutputSample, bool isOutputSigned,
                                                 int theBytesPerOutputSample, int theStride);

    /// Floats, nominally in [-0.5, 0.5), rounded to the nearest code; what is no number gets the lowest.
    static void ConvertFloatsToOutputSamples(const kdu_sample32* theSource, void* theOutput, int theCount,
                                             int theBitsStoredPerOutputSample, bool isOutputSigned,
                                             int theBytesPerOutputSample, int theStride);

    /// @}

    /// Throws the JPEGDecoderException for a report of the engine: thePrefix and the report's text. Null is
    /// allowed and counts as an error without text.
    [[noreturn]] static void ThrowDecoderException(const RWCString& thePrefix,
                                                   const KDUMessageCallbackException* theReport);

protected:
    /// Reads the main header and the first tile's. Ends the codestream of an earlier source.
    void SetSourceImpl() override;

    /// The two steps of SetSourceImpl.
    /// @{
    void Begin();
    void ReadCodestream();
    /// @}

    /// Finds the codestream in GetSource(), unless that was done: the source itself or a JP2 file's box.
    void OpenSource();

private:
    struct State;

    void SetPhase(const char* thePhase);
    template <class Action>
    void ReportingPhase(const Action& theAction);
    template <class Action>
    static void Reporting(const char* thePrefix, const Action& theAction);

    void ReadHeader();
    void CreateCodestream();
    void ReadComponents();
    void RestrictToRegion(int theComponents);
    void ReadDepth();
    void SettleSign();
    void OpenFirstTile();
    int SettleChannels(int theComponents);
    RWCString FindObstacle() const;
    bool HasPalette() const;
    void SettleColour();
    bool IsConvertedAsSYCC() const;
    void WarnOfLabel() const;
    void SettleScaleFactor(int theLevels);
    void TellWhatWasSurvived();
    void DecodeTiles(std::uint8_t* theBuffer);
    void ExtendMisdeclared(std::uint8_t* theBuffer) const;
    std::uint64_t GetOffsetOfCurrentTile() const;
    void CheckLayout(int theComponents) const;
    JPEG2000OutputFormat GetFormat(int theSamples) const;
    int GetReportedBits() const;

    ParsingErrorTolerance itsTolerance;
    int itsWantedScaleFactor;
    CompressionReversible itsToldReversible = CR_UNSPECIFIED; ///< SetCompressionReversible
    std::shared_ptr<State> itsState;                          ///< shared by copies
};

/// The JPEG 2000 codec for files: walks the boxes of a JP2 file before the codestream is opened. A bare
/// codestream is taken as well.
class QUORIX_API JPEG2000FileStreamDecoder final : public JPEG2000Decoder
{
public:
    using JPEG2000Decoder::JPEG2000Decoder;
    ~JPEG2000FileStreamDecoder() override;

    /// Copies share the codestream, as those of the base class do.
    /// @{
    JPEG2000FileStreamDecoder(const JPEG2000FileStreamDecoder&);
    JPEG2000FileStreamDecoder& operator=(const JPEG2000FileStreamDecoder&);
    /// @}

protected:
    void SetSourceImpl() override;
};
