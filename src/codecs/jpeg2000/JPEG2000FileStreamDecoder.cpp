// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000FileStreamDecoder.h"

JPEG2000FileStreamDecoder::~JPEG2000FileStreamDecoder() = default;
JPEG2000FileStreamDecoder::JPEG2000FileStreamDecoder(const JPEG2000FileStreamDecoder&) = default;
JPEG2000FileStreamDecoder& JPEG2000FileStreamDecoder::operator=(const JPEG2000FileStreamDecoder&) = default;

void JPEG2000FileStreamDecoder::SetSourceImpl()
{
    OpenSource();
    JPEG2000Decoder::SetSourceImpl();
}
