// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLibraryPrelude.h"

namespace quorix_jpeg16
{
extern "C"
{
#include <gdcmjpeg/16/jpeglib.h>

#include <gdcmjpeg/16/jerror.h>

// The markers between scans are the library's even where the scans are ours.
#include <gdcmjpeg/jpegint.h>

#include <gdcmjpeg/jlossy.h>

#include <gdcmjpeg/jdhuff.h>
}
#include "codecs/jpeg/detail/JPEGLibraryBuild.inc"
} // namespace quorix_jpeg16

JPEG16BitDecoder::JPEG16BitDecoder() : JPEGDecoder(16, std::make_unique<quorix_jpeg16::LibraryBuild>()) {}

JPEG16BitDecoder::~JPEG16BitDecoder() = default;
