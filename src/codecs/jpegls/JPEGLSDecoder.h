// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "decoding/Decoder.h"

class JPEGLSStream;

/// The codec for JPEG-LS (ITU-T T.87), lossless and near-lossless, backed by CharLS.
///
/// 2 to 16 bits a sample, grey or three components of one size, any interleave mode, restart markers, a SPIFF
/// header. Delivers bytes or words in the machine's byte order, colour-by-pixel. A colour transform of HP
/// (APP8 "mrfx") is undone; other colours are what the data set says, without one RGB or what the SPIFF
/// header says. Whether something is lost tells NEAR. Not thread-safe: one codec, one thread.
class QUORIX_API JPEGLSDecoder final : public Decoder
{
public:
    JPEGLSDecoder();
    ~JPEGLSDecoder() override;

    /// Whether this build has the library; without it nothing can be decoded.
    static bool IsThere();

    /// By contract a stream that ends early is an error; by meaning the rows are there that it reaches, and
    /// the others 0; at least a hundredth must be there. theFrameLength is not used. Throws StreamIOException
    /// (code 62) with the library's text; theBuffer then holds what was decoded so far.
    void Decode(unsigned int theFrameLength, void* theBuffer, std::uint64_t theSize) override;

    /// Grey for one component; colour the data set tells.
    ColorModel GetCompressedColorspace() const override;
    std::int16_t GetScanMode() const override { return 0; }
    std::uint64_t GetImageWidth() const override;
    std::uint64_t GetImageHeight() const override;

    /// CR_REVERSIBLE: the transfer syntax promises it, and a stream that says otherwise is worth a warning.
    void SetCompressionReversible(CompressionReversible theValue) override;

protected:
    void SetSourceImpl() override;

private:
    void SettleColour();
    bool IsPlanar() const;
    std::uint32_t DecodeRows(std::uint8_t* theOutput, std::uint64_t theSize);
    std::uint32_t DecodeCut(std::uint8_t* theOutput, std::uint64_t theSize);
    bool DecodeWithoutZeros(std::uint8_t* theOutput, std::uint64_t theSize);

    std::unique_ptr<JPEGLSStream> itsStream;
    bool itsIsToBeReversible = false;
};
