// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// How callers name what they bring.

#include <cstdint>

/// Kind of compressed input; the numbers are shared with the Java side.
enum JImageType : std::int32_t
{
    IMAGE_TYPE_JPEG = 1,              ///< a bare JPEG stream
    IMAGE_TYPE_JPEG2000 = 2,          ///< a bare JPEG 2000 codestream or a JP2 file
    IMAGE_TYPE_DICOM_PART10 = 3,      ///< a DICOM Part 10 file
    IMAGE_TYPE_JPEG2000_LOSSLESS = 7, ///< for Java only; image files have an argument for it
    IMAGE_TYPE_JPEGLS = 9             ///< a bare JPEG-LS stream; an extension, see DecoderFactory
};
