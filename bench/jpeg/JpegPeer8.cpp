// SPDX-License-Identifier: Apache-2.0
#define PEER_NAMESPACE ijg8
#define PEER_FUNCTION DecodeWithIjg8
#define PEER_JPEGLIB <gdcmjpeg/8/jpeglib.h>
#include "jpeg/JpegPeer.inc"
