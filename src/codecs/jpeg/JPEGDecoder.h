// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "decoding/Decoder.h"
#include "toolkit/base/Exceptions.h"

/// A failure reported by the JPEG library.
class QUORIX_API JPEGDecoderException : public ExceptionBase
{
public:
    /// theCode: 0 means error, any other value warning.
    JPEGDecoderException(RWCString theMessage, int theCode);
    ~JPEGDecoderException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// The class name, ": ", "Warning: " or "Error: ", and the message.
    RWCString ToString() const override;

    /// 0 for an error, any other value for a warning.
    int GetCode() const { return itsCode; }

    /// False for a warning. Both end the decoding.
    bool IsError() const { return itsCode == 0; }

private:
    int itsCode;
};

class JPEGLibrary;
struct JPEGFrameHeader;
enum class JPEGColorSpace : int;
enum class JPEGPath;

/// What the three JPEG codecs share: the DICOM JPEG processes (baseline, extended, progressive and
/// lossless) through one build of the IJG library.
///
/// The library reads every header and has the last word on every image. Usual images are decoded by faster
/// code behind it, with the same result to the bit; see SetPath.
///
/// The output is rows of packed samples, components interleaved: grey as one component, every colour
/// image as RGB, converted by the library; samples of more than 8 bits are 16-bit words in the machine's
/// byte order. Width, height and component count come from the codestream, never from the data set.
///
/// Failures of the library, the end of the data before the end of the image among them, are
/// JPEGDecoderExceptions "JPEGDecoder: error (read <n> bytes so far): <the library's text>"; what the
/// compressed source throws passes through unchanged. An image of more than 1000 scans is refused ("Too
/// many scans"). After an exception the codec is good for nothing but its hand-over buffer and its
/// destruction. Warnings keep the library's own handling: the first one of an image is printed to standard
/// error. Only up to seven bytes left over at the end of a scan, and a code of an 8-bit image that no table
/// has, may pass without one.
///
/// Not thread-safe; separate codecs share nothing.
class QUORIX_API JPEGDecoder : public Decoder
{
public:
    ~JPEGDecoder() override;

    /// Copies share the library object and the input buffer, so a codec and its copies count as one codec.
    /// @{
    JPEGDecoder(const JPEGDecoder&);
    JPEGDecoder& operator=(const JPEGDecoder&);
    /// @}

    /// Decodes the image, or the rows of GetDecodedRegion. The frame length is not used: the codestream knows
    /// its own end. Throws StreamIOException (code 62) before anything is decoded when theBuffer is null or
    /// theSize is less than GetOutputSize(). A theSize of 0 means that the caller passes none: theBuffer then
    /// must hold GetOutputSize() bytes.
    void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) override;

    /// The colour model of the codestream: grey, RGB, YBR_FULL_422 (any YCbCr), else unknown.
    ColorModel GetCompressedColorspace() const override;

    /// The colour model that Decode delivers, from the library's own setting; same mapping. Hides the
    /// base's field of that name, which describes what the header was read as.
    ColorModel GetDecompressedColorspace() const;

    /// Overrides the output colour model between SetSource and Decode: grey, RGB and YBR_FULL_422 (as
    /// YCbCr); anything else asks for unknown. The library refuses conversions that it does not have.
    void SetDecompressedColorspace(ColorModel theModel);

    /// 0 for a progressive image, else 1.
    std::int16_t GetScanMode() const override;

    /// Columns and rows of the frame header.
    /// @{
    std::uint64_t GetImageWidth() const override;
    std::uint64_t GetImageHeight() const override;
    /// @}

    /// Width x height x output components x bytes per sample; 0 before the header was read.
    std::uint64_t GetOutputSize() const override;

    /// The input buffer with the most recent bytes (new[], 32768 bytes unless it came through SetBuffer),
    /// which the caller owns from now on. Null when it was taken before.
    std::uint8_t* TakeBuffer() override;

    /// Makes theBuffer (new[]) the input buffer and takes ownership. The next fill delivers its first
    /// GetBytesRead() bytes instead of reading the source; later fills go to the codec's own buffer.
    void SetBuffer(std::uint8_t* theBuffer) override;

    /// The number of bytes that the most recent fill delivered.
    /// @{
    void SetBytesRead(int theBytes) override;
    int GetBytesRead() override;
    /// @}

    /// Takes a header of up to 1 MiB that took more than one fill.
    bool TakeInputFrom(Decoder& thePredecessor) override;

    /// Rows end with the region's, which must be inside the image. What the data below them say is not looked
    /// at, damage included, as far as it need not be decoded for the rows above.
    PixelRegion GetDecodedRegion() const override;

    /// Compressed bytes that the library got so far, those handed over among them: what texts count.
    std::uint64_t GetBytesDelivered() const;

    bool IsDecoderConvertsColorToRGB() override { return true; }

    /// Largest sample value.
    virtual int GetMaxValue() const = 0;

    /// Always 0. Hides the figure of the same name in the base class.
    static std::uint64_t GetDefaultInputBufferSize() { return 0; }

    /// Gives the library its standard error manager with this codec's error handler in it.
    void SetJpegErrorHandler();

    /// Forces the library's own loop or the fast decoders, which give the same to the bit. For tests.
    void SetPath(JPEGPath thePath);

protected:
    /// theBits: 8, 12 or 16, the sample precision of theLibrary.
    JPEGDecoder(int theBits, std::unique_ptr<JPEGLibrary> theLibrary);

    /// Reads the header and settles the colour spaces.
    void SetSourceImpl() override;

    /// Replaces the library's guess of the codestream's colour space by what markers, component
    /// identifiers and the data set say together.
    void CorrectCompressedColorSpace();

private:
    struct State;
    class Session;
    class HeaderSession;
    class TurboSession;

    void ReadHeader();
    JPEGColorSpace SettleThreeComponents(const JPEGFrameHeader& theHeader) const;
    void SettleOutput();
    std::uint32_t GetRowsToDecode() const;
    bool DecodeWithTurbo(std::uint8_t* theBuffer);
    void WarnOfUnconverted(const std::uint8_t* thePixels) const;
    void CheckBuffer(const void* theBuffer, std::uint64_t theSize) const;

    std::shared_ptr<State> itsState; ///< shared by copies
};
