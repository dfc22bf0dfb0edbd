// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

struct JPEGLSHeader;

/// What decodes the scans of JPEG-LS streams: CharLS, or nothing in a build without it (QUORIX_WITH_CHARLS).
/// Stateless and thread-safe.
struct JPEGLSLibrary
{
    /// Whether there is one. Without it JPEG-LS has no codec.
    static bool IsThere();

    /// Decodes a stream that JPEGLSStream has looked through. theOutput, theSize bytes, holds the whole
    /// image; by planes where scans have one component each. Null, or what the library says is wrong; then
    /// rows that it did not come to are as they were. Throws std::bad_alloc.
    static const char* Decode(std::span<const std::uint8_t> theStream, const JPEGLSHeader& theHeader,
                              std::uint8_t* theOutput, std::uint64_t theSize);
};
