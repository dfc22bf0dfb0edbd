// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg/JPEGDecoder.h"

/// The JPEG codec for 8-bit samples, one byte each. Lossless images of 2 to 8 bits come out unchanged; of
/// more bits, scaled down.
class QUORIX_API JPEG8BitDecoder : public JPEGDecoder
{
public:
    JPEG8BitDecoder();
    ~JPEG8BitDecoder() override;

    int GetMaxValue() const override { return 255; }
};

/// The JPEG codec for 12-bit samples, two bytes each. Lossless images of 2 to 12 bits come out unchanged;
/// of more bits, scaled down.
class QUORIX_API JPEG12BitDecoder : public JPEGDecoder
{
public:
    JPEG12BitDecoder();
    ~JPEG12BitDecoder() override;

    int GetMaxValue() const override { return 4095; }
};

/// The JPEG codec for lossless images of 2 to 16 bits, two bytes a sample, unchanged.
class QUORIX_API JPEG16BitDecoder : public JPEGDecoder
{
public:
    JPEG16BitDecoder();
    ~JPEG16BitDecoder() override;

    /// Deliberately the value of the 12-bit codec: callers scale 16-bit JPEG output by it.
    int GetMaxValue() const override { return 4095; }
};
