// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "decoding/Decoder.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMTag.h"

/// What the codecs share whose frames hold samples as native pixel data do, one frame a fragment, padded to
/// an even number of bytes.
///
/// The data set alone says what a frame is. Samples come as they are stored, little-endian, single bits
/// packed with the lowest first; colour-by-plane becomes colour-by-pixel. No colours are converted. A frame
/// of another length than the data set calls for is an error: which of the two is wrong nothing tells. Not
/// thread-safe: one codec, one thread.
class QUORIX_API StoredFrameDecoder : public Decoder
{
public:
    /// Throws StreamIOException: code 37 where theBuffer is too small or bytes of the frame are missing, code
    /// 62 where there are too many, or where they are damaged. theFrameLength is not used: the source knows
    /// its end.
    void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) override;

    /// COLOR_MODEL_UNKNOWN: the data set tells.
    ColorModel GetCompressedColorspace() const override { return COLOR_MODEL_UNKNOWN; }
    std::int16_t GetScanMode() const override { return 0; }
    std::uint64_t GetImageWidth() const override { return itsColumns; }
    std::uint64_t GetImageHeight() const override { return itsRows; }

    /// Rows end with the region's, which must be inside the image, and nobody looks at what follows; of
    /// colour-by-plane all is decoded.
    PixelRegion GetDecodedRegion() const override;

    /// High Bit (0028,0102) as the data set has it.
    int GetHighBit() const override { return itsHighBit; }

    /// Bytes of a frame; of single bits those that it takes beginning with a byte of its own.
    std::uint64_t GetOutputSize() const override;

protected:
    /// theName: of the class, for texts.
    explicit StoredFrameDecoder(const char* theName);

    /// Reads what the data set says of a frame; nothing of the source. Throws StreamIOException (code 37) for
    /// what is missing, (code 62) for what no such frame can be.
    void SetSourceImpl() override;

    /// Fills theFrame, theSize bytes, and where this is all of GetOutputSize goes to the end of the source.
    virtual void ReadFrame(std::uint8_t* theFrame, std::uint64_t theSize) = 0;

    /// Throws where theCount bytes behind a frame are more than the one that makes its length even.
    void CheckPadding(std::uint64_t theCount) const;

    /// Throw StreamIOException: theText behind the class's name; that a frame has no more than theBytes.
    /// @{
    [[noreturn]] void Fail(const RWCString& theText, DLResultCode theCode = DLRC_DECODER_ERROR) const;
    [[noreturn]] void FailShort(std::uint64_t theBytes) const;
    /// @}

private:
    std::uint16_t ReadAttribute(DICOMTag theTag, const char* theName) const;
    void ReadColour();

    const char* itsName;
    std::uint32_t itsRows = 0;
    std::uint32_t itsColumns = 0;
    std::int32_t itsHighBit = 0;
    bool itsIsPlanar = false;
};

/// Encapsulated Uncompressed Explicit VR Little Endian: the samples themselves.
class QUORIX_API UncompressedFrameDecoder final : public StoredFrameDecoder
{
public:
    UncompressedFrameDecoder();

protected:
    void ReadFrame(std::uint8_t* theFrame, std::uint64_t theSize) override;
};

/// Deflated Image Frame Compression: each frame a deflate stream (RFC 1951) of its own. It is inflated to the
/// bytes of a frame and no further, however many it holds.
class QUORIX_API DeflatedFrameDecoder final : public StoredFrameDecoder
{
public:
    DeflatedFrameDecoder();

    /// The fewest bytes that can inflate to a frame.
    std::uint64_t GetLeastSize() const;

protected:
    void ReadFrame(std::uint8_t* theFrame, std::uint64_t theSize) override;
};
