// SPDX-License-Identifier: Apache-2.0
#define PEER_NAMESPACE ijg16
#define PEER_FUNCTION DecodeWithIjg16
#define PEER_JPEGLIB <gdcmjpeg/16/jpeglib.h>
#include "jpeg/JpegPeer.inc"
