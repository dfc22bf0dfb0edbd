// SPDX-License-Identifier: Apache-2.0
#define ENCODER_HEADER <gdcmjpeg/8/jpeglib.h>
#define ENCODER_NAMESPACE quorix_encoder8
#define ENCODER_FUNCTION EncodeJpeg8
#include "support/JpegEncoder.inc"
