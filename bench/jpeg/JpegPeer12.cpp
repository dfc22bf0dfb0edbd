// SPDX-License-Identifier: Apache-2.0
#define PEER_NAMESPACE ijg12
#define PEER_FUNCTION DecodeWithIjg12
#define PEER_JPEGLIB <gdcmjpeg/12/jpeglib.h>
#include "jpeg/JpegPeer.inc"
