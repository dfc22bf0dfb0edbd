// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg/JPEGDecoder.h"

/// The JPEG codec for lossless images of 2 to 16 bits, two bytes a sample, unchanged.
class QUORIX_API JPEG16BitDecoder : public JPEGDecoder
{
public:
    JPEG16BitDecoder();
    ~JPEG16BitDecoder() override;

    /// Deliberately the value of the 12-bit codec: callers scale 16-bit JPEG output by it.
    int GetMaxValue() const override { return 4095; }
};
