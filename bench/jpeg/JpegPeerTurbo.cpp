// SPDX-License-Identifier: Apache-2.0
#define PEER_NAMESPACE turbo
#define PEER_FUNCTION DecodeWithTurbo
#define PEER_JPEGLIB <jpeglib.h>
#include "jpeg/JpegPeer.inc"
