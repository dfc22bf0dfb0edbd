// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpegls/detail/JPEGLSLibrary.h"

bool JPEGLSLibrary::IsThere()
{
    return false;
}

const char* JPEGLSLibrary::Decode(std::span<const std::uint8_t>, const JPEGLSHeader&, std::uint8_t*,
                                  std::uint64_t)
{
    return "this build has no JPEG-LS library";
}
