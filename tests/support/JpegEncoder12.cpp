// SPDX-License-Identifier: Apache-2.0
#define ENCODER_HEADER <gdcmjpeg/12/jpeglib.h>
#define ENCODER_NAMESPACE quorix_encoder12
#define ENCODER_FUNCTION EncodeJpeg12
#include "support/JpegEncoder.inc"
