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
