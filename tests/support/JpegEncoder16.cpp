// SPDX-License-Identifier: Apache-2.0
#define ENCODER_HEADER <gdcmjpeg/16/jpeglib.h>
#define ENCODER_NAMESPACE quorix_encoder16
#define ENCODER_FUNCTION EncodeJpeg16
#include "support/JpegEncoder.inc"
