// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEG8BitDecoder.h"

// The library's headers stand in a namespace of this file's own, so that the types of the three builds
// stay apart. What they include themselves comes first, outside of it.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "codecs/jpeg/JPEGDecoderException.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "codecs/jpeg/detail/JPEGLosslessScan.h"
#include "codecs/jpeg/detail/JPEGPaths.h"

// Without this the library's headers declare its memory manager without the operation for lossless
// images, and everything behind it in the wrong place.
#define JPEG_INTERNAL_OPTIONS

namespace quorix_jpeg8
{
extern "C"
{
#include <gdcmjpeg/8/jpeglib.h>

#include <gdcmjpeg/8/jerror.h>

// The markers between scans are the library's even where the scans are ours.
#include <gdcmjpeg/jpegint.h>
}
#include "codecs/jpeg/detail/JPEGLibraryBuild.inc"
} // namespace quorix_jpeg8

JPEG8BitDecoder::JPEG8BitDecoder() : JPEGDecoder(8, std::make_unique<quorix_jpeg8::LibraryBuild>()) {}

JPEG8BitDecoder::~JPEG8BitDecoder() = default;
