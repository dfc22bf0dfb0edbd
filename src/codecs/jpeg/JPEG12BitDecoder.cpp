// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLibraryPrelude.h"

namespace quorix_jpeg12
{
extern "C"
{
#include <gdcmjpeg/12/jpeglib.h>

#include <gdcmjpeg/12/jerror.h>

// The markers between scans are the library's even where the scans are ours.
#include <gdcmjpeg/jpegint.h>

#include <gdcmjpeg/jlossy.h>

#include <gdcmjpeg/jdhuff.h>
}
#include "codecs/jpeg/detail/JPEGLibraryBuild.inc"
} // namespace quorix_jpeg12

JPEG12BitDecoder::JPEG12BitDecoder() : JPEGDecoder(12, std::make_unique<quorix_jpeg12::LibraryBuild>()) {}

JPEG12BitDecoder::~JPEG12BitDecoder() = default;
