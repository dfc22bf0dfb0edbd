// SPDX-License-Identifier: Apache-2.0
#include "decoding/LeastCompressedSize.h"

#include <string>

#include "codecs/jpeg/JPEG16BitDecoder.h"
#include "codecs/jpeg/JPEGDecoderException.h"

std::uint64_t LeastCompressedSize::Get(const Decoder& theCodec)
{
    if (dynamic_cast<const JPEGDecoder*>(&theCodec) == nullptr)
    {
        return 0;
    }
    // The frame header has 16 bits for each dimension, so nothing wraps.
    const std::uint64_t aPixels = theCodec.GetImageWidth() * theCodec.GetImageHeight();
    // The codec of 16 bits knows the lossless processes only; the others do not tell which one it is.
    const bool aLossless = dynamic_cast<const JPEG16BitDecoder*>(&theCodec) != nullptr;
    constexpr std::uint64_t kPixelsPerByte = 2 * 8;
    constexpr std::uint64_t kSamplesPerBlock = 64;
    return aPixels / (aLossless ? kPixelsPerByte : kPixelsPerByte * kSamplesPerBlock);
}

void LeastCompressedSize::Check(const Decoder& theCodec, std::uint64_t theLength)
{
    if (theLength == 0 || theLength >= Get(theCodec))
    {
        return;
    }
    throw JPEGDecoderException("JPEGDecoder: error (read " + std::to_string(theCodec.GetTotalBytesRead()) +
                                   " bytes so far): " + std::to_string(theCodec.GetImageHeight()) +
                                   " rows of " + std::to_string(theCodec.GetImageWidth()) +
                                   " pixels cannot come from " + std::to_string(theLength) + " bytes",
                               0);
}
