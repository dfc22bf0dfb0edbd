// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg/JPEGDecoder.h"

/// The JPEG codec for 12-bit samples, two bytes each. Lossless images of 2 to 12 bits come out unchanged;
/// of more bits, scaled down.
class QUORIX_API JPEG12BitDecoder : public JPEGDecoder
{
public:
    JPEG12BitDecoder();
    ~JPEG12BitDecoder() override;

    int GetMaxValue() const override { return 4095; }
};
