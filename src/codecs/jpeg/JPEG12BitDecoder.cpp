// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEG12BitDecoder.h"

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

namespace quorix_jpeg12
{
extern "C"
{
#include <gdcmjpeg/12/jpeglib.h>

#include <gdcmjpeg/12/jerror.h>

// The markers between scans are the library's even where the scans are ours.
#include <gdcmjpeg/jpegint.h>
}
#include "codecs/jpeg/detail/JPEGLibraryBuild.inc"
} // namespace quorix_jpeg12

JPEG12BitDecoder::JPEG12BitDecoder() : JPEGDecoder(12, std::make_unique<quorix_jpeg12::LibraryBuild>()) {}

JPEG12BitDecoder::~JPEG12BitDecoder() = default;
