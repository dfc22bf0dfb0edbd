// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLibraryPrelude.h"

namespace quorix_jpeg8
{
extern "C"
{
#include <gdcmjpeg/8/jpeglib.h>

#include <gdcmjpeg/8/jerror.h>

// The markers between scans are the library's even where the scans are ours.
#include <gdcmjpeg/jpegint.h>

#include <gdcmjpeg/jlossy.h>

#include <gdcmjpeg/jdhuff.h>
}
#include "codecs/jpeg/detail/JPEGLibraryBuild.inc"
} // namespace quorix_jpeg8

JPEG8BitDecoder::JPEG8BitDecoder() : JPEGDecoder(8, std::make_unique<quorix_jpeg8::LibraryBuild>()) {}

JPEG8BitDecoder::~JPEG8BitDecoder() = default;
