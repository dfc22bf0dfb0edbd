// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "decoding/Decoder.h"

class RLEFrameDecoder;
struct RLEPixelLayout;

/// The codec for DICOM RLE Lossless (PS3.5 Annex G).
///
/// Takes all geometry from the data set, the segments from the codestream, and writes little-endian,
/// colour-by-pixel samples. It converts no colours: what is not monochrome is labelled RGB. Not thread-safe:
/// one codec, one thread.
class QUORIX_API RLEDecoder final : public Decoder
{
public:
    RLEDecoder();
    ~RLEDecoder() override;

    /// Copies share the compressed source and the data set: only one of them can decode.
    /// @{
    RLEDecoder(const RLEDecoder&);
    RLEDecoder& operator=(const RLEDecoder&);
    /// @}

    /// By contract a frame that ends inside a segment is an error, and so is an odd offset. By meaning the
    /// pixels are there that every segment reaches, and the others 0; at least a hundredth must be there.
    ///
    /// theFrameLength: bytes of the compressed frame counted from its header; the last segment ends
    /// there. Samples that a segment's data does not reach keep what theBuffer held before. Throws
    /// StreamIOException (code 62); an ExceptionBase's text also goes to standard output. After a failure
    /// theBuffer holds what was decoded so far, and how much of the source was read is not defined.
    void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) override;

    /// Rows end with the region's, which must be inside the image. Behind them nothing is looked at but where
    /// the segments begin.
    PixelRegion GetDecodedRegion() const override;

    /// Goes by the data set's interpretation; deliberately COLOR_MODEL_UNKNOWN for monochrome images,
    /// whose model GetDecompressedColorspace tells.
    ColorModel GetCompressedColorspace() const override;

    /// High Bit (0028,0102) as the data set has it.
    int GetHighBit() const override;
    std::uint64_t GetImageWidth() const override { return itsImageWidth; }
    std::uint64_t GetImageHeight() const override { return itsImageHeight; }
    std::int16_t GetScanMode() const override { return 0; }

    /// Always 0, "no demand": Decode checks theSize itself, with its own texts, and writes nothing outside
    /// it. A driver that compares this figure with a buffer's size need do nothing special.
    std::uint64_t GetOutputSize() const override;

    /// Always 1.
    std::int16_t GetVersion() const { return 1; }

    /// Number of segments that the header declares.
    int GetComponentCount() const { return itsComponentCount; }

    /// Entry theIndex of the header: 0 is the number of segments, 1 the first segment's offset. 0 outside.
    std::uint32_t GetComponentOffset(int theIndex) const;

    /// Bytes of segment theIndex, counted from 1. Deliberately 4294967295 for the last one, whose end the
    /// header does not tell, and outside.
    std::uint64_t GetComponentSize(int theIndex) const;

protected:
    void SetSourceImpl() override;

    /// Reads and checks the 64-byte header. False when it is short or declares what no frame can have.
    bool ReadRLEHeader();

private:
    static constexpr int kHeaderEntries = 16;

    void ReadGeometry();
    void ReadSampleFormat();
    void ReadPhotometricInterpretation();
    void SettleDepthBySegments();
    bool HasOddOffset() const;
    void Run(RLEFrameDecoder& theDecoder, const RLEPixelLayout& theLayout, void* theBuffer) const;
    void DecodeChecked(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize);

    std::uint32_t itsImageHeight = 0;
    std::uint32_t itsImageWidth = 0;
    std::uint32_t itsHighBit = 0;
    RWCString itsPhotometricInterpretation;
    /// Segment count, offsets, and one slot more for the end of the last segment.
    std::array<std::uint32_t, kHeaderEntries + 1> itsRLEHeader{};
    std::int32_t itsComponentCount = 0;
};
